#include "geometry/cylinder/sight_descent.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "geometry/cylinder/least_squares.h"

namespace libmfx::geometry::cylinder {

namespace {

// Calls `take` with each line that counts, its number and what the model makes of it.
template <typename Take>
void LookAtEach(const SightTask& task, const SightModel& model, const Take& take) {
  const auto readings = model.ReadingsOf(task.profiles);
  const SightEvaluator evaluate(model, *readings);
  for (Eigen::Index i = 0; i < task.size(); ++i) {
    const Sighted sighted = evaluate(task.at(i));
    take(i, evaluate, sighted);
  }
}

double WeightOf(const SightTask& task, Eigen::Index i) {
  return task.weights.size() > 0 ? task.weights[i] : 1.0;
}

}  // namespace

Sight Look(const SightTask& task, const SightModel& model) {
  Sight sight;
  sight.lines.resize(static_cast<std::size_t>(task.size()));
  sight.residuals.resize(task.size());
  LookAtEach(task, model,
             [&](Eigen::Index i, const SightEvaluator& evaluate, const Sighted& sighted) {
               sight.lines[static_cast<std::size_t>(i)] = sighted;
               sight.residuals[i] = WeightOf(task, i) * evaluate.Residual(sighted);
             });
  return sight;
}

Eigen::VectorXd SightResiduals(const SightTask& task, const SightModel& model) {
  Eigen::VectorXd residuals(task.size());
  LookAtEach(task, model,
             [&](Eigen::Index i, const SightEvaluator& evaluate, const Sighted& sighted) {
               residuals[i] = WeightOf(task, i) * evaluate.Residual(sighted);
             });
  return residuals;
}

Eigen::VectorXd SightWeights(const SightTask& task, const SightModel& model, double deviation) {
  constexpr double kSpreadShare = 0.4;
  const std::vector<double> spreads =
      SpreadsOf(model.thread.profile, model.width, task.profiles.tangents());
  Eigen::VectorXd weights(task.size());
  LookAtEach(task, model,
             [&](Eigen::Index i, const SightEvaluator& evaluate, const Sighted& sighted) {
               const double spread = kSpreadShare / deviation * evaluate.Spread(sighted, spreads);
               weights[i] = 1.0 / std::sqrt(1.0 + spread * spread);
             });
  return weights;
}

double Biweighted(const Eigen::VectorXd& residuals, double bound) {
  const Eigen::ArrayXd inside = (1.0 - (residuals.array() / bound).square()).max(0.0);
  return bound * bound / 6.0 * (1.0 - inside.cube()).sum();
}

Eigen::MatrixXd SightJacobian(const SightTask& task, const SightModel& model, const Sight& sight,
                              std::optional<ShapeReadings>& shapes) {
  if (!shapes || !shapes->Serves(model)) shapes.emplace(model, task.profiles);
  const auto readings = model.ReadingsOf(task.profiles);
  const SightEvaluator evaluate(model, *readings);
  Eigen::MatrixXd jacobian(task.size(), static_cast<Eigen::Index>(task.columns.size()));
  for (Eigen::Index i = 0; i < jacobian.rows(); ++i) {
    const double weight = WeightOf(task, i);
    const SightEvaluator::Row row =
        evaluate.Derivative(sight.lines[static_cast<std::size_t>(i)], *shapes);
    for (Eigen::Index k = 0; k < jacobian.cols(); ++k)
      jacobian(i, k) = weight * row[task.columns[static_cast<std::size_t>(k)]];
  }
  return jacobian;
}

double SightBound(const Eigen::VectorXd& residuals) {
  return RobustBound(residuals, kSightDeviations);
}

UsualProfile UsualFor(const Profile& basic, Eigen::Index samples) {
  constexpr double kUsualShare = 0.01;
  return {basic, kUsualShare * static_cast<double>(samples)};
}

namespace {

// The descent of the biweighted cost of sight lines, the columns scaled alike.
class SightProblem {
 public:
  SightProblem(const SightTask& task, SightModel& model)
      : _task(task),
        _model(model),
        _sight(Look(task, model)),
        _usual(UsualFor(task.basic, task.size())),
        _deviation(std::min(task.bound, SightBound(_sight.residuals)) / kSightDeviations),
        _cost(Biweighted(_sight.residuals, task.bound) + CostOfProfile(model)) {}

  double cost() const { return _cost; }

  StepEquations Linearise() {
    const Eigen::MatrixXd jacobian = SightJacobian(_task, _model, _sight, _shapes);
    const Eigen::VectorXd weights =
        (1.0 - (_sight.residuals.array() / _task.bound).square()).max(0.0).square();
    Eigen::MatrixXd matrix = jacobian.transpose() * weights.asDiagonal() * jacobian;
    Eigen::VectorXd right = -jacobian.transpose() * weights.cwiseProduct(_sight.residuals);
    _usual.Add(_model.thread.profile, _task.columns, _deviation, matrix, right);
    _unit = matrix.diagonal().cwiseMax(std::numeric_limits<double>::min()).cwiseSqrt();
    _unit = _unit.cwiseInverse();
    matrix = _unit.asDiagonal() * matrix * _unit.asDiagonal();
    return {std::move(matrix), _unit.cwiseProduct(right)};
  }
  double Try(const Eigen::VectorXd& step) {
    _tried = _model;
    for (Eigen::Index i = 0; i < step.size(); ++i)
      MoveSight(_tried, _task.columns[static_cast<std::size_t>(i)], _unit[i] * step[i]);
    _next = Look(_task, _tried);
    _next_cost = Biweighted(_next.residuals, _task.bound) + CostOfProfile(_tried);
    return _next_cost;
  }
  void Keep() {
    _model = _tried;
    std::swap(_sight, _next);
    _cost = _next_cost;
  }

 private:
  double CostOfProfile(const SightModel& model) const {
    return _usual.Cost(model.thread.profile, _deviation);
  }

  const SightTask& _task;
  SightModel& _model;
  SightModel _tried;
  std::optional<ShapeReadings> _shapes;
  Sight _sight, _next;
  Eigen::VectorXd _unit;
  UsualProfile _usual;
  double _deviation, _cost, _next_cost = 0.0;
};

}  // namespace

void DescendSight(const SightTask& task, const DescentLimits& limits, SightModel& model) {
  SightProblem problem(task, model);
  DampedDescent(problem, Damping(1.0), limits);
}

}  // namespace libmfx::geometry::cylinder
