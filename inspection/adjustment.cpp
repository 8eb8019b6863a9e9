#include "inspection/adjustment.h"

#include <optional>
#include <string>
#include <vector>

#ifdef LIBMFX_HAS_CERES

#include <ceres/ceres.h>

#include <Eigen/Eigenvalues>
#include <cmath>
#include <limits>
#include <memory>
#include <utility>

#include "inspection/alignment_conditions.h"

namespace libmfx::inspection {
namespace {

constexpr int kMostSteps = 100;   // of one adjustment with its weights
constexpr int kMostRounds = 20;   // in which weights follow the poses
constexpr double kStill = 1e-10;  // m and radians, that a round moves no pose by

/// A station's pose as it is adjusted.
struct StationUnknown {
  Eigen::Quaterniond turn;
  Vector3d middle;  ///< m, of the places, in its frame
};

/// Measured less adjusted place in the part's axes, whitened.
class SightingCost {
 public:
  SightingCost(const Vector3d& measured, const Matrix3d& root) : _measured(measured), _root(root) {}

  template <typename T>
  bool operator()(const T* turn, const T* middle, const T* place, T* residual) const {
    using Vector = Eigen::Matrix<T, 3, 1>;
    const Eigen::Map<const Eigen::Quaternion<T>> rotation(turn);
    const Vector off = _measured.cast<T>() - Eigen::Map<const Vector>(middle);
    const Vector less = rotation.conjugate() * off - Eigen::Map<const Vector>(place);
    Eigen::Map<Vector> whitened(residual);
    whitened = _root.cast<T>() * less;
    return true;
  }

 private:
  Vector3d _measured;
  Matrix3d _root;
};

/// A place less its nominal, in standard deviations.
class NominalCost {
 public:
  NominalCost(const Vector3d& nominal, double standard) : _nominal(nominal), _standard(standard) {}

  template <typename T>
  bool operator()(const T* place, T* residual) const {
    for (int i = 0; i < 3; ++i) residual[i] = (place[i] - _nominal[i]) / _standard;
    return true;
  }

 private:
  Vector3d _nominal;
  double _standard;
};

/// All that is adjusted.
struct Bundle {
  Conditions conditions;  ///< of each sighting
  std::vector<StationUnknown> stations;
  std::vector<Vector3d> places;    ///< m, less the middle; NaN of a reference that nobody saw
  std::vector<Vector3d> nominals;  ///< the same
};

std::string NumberText(const char* what, std::size_t i) {
  return std::string(what) + " " + std::to_string(i + 1);
}

bool AreNumbersSound(const std::vector<Sighting>& sightings, const std::vector<double>& tolerances,
                     const std::vector<Eigen::Isometry3d>& starts, std::string& why) {
  if (starts.empty()) why = "there is no station to adjust";
  for (std::size_t i = 0; i < tolerances.size() && why.empty(); ++i) {
    if (!(tolerances[i] >= 0.0 && tolerances[i] < 1e6)) {
      why = NumberText("reference", i) + " has a tolerance that is no length";
    }
  }
  for (std::size_t i = 0; i < starts.size() && why.empty(); ++i) {
    IsRigid(starts[i], "the pose that " + NumberText("station", i) + " starts from", why);
  }
  for (std::size_t i = 0; i < sightings.size() && why.empty(); ++i) {
    if (sightings[i].station >= starts.size() || sightings[i].reference >= tolerances.size()) {
      why = NumberText("sighting", i) + " names a station or a reference that there is not";
    }
  }
  return why.empty();
}

/// Whether each station's own sightings hold it.
bool IsEachHeld(const std::vector<Sighting>& sightings, std::size_t stations, std::string& why) {
  for (std::size_t k = 0; k < stations; ++k) {
    std::vector<AlignedPlace> own;
    for (const Sighting& sighting : sightings) {
      if (sighting.station == k) own.push_back(sighting.place);
    }
    const auto conditions = ConditionsOf(own, {0.0}, nullptr, why);
    if (!conditions) {
      why = NumberText("station", k) + ": " + why;
      return false;
    }
    if (conditions->count == 0) {
      why = NumberText("station", k) + " sees no reference";
      return false;
    }
    if (const std::string free = WhatIsFree(*conditions); !free.empty()) {
      why = "what " + NumberText("station", k) + " sees leaves the part " + free;
      return false;
    }
  }
  return true;
}

std::optional<Bundle> BundleOf(const std::vector<Sighting>& sightings, std::size_t references,
                               const std::vector<Eigen::Isometry3d>& starts, std::string& why) {
  if (!IsEachHeld(sightings, starts.size(), why)) return std::nullopt;
  std::vector<AlignedPlace> places;
  places.reserve(sightings.size());
  for (const Sighting& sighting : sightings) places.push_back(sighting.place);
  auto conditions = ConditionsOf(places, {0.0}, nullptr, why);
  if (!conditions) return std::nullopt;
  Bundle bundle;
  bundle.conditions = std::move(*conditions);
  bundle.nominals.assign(references, Vector3d::Constant(std::numeric_limits<double>::quiet_NaN()));
  for (std::size_t i = 0; i < sightings.size(); ++i) {
    Vector3d& nominal = bundle.nominals[sightings[i].reference];
    const Vector3d& told = bundle.conditions.all[i].nominal;
    if (nominal.allFinite() && nominal != told) {
      why = NumberText("reference", sightings[i].reference) + " has two nominals";
      return std::nullopt;
    }
    nominal = told;
  }
  bundle.places = bundle.nominals;
  for (const Eigen::Isometry3d& start : starts) {
    bundle.stations.push_back(
        {Eigen::Quaterniond(start.linear()).normalized(), start * bundle.conditions.middle});
  }
  return bundle;
}

/// A matrix whose product with its transpose in front is the weight.
Matrix3d RootOf(const Matrix3d& weight) {
  const Eigen::SelfAdjointEigenSolver<Matrix3d> solver(weight);
  return solver.eigenvalues().cwiseMax(0.0).cwiseSqrt().asDiagonal() *
         solver.eigenvectors().transpose();
}

void AddBlocks(Bundle& bundle, const std::vector<Sighting>& sightings,
               const std::vector<double>& tolerances, ceres::Problem& problem,
               ceres::ParameterBlockOrdering& order) {
  for (StationUnknown& station : bundle.stations) {
    problem.AddParameterBlock(station.turn.coeffs().data(), 4, new ceres::EigenQuaternionManifold);
    problem.AddParameterBlock(station.middle.data(), 3);
    order.AddElementToGroup(station.turn.coeffs().data(), 1);
    order.AddElementToGroup(station.middle.data(), 1);
  }
  for (std::size_t i = 0; i < bundle.places.size(); ++i) {
    if (!bundle.places[i].allFinite()) continue;
    double* place = bundle.places[i].data();
    problem.AddParameterBlock(place, 3);
    order.AddElementToGroup(place, 0);
    if (tolerances[i] < kSurest) {
      problem.SetParameterBlockConstant(place);
      continue;
    }
    problem.AddResidualBlock(new ceres::AutoDiffCostFunction<NominalCost, 3, 3>(
                                 new NominalCost(bundle.nominals[i], tolerances[i])),
                             nullptr, place);
  }
  for (std::size_t i = 0; i < sightings.size(); ++i) {
    const Condition& condition = bundle.conditions.all[i];
    if (condition.count == 0) continue;
    StationUnknown& station = bundle.stations[sightings[i].station];
    const Matrix3d rotation = station.turn.toRotationMatrix();
    const Matrix3d weight =
        WeightOf(condition, rotation.transpose() * condition.covariance * rotation);
    problem.AddResidualBlock(new ceres::AutoDiffCostFunction<SightingCost, 3, 4, 3, 3>(
                                 new SightingCost(condition.measured, RootOf(weight))),
                             nullptr, station.turn.coeffs().data(), station.middle.data(),
                             bundle.places[sightings[i].reference].data());
  }
}

/// One adjustment with the weights of the poses at hand.
/// \returns twice the cost that is left; none where it does not settle
std::optional<double> SolveOnce(Bundle& bundle, const std::vector<Sighting>& sightings,
                                const std::vector<double>& tolerances) {
  ceres::Problem problem;
  ceres::Solver::Options options;
  options.linear_solver_ordering = std::make_shared<ceres::ParameterBlockOrdering>();
  AddBlocks(bundle, sightings, tolerances, problem, *options.linear_solver_ordering);
  options.linear_solver_type = ceres::DENSE_SCHUR;
  options.logging_type = ceres::SILENT;
  options.num_threads = 1;
  options.max_num_iterations = kMostSteps;
  // Steps of a nanometre count: all that rounding leaves is looked for.
  options.function_tolerance = 1e-16;
  options.gradient_tolerance = 1e-14;
  options.parameter_tolerance = 1e-14;
  ceres::Solver::Summary summary;
  ceres::Solve(options, &problem, &summary);
  if (!summary.IsSolutionUsable() || !std::isfinite(summary.final_cost)) return std::nullopt;
  return 2.0 * summary.final_cost;
}

double MovedMost(const std::vector<StationUnknown>& before,
                 const std::vector<StationUnknown>& after) {
  double most = 0.0;
  for (std::size_t k = 0; k < before.size(); ++k) {
    most = std::fmax(most, (after[k].middle - before[k].middle).norm());
    most = std::fmax(most, before[k].turn.angularDistance(after[k].turn));
  }
  return most;
}

}  // namespace

bool CanAdjust() { return true; }

std::optional<Adjustment> Adjust(const std::vector<Sighting>& sightings,
                                 const std::vector<double>& tolerances,
                                 const std::vector<Eigen::Isometry3d>& starts, std::string& why) {
  why.clear();
  if (!AreNumbersSound(sightings, tolerances, starts, why)) return std::nullopt;
  auto bundle = BundleOf(sightings, tolerances.size(), starts, why);
  if (!bundle) return std::nullopt;
  std::optional<double> chi_squared;
  bool is_still = false;
  for (int i = 0; i < kMostRounds && !is_still; ++i) {
    const std::vector<StationUnknown> before = bundle->stations;
    chi_squared = SolveOnce(*bundle, sightings, tolerances);
    if (!chi_squared) break;
    is_still = MovedMost(before, bundle->stations) <= kStill;
  }
  if (!is_still) {
    why = "no poses of the stations fit what they saw: the adjustment did not settle";
    return std::nullopt;
  }
  Adjustment adjustment;
  const Vector3d& middle = bundle->conditions.middle;
  for (const StationUnknown& station : bundle->stations) {
    Eigen::Isometry3d pose = Eigen::Isometry3d::Identity();
    pose.linear() = station.turn.normalized().toRotationMatrix();
    pose.translation() = station.middle - pose.linear() * middle;
    adjustment.poses.push_back(pose);
  }
  for (const Vector3d& place : bundle->places) adjustment.places.push_back(place + middle);
  adjustment.chi_squared = *chi_squared;
  adjustment.redundancy = bundle->conditions.count - 6 * static_cast<int>(bundle->stations.size());
  return adjustment;
}

}  // namespace libmfx::inspection

#else

namespace libmfx::inspection {

bool CanAdjust() { return false; }

std::optional<Adjustment> Adjust(const std::vector<Sighting>& /*sightings*/,
                                 const std::vector<double>& /*tolerances*/,
                                 const std::vector<Eigen::Isometry3d>& /*starts*/,
                                 std::string& why) {
  why = "several stations cannot be adjusted together: this build adjusts one station only";
  return std::nullopt;
}

}  // namespace libmfx::inspection

#endif
