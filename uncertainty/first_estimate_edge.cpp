#include <Eigen/Geometry>
#include <Eigen/SVD>
#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>
#include <vector>

#include "uncertainty/first_estimate_parts.h"

namespace libmfx::uncertainty::first {

using Eigen::Index;
using Eigen::MatrixXd;
using Eigen::VectorXd;

namespace {

/// How far samples at `near` let the curve move at `at`, for an error of 1 of each: the root of the
/// leverage of a polynomial fitted to them. Powers that so few samples do not tell apart are left
/// out.
double RootLeverage(const std::vector<double>& near, double at, double reach, int order) {
  constexpr double kToldApart = 1e-3;
  const Index powers = std::min<Index>(order + 1, static_cast<Index>(near.size()));
  const auto row = [&](double x) {
    VectorXd r(powers);
    for (Index k = 0; k < powers; ++k) r[k] = std::pow(x / reach, static_cast<double>(k));
    return r;
  };
  MatrixXd design(powers, static_cast<Index>(near.size()));
  for (std::size_t i = 0; i < near.size(); ++i) design.col(static_cast<Index>(i)) = row(near[i]);
  Eigen::JacobiSVD<MatrixXd> svd(design, Eigen::ComputeThinU | Eigen::ComputeThinV);
  svd.setThreshold(kToldApart);
  // The curve at `at` is a weighted sum of the samples: the least weights that give its powers.
  return std::min(1.0, svd.solve(row(at)).norm());
}

/// The line along the surface, as far as its samples can be told: those that scatter about it.
struct Run {
  double count = 0.0;
  double middle = 0.0;   ///< along it
  double squares = 0.0;  ///< about the middle
};

Run RunOf(const features::StageProfile& profile) {
  constexpr double kLeastScatter = 1e-6;  // metres, of a profile without noise
  const Vector3d from = profile.surface_point.xyz();
  const Vector3d up = profile.surface_normal.xyz().normalized();
  const Vector3d outward = profile.surface_direction.xyz().normalized();
  const double near = 3.0 * std::max(profile.surface_scatter, kLeastScatter);
  std::vector<double> places;
  Run run;
  for (Index i = 0; i < profile.selected.cols(); ++i) {
    const Vector3d d = profile.selected.point(i).xyz() - from;
    if (std::abs(d.dot(up)) <= near) places.push_back(d.dot(outward));
  }
  run.count = static_cast<double>(places.size());
  for (const double x : places) run.middle += x / run.count;
  for (const double x : places) run.squares += (x - run.middle) * (x - run.middle);
  return run;
}

/// The curve through the profile where it passes the depth asked for. Its axes lie half a right
/// angle to either side of the surface.
struct Passage {
  Vector3d along;   ///< unit, along the curve
  Vector3d across;  ///< unit, square to it in the section
  double leverage;  ///< of the samples' errors, to its own square to itself
};

std::optional<Passage> PassageOf(const features::StageProfile& profile, const Vector3d& place) {
  const Vector3d outward = profile.surface_direction.xyz().normalized();
  const Vector3d up = profile.surface_normal.xyz().normalized();
  const Vector3d first = (outward - up) / std::numbers::sqrt2;
  const Vector3d second = -(outward + up) / std::numbers::sqrt2;
  const Vector3d middle = profile.middle.xyz();
  const geometry::Polynomial2D& curve = profile.polynomial;
  const double at = (place - middle).dot(first);
  const double slope = (curve.Evaluate(at + kParameterStep) - curve.Evaluate(at - kParameterStep)) /
                       (2.0 * kParameterStep);
  std::vector<double> near;
  for (Index i = 0; i < profile.selected.cols(); ++i) {
    const Vector3d d = profile.selected.point(i).xyz() - middle;
    const double off = d.dot(second) - curve.Evaluate(d.dot(first));
    if (d.norm() <= profile.reach && std::abs(off) < 0.5 * profile.reach) {
      near.push_back(d.dot(first));
    }
  }
  if (near.size() < 2 || !std::isfinite(slope)) return std::nullopt;
  return Passage{.along = (first + slope * second).normalized(),
                 .across = (second - slope * first).normalized(),
                 .leverage = RootLeverage(near, at, profile.reach, curve.Order())};
}

}  // namespace

/// An edge lies where a curve through the profile passes a depth below the surface line. What moves
/// it is the curve's error square to itself, which counts over the slope, and the surface line's
/// height above the edge (the straight line of JCGM 100, H.3), by which it slides along the curve.
/// Both scatter as the samples do along the sight, which the surface's scatter tells. Along the
/// border the request decides.
bool EstimateEdge(const Case& c, Propagation& estimate) {
  constexpr double kLeastSlope = 1e-6;
  const auto place = c.Vector("Location");
  if (!place || !c.stages.profile) return false;
  const features::StageProfile& profile = *c.stages.profile;
  if (!(profile.reach > 0.0) || profile.polynomial.Coefficients().size() == 0) return false;
  const Run run = RunOf(profile);
  const std::optional<Passage> passage = PassageOf(profile, *place);
  if (!passage || run.count < 3.0 || !(run.squares > 0.0)) return false;
  const Vector3d outward = profile.surface_direction.xyz().normalized();
  const Vector3d up = profile.surface_normal.xyz().normalized();
  const Vector3d sight = place->normalized();
  const double slopes[] = {sight.dot(up), passage->across.dot(outward), passage->along.dot(up)};
  for (const double slope : slopes) {
    if (!(std::abs(slope) > kLeastSlope)) return false;
  }
  const double beyond = (*place - profile.surface_point.xyz()).dot(outward) - run.middle;
  const double height =
      profile.surface_scatter * std::sqrt(1.0 / run.count + beyond * beyond / run.squares);
  const double range = profile.surface_scatter / std::abs(slopes[0]);
  const double off = range * std::abs(sight.dot(passage->across)) * passage->leverage;
  FitSpread spread;
  spread.covariance = Vector2d(off * off, height * height).asDiagonal();
  spread.scatter = profile.surface_scatter;
  spread.freedom = run.count - 2.0;
  estimate.Add(spread);
  const Vector3d outwards = outward / slopes[1];
  const Vector3d slide = passage->along / slopes[2];
  estimate.Tell("Location", [=, at = *place](const VectorXd& p) -> VectorXd {
    return at + p[0] * outwards + p[1] * slide;
  });
  return true;
}

}  // namespace libmfx::uncertainty::first
