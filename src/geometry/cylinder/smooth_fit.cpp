#include "geometry/cylinder/smooth_fit.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "geometry/cylinder/linear_start.h"

namespace libmfx::geometry::cylinder {
namespace {

constexpr Eigen::Index kFewest = 50;
constexpr double kDeviations = 6.0;
constexpr double kNormal = 1.4826;    // deviation of a normal law over its median deviation
constexpr double kLeastBound = 1e-6;  // nominal radii, for points without noise
constexpr double kMostShare = 0.1;
constexpr int kRounds = 10;

bool Better(const Outcome& a, const Outcome& b) {
  if (a.converged != b.converged) return a.converged;
  return a.sums.cost < b.sums.cost;
}

void FitFromBothStarts(const Model& nominal, bool fix_axis, bool fix_radius,
                       SmoothSolution& solution) {
  solution.model = nominal;
  solution.outcome = Minimize(solution.points, solution.model, fix_axis, fix_radius);
  std::optional<Model> start = LinearStart(solution.points, nominal, fix_axis, fix_radius);
  if (!start) return;
  if (solution.outcome.converged &&
      !(Evaluate(solution.points, *start).cost < solution.outcome.sums.cost))
    return;
  const Outcome other = Minimize(solution.points, *start, fix_axis, fix_radius);
  if (!Better(other, solution.outcome)) return;
  solution.model = *start;
  solution.outcome = other;
}

Points Select(const Points& points, const Eigen::ArrayXd& residuals, double bound) {
  Points selected((residuals <= bound).count());
  Eigen::Index at = 0;
  for (Eigen::Index i = 0; i < points.size(); ++i)
    if (residuals[i] <= bound) selected.set(at++, points.at(i));
  return selected;
}

}  // namespace

SmoothSolution FitSmooth(const Points& points, const Model& nominal, bool fix_axis,
                         bool fix_radius) {
  SmoothSolution solution{nominal, {}, points};
  FitFromBothStarts(nominal, fix_axis, fix_radius, solution);
  for (int round = 0; round < kRounds && solution.outcome.converged; ++round) {
    if (solution.points.size() < kFewest) break;
    const Eigen::ArrayXd residuals = Residuals(solution.points, solution.model).abs();
    std::vector<double> sizes(residuals.begin(), residuals.end());
    const auto middle = sizes.begin() + static_cast<std::ptrdiff_t>(sizes.size() / 2);
    std::nth_element(sizes.begin(), middle, sizes.end());
    const double bound = std::max(kDeviations * kNormal * *middle, kLeastBound);
    const auto strays = static_cast<double>((residuals > bound).count());
    if (strays == 0.0 || strays > kMostShare * static_cast<double>(residuals.size())) break;
    solution.points = Select(solution.points, residuals, bound);
    solution.outcome = Minimize(solution.points, solution.model, fix_axis, fix_radius);
  }
  return solution;
}

}  // namespace libmfx::geometry::cylinder
