#include "geometry/cylinder/thread_fit.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>

#include "geometry/cylinder/sight_fit.h"

namespace libmfx::geometry::cylinder {
namespace {

constexpr double kWeighedDeviations = 5.0;
constexpr double kSettled = 1e-9;  // relative fall of the cost that ends a descent
constexpr int kStartPhases = 16;
constexpr double kStartPitches[] = {0.985, 1.0, 1.015};  // of the pitch found
constexpr int kDescentRounds = 100;
constexpr int kBounds = 10;  // times that the bound is taken anew

// Sums with the weights of the biweight, by which no point falls in or out of the fit with a jump.
// Of two fits that both follow the flanks the one that has the crests as well costs less.
struct Sums {
  Eigen::MatrixXd matrix = Eigen::MatrixXd::Zero(kThreadColumns, kThreadColumns);
  Eigen::VectorXd gradient = Eigen::VectorXd::Zero(kThreadColumns);
  double cost = 0.0;  // tends to half the sum of squares for small residuals
};

Sums Accumulate(const Points& points, const ThreadModel& model, Eigen::Index stride, double bound) {
  Eigen::Matrix<double, kThreadColumns, kThreadColumns> matrix;
  Eigen::Matrix<double, kThreadColumns, 1> gradient;
  matrix.setZero();
  gradient.setZero();
  Sums sums;
  const ThreadEvaluator evaluate(model);
  for (Eigen::Index i = 0; i < points.size(); i += stride) {
    const ThreadRow row = evaluate(points.at(i));
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
  return sums;
}

double BoundOf(const Points& points, const ThreadModel& model) {
  const ThreadEvaluator evaluate(model);
  std::vector<double> sizes(static_cast<std::size_t>(points.size()));
  for (std::size_t i = 0; i < sizes.size(); ++i)
    sizes[i] = std::abs(evaluate.Residual(points.at(static_cast<Eigen::Index>(i))));
  return RobustBound(sizes, kWeighedDeviations);
}

// One fit: some of the points, one bound, what is free.
struct Task {
  const Points& points;
  const std::vector<int>& columns;
  Eigen::Index stride;
  double bound;
};

// The descent of a thread's biweighted cost. A corner of the profile that passes a point makes the
// gradient jump, so that a step can raise the cost however short it is.
class ThreadProblem {
 public:
  ThreadProblem(const Task& task, ThreadModel& model)
      : _task(task), _model(model), _sums(SumsOf(model)) {}

  double cost() const { return _sums.cost; }
  double LargestDiagonal() const { return _sums.matrix.diagonal().maxCoeff(); }
  StepEquations Linearise() const {
    const auto& columns = _task.columns;
    const bool free_axis = std::count(columns.begin(), columns.end(), kDirectionX) > 0;
    return {Reduce(_sums.matrix, columns, _model.cylinder, free_axis), -_sums.gradient(columns)};
  }
  double Try(const Eigen::VectorXd& step) {
    _tried = _model;
    for (Eigen::Index i = 0; i < step.size(); ++i)
      Parameter(_tried, _task.columns[static_cast<std::size_t>(i)]) += step[i];
    _next = SumsOf(_tried);
    return _next.cost;
  }
  void Keep() {
    _model = _tried;
    _sums = std::move(_next);
  }

 private:
  Sums SumsOf(const ThreadModel& model) const {
    return Accumulate(_task.points, model, _task.stride, _task.bound);
  }

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

// The smooth fit runs through the middle of what is seen, and that lies the deeper the more steeply
// the sight lines go in: it differs around the wall, so that centre and radius are off by a tenth
// of the pitch and more. With the mean depth taken out they are right to a few hundredths, and the
// pitch is found more sharply.
void SetMeanDepths(const Model& model, const Helix& helix, const Eigen::Vector3d& instrument,
                   Points& points) {
  constexpr double kLeastAlong = 1e-3;
  const Eigen::Vector3d base(model.offset.x(), model.offset.y(), model.reference_height);
  const Eigen::Vector3d u = model.direction.normalized();
  const double side = helix.bore ? -1.0 : 1.0;
  for (Eigen::Index i = 0; i < points.size(); ++i) {
    const Eigen::Vector3d w = (points.at(i) - instrument).normalized();
    const Eigen::Vector3d q = points.at(i) - base;
    const double inward = std::max(0.0, -side * w.dot((q - q.dot(u) * u).normalized()));
    const double tangent = inward / std::max(std::abs(w.dot(u)), kLeastAlong);
    points.depth[i] = side * std::abs(helix.pitch) * MeanDepthSeen(tangent, helix.bore);
  }
}

Model CorrectSmoothFit(const Points& points, const Model& smooth, const Eigen::Vector3d& instrument,
                       bool fix_axis, bool fix_radius, Helix& helix) {
  Points expected = points;
  Model model = smooth;
  for (int round = 0; round < 2; ++round) {
    SetMeanDepths(model, helix, instrument, expected);
    if (!Minimize(expected, model, fix_axis, fix_radius).converged) return smooth;
    helix.pitch = SharpenPitch(points, model, instrument, helix);
  }
  return model;
}

// A start and what became of it.
struct Trial {
  ThreadModel model;
  double cost = std::numeric_limits<double>::infinity();
};

constexpr int kTrialRounds = 6;

// One pass over starts: each is fitted to about `sample` of the points, with a bound in pitches,
// and the `keep` that explain the most stay, best first.
struct Stage {
  Eigen::Index sample;
  double bound;
  std::size_t keep;
};

void Sift(const Points& points, const std::vector<int>& columns, const Stage& stage,
          std::vector<Trial>& trials) {
  const Eigen::Index stride = std::max<Eigen::Index>(1, points.size() / stage.sample);
  int rounds = 0;
  for (Trial& t : trials) {
    const Task task{points, columns, stride, stage.bound * std::abs(t.model.pitch)};
    Descend(task, kTrialRounds, t.model, t.cost, rounds);
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
        slid.model.cylinder.radius += flank * k * kSlide * kFlankSlope * std::abs(t.model.pitch);
        trials.push_back(slid);
      }
    }
  }
}

// The profile repeats. So samples of the points are fitted from phases all around the turn and from
// pitches around the one found, with a bound that closes in on the profile; of those that explain
// the most the best goes on.
std::vector<Trial> TryStarts(const Points& points, const std::vector<int>& columns,
                             const Model& start, const Helix& helix) {
  std::vector<Trial> trials;
  for (const double stretch : kStartPitches) {
    for (int k = 0; k < kStartPhases; ++k)
      trials.push_back(
          {{start, helix.pitch * stretch, static_cast<double>(k) / kStartPhases, helix.bore}});
  }
  Sift(points, columns, {300, 0.3, 12}, trials);
  Sift(points, columns, {1000, 0.15, 4}, trials);
  Sift(points, columns, {1000, 0.07, 2}, trials);
  if (std::count(columns.begin(), columns.end(), kRadius) > 0) AddSlides(trials);
  Sift(points, columns, {1000, 0.07, 4}, trials);
  Sift(points, columns, {4000, 0.07, 1}, trials);
  return trials;
}

void AddInlier(Eigen::Index index, double residual,
               const Eigen::Matrix<double, kThreadColumns, 1>& jacobian, ThreadSolution& solution,
               Eigen::MatrixXd& matrix) {
  solution.inliers.push_back(index);
  solution.cost += 0.5 * residual * residual;
  solution.largest = std::max(solution.largest, std::abs(residual));
  matrix.noalias() += jacobian * jacobian.transpose();
}

void JudgeInliers(const Eigen::MatrixXd& matrix, const std::vector<int>& columns,
                  ThreadSolution& solution) {
  solution.uncertainty =
      Judge(matrix, solution.cost, static_cast<Eigen::Index>(solution.inliers.size()),
            solution.model.cylinder, columns);
}

void CollectInliers(const Points& points, const std::vector<int>& columns, double bound,
                    ThreadSolution& solution) {
  const ThreadEvaluator evaluate(solution.model);
  Eigen::MatrixXd matrix = Eigen::MatrixXd::Zero(kThreadColumns, kThreadColumns);
  for (Eigen::Index i = 0; i < points.size(); ++i) {
    const ThreadRow row = evaluate(points.at(i));
    if (!(std::abs(row.residual) <= bound)) continue;
    AddInlier(i, row.residual, row.jacobian, solution, matrix);
  }
  JudgeInliers(matrix, columns, solution);
}

double RmsOf(const ThreadSolution& solution) {
  if (solution.inliers.empty()) return std::numeric_limits<double>::infinity();
  return std::sqrt(2.0 * solution.cost / static_cast<double>(solution.inliers.size()));
}

// Whether the profile was seen well enough to tell how it lies. Where the beam is as wide as a
// groove, or so flat along the wall that it returns from little more than the crests' edges, what
// is left after the fit comes near to the depth that was seen, and the fit may rest anywhere.
bool IsResolved(const ThreadSolution& solution, const Helix& helix) {
  constexpr double kMostLeft = 0.25;
  return RmsOf(solution) <= kMostLeft * helix.depth;
}

// The smooth fit with the mean depth of the thread taken out is right to a few hundredths of the
// pitch, on a stud to a tenth: a radius far from it lies on a flank beside the true crests. But a
// profile that nearly all points lie on needs no such witness.
bool IsBesideFlank(const ThreadSolution& solution, const Model& corrected, Eigen::Index points) {
  const double most_beside = solution.model.bore ? 0.1 : 0.2;  // pitches
  constexpr double kMostScatter = 0.015;
  constexpr double kNearlyAll = 0.97;
  const double pitch = std::abs(solution.model.pitch);
  if (static_cast<double>(solution.inliers.size()) >= kNearlyAll * static_cast<double>(points) &&
      RmsOf(solution) <= kMostScatter * pitch)
    return false;
  return !(std::abs(solution.model.cylinder.radius - corrected.radius) <= most_beside * pitch);
}

// By the radial distance to the profile, on all points.
ThreadSolution FitRadially(const Points& points, const std::vector<int>& columns,
                           const ThreadModel& start) {
  ThreadSolution solution;
  solution.free_parameters = static_cast<int>(columns.size());
  solution.model = start;
  double bound = BoundOf(points, solution.model);
  for (int k = 0; k < kBounds; ++k) {
    double cost = 0.0;
    const Task task{points, columns, 1, bound};
    solution.converged = Descend(task, kDescentRounds, solution.model, cost, solution.rounds);
    const double last = bound;
    bound = BoundOf(points, solution.model);
    if (!solution.converged || std::abs(bound - last) < 0.01 * last) break;
  }
  CollectInliers(points, columns, bound, solution);
  return solution;
}

// By what the beam should read, on all points.
ThreadSolution FitAlongSight(const SightFit& fit, const std::vector<int>& columns,
                             SightModel model) {
  const double bound = fit.Refine(model);
  Eigen::VectorXd residuals;
  Eigen::MatrixXd jacobian;
  fit.Evaluate(model, residuals, jacobian);
  ThreadSolution solution;
  solution.free_parameters = fit.FreeParameters();
  solution.model = model.thread;
  solution.converged = residuals.allFinite() && jacobian.allFinite();
  Eigen::MatrixXd matrix = Eigen::MatrixXd::Zero(kThreadColumns, kThreadColumns);
  for (Eigen::Index i = 0; i < residuals.size(); ++i) {
    if (!(std::abs(residuals[i]) <= bound)) continue;
    AddInlier(i, residuals[i], jacobian.row(i).transpose(), solution, matrix);
  }
  JudgeInliers(matrix, columns, solution);
  return solution;
}

// Whether the radial distances are small enough for the crests' edges to be believed: what they
// leave tells how wide the beam was.
bool IsSharp(const ThreadSolution& solution, const Helix& helix) {
  constexpr double kMostOfPitch = 0.03, kMostOfDepth = 0.2;
  return RmsOf(solution) <= kMostOfPitch * std::abs(solution.model.pitch) &&
         RmsOf(solution) <= kMostOfDepth * helix.depth;
}

// The thread of a bore from the phase that the sight lines tell.
std::optional<ThreadSolution> FitBore(const Points& points, const std::vector<int>& columns,
                                      const Model& start, const Helix& helix,
                                      const Eigen::Vector3d& instrument) {
  // What hides a profile hides the axis of a short wall as well: few points tell neither.
  constexpr std::size_t kFewestInSight = 300;
  const SightFit sight(points, instrument, columns);
  const std::optional<SightModel> found = sight.Find(start, helix.pitch, helix.depth);
  if (!found) return std::nullopt;
  const auto holds = [&](const ThreadSolution& s) {
    return s.converged && IsResolved(s, helix) && !IsBesideFlank(s, start, points.size());
  };
  const ThreadSolution radial = FitRadially(points, columns, found->thread);
  if (holds(radial) && IsSharp(radial, helix)) return radial;
  const ThreadSolution seen = FitAlongSight(sight, columns, *found);
  if (holds(seen) && seen.inliers.size() >= kFewestInSight) return seen;
  return std::nullopt;
}

}  // namespace

ThreadSolution FitThread(const Points& points, const Model& smooth, Helix helix,
                         const Eigen::Vector3d& instrument, bool fix_axis, bool fix_radius) {
  Model unused;
  std::vector<int> columns = ListFreeParameters(unused, fix_axis, fix_radius).columns;
  columns.insert(columns.end(), {kPhase, kPitch});
  const Model start = CorrectSmoothFit(points, smooth, instrument, fix_axis, fix_radius, helix);
  if (helix.bore) {
    if (const auto seen = FitBore(points, columns, start, helix, instrument)) return *seen;
  }
  const std::vector<Trial> trials = TryStarts(points, columns, start, helix);
  if (trials.empty()) return {};
  ThreadSolution solution = FitRadially(points, columns, trials.front().model);
  solution.converged = solution.converged && IsResolved(solution, helix) &&
                       !IsBesideFlank(solution, start, points.size());
  return solution;
}

}  // namespace libmfx::geometry::cylinder
