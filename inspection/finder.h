#pragma once

#include <Eigen/Core>
#include <Eigen/Geometry>
#include <optional>
#include <string>
#include <vector>

#include "host/wire.h"
#include "inspection/plan.h"

/// \file
/// Balls of known radius in a coarse scan of the surroundings, and the part by them. Lengths are
/// metres, coordinates those of the instrument's frame unless told otherwise.

namespace libmfx::inspection {

/// A window of directions that is scanned line by line. The beam at azimuth 0 and elevation 0 looks
/// along +Z, elevation pi/2 is +Y, and a positive azimuth turns towards -X. An azimuth may lie
/// beyond pi: a window across the seam has its end beyond it.
struct ScanWindow {
  double azimuth[2] = {0.0, 0.0};    ///< radians, from and to
  double elevation[2] = {0.0, 0.0};  ///< the same
  double range = 2.0;                ///< m, at which the spacing counts
  double spacing = 0.004;            ///< m, between the lines and between the samples of one
};

/// A window that holds every direction in which any of a ball of `radius` can be seen whose centre
/// lies within `off` (m) of `place`, and a line more on each side. Its spacing, which counts at the
/// farthest of these centres, puts at least six lines on the ball.
/// \throws host::CallError for a place that is not finite, a radius that is not positive or an
///     `off` below 0
ScanWindow WindowAround(const Vector3d& place, double radius, double off);

/// The request of a free path over a window, in lines to and fro. A window that no one request can
/// hold has several, one after the other: each asks for about 500,000 samples at most, for fewer
/// than 1,000,000 drive points, and turns the instrument by at most half a turn. A line keeps its
/// elevation within a tenth of the spacing.
/// \throws host::CallError that names a bound, range or spacing that makes no window: one that is
///     not finite or not positive, ends before it begins, an elevation beyond pi/2, or a spacing
///     that asks for more than 20,000,000 samples
std::vector<std::string> RequestsOf(const ScanWindow& window, const std::string& name);

/// A ball that was seen.
struct SeenBall {
  Vector3d center = Vector3d::Zero();
  double scatter = 0.0;  ///< m, root mean square of its samples off the ball
  int samples = 0;       ///< that lie on it
};

/// All balls of a radius that samples in scan order show: what lies on one, stands in front of what
/// is around it and is curved as it is. Best first. Samples that are not finite, and lost ones,
/// count for nothing. Time and memory grow with the number of samples, and little more.
/// \param spacing m, of the scan
std::vector<SeenBall> FindBalls(const std::vector<host::RawDataPoint>& samples, double radius,
                                double spacing);

/// The same for several radii, a list for each. The samples are put in order once, and each radius
/// is looked for once, however often it stands there.
std::vector<std::vector<SeenBall>> FindBalls(const std::vector<host::RawDataPoint>& samples,
                                             const std::vector<double>& radii, double spacing);

/// A ball of the part.
struct NominalBall {
  Vector3d place = Vector3d::Zero();  ///< in the part's frame
  double radius = 0.0;
};

/// The pose of a part whose balls were seen among others: the one under which most of its balls lie
/// within `tolerance` of one that was seen, told by the distances between them. At least three that
/// are not on a line have to be found. Of two poses under which as many do, the one that fits
/// clearly better counts: the other's scatter is five times as large, which is about what an F test
/// of three degrees of freedom against three takes at 99 %, and above a quarter of the tolerance.
/// \param seen for each nominal ball those of its radius; of a longer list the first 100 count
/// \param tolerance m; balls whose triangle is not higher than four times this count as on a line
/// \param why receives, for people, why there is none: too few were seen, or two ways to place the
///     part fit as well; empty where there is one
/// \throws host::CallError for a tolerance that is not positive and finite, a ball without a place,
///     more than 200 balls, or another number of lists
std::optional<Eigen::Isometry3d> PoseByBalls(const std::vector<NominalBall>& balls,
                                             const std::vector<std::vector<SeenBall>>& seen,
                                             double tolerance, std::string& why);

}  // namespace libmfx::inspection
