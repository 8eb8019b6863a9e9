#pragma once

#include <Eigen/Core>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "host/recording.h"
#include "libmfx/features/stages.h"
#include "uncertainty/twin.h"

/// \file
/// What the parts of `Surrounded` share. Lengths are metres, angles radians.

namespace libmfx::uncertainty {

using Eigen::Vector2d;

/// The frame in which the twin's part is described: its origin in the surface around the feature,
/// of a ball its centre; x along the tangent, z out of the part, to the side of the instrument.
struct SeenFrame {
  Vector3d origin;
  Vector3d x;
  Vector3d y;
  Vector3d z;

  explicit SeenFrame(const Twin& twin);
  /// In this frame, a point of the instrument's.
  Vector3d Of(const Vector3d& point) const;
};

/// A sample in that frame.
struct Seen {
  Vector3d place;
  Vector3d eye;  ///< unit, towards the instrument
  double quality;
  int segment;  ///< the number of its scan line
  features::SampleFate fate;

  double Depth() const { return -place.z(); }
  /// Where its beam passes the height z = 0.
  Vector2d Entry() const { return (place - place.z() / eye.z() * eye).head<2>(); }
};

/// What a scan shows.
struct Sight {
  SeenFrame frame;
  /// In their order; finite, with a range above 0, and not farther off than a part may reach.
  std::vector<Seen> samples;
  const host::Exchange& scan;
  const features::Stages& stages;

  Sight(const Twin& twin, const host::Exchange& exchange, const features::Stages& recorded);
  /// Where the move that ends at a drive point stops, as its beam passes the height z = 0.
  std::optional<Vector2d> EndOf(int segment) const;
};

/// The same path in front of a twin, as the default virtual instrument drives it.
/// \throws std::runtime_error if the twin cannot stand there or the path cannot be driven
host::Exchange Simulated(const Twin& twin, const Sight& sight, std::uint64_t seed);

/// Whether a scan is small enough to be driven a few times more.
bool MayBeSimulated(const Sight& sight);

/// Depth of the deepest plane, parallel to the surface, that samples show: the median of the
/// deepest ones that lie close together and stand out from what lies above them. None where there
/// is none.
/// \param depths of the samples that may lie on it, above 0
std::optional<double> DeepestPlane(std::vector<double> depths);

/// How deep a wall goes, where lines show that it ends: behind its deepest sample they see
/// something deeper, or nothing.
struct WallDepth {
  double seen = 0.0;          ///< of its deepest sample; 0: there is none
  std::optional<double> end;  ///< none: too few lines agree on one
};
/// \param is_on_wall of each sample of the sight, whether it lies on the wall
/// \param spacing of the samples on a line
/// \param fewest lines that have to agree, and half of all that see an end
WallDepth DepthOfWall(const Sight& sight, const std::vector<bool>& is_on_wall, double spacing,
                      int fewest);

/// The upper median; 0 of no values.
double MedianOf(std::vector<double> values);

/// What `Surrounded` tells of each kind of feature.
void TellOpening(Twin& twin, const Sight& sight);
void TellBorder(Twin& twin, const Sight& sight);
void TellWall(Twin& twin, const Sight& sight);

}  // namespace libmfx::uncertainty
