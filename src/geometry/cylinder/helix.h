#pragma once

#include <Eigen/Core>
#include <optional>

#include "geometry/cylinder/model.h"

namespace libmfx::geometry::cylinder {

/// A screw thread found in the residuals of a smooth fit. Lengths in nominal radii.
struct Helix {
  double pitch = 0.0;   ///< along the axis a turn; negative: left-handed
  double depth = 0.0;   ///< spread of the residuals, 5th to 95th percentile
  double share = 0.0;   ///< of their variance in the first harmonic, the form of the wall taken out
  bool bore = false;    ///< the material is outside
  bool around = false;  ///< points lie all around: not seen from one place
};

/// Whether the points show the inside of a cylinder: the instrument sees the far wall of a bore and
/// the near one of a stud. Points from all around were not seen from one place.
enum class SeenFrom { kInside, kOutside, kAround };
SeenFrom SideSeen(const Points& points, const Model& model, const Eigen::Vector3d& instrument);

/// Looks for a helical pattern in the residuals about `model`. Their spread has to reach
/// `least_depth`, and the first harmonic of the best pitch, between 0.05 and 0.8 nominal radii and
/// at most half the length of the wall, has to explain at least `least_share` of the variance that
/// the form of the wall leaves: 2 to 8 lobes, taper, barrel and bend are taken out before.
///
/// One of many pitches and phases explains a good deal of the noise of few points. So the share has
/// to be one that none of those that were tried would reach on noise, and the pattern has to be
/// there, at the same phase, in the lower and the upper half of the wall and in both halves of the
/// arc.
///
/// The pattern is looked at where the sight lines enter the cylinder of the model: the samples lie
/// evenly there, while where they end they crowd on the flanks that face the instrument and leave
/// the rest of the profile empty, which doubles the frequency. It is looked at where they end as
/// well, which is the better place for points that come from all sides: there alone they then show
/// a clear pattern.
std::optional<Helix> FindHelix(const Points& points, const Model& model,
                               const Eigen::Vector3d& instrument, double least_depth,
                               double least_share);

/// The pitch of a helix that was found, about a better model of its wall: the best within some
/// hundredths of it.
double SharpenPitch(const Points& points, const Model& model, const Eigen::Vector3d& instrument,
                    const Helix& helix);

}  // namespace libmfx::geometry::cylinder
