#pragma once

#include <Eigen/Core>

#include "geometry/cylinder/model.h"

namespace libmfx::geometry::cylinder {

/// The frame a fit works in: the nominal point at the origin, the nominal axis along +Z, lengths in
/// nominal radii. In nominal radii a metre-sized flange and a 4 mm stud meet the damping of the fit
/// alike.
class Frame {
 public:
  /// `axis` is a unit vector, `radius` positive.
  Frame(const Eigen::Vector3d& point, const Eigen::Vector3d& axis, double radius);

  /// Takes directions into the frame; its inverse is its transpose.
  const Eigen::Matrix3d& rotation() const { return _rotation; }
  /// The nominal axis in this frame. It is +Z to rounding, but for axes within 2.6 degrees of -Z:
  /// those share one fixed half-turn and keep their small tilt. So heights and distances are taken
  /// along this direction and not along +Z.
  const Eigen::Vector3d& axis() const { return _axis; }
  double scale() const { return _scale; }

  Eigen::Vector3d ToLocal(const Eigen::Vector3d& p) const {
    return _rotation * (p - _origin) / _scale;
  }
  Eigen::Vector3d ToInstrument(const Eigen::Vector3d& p) const {
    return _rotation.transpose() * (p * _scale) + _origin;
  }

  /// The nominal cylinder as a model whose offsets lie at the local z `reference_height`.
  Model Nominal(double reference_height) const;

 private:
  Eigen::Vector3d _origin;
  Eigen::Matrix3d _rotation;
  Eigen::Vector3d _axis;
  double _scale;
};

}  // namespace libmfx::geometry::cylinder
