#include "inspection/alignment.h"

#include <Eigen/Cholesky>
#include <Eigen/Eigenvalues>
#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include "inspection/alignment_conditions.h"
#include "libmfx/data_structures/point.h"
#include "libmfx/math/alignment.h"

namespace libmfx::inspection {
namespace {

constexpr int kMostSteps = 60;
constexpr int kMostDampings = 20;
constexpr double kFirstDamping = 1e-3;
constexpr double kStill = 1e-6;    // standard uncertainties, that a step moves the pose by
constexpr double kNoWorse = 1e-6;  // of chi squared, which says nothing of a pose
/// Places that lie off a line by less than this share of its length tell the turn about it poorly:
/// a start that is given tells it better.
constexpr double kThin = 0.01;

/// How far the places that are measured in all directions lie off a line, as a share of how far
/// they lie along it.
double OffALine(const std::vector<const AlignedPlace*>& full) {
  if (full.size() < 3) return 0.0;
  Vector3d mean = Vector3d::Zero();
  for (const AlignedPlace* place : full) mean += place->nominal;
  mean /= static_cast<double>(full.size());
  Matrix3d scatter = Matrix3d::Zero();
  for (const AlignedPlace* place : full) {
    const Vector3d off = place->nominal - mean;
    scatter += off * off.transpose();
  }
  Eigen::SelfAdjointEigenSolver<Matrix3d> solver;
  solver.computeDirect(scatter, Eigen::EigenvaluesOnly);
  const Vector3d& values = solver.eigenvalues();
  return values[2] > 0.0 ? std::sqrt(std::fmax(0.0, values[1]) / values[2]) : 0.0;
}

std::optional<Eigen::Isometry3d> Aligned(const std::vector<const AlignedPlace*>& full) {
  math::Alignment alignment;
  for (const AlignedPlace* place : full) {
    alignment.AddCorrespondence(data_structures::PointXYZW(place->measured),
                                data_structures::PointXYZW(place->nominal));
  }
  Eigen::Matrix4d to_nominal;
  if (!alignment.MeasuredToNominalTransform(to_nominal)) return std::nullopt;
  return Eigen::Isometry3d(to_nominal).inverse();
}

/// A pose from which the fit can begin.
std::optional<Eigen::Isometry3d> Begin(const std::vector<AlignedPlace>& places,
                                       const Conditions& conditions,
                                       const std::optional<Eigen::Isometry3d>& start,
                                       std::string& why) {
  std::vector<const AlignedPlace*> full;
  full.reserve(places.size());
  for (std::size_t i = 0; i < places.size(); ++i) {
    if (conditions.all[i].count == 3) full.push_back(&places[i]);
  }
  const double off = OffALine(full);
  if (off > kThin || (off > kOpen && !start)) return Aligned(full);
  if (start) return start;
  why =
      "fewer than three places that are not on a line were measured in all directions, and no "
      "pose to start from is known";
  return std::nullopt;
}

/// Weighted least squares of a pose: Gauss-Newton, damped where a step makes it worse. Weights are
/// those of the pose at hand.
class Search {
 public:
  Search(Conditions& conditions, const Eigen::Isometry3d& start)
      : _conditions(conditions),
        _stand(start, conditions.middle),
        _weights(conditions.all.size(), Matrix3d::Zero()) {
    Place(_stand);
  }

  bool Run() {
    for (int i = 0; i < kMostSteps; ++i) {
      Weigh();
      if (!_normal.allFinite() || !_gradient.allFinite()) return false;
      bool is_still = false;
      if (!Step(is_still)) return false;
      if (is_still) {
        Weigh();
        return true;
      }
    }
    return false;
  }

  std::optional<PoseFit> Fit() const {
    const Eigen::LLT<Matrix6d> factors(_normal);
    if (factors.info() != Eigen::Success) return std::nullopt;
    PoseFit fit;
    fit.pose = _stand.Pose(_conditions.middle);
    fit.covariance =
        InInstrument(factors.solve(Matrix6d::Identity()), _conditions.extent, _stand.rotation());
    fit.middle = _conditions.middle;
    fit.residuals.reserve(_conditions.all.size());
    for (const Condition& condition : _conditions.all) {
      fit.residuals.push_back(condition.residual);
    }
    fit.redundancy = _conditions.count - 6;
    fit.chi_squared = Cost();
    if (!fit.pose.matrix().allFinite() || !fit.covariance.allFinite()) return std::nullopt;
    return fit;
  }

 private:
  void Place(const Stand& stand) {
    for (Condition& condition : _conditions.all) stand.Place(condition);
  }

  double Cost() const {
    double cost = 0.0;
    for (std::size_t i = 0; i < _weights.size(); ++i) {
      const Vector3d& residual = _conditions.all[i].residual;
      cost += residual.dot(_weights[i] * residual);
    }
    return cost;
  }

  void Weigh() {
    const Matrix3d& rotation = _stand.rotation();
    _normal.setZero();
    _gradient.setZero();
    for (std::size_t i = 0; i < _weights.size(); ++i) {
      const Condition& condition = _conditions.all[i];
      const Matrix3d turned = rotation.transpose() * condition.covariance * rotation;
      _weights[i] = WeightOf(condition, turned);
      AddNormal(condition.place, _weights[i], _conditions.extent, _normal);
      AddGradient(condition, _weights[i], _conditions.extent, _gradient);
    }
  }

  /// One step that makes it no worse; none can be found: false.
  bool Step(bool& is_still) {
    const double cost = Cost();
    for (int i = 0; i < kMostDampings; ++i) {
      Matrix6d damped = _normal;
      damped.diagonal() *= 1.0 + _damping;
      const Vector6d step = -damped.ldlt().solve(_gradient);
      if (!step.allFinite()) return false;
      const Stand next = _stand.Stepped(step, _conditions.extent);
      Place(next);
      // A damped step is short wherever it is.
      is_still = _damping == 0.0 && (step.norm() <= next.Still(_conditions.extent) ||
                                     step.dot(_normal * step) <= kStill * kStill);
      if (is_still || Cost() <= cost * (1.0 + 1e-12) + kNoWorse) {
        _stand = next;
        _damping = _damping > kFirstDamping ? 0.1 * _damping : 0.0;
        return true;
      }
      _damping = std::fmax(10.0 * _damping, kFirstDamping);
    }
    return false;
  }

  Conditions& _conditions;
  Stand _stand;
  std::vector<Matrix3d> _weights;  ///< of each place, part's axes
  Matrix6d _normal = Matrix6d::Zero();
  Vector6d _gradient = Vector6d::Zero();
  double _damping = 0.0;
};

}  // namespace

std::optional<PoseFit> FitConditions(Conditions& conditions, const Eigen::Isometry3d& start,
                                     std::string& why) {
  Search search(conditions, start);
  std::optional<PoseFit> fit;
  if (search.Run()) fit = search.Fit();
  if (!fit) why = "no pose fits what was measured: least squares did not settle";
  return fit;
}

std::optional<PoseFit> FitPose(const std::vector<AlignedPlace>& places,
                               const std::optional<Eigen::Isometry3d>& start,
                               const std::vector<double>& floors, std::string& why) {
  if (start && !IsRigid(*start, "the pose to start from", why)) return std::nullopt;
  std::optional<Conditions> conditions = ConditionsOf(places, floors, nullptr, why);
  if (!conditions) return std::nullopt;
  if (conditions->count == 0) {
    why = "no place was measured";
    return std::nullopt;
  }
  if (const std::string free = WhatIsFree(*conditions); !free.empty()) {
    why = "what was measured leaves the part " + free;
    return std::nullopt;
  }
  const auto begin = Begin(places, *conditions, start, why);
  if (!begin) return std::nullopt;
  return FitConditions(*conditions, *begin, why);
}

std::optional<PoseFit> FitPose(const std::vector<AlignedPlace>& places,
                               const std::optional<Eigen::Isometry3d>& start, double floor,
                               std::string& why) {
  return FitPose(places, start, std::vector<double>{floor}, why);
}

}  // namespace libmfx::inspection
