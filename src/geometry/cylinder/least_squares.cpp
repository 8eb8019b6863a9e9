#include "geometry/cylinder/least_squares.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "geometry/decompositions.h"

namespace libmfx::geometry::cylinder {
namespace {

constexpr DescentLimits kDescent = {.most_rounds = 1024, .settled_fall = 1e-08};
constexpr int kMaxPolishRounds = 32;
// Least ratio of the singular values of J^T J at which all parameters count as determined.
constexpr double kRankRatio = 1e-12;

using Matrix = Eigen::MatrixXd;
using Vector = Eigen::VectorXd;

// What rounding may do to a cost: each residual of a wall near 1 carries a few units of the last
// place of the coordinates it is the difference of.
double Rounding(double cost, Eigen::Index points) {
  constexpr double kUnits = 64.0 * std::numeric_limits<double>::epsilon();
  return kUnits * (cost + std::sqrt(cost * static_cast<double>(points)));
}

Vector FreeGradient(const NormalEquations& sums, const FreeParameters& free) {
  Vector gradient(static_cast<Eigen::Index>(free.columns.size()));
  for (Eigen::Index i = 0; i < gradient.size(); ++i)
    gradient[i] = sums.gradient[free.columns[static_cast<std::size_t>(i)]];
  return gradient;
}

void Move(const FreeParameters& free, const Vector& step) {
  for (std::size_t i = 0; i < free.values.size(); ++i)
    *free.values[i] += step[static_cast<Eigen::Index>(i)];
}

// The descent of a wall.
class WallProblem {
 public:
  WallProblem(const Points& points, Model& model, bool fix_axis, bool fix_radius,
              NormalEquations& sums)
      : _points(points),
        _model(model),
        _free(ListFreeParameters(_tried, fix_axis, fix_radius)),
        _sums(sums) {}
  WallProblem(const WallProblem&) = delete;
  WallProblem& operator=(const WallProblem&) = delete;

  double cost() const { return _sums.cost; }
  StepEquations Linearise() const {
    return {Reduce(_sums.matrix, _free.columns, _model, false), -FreeGradient(_sums, _free)};
  }
  double Try(const Vector& step) {
    _tried = _model;
    Move(_free, step);
    _next = Evaluate(_points, _tried);
    return _next.cost;
  }
  void Keep() {
    _model = _tried;
    _sums = _next;
  }

 private:
  const Points& _points;
  Model& _model;
  Model _tried;
  FreeParameters _free;  // of the model tried
  NormalEquations& _sums;
  NormalEquations _next;
};

void PolishRounds(const Points& points, Model& model, const FreeParameters& free, bool fix_axis,
                  Outcome& outcome) {
  double last = std::numeric_limits<double>::infinity();
  while (outcome.polish_rounds < kMaxPolishRounds) {
    const Matrix matrix = Reduce(outcome.sums.matrix, free.columns, model, !fix_axis);
    const Vector step = Solve(matrix, -FreeGradient(outcome.sums, free));
    const double size = step.norm();
    if (!(size < 0.9 * last)) return;
    const Model before = model;
    Move(free, step);
    const NormalEquations next = Evaluate(points, model);
    ++outcome.polish_rounds;
    const double cost = outcome.sums.cost;
    if (!(next.cost <= cost + Rounding(cost, points.size()))) {
      model = before;
      return;
    }
    outcome.sums = next;
    last = size;
    if (size < 1e-15) return;
  }
}

}  // namespace

Outcome Minimize(const Points& points, Model& model, bool fix_axis, bool fix_radius) {
  Outcome outcome;
  outcome.sums = Evaluate(points, model);
  const FreeParameters free = ListFreeParameters(model, fix_axis, fix_radius);
  WallProblem problem(points, model, fix_axis, fix_radius, outcome.sums);
  const Damping damping(problem.Linearise().matrix.diagonal().maxCoeff());
  const Descent descent = DampedDescent(problem, damping, kDescent);
  outcome.converged = descent.settled;
  outcome.rounds = descent.rounds;
  if (!outcome.converged) return outcome;
  PolishRounds(points, model, free, fix_axis, outcome);
  return outcome;
}

Matrix Reduce(const Matrix& matrix, const std::vector<int>& columns, const Model& model,
              bool pin_direction) {
  Matrix full = matrix;
  if (pin_direction) {
    full.block<3, 3>(kDirectionX, kDirectionX) += full.diagonal().maxCoeff() /
                                                  model.direction.squaredNorm() * model.direction *
                                                  model.direction.transpose();
  }
  return full(columns, columns);
}

double RobustBound(const Eigen::ArrayXd& residuals, double deviations) {
  constexpr double kNormal = 1.4826;  // deviation of a normal law over its median deviation
  constexpr double kLeastBound = 1e-6;
  if (residuals.size() == 0) return kLeastBound;
  // What is not a number is as far off as can be: the selection wants an order.
  Eigen::ArrayXd sizes =
      residuals.isNaN().select(std::numeric_limits<double>::infinity(), residuals.abs());
  const auto middle = sizes.begin() + sizes.size() / 2;
  std::nth_element(sizes.begin(), middle, sizes.end());
  return std::max(deviations * kNormal * *middle, kLeastBound);
}

Uncertainty Judge(const Matrix& matrix, double cost, Eigen::Index points, const Model& model,
                  const std::vector<int>& columns) {
  const auto place = [&columns](int column) {
    return std::find(columns.begin(), columns.end(), column) - columns.begin();
  };
  const auto count = static_cast<Eigen::Index>(columns.size());
  const bool free_axis = place(kDirectionX) < count, free_radius = place(kRadius) < count;
  const Matrix system = Reduce(matrix, columns, model, free_axis);
  const Svd svd = ThinSvd(system);
  const Vector& values = svd.singularValues();
  Uncertainty result;
  if (!(values[count - 1] > kRankRatio * values[0])) return result;
  result.determined = true;
  const Eigen::Index unknowns = count - (free_axis ? 1 : 0);
  const double variance =
      2.0 * cost / static_cast<double>(std::max<Eigen::Index>(1, points - unknowns));
  const Matrix covariance = variance * SolveAllWith(svd, Matrix::Identity(count, count));
  const auto root = [](double value) { return std::sqrt(std::max(0.0, value)); };
  result.center = root(covariance(0, 0) + covariance(1, 1));
  if (free_axis) {
    const Eigen::Vector3d u = model.direction.normalized();
    const Eigen::Matrix3d block = covariance.block<3, 3>(kDirectionX, kDirectionX);
    result.axis = root(block.trace() - u.dot(block * u)) / model.direction.norm();
  }
  if (free_radius) result.radius = root(covariance(place(kRadius), place(kRadius)));
  return result;
}

}  // namespace libmfx::geometry::cylinder
