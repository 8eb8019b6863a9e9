#include "geometry/cylinder/sight_fit.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "geometry/cylinder/least_squares.h"
#include "geometry/cylinder/seen_profile.h"

namespace libmfx::geometry::cylinder {
namespace {

constexpr int kBeamWidth = kThreadColumns;  // column of the logarithm of the width
constexpr double kSightDeviations = 4.0;
constexpr double kFirstWidth = 0.04;
constexpr double kLeastCrossing = 1e-3;  // keeps sight lines along or across the axis finite

// Readings of one model.
class SightEvaluator {
 public:
  SightEvaluator(const SightModel& model, const SeenProfile& profile,
                 const Eigen::Vector3d& instrument)
      : _model(model.thread),
        _profile(profile),
        _instrument(instrument),
        _u(_model.cylinder.direction.normalized()),
        _e1((Eigen::Vector3d::UnitX() - _u.x() * _u).normalized()),
        _e2(_u.cross(_e1)),
        _base(_model.cylinder.offset.x(), _model.cylinder.offset.y(),
              _model.cylinder.reference_height),
        _hand(std::copysign(1.0, _model.pitch)),
        _pitch(std::abs(_model.pitch)) {}

  double operator()(const Eigen::Vector3d& point) const {
    const Eigen::Vector3d w = (point - _instrument).normalized(), q = point - _base;
    const double sense = w.dot(_u) < 0.0 ? -1.0 : 1.0;
    const double along = std::max(std::abs(w.dot(_u)), kLeastCrossing);
    // The entry: where the sight line leaves the cylinder of the crests into the wall.
    const Eigen::Vector2d across(w.dot(_e1), w.dot(_e2)), at(q.dot(_e1), q.dot(_e2));
    const double a = std::max(across.squaredNorm(), kLeastCrossing * kLeastCrossing);
    const double b = at.dot(across), radius = _model.cylinder.radius;
    const double root = b * b - a * (at.squaredNorm() - radius * radius);
    const double way = (-b + std::sqrt(std::max(0.0, root))) / a;
    const Eigen::Vector2d entry = at + way * across;
    const double distance = std::max(entry.norm(), kLeastCrossing);
    const double outward = std::max(std::abs(across.dot(entry)) / distance, kLeastCrossing);
    const double around = (entry.x() * across.y() - entry.y() * across.x()) / distance;
    const double turns =
        (q.dot(_u) + way * w.dot(_u)) / _pitch - _hand * std::atan2(entry.y(), entry.x()) / kTurn;
    // On its way to the groove's end the sight line goes around the wall as well: so it meets the
    // phases at another rate, and the wall curves towards it.
    const double aside = around / along;
    const double rate = 1.0 - sense * _hand * aside * _pitch / (kTurn * distance);
    const double curving = aside * aside * _pitch / (2.0 * distance * rate * rate);
    const double tangent = outward / along;
    const double phase = sense * (turns - _model.phase);
    double run = _profile.Run(phase, tangent / rate);
    run = _profile.Run(phase, tangent / rate + curving * run);
    const double off = -way * along - _pitch / rate * run;
    return off * tangent / std::sqrt(1.0 + tangent * tangent);
  }

 private:
  const ThreadModel& _model;
  const SeenProfile& _profile;
  Eigen::Vector3d _instrument, _u, _e1, _e2, _base;
  double _hand, _pitch;
};

// What a fit runs on.
struct SightTask {
  const Points& points;
  const Eigen::Vector3d& instrument;
  const std::vector<int>& columns;
  Eigen::Index stride;
  double bound;
};

Eigen::VectorXd SightResiduals(const SightTask& task, const SightModel& model) {
  const SeenProfile profile(model.width);
  const SightEvaluator evaluate(model, profile, task.instrument);
  Eigen::VectorXd residuals((task.points.size() + task.stride - 1) / task.stride);
  for (Eigen::Index i = 0; i < residuals.size(); ++i)
    residuals[i] = evaluate(task.points.at(i * task.stride));
  return residuals;
}

double Biweighted(const Eigen::VectorXd& residuals, double bound) {
  const Eigen::ArrayXd inside = (1.0 - (residuals.array() / bound).square()).max(0.0);
  return bound * bound / 6.0 * (1.0 - inside.cube()).sum();
}

void MoveSight(SightModel& model, int column, double step) {
  if (column < kThreadColumns) {
    Parameter(model.thread, column) += step;
  } else {
    model.width = std::clamp(model.width * std::exp(std::clamp(step, -0.5, 0.5)),
                             SeenProfile::kNarrowest, SeenProfile::kWidest);
  }
}

// By differences: the readings come from a table. The steps are some of its cells and more.
Eigen::MatrixXd SightJacobian(const SightTask& task, const SightModel& model,
                              const Eigen::VectorXd& residuals) {
  const double pitch = std::abs(model.thread.pitch);
  Eigen::MatrixXd jacobian(residuals.size(), static_cast<Eigen::Index>(task.columns.size()));
  for (Eigen::Index i = 0; i < jacobian.cols(); ++i) {
    const int column = task.columns[static_cast<std::size_t>(i)];
    const double step = column == kBeamWidth ? 1e-2
                        : column == kPhase   ? 1e-3
                        : column == kPitch   ? 1e-4 * pitch
                                             : 1e-3 * pitch;
    SightModel moved = model;
    MoveSight(moved, column, step);
    jacobian.col(i) = (SightResiduals(task, moved) - residuals) / step;
  }
  return jacobian;
}

// The descent of the biweighted cost of sight lines, the columns scaled alike.
class SightProblem {
 public:
  SightProblem(const SightTask& task, SightModel& model)
      : _task(task),
        _model(model),
        _residuals(SightResiduals(task, model)),
        _cost(Biweighted(_residuals, task.bound)) {}

  double cost() const { return _cost; }
  Eigen::VectorXd& residuals() { return _residuals; }

  StepEquations Linearise() {
    const Eigen::MatrixXd jacobian = SightJacobian(_task, _model, _residuals);
    const Eigen::VectorXd weights =
        (1.0 - (_residuals.array() / _task.bound).square()).max(0.0).square();
    Eigen::MatrixXd matrix = jacobian.transpose() * weights.asDiagonal() * jacobian;
    const Eigen::VectorXd right = -jacobian.transpose() * weights.cwiseProduct(_residuals);
    _unit = matrix.diagonal().cwiseMax(std::numeric_limits<double>::min()).cwiseSqrt();
    _unit = _unit.cwiseInverse();
    matrix = _unit.asDiagonal() * matrix * _unit.asDiagonal();
    return {std::move(matrix), _unit.cwiseProduct(right)};
  }
  double Try(const Eigen::VectorXd& step) {
    _tried = _model;
    for (Eigen::Index i = 0; i < step.size(); ++i)
      MoveSight(_tried, _task.columns[static_cast<std::size_t>(i)], _unit[i] * step[i]);
    _next = SightResiduals(_task, _tried);
    _next_cost = Biweighted(_next, _task.bound);
    return _next_cost;
  }
  void Keep() {
    _model = _tried;
    _residuals = std::move(_next);
    _cost = _next_cost;
  }

 private:
  const SightTask& _task;
  SightModel& _model;
  SightModel _tried;
  Eigen::VectorXd _residuals, _next, _unit;
  double _cost, _next_cost = 0.0;
};

// \return the last residuals
Eigen::VectorXd DescendSight(const SightTask& task, int most_rounds, SightModel& model) {
  constexpr double kSettledFall = 1e-7;
  SightProblem problem(task, model);
  DampedDescent(problem, Damping(1.0), {most_rounds, kSettledFall});
  return std::move(problem.residuals());
}

double SightBound(const Eigen::VectorXd& residuals) {
  std::vector<double> sizes(residuals.begin(), residuals.end());
  for (double& size : sizes) size = std::abs(size);
  return RobustBound(sizes, kSightDeviations);
}

Eigen::Index StrideFor(const Points& points, Eigen::Index sample) {
  return std::max<Eigen::Index>(1, points.size() / sample);
}

}  // namespace

SightFit::SightFit(const Points& points, const Eigen::Vector3d& instrument,
                   const std::vector<int>& columns)
    : _points(points), _instrument(instrument), _columns(columns) {
  // The length of a direction means nothing, and differences would make something of it: near the
  // local z its first two terms do.
  std::erase(_columns, kDirectionZ);
}

std::optional<SightModel> SightFit::Find(const Model& start, double pitch, double depth) const {
  constexpr int kPhasesTried = 12;
  constexpr std::size_t kKept = 4;
  struct Tried {
    SightModel model;
    double cost;
  };
  std::vector<Tried> tried;
  SightTask task{_points, _instrument, _columns, StrideFor(_points, 300), 1.5 * depth};
  const auto descend = [&](Tried& t, int rounds) {
    t.cost = Biweighted(DescendSight(task, rounds, t.model), task.bound);
  };
  for (int k = 0; k < kPhasesTried; ++k) {
    const double phase = static_cast<double>(k) / kPhasesTried;
    tried.push_back({{{start, pitch, phase, true}, kFirstWidth}, 0.0});
    descend(tried.back(), 4);
  }
  std::erase_if(tried, [](const Tried& t) { return !std::isfinite(t.cost); });
  const auto cheaper = [](const Tried& a, const Tried& b) { return a.cost < b.cost; };
  std::stable_sort(tried.begin(), tried.end(), cheaper);
  tried.resize(std::min(tried.size(), kKept));
  if (tried.empty()) return std::nullopt;
  task.stride = StrideFor(_points, 400);
  task.bound = 0.8 * depth;
  for (Tried& t : tried) descend(t, 6);
  SightModel best = std::min_element(tried.begin(), tried.end(), cheaper)->model;
  CloseIn(0.8 * depth, best);
  return best;
}

void SightFit::CloseIn(double bound, SightModel& model) const {
  constexpr int kMostBounds = 5;
  std::vector<int> columns = _columns;
  columns.push_back(kBeamWidth);
  SightTask task{_points, _instrument, columns, StrideFor(_points, 1000), bound};
  for (int k = 0; k < kMostBounds; ++k) {
    const double last = task.bound;
    task.bound = SightBound(DescendSight(task, 12, model));
    if (std::abs(task.bound - last) < 0.02 * last) break;
  }
}

double SightFit::Refine(SightModel& model) const {
  std::vector<int> columns = _columns;
  columns.push_back(kBeamWidth);
  SightTask task{_points, _instrument, columns, 1, 0.0};
  task.bound = SightBound(SightResiduals(task, model));
  return SightBound(DescendSight(task, 15, model));
}

void SightFit::Evaluate(const SightModel& model, Eigen::VectorXd& residuals,
                        Eigen::MatrixXd& jacobian) const {
  const SightTask task{_points, _instrument, _columns, 1, 0.0};
  residuals = SightResiduals(task, model);
  jacobian = Eigen::MatrixXd::Zero(residuals.size(), kThreadColumns);
  jacobian(Eigen::all, _columns) = SightJacobian(task, model, residuals);
  const Eigen::Vector3d& d = model.thread.cylinder.direction;
  jacobian.col(kDirectionZ) =
      -(d.x() * jacobian.col(kDirectionX) + d.y() * jacobian.col(kDirectionY)) / d.z();
}

}  // namespace libmfx::geometry::cylinder
