#pragma once

#include <Eigen/Core>
#include <optional>
#include <vector>

/// \file
/// A group of places as a whole.

namespace libmfx::inspection {

/// One place of a group, in metres and in the frame of the nominals.
struct PatternPlace {
  Eigen::Vector3d nominal;
  Eigen::Vector3d measured;
  Eigen::Matrix3d directions;  ///< projects onto those in which it was measured
};

/// How far each of them is off its nominal, m, after the group was laid onto the nominals by the
/// rigid motion of least squares in the measured directions. A freedom of the motion that these
/// hold weakly, or not at all, is not used: the motion is then the one that takes the places, with
/// their nominals where they were not measured, onto the nominals.
/// \returns none where a coordinate is not finite
std::optional<std::vector<Eigen::Vector3d>> OffNominals(const std::vector<PatternPlace>& places);

}  // namespace libmfx::inspection
