#include "inspection/pattern.h"

#include <Eigen/Eigenvalues>
#include <Eigen/Geometry>
#include <cmath>
#include <cstddef>

#include "libmfx/data_structures/point.h"
#include "libmfx/math/alignment.h"

namespace libmfx::inspection {
namespace {

using Eigen::Matrix3d;
using Eigen::Vector3d;
using Matrix6d = Eigen::Matrix<double, 6, 6>;
using Vector6d = Eigen::Matrix<double, 6, 1>;

/// A freedom that the measured directions hold less than this share of the best held one is weakly
/// held: studs side by side, whose heights differ by less than a third of their distances, do not
/// tell how the group is tilted.
constexpr double kWeak = 0.1;
constexpr int kMostSteps = 20;

/// Where a place's nominal stands in for what was not measured.
Vector3d Completed(const PatternPlace& place) {
  return place.nominal + place.directions * (place.measured - place.nominal);
}

/// Turns and shifts of a group of nominals about its middle.
class Steps {
 public:
  explicit Steps(const std::vector<PatternPlace>& places) : _places(places) {
    const auto count = static_cast<double>(places.size());
    for (const PatternPlace& place : places) _middle += place.nominal / count;
    for (const PatternPlace& place : places) {
      _extent += (place.nominal - _middle).squaredNorm() / count;
    }
    _extent = std::sqrt(_extent);
    if (!(_extent > 0.0)) _extent = 1.0;
    Matrix6d normal = Matrix6d::Zero();
    for (const PatternPlace& place : places) {
      const auto jacobian = Jacobian(place);
      normal += jacobian.transpose() * jacobian;
    }
    const Eigen::SelfAdjointEigenSolver<Matrix6d> solver(normal);
    const Vector6d& held = solver.eigenvalues();
    for (Eigen::Index i = 0; i < 6; ++i) {
      if (!(held[i] > kWeak * held[5])) continue;
      _inverse += solver.eigenvectors().col(i) * solver.eigenvectors().col(i).transpose() / held[i];
    }
  }

  /// The step from a motion to that of least squares; 0 in what is weakly held.
  Vector6d From(const Eigen::Isometry3d& motion) const {
    Vector6d gradient = Vector6d::Zero();
    for (const PatternPlace& place : _places) {
      gradient += Jacobian(place).transpose() * (motion * Completed(place) - place.nominal);
    }
    return -_inverse * gradient;
  }

  Eigen::Isometry3d Stepped(const Eigen::Isometry3d& motion, const Vector6d& step) const {
    const Vector3d turn = step.head<3>() / _extent;
    const double angle = turn.norm();
    Eigen::Isometry3d stepped = Eigen::Isometry3d::Identity();
    stepped.translate(_middle + step.tail<3>());
    if (angle > 0.0) stepped.rotate(Eigen::AngleAxisd(angle, turn / angle));
    stepped.translate(-_middle);
    return stepped * motion;
  }

 private:
  /// What a step, in metres at the group's extent, moves the place in the measured directions.
  Eigen::Matrix<double, 3, 6> Jacobian(const PatternPlace& place) const {
    const Vector3d arm = (place.nominal - _middle) / _extent;
    Eigen::Matrix<double, 3, 6> jacobian;
    for (Eigen::Index i = 0; i < 3; ++i) jacobian.col(i) = Vector3d::Unit(i).cross(arm);
    jacobian.rightCols<3>().setIdentity();
    return place.directions * jacobian;
  }

  const std::vector<PatternPlace>& _places;
  Vector3d _middle = Vector3d::Zero();
  double _extent = 0.0;
  Matrix6d _inverse = Matrix6d::Zero();
};

}  // namespace

std::optional<std::vector<Vector3d>> OffNominals(const std::vector<PatternPlace>& places) {
  math::Alignment alignment;
  bool is_complete = true;
  for (const PatternPlace& place : places) {
    alignment.AddCorrespondence(data_structures::PointXYZW(Completed(place)),
                                data_structures::PointXYZW(place.nominal));
    if (!place.directions.isIdentity(0.0)) is_complete = false;
  }
  Eigen::Matrix4d transform;
  if (!alignment.MeasuredToNominalTransform(transform)) return std::nullopt;
  Eigen::Isometry3d motion(transform);
  if (!is_complete) {
    const Steps steps(places);
    for (int i = 0; i < kMostSteps; ++i) {
      const Vector6d step = steps.From(motion);
      if (!step.allFinite()) return std::nullopt;
      motion = steps.Stepped(motion, step);
      if (step.norm() < 1e-13) break;
    }
  }
  std::vector<Vector3d> off;
  off.reserve(places.size());
  for (const PatternPlace& place : places) {
    off.emplace_back(motion * Completed(place) - place.nominal);
    if (!off.back().allFinite()) return std::nullopt;
  }
  return off;
}

}  // namespace libmfx::inspection
