#include "geometry/cylinder/smooth_fit.h"

#include <vector>

#include "geometry/cylinder/linear_start.h"

namespace libmfx::geometry::cylinder {
namespace {

constexpr Eigen::Index kFewestToTrim = 50;
constexpr double kStrayDeviations = 6.0;
constexpr double kMostStrays = 0.1;  // share of the points
constexpr int kTrimRounds = 10;

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
  for (int round = 0; round < kTrimRounds && solution.outcome.converged; ++round) {
    if (solution.points.size() < kFewestToTrim) break;
    const Eigen::ArrayXd residuals = Residuals(solution.points, solution.model).abs();
    const double bound = RobustBound(residuals, kStrayDeviations);
    const auto strays = static_cast<double>((residuals > bound).count());
    if (strays == 0.0 || strays > kMostStrays * static_cast<double>(residuals.size())) break;
    solution.points = Select(solution.points, residuals, bound);
    solution.outcome = Minimize(solution.points, solution.model, fix_axis, fix_radius);
  }
  return solution;
}

}  // namespace libmfx::geometry::cylinder
