#include "inspection/adjustment.h"

#include <optional>
#include <string>
#include <vector>

#ifdef LIBMFX_HAS_CERES

#include <Eigen/Eigenvalues>
#include <cmath>
#include <limits>
#include <utility>

#include "host/module.h"
#include "inspection/adjustment_module.h"
#include "inspection/alignment_conditions.h"

namespace libmfx::inspection {
namespace {

constexpr int kMostRounds = 20;   // in which weights follow the poses
constexpr double kStill = 1e-10;  // m and radians, that a round moves no pose by

constexpr char kNotTogether[] = "several stations cannot be adjusted together: ";

/// All that is adjusted.
struct Bundle {
  Conditions conditions;  ///< of each sighting
  StationNet net;
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
  bundle.net.nominals.assign(references,
                             Vector3d::Constant(std::numeric_limits<double>::quiet_NaN()));
  for (std::size_t i = 0; i < sightings.size(); ++i) {
    Vector3d& nominal = bundle.net.nominals[sightings[i].reference];
    const Vector3d& told = bundle.conditions.all[i].nominal;
    if (nominal.allFinite() && nominal != told) {
      why = NumberText("reference", sightings[i].reference) + " has two nominals";
      return std::nullopt;
    }
    nominal = told;
  }
  bundle.net.places = bundle.net.nominals;
  for (const Eigen::Isometry3d& start : starts) {
    bundle.net.stations.push_back(
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

/// Whitens the sightings by the poses at hand.
void Weigh(Bundle& bundle, const std::vector<Sighting>& sightings) {
  bundle.net.terms.clear();
  for (std::size_t i = 0; i < sightings.size(); ++i) {
    const Condition& condition = bundle.conditions.all[i];
    if (condition.count == 0) continue;
    const std::size_t station = sightings[i].station;
    const Matrix3d rotation = bundle.net.stations[station].turn.toRotationMatrix();
    const Matrix3d weight =
        WeightOf(condition, rotation.transpose() * condition.covariance * rotation);
    bundle.net.terms.push_back(
        {station, sightings[i].reference, condition.measured, RootOf(weight)});
  }
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

/// \param why receives why there is none
const AdjustmentModule* Module(std::string& why) {
  try {
    static const auto* const module =
        static_cast<const AdjustmentModule*>(host::LoadModule("adjustment"));
    return module;
  } catch (const host::ModuleError& error) {
    why = std::string(kNotTogether) + error.what();
    return nullptr;
  }
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
  for (const double tolerance : tolerances) {
    bundle->net.standards.push_back(tolerance < kSurest ? 0.0 : tolerance);
  }
  const AdjustmentModule* const module = Module(why);
  if (module == nullptr) return std::nullopt;
  double chi_squared = 0.0;
  bool is_still = false;
  for (int i = 0; i < kMostRounds && !is_still; ++i) {
    const std::vector<StationUnknown> before = bundle->net.stations;
    Weigh(*bundle, sightings);
    bool settles = false;
    const std::string failed = module->solve(bundle->net, chi_squared, settles);
    if (!failed.empty()) {
      why = std::string(kNotTogether) + failed;
      return std::nullopt;
    }
    if (!settles) break;
    is_still = MovedMost(before, bundle->net.stations) <= kStill;
  }
  if (!is_still) {
    why = "no poses of the stations fit what they saw: the adjustment did not settle";
    return std::nullopt;
  }
  Adjustment adjustment;
  const Vector3d& middle = bundle->conditions.middle;
  for (const StationUnknown& station : bundle->net.stations) {
    Eigen::Isometry3d pose = Eigen::Isometry3d::Identity();
    pose.linear() = station.turn.normalized().toRotationMatrix();
    pose.translation() = station.middle - pose.linear() * middle;
    adjustment.poses.push_back(pose);
  }
  for (const Vector3d& place : bundle->net.places) adjustment.places.push_back(place + middle);
  adjustment.chi_squared = chi_squared;
  adjustment.redundancy =
      bundle->conditions.count - 6 * static_cast<int>(bundle->net.stations.size());
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
