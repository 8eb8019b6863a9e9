#include "geometry/cylinder/least_squares.h"

#include <Eigen/SVD>
#include <algorithm>
#include <cmath>
#include <limits>

namespace libmfx::geometry::cylinder {
namespace {

constexpr double kInitialDamping = 0.001;  // of the largest diagonal element of J^T J
constexpr double kInitialGrowth = 2.0;
constexpr double kLeastShrink = 1.0 / 3.0;
constexpr double kRelativeFall = 1e-08;
constexpr int kMaxRounds = 1024;
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

bool DampedRounds(const Points& points, Model& model, const FreeParameters& free,
                  Outcome& outcome) {
  Damping damping(Reduce(outcome.sums.matrix, free.columns, model, false).diagonal().maxCoeff());
  for (outcome.rounds = 1; outcome.rounds <= kMaxRounds; ++outcome.rounds) {
    const double cost = outcome.sums.cost;
    if (!std::isfinite(cost) || !std::isfinite(damping.mu())) return false;
    if (cost == 0.0) return true;
    Matrix matrix = Reduce(outcome.sums.matrix, free.columns, model, false);
    matrix.diagonal().array() += damping.mu();
    const Vector gradient = FreeGradient(outcome.sums, free);
    const Vector step = Solve(matrix, -gradient);
    const double predicted = 0.5 * step.dot(damping.mu() * step - gradient);
    const Model before = model;
    Move(free, step);
    const NormalEquations next = Evaluate(points, model);
    const double fall = cost - next.cost;
    const double rho = fall / predicted;
    if (predicted > 0.0 && rho > 0.0 && std::isfinite(rho)) {
      outcome.sums = next;
      damping.Kept(rho);
      if (fall / cost < kRelativeFall) return true;
    } else {
      model = before;
      damping.TakenBack();
      if (!(predicted / cost >= kRelativeFall)) return std::isfinite(predicted);
    }
  }
  return false;
}

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
  outcome.converged = DampedRounds(points, model, free, outcome);
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

Vector Solve(const Matrix& matrix, const Vector& right) {
  return Eigen::JacobiSVD<Matrix>(matrix, Eigen::ComputeThinU | Eigen::ComputeThinV).solve(right);
}

double RobustBound(std::vector<double>& sizes, double deviations) {
  constexpr double kNormal = 1.4826;  // deviation of a normal law over its median deviation
  constexpr double kLeastBound = 1e-6;
  const auto middle = sizes.begin() + static_cast<std::ptrdiff_t>(sizes.size() / 2);
  std::nth_element(sizes.begin(), middle, sizes.end());
  return std::max(deviations * kNormal * *middle, kLeastBound);
}

Damping::Damping(double largest_diagonal)
    : _mu(kInitialDamping * largest_diagonal), _nu(kInitialGrowth) {}

void Damping::Kept(double gain_ratio) {
  _mu *= std::max(kLeastShrink, 1.0 - std::pow(2.0 * gain_ratio - 1.0, 3));
  _nu = kInitialGrowth;
}

void Damping::TakenBack() {
  _mu *= _nu;
  _nu *= 2.0;
}

Uncertainty Judge(const Matrix& matrix, double cost, Eigen::Index points, const Model& model,
                  const std::vector<int>& columns) {
  const auto place = [&columns](int column) {
    return std::find(columns.begin(), columns.end(), column) - columns.begin();
  };
  const auto count = static_cast<Eigen::Index>(columns.size());
  const bool free_axis = place(kDirectionX) < count, free_radius = place(kRadius) < count;
  const Matrix system = Reduce(matrix, columns, model, free_axis);
  const Eigen::JacobiSVD<Matrix> svd(system, Eigen::ComputeThinU | Eigen::ComputeThinV);
  const Vector& values = svd.singularValues();
  Uncertainty result;
  if (!(values[count - 1] > kRankRatio * values[0])) return result;
  result.determined = true;
  const Eigen::Index unknowns = count - (free_axis ? 1 : 0);
  const double variance =
      2.0 * cost / static_cast<double>(std::max<Eigen::Index>(1, points - unknowns));
  const Matrix covariance = variance * svd.solve(Matrix::Identity(count, count));
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
