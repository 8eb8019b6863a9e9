#pragma once

#include <Eigen/Geometry>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include "libmfx/geometry/cylinder_fitter.h"

namespace libmfx::test {

/// A grid of points on a wall, in rows along the axis. Lengths are metres, angles radians.
struct CylinderPoints {
  Eigen::Vector3d point = Eigen::Vector3d(0.3, -0.2, 2.0);
  Eigen::Vector3d axis = Eigen::Vector3d(0.2, 0.5, -0.8).normalized();
  double radius = 0.005;
  double arc = std::numbers::pi;  ///< seen of the wall
  double low = 0.002;             ///< heights above `point`
  double high = 0.018;
  int around = 40;
  int along = 50;
  double noise = 0.0;  ///< sigma, across the wall
  unsigned int seed = 1;

  std::vector<Eigen::Vector3d> Make() const {
    std::mt19937 random(seed);
    std::normal_distribution<double> normal(0.0, 1.0);
    const Eigen::Vector3d e1 = axis.unitOrthogonal();
    const Eigen::Vector3d e2 = axis.cross(e1);
    std::vector<Eigen::Vector3d> points;
    for (int i = 0; i < around; ++i) {
      const double turn = arc * i / std::max(1, around - 1);
      const Eigen::Vector3d out = std::cos(turn) * e1 + std::sin(turn) * e2;
      for (int k = 0; k < along; ++k) {
        const double height = low + (high - low) * k / std::max(1, along - 1);
        points.push_back(point + height * axis + (radius + noise * normal(random)) * out);
      }
    }
    return points;
  }

  geometry::ThreadedCylinderFitter::Cylinder Nominal() const {
    geometry::ThreadedCylinderFitter::Cylinder nominal;
    nominal.point = point;
    nominal.axis = axis;
    nominal.radius = radius;
    return nominal;
  }
};

/// How far a point lies from the axis of a cylinder.
inline double DistanceFromAxis(const Eigen::Vector3d& p, const Eigen::Vector3d& on_axis,
                               const Eigen::Vector3d& axis) {
  return (p - on_axis).cross(axis).norm() / axis.norm();
}

/// The angle between two axes, whatever their senses.
inline double AxisAngle(const Eigen::Vector3d& a, const Eigen::Vector3d& b) {
  return std::atan2(a.cross(b).norm(), std::abs(a.dot(b)));
}

}  // namespace libmfx::test
