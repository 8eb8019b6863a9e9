#include "geometry/cylinder/radial_fit.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "geometry/cylinder/least_squares.h"

namespace libmfx::geometry::cylinder {
namespace {

constexpr double kWeighedDeviations = 5.0;
constexpr double kSettled = 1e-9;  // relative fall of the cost that ends a descent
constexpr int kStartPhases = 12;
constexpr double kStartCrests[] = {0.0, 0.1};  // half a crest wider than the basic one, pitches
constexpr double kStartPitches[] = {0.985, 1.0, 1.015};  // of the pitch found
constexpr int kDescentRounds = 100;
constexpr int kBounds = 10;  // times that the bound is taken anew
constexpr int kTrialRounds = 6;

// Sums with the weights of the biweight, by which no point falls in or out of the fit with a jump.
// Of two fits that both follow the flanks the one that has the crests as well costs less.
struct Sums {
  Eigen::MatrixXd matrix = Eigen::MatrixXd::Zero(kThreadColumns, kThreadColumns);
  Eigen::VectorXd gradient = Eigen::VectorXd::Zero(kThreadColumns);
  double cost = 0.0;  // tends to half the sum of squares for small residuals
};

// One fit: some of the points, one bound, what is free.
struct Task {
  const Points& points;
  const std::vector<int>& columns;
  const UsualProfile& usual;
  Eigen::Index stride;
  double bound;

  double Deviation() const { return bound / kWeighedDeviations; }
};

Sums Accumulate(const Task& task, const ThreadModel& model) {
  Eigen::Matrix<double, kThreadColumns, kThreadColumns> matrix;
  Eigen::Matrix<double, kThreadColumns, 1> gradient;
  matrix.setZero();
  gradient.setZero();
  Sums sums;
  const double bound = task.bound;
  const ThreadEvaluator evaluate(model);
  for (Eigen::Index i = 0; i < task.points.size(); i += task.stride) {
    const ThreadRow row = evaluate(task.points.at(i));
    const double relative = row.residual / bound;
    const double inside = 1.0 - relative * relative;
    if (!(inside > 0.0)) {
      sums.cost += bound * bound / 6.0;
      continue;
    }
    const double weight = inside * inside;
    matrix.noalias() += weight * row.jacobian * row.jacobian.transpose();
    gradient += weight * row.residual * row.jacobian;
    sums.cost += bound * bound / 6.0 * (1.0 - weight * inside);
  }
  sums.matrix = matrix;
  sums.gradient = gradient;
  sums.cost += task.usual.Cost(model.profile, task.Deviation());
  return sums;
}

// The descent of a thread's biweighted cost. A corner of the profile that passes a point makes the
// gradient jump, so that a step can raise the cost however short it is.
class ThreadProblem {
 public:
  ThreadProblem(const Task& task, ThreadModel& model)
      : _task(task), _model(model), _sums(Accumulate(task, model)) {}

  double cost() const { return _sums.cost; }
  double LargestDiagonal() const { return _sums.matrix.diagonal().maxCoeff(); }
  StepEquations Linearise() const {
    const auto& columns = _task.columns;
    const bool free_axis = std::count(columns.begin(), columns.end(), kDirectionX) > 0;
    StepEquations equations{Reduce(_sums.matrix, columns, _model.cylinder, free_axis),
                            -_sums.gradient(columns)};
    _task.usual.Add(_model.profile, columns, _task.Deviation(), equations.matrix, equations.right);
    return equations;
  }
  double Try(const Eigen::VectorXd& step) {
    _tried = _model;
    for (Eigen::Index i = 0; i < step.size(); ++i)
      Move(_tried, _task.columns[static_cast<std::size_t>(i)], step[i]);
    _next = Accumulate(_task, _tried);
    return _next.cost;
  }
  void Keep() {
    _model = _tried;
    _sums = std::move(_next);
  }

 private:
  const Task& _task;
  ThreadModel& _model;
  ThreadModel _tried;
  Sums _sums, _next;
};

// Adds its rounds to `rounds`. \return whether it settled
bool Descend(const Task& task, int most_rounds, ThreadModel& model, double& cost, int& rounds) {
  ThreadProblem problem(task, model);
  const Descent descent =
      DampedDescent(problem, Damping(problem.LargestDiagonal()), {most_rounds, kSettled});
  cost = problem.cost();
  rounds += descent.rounds;
  return descent.settled;
}

// A start and what became of it.
struct Trial {
  ThreadModel model;
  double cost = std::numeric_limits<double>::infinity();
};

// One pass over starts: each is fitted to about `sample` of the points, with a bound in pitches,
// and the `keep` that explain the most stay, best first.
struct Stage {
  Eigen::Index sample;
  double bound;
  std::size_t keep;
  bool profile = true;  // whether the widths of crests and roots are free
};

void Sift(const RadialFit& fit, const Stage& stage, std::vector<Trial>& trials) {
  for (Trial& t : trials) {
    const double bound = stage.bound * std::abs(t.model.pitch);
    t.cost = fit.Explore(t.model, {bound, stage.sample, kTrialRounds, stage.profile});
  }
  std::erase_if(trials, [](const Trial& t) { return !std::isfinite(t.cost); });
  std::stable_sort(trials.begin(), trials.end(),
                   [](const Trial& a, const Trial& b) { return a.cost < b.cost; });
  trials.resize(std::min(trials.size(), stage.keep));
}

// Along a flank phase and radius go together, and an oblique view shows little else than one flank:
// a fit can rest on it with its crest beside the true one. So the profile is also tried slid along
// each of its flanks.
void AddSlides(std::vector<Trial>& trials) {
  constexpr int kSlides = 5;
  constexpr double kSlide = 0.06;  // turns
  const std::vector<Trial> found = trials;
  for (const Trial& t : found) {
    for (int k = -kSlides; k <= kSlides; ++k) {
      if (k == 0) continue;
      for (const double flank : {-1.0, 1.0}) {
        Trial slid = t;
        slid.model.phase += k * kSlide;
        slid.model.cylinder.radius +=
            flank * k * kSlide * t.model.profile.slope * std::abs(t.model.pitch);
        trials.push_back(slid);
      }
    }
  }
}

}  // namespace

Eigen::VectorXd RadialFit::Residuals(const ThreadModel& model) const {
  const ThreadEvaluator evaluate(model);
  Eigen::VectorXd residuals(_points.size());
  for (Eigen::Index i = 0; i < residuals.size(); ++i)
    residuals[i] = evaluate.Residual(_points.at(i));
  return residuals;
}

double RadialFit::BoundOf(const ThreadModel& model) const {
  return RobustBound(Residuals(model), kWeighedDeviations);
}

double RadialFit::Explore(ThreadModel& model, const Exploration& how) const {
  std::vector<int> columns = _columns;
  if (!how.profile) std::erase_if(columns, [](int c) { return c == kCrest || c == kRoot; });
  const Task task{_points, columns, _usual, std::max<Eigen::Index>(1, _points.size() / how.sample),
                  how.bound};
  double cost = 0.0;
  int tried = 0;
  Descend(task, how.rounds, model, cost, tried);
  return cost;
}

// The profile repeats. So samples of the points are fitted from phases all around the turn and from
// pitches around the one found, with a bound that closes in on the profile; of those that explain
// the most the best goes on.
std::optional<ThreadModel> RadialFit::Find(const ThreadModel& start) const {
  std::vector<Trial> trials;
  for (const double wider : kStartCrests) {
    for (const double stretch : kStartPitches) {
      for (int k = 0; k < kStartPhases; ++k) {
        Trial trial{start};
        trial.model.pitch *= stretch;
        trial.model.phase += static_cast<double>(k) / kStartPhases;
        Move(trial.model, kCrest, wider);
        trials.push_back(trial);
      }
    }
  }
  Sift(*this, {300, 0.3, 16, false}, trials);
  Sift(*this, {1000, 0.15, 4}, trials);
  Sift(*this, {1000, 0.07, 2}, trials);
  if (std::count(_columns.begin(), _columns.end(), kRadius) > 0) AddSlides(trials);
  Sift(*this, {1000, 0.07, 4}, trials);
  Sift(*this, {4000, 0.07, 1}, trials);
  if (trials.empty()) return std::nullopt;
  return trials.front().model;
}

RadialOutcome RadialFit::Refine(ThreadModel& model) const {
  // A part of the points leads to where all of them need a few rounds more.
  constexpr Eigen::Index kFirst = 2500;
  RadialOutcome outcome;
  Explore(model, {BoundOf(model), kFirst, kDescentRounds, true});
  outcome.bound = BoundOf(model);
  for (int k = 0; k < kBounds; ++k) {
    double cost = 0.0;
    const Task task{_points, _columns, _usual, 1, outcome.bound};
    outcome.converged = Descend(task, kDescentRounds, model, cost, outcome.rounds);
    const double last = outcome.bound;
    outcome.bound = BoundOf(model);
    if (!outcome.converged || std::abs(outcome.bound - last) < 0.01 * last) break;
  }
  return outcome;
}

}  // namespace libmfx::geometry::cylinder
