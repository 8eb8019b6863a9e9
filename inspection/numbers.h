#pragma once

#include <Eigen/Core>
#include <Eigen/Geometry>
#include <limits>
#include <vector>

/// \file
/// What was measured of a feature, as numbers that can be drawn again and again.

namespace libmfx::inspection {

using Eigen::Vector3d;

/// What was measured of one feature, in metres and in one frame. What was not is NaN.
struct FeatureNumbers {
  static constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

  Vector3d place = Vector3d::Constant(kNone);
  Vector3d direction = Vector3d::Constant(kNone);  ///< a unit vector, of the nominal one's sense
  Vector3d tangent = Vector3d::Constant(kNone);    ///< the same
  double length = kNone, width = kNone, radius = kNone;

  /// Whether any place was measured at all; every feature that was measured has one but a free
  /// path.
  bool IsMeasured() const { return place.allFinite(); }
};

/// Covariances of the same numbers; places, directions and sizes are independent of each other.
struct FeatureSpread {
  Eigen::Matrix3d place = Eigen::Matrix3d::Zero();
  Eigen::Matrix3d direction = Eigen::Matrix3d::Zero();
  Eigen::Matrix3d tangent = Eigen::Matrix3d::Zero();
  double length = 0.0, width = 0.0, radius = 0.0;  ///< variances
};

/// The same numbers in another frame.
FeatureNumbers Moved(const FeatureNumbers& numbers, const Eigen::Isometry3d& motion);

/// Everything times a scale about the frame's origin; directions stay.
FeatureNumbers Scaled(FeatureNumbers numbers, double scale);

}  // namespace libmfx::inspection
