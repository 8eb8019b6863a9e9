#include "geometry/cylinder/frame.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>

namespace libmfx::geometry::cylinder {
namespace {

// Below this third component an axis counts as opposed to +Z: the cross product with +Z becomes too
// short to name an axis of rotation.
constexpr double kOpposed = -0.999;

Eigen::Matrix3d RotationOntoZ(const Eigen::Vector3d& axis) {
  if (axis.z() < kOpposed) return Eigen::Vector3d(1.0, -1.0, -1.0).asDiagonal();
  const Eigen::Vector3d cross = axis.cross(Eigen::Vector3d::UnitZ());
  const double length = cross.norm();
  if (length == 0.0) return Eigen::Matrix3d::Identity();
  const double angle = std::acos(std::clamp(axis.z(), -1.0, 1.0));
  return Eigen::AngleAxisd(angle, cross / length).toRotationMatrix();
}

}  // namespace

Frame::Frame(const Eigen::Vector3d& point, const Eigen::Vector3d& axis, double radius)
    : _origin(point), _rotation(RotationOntoZ(axis)), _axis(_rotation * axis), _scale(radius) {}

Model Frame::Nominal(double reference_height) const {
  Model model;
  model.offset = _axis.head<2>() * (reference_height / _axis.z());
  model.direction = _axis;
  model.reference_height = reference_height;
  return model;
}

}  // namespace libmfx::geometry::cylinder
