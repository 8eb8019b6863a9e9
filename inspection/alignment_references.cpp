#include <Eigen/Cholesky>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/numbers.h"
#include "inspection/alignment.h"
#include "inspection/alignment_conditions.h"

namespace libmfx::inspection {
namespace {

constexpr double kFloorShare = 1.0 / 3.0;  // of a tolerance, as a standard deviation
constexpr double kCoverage = 3.0;          // standard uncertainties that a residual may be beyond
/// Of several omissions that would do one is taken where the next leaves so many times its chi
/// squared, and more by what tolerances alone hardly make of two that are as good.
constexpr double kBetterByFar = 4.0;
constexpr double kBetterAtAll = 4.0;
constexpr double kBlind = 3.0;  // m, a tolerance under which a place counts for nothing

/// References with all that is told of them.
struct Told {
  std::vector<AlignedPlace> places;
  std::vector<double> tolerances;
  std::vector<std::string> names;

  std::vector<double> Floors() const {
    std::vector<double> floors = tolerances;
    for (double& floor : floors) floor *= kFloorShare;
    return floors;
  }
  Told Without(std::size_t i) const {
    Told rest = *this;
    const auto at = static_cast<std::ptrdiff_t>(i);
    rest.places.erase(rest.places.begin() + at);
    rest.tolerances.erase(rest.tolerances.begin() + at);
    rest.names.erase(rest.names.begin() + at);
    return rest;
  }
};

/// A fit with the place that exceeds what it is allowed by most, or comes nearest to it.
struct Checked {
  PoseFit fit;
  bool fits = false;
  std::size_t worst = 0;
  double off = 0.0, allowed = 0.0;  ///< m, of the worst
};

std::string Millimetres(double metres) { return host::Rounded(metres * 1000.0, 3) + " mm"; }

Eigen::Matrix<double, 3, 6> DerivativeOf(const Condition& condition, double extent) {
  const Vector3d p = condition.place / extent;
  Eigen::Matrix<double, 3, 6> derivative;
  derivative << 0.0, -p.z(), p.y(), -1.0, 0.0, 0.0,  //
      p.z(), 0.0, -p.x(), 0.0, -1.0, 0.0,            //
      -p.y(), p.x(), 0.0, 0.0, 0.0, -1.0;
  return derivative;
}

/// The standard uncertainty of each residual along itself, m: that of the place and that of the
/// pose, which hangs on the place. With what a step of the places does to the pose,
/// r = e - J (J^T W J)^-1 J^T W e, and W is not the inverse of the covariance of e: tolerances are
/// in it too.
std::vector<double> SpreadsOf(const Conditions& conditions, const Matrix3d& rotation) {
  const std::size_t count = conditions.all.size();
  std::vector<Matrix3d> covariances(count), weights(count);
  Matrix6d normal = Matrix6d::Zero();
  Matrix6d between = Matrix6d::Zero();
  for (std::size_t i = 0; i < count; ++i) {
    const Condition& condition = conditions.all[i];
    covariances[i] = rotation.transpose() * condition.covariance * rotation;
    weights[i] = WeightOf(condition, covariances[i]);
    AddNormal(condition.place, weights[i], conditions.extent, normal);
    AddNormal(condition.place, weights[i] * covariances[i] * weights[i], conditions.extent,
              between);
  }
  const Matrix6d inverse = normal.llt().solve(Matrix6d::Identity());
  const Matrix6d pose = inverse * between * inverse;
  std::vector<double> spreads(count, 0.0);
  for (std::size_t i = 0; i < count; ++i) {
    const Condition& condition = conditions.all[i];
    const double length = condition.residual.norm();
    if (!(length > 0.0)) continue;
    const auto derivative = DerivativeOf(condition, conditions.extent);
    const Vector3d along = condition.residual / length;
    const Vector6d step = derivative.transpose() * along;
    const Vector3d answer = covariances[i] * weights[i] * (derivative * (inverse * step));
    const double variance =
        along.dot(covariances[i] * along) - 2.0 * along.dot(answer) + step.dot(pose * step);
    spreads[i] = std::sqrt(std::fmax(0.0, variance));
  }
  return spreads;
}

/// Fits and compares each residual with what it is allowed.
std::optional<Checked> Check(const Told& told, const std::optional<Eigen::Isometry3d>& start,
                             std::string& why) {
  auto conditions = ConditionsOf(told.places, told.Floors(), &told.names, why);
  if (!conditions) return std::nullopt;
  auto fit = FitPose(told.places, start, told.Floors(), why);
  if (!fit) return std::nullopt;
  const Stand stand(fit->pose, conditions->middle);
  for (Condition& condition : conditions->all) stand.Place(condition);
  const std::vector<double> spreads = SpreadsOf(*conditions, stand.rotation());
  Checked checked;
  double most = -1.0;
  for (std::size_t i = 0; i < spreads.size(); ++i) {
    const double off = conditions->all[i].residual.norm();
    const double allowed = told.tolerances[i] + kCoverage * spreads[i] + kSurest;
    if (off / allowed > most) {
      most = off / allowed;
      checked.worst = i;
      checked.off = off;
      checked.allowed = allowed;
    }
  }
  checked.fits = most <= 1.0;
  checked.fit = std::move(*fit);
  return checked;
}

/// One that may be the reason, and what misfit is left without it.
struct Suspect {
  std::size_t index = 0;
  double chi_squared = 0.0;  ///< 0 where it cannot be told
  bool is_told = true;
};

/// Those without which all others fit, the likeliest first. Each is not left out but made to count
/// for nothing where the others tell the same: so one without which the part could still move is
/// suspected like any other.
std::vector<Suspect> SuspectsOf(const Told& told, const Eigen::Isometry3d& start) {
  std::vector<Suspect> suspects;
  for (std::size_t i = 0; i < told.places.size(); ++i) {
    Told blind = told;
    blind.tolerances[i] = kBlind;
    std::string why;
    const auto checked = Check(blind, start, why);
    if (!checked) suspects.push_back({i, 0.0, false});
    if (checked && checked->fits) suspects.push_back({i, checked->fit.chi_squared, true});
  }
  std::sort(suspects.begin(), suspects.end(),
            [](const Suspect& a, const Suspect& b) { return a.chi_squared < b.chi_squared; });
  return suspects;
}

bool IsFirstTheReason(const std::vector<Suspect>& suspects) {
  if (suspects.empty() || !suspects[0].is_told) return false;
  if (suspects.size() == 1) return true;
  const double first = suspects[0].chi_squared;
  const double second = suspects[1].chi_squared;
  return first * kBetterByFar <= second && second - first >= kBetterAtAll;
}

/// The fit without one, where the others fit and something is left over that tells so.
std::optional<Checked> FitWithout(const Told& told, std::size_t i, const Eigen::Isometry3d& start) {
  std::string why;  // too few are left, which only means that this one cannot be left out
  auto checked = Check(told.Without(i), start, why);
  if (checked && checked->fit.redundancy < 1) checked.reset();
  return checked;
}

/// The two places whose distance differs most from that of their nominals; empty where there are
/// no two that were measured in all directions.
std::string WorstPair(const Told& told) {
  std::string text;
  double most = 0.0;
  for (std::size_t i = 0; i < told.places.size(); ++i) {
    for (std::size_t j = i + 1; j < told.places.size(); ++j) {
      const AlignedPlace& a = told.places[i];
      const AlignedPlace& b = told.places[j];
      if (a.directions.trace() < 2.5 || b.directions.trace() < 2.5) continue;
      const double more = (a.measured - b.measured).norm() - (a.nominal - b.nominal).norm();
      if (std::fabs(more) <= most) continue;
      most = std::fabs(more);
      text = PlaceName(&told.names, i) + " and " + PlaceName(&told.names, j) + " are " +
             Millimetres(most) + (more > 0.0 ? " farther from" : " nearer to") +
             " each other than their nominals";
    }
  }
  return text;
}

std::string WhyNot(const Told& told, const Checked& all, const std::vector<Suspect>& suspects) {
  std::string why =
      "the references do not fit to each other: " + PlaceName(&told.names, all.worst) + " is " +
      Millimetres(all.off) + " off its nominal where " + Millimetres(all.allowed) + " are allowed";
  bool can_omit = false;
  for (std::size_t i = 0; i < told.places.size() && !can_omit; ++i) {
    can_omit = FitWithout(told, i, all.fit.pose).has_value();
  }
  if (!can_omit) {
    if (const std::string pair = WorstPair(told); !pair.empty()) why += ", and " + pair;
    return why + "; there are too few to tell which one is wrong";
  }
  if (suspects.empty()) return why + "; they do not fit without any one of them either";
  why += "; the reason could be ";
  for (std::size_t i = 0; i < suspects.size(); ++i) {
    if (i > 0) why += i + 1 < suspects.size() ? ", " : " or ";
    why += PlaceName(&told.names, suspects[i].index);
  }
  return why;
}

}  // namespace

std::optional<JudgedReferences> FitReferences(const std::vector<AlignedPlace>& places,
                                              const std::vector<double>& tolerances,
                                              const std::vector<std::string>& names,
                                              const std::optional<Eigen::Isometry3d>& start,
                                              std::string& why) {
  if (tolerances.size() != places.size() || names.size() != places.size()) {
    why = "there are " + std::to_string(places.size()) + " references, " +
          std::to_string(tolerances.size()) + " tolerances and " + std::to_string(names.size()) +
          " names";
    return std::nullopt;
  }
  const Told told{places, tolerances, names};
  auto all = Check(told, start, why);
  if (!all) return std::nullopt;
  if (all->fits) return JudgedReferences{std::move(all->fit), std::nullopt};

  const std::vector<Suspect> suspects = SuspectsOf(told, all->fit.pose);
  std::optional<Checked> rest;
  if (IsFirstTheReason(suspects)) rest = FitWithout(told, suspects[0].index, all->fit.pose);
  if (!rest || !rest->fits) {
    why = WhyNot(told, *all, suspects);
    return std::nullopt;
  }
  const std::size_t index = suspects[0].index;
  JudgedReferences judged{std::move(rest->fit), index};
  const AlignedPlace& out = places[index];
  judged.fit.residuals.insert(
      judged.fit.residuals.begin() + static_cast<std::ptrdiff_t>(index),
      out.directions * (judged.fit.pose.inverse() * out.measured - out.nominal));
  return judged;
}

}  // namespace libmfx::inspection
