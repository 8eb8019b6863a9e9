#pragma once

#include <Eigen/Cholesky>
#include <Eigen/Core>
#include <Eigen/Geometry>
#include <numbers>

#include "inspection/alignment.h"
#include "sim/rng.h"

/// \file
/// Poses and measured places with a known truth, drawn from a seed.

namespace libmfx::inspection::test {

using Eigen::Isometry3d;
using Eigen::Matrix3d;
using Vector6d = Eigen::Matrix<double, 6, 1>;

inline Vector3d NormalVector(sim::Rng& rng) { return {rng.Normal(), rng.Normal(), rng.Normal()}; }

inline Vector3d UnitVector(sim::Rng& rng) { return NormalVector(rng).normalized(); }

/// Any turn, and a part 1 to 3 m away.
inline Isometry3d RandomPose(sim::Rng& rng) {
  Isometry3d pose = Isometry3d::Identity();
  const Eigen::Vector4d q(rng.Normal(), rng.Normal(), rng.Normal(), rng.Normal());
  pose.linear() = Eigen::Quaterniond(q.normalized()).toRotationMatrix();
  pose.translation() = rng.Uniform(1.0, 3.0) * UnitVector(rng);
  return pose;
}

/// A pose that differs from another by a turn about the instrument's axes through `middle` (part's
/// frame) and a shift.
inline Isometry3d Moved(const Isometry3d& pose, const Vector3d& turn, const Vector3d& shift,
                        const Vector3d& middle) {
  Isometry3d moved = Isometry3d::Identity();
  const double angle = turn.norm();
  moved.linear() = pose.linear();
  if (angle > 0.0) {
    moved.linear() = Eigen::AngleAxisd(angle, turn / angle).toRotationMatrix() * pose.linear();
  }
  moved.translation() = pose * middle + shift - moved.linear() * middle;
  return moved;
}

/// An ellipsoid of any direction, whose standard deviations are 0.3 to 3 times `standard`.
inline Matrix3d RandomCovariance(sim::Rng& rng, double standard) {
  const Matrix3d axes = RandomPose(rng).linear();
  const Vector3d sigma =
      standard * Vector3d(rng.Uniform(0.3, 3.0), rng.Uniform(0.3, 3.0), rng.Uniform(0.3, 3.0));
  return axes * sigma.cwiseAbs2().asDiagonal() * axes.transpose();
}

inline Vector3d Drawn(sim::Rng& rng, const Matrix3d& covariance) {
  return Eigen::LLT<Matrix3d>(covariance).matrixL() * NormalVector(rng);
}

/// A place measured with noise of its covariance.
/// \param off m, where it really is less its nominal, in the part's frame
inline AlignedPlace Measured(sim::Rng& rng, const Isometry3d& truth, const Vector3d& nominal,
                             const Matrix3d& covariance,
                             const Matrix3d& directions = Matrix3d::Identity(),
                             const Vector3d& off = Vector3d::Zero()) {
  AlignedPlace place;
  place.nominal = nominal;
  place.measured = truth * Vector3d(nominal + off) + Drawn(rng, covariance);
  place.covariance = covariance;
  place.directions = directions;
  return place;
}

/// A place measured as it is, in all or some directions, with 10 um.
inline AlignedPlace Exact(const Isometry3d& truth, const Vector3d& nominal,
                          const Matrix3d& directions = Matrix3d::Identity(),
                          const Vector3d& off = Vector3d::Zero()) {
  AlignedPlace place;
  place.nominal = nominal;
  place.measured = truth * Vector3d(nominal + off);
  place.covariance = 1e-10 * Matrix3d::Identity();
  place.directions = directions;
  return place;
}

inline Matrix3d Along(const Vector3d& axis) { return axis * axis.transpose(); }
inline Matrix3d Across(const Vector3d& axis) { return Matrix3d::Identity() - Along(axis); }

/// What a pose is off the truth, as `PoseFit::covariance` counts it.
inline Vector6d ErrorOf(const Isometry3d& pose, const Isometry3d& truth, const Vector3d& middle) {
  const Eigen::AngleAxisd turn(Matrix3d(pose.linear() * truth.linear().transpose()));
  Vector6d error;
  error << turn.angle() * turn.axis(), pose * middle - truth * middle;
  return error;
}

/// Its square in units of its covariance.
inline double SquareOf(const PoseFit& fit, const Isometry3d& truth) {
  const Vector6d error = ErrorOf(fit.pose, truth, fit.middle);
  return error.dot(fit.covariance.ldlt().solve(error));
}

inline double Degrees(double degrees) { return degrees * std::numbers::pi / 180.0; }

}  // namespace libmfx::inspection::test
