// The cylinder fit beside Ceres on the same points, its iteration beside one bare pass of residuals
// and Jacobian, and what its filters cost beside that.

#include <benchmark/benchmark.h>

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

#include "geometry/cylinder/least_squares.h"
#include "geometry/cylinder/neighbourhood.h"
#include "geometry/cylinder/thread_model.h"
#include "libmfx/geometry/cylinder_fitter.h"
#include "peak_memory.h"
#ifdef LIBMFX_HAVE_CERES
#include <ceres/ceres.h>
#endif

namespace {

using Eigen::Vector3d;
using libmfx::geometry::ThreadedCylinderFitter;
namespace cylinder = libmfx::geometry::cylinder;

constexpr double kRadius = 0.005;
const Vector3d kCenter(0.2, -0.1, 2.0);
const Vector3d kAxis = Vector3d(0.3, 0.5, -0.8).normalized();

/// Half of a wall of 5 mm radius and 16 mm height, 2 m away, with 20 µm of noise.
std::vector<Vector3d> Wall(Eigen::Index n) {
  std::mt19937_64 engine(1);
  const auto draw = [&] { return static_cast<double>(engine() >> 11) * 0x1p-53; };
  const Vector3d e1 = kAxis.unitOrthogonal(), e2 = kAxis.cross(e1);
  std::vector<Vector3d> points;
  for (Eigen::Index i = 0; i < n; ++i) {
    const double turn = std::numbers::pi * draw();
    const double r = kRadius + 20e-6 * (draw() + draw() + draw() - 1.5) * 2.0;
    points.push_back(kCenter + (0.002 + 0.016 * draw()) * kAxis +
                     r * (std::cos(turn) * e1 + std::sin(turn) * e2));
  }
  return points;
}

/// A start off by 2 % and 2 degrees.
ThreadedCylinderFitter::Cylinder Nominal() {
  ThreadedCylinderFitter::Cylinder nominal;
  nominal.point = kCenter + Vector3d(0.02 * kRadius, 0.0, 0.0);
  nominal.axis =
      Eigen::AngleAxisd(std::numbers::pi / 90.0, Vector3d::UnitX()).toRotationMatrix() * kAxis;
  nominal.radius = 1.02 * kRadius;
  return nominal;
}

/// The side of a threaded stud that an instrument in the origin sees, line by line along the axis:
/// 3 mm of radius, 1 mm of pitch, 2 m away, with 10 µm of noise.
ThreadedCylinderFitter::Cylinder Stud() {
  const Vector3d sight = kCenter.normalized();
  ThreadedCylinderFitter::Cylinder stud;
  stud.point = kCenter;
  stud.axis = (sight.unitOrthogonal() + 0.25 * sight).normalized();
  stud.radius = 0.003;
  return stud;
}

std::vector<Vector3d> Thread(Eigen::Index n) {
  constexpr double kPitch = 0.001, kSeen = 1.2;  // metres; radians to either side
  constexpr Eigen::Index kLines = 50;
  std::mt19937_64 engine(1);
  const auto draw = [&] { return static_cast<double>(engine() >> 11) * 0x1p-53; };
  const auto stud = Stud();
  const Vector3d near = -(kCenter - kCenter.dot(stud.axis) * stud.axis).normalized();
  const Vector3d across = stud.axis.cross(near);
  std::vector<Vector3d> points;
  for (Eigen::Index i = 0; i < n; ++i) {
    const Eigen::Index line = i * kLines / n, first = line * n / kLines;
    const double turn = kSeen * (2.0 * static_cast<double>(line) / (kLines - 1) - 1.0);
    const double step = (static_cast<double>(i - first) + draw()) * kLines / static_cast<double>(n);
    const double height = 0.002 + 0.016 * step;
    const double phase = height / kPitch - turn / cylinder::kTurn;
    const double r = stud.radius -
                     kPitch * cylinder::DepthOfProfile(phase, cylinder::Profile()).depth +
                     10e-6 * (draw() + draw() + draw() - 1.5) * 2.0;
    points.push_back(kCenter + height * stud.axis +
                     r * (std::cos(turn) * near + std::sin(turn) * across));
  }
  return points;
}

/// Sum of squared residuals over all points.
double Cost(const std::vector<Vector3d>& points, const Vector3d& point, const Vector3d& axis,
            double radius) {
  double cost = 0.0;
  for (const Vector3d& p : points) {
    const double residual = (p - point).cross(axis).norm() / axis.norm() - radius;
    cost += residual * residual;
  }
  return cost;
}

ThreadedCylinderFitter::Cylinder Fit(const std::vector<Vector3d>& points) {
  return ThreadedCylinderFitter::Fit(points, Nominal(), -0.005, 0.03, 0.002, 0.001, 0.02, 0.05,
                                     false, false, nullptr);
}

double OurCost(const std::vector<Vector3d>& points) {
  const auto fitted = Fit(points);
  if (fitted.inliers != static_cast<int>(points.size()))
    return std::numeric_limits<double>::quiet_NaN();  // then the costs can't be compared
  return Cost(points, fitted.point, fitted.axis, fitted.radius);
}

/// As the damped least squares take them.
cylinder::Points Local(const std::vector<Vector3d>& points,
                       const ThreadedCylinderFitter::Cylinder& nominal = Nominal()) {
  const Eigen::Matrix3d turn =
      Eigen::Quaterniond::FromTwoVectors(nominal.axis, Vector3d::UnitZ()).toRotationMatrix();
  cylinder::Points local(static_cast<Eigen::Index>(points.size()));
  for (std::size_t i = 0; i < points.size(); ++i)
    local.set(static_cast<Eigen::Index>(i), turn * (points[i] - nominal.point) / nominal.radius);
  return local;
}

/// The damped least squares alone, as the peer runs them.
void LeastSquares(benchmark::State& state) {
  const cylinder::Points local = Local(Wall(state.range(0)));
  cylinder::Outcome outcome;
  for (auto _ : state) {
    cylinder::Model model;
    outcome = cylinder::Minimize(local, model, false, false);
    benchmark::DoNotOptimize(model);
  }
  state.counters["rounds"] = outcome.rounds + outcome.polish_rounds;
}

#ifdef LIBMFX_HAVE_CERES
/// Our analytic residual and Jacobian as the peer takes them: a block of offsets, one of the
/// direction and one of the radius.
class WallResidual : public ceres::SizedCostFunction<1, 2, 3, 1> {
 public:
  explicit WallResidual(const Vector3d& point) : _point(point) {}
  bool Evaluate(double const* const* parameters, double* residuals,
                double** jacobians) const override {
    cylinder::Model model;
    model.offset = {parameters[0][0], parameters[0][1]};
    model.direction = {parameters[1][0], parameters[1][1], parameters[1][2]};
    model.radius = parameters[2][0];
    const auto row = cylinder::EvaluateRow<double>(_point.x(), _point.y(), _point.z(), model);
    residuals[0] = row.residual;
    if (jacobians == nullptr) return true;
    if (jacobians[0] != nullptr) std::copy_n(row.jacobian, 2, jacobians[0]);
    if (jacobians[1] != nullptr) std::copy_n(row.jacobian + 2, 3, jacobians[1]);
    if (jacobians[2] != nullptr) jacobians[2][0] = row.jacobian[5];
    return true;
  }

 private:
  Vector3d _point;
};

void CeresFit(benchmark::State& state) {
  const auto points = Wall(state.range(0));
  const cylinder::Points local = Local(points);
  double offset[2], direction[3], radius[1];
  ceres::Solver::Summary summary;
  for (auto _ : state) {
    offset[0] = offset[1] = direction[0] = direction[1] = 0.0;
    direction[2] = radius[0] = 1.0;
    ceres::Problem problem;
    for (Eigen::Index i = 0; i < local.size(); ++i)
      problem.AddResidualBlock(new WallResidual(local.at(i)), nullptr, offset, direction, radius);
    ceres::Solver::Options options;
    options.linear_solver_type = ceres::DENSE_NORMAL_CHOLESKY;
    options.function_tolerance = 1e-15;
    options.parameter_tolerance = 1e-14;
    options.gradient_tolerance = 1e-15;
    options.max_num_iterations = 200;
    options.num_threads = 1;
    ceres::Solve(options, &problem, &summary);
  }
  const double theirs = 2.0 * summary.final_cost * std::pow(Nominal().radius, 2);
  state.counters["rounds"] = static_cast<double>(summary.iterations.size());
  state.counters["max_ratio"] = 1.0;
  // How much more our fit costs, relative; it is held to 1e-9.
  const double excess = OurCost(points) / theirs - 1.0;
  state.counters["cost_excess"] = excess;
  if (!(excess <= 1e-9)) state.SkipWithError("our cost is higher than the peer's");
}
#endif

/// One round: a pass over the points that gathers the normal equations, their solution and the
/// step.
void Iteration(benchmark::State& state) {
  const cylinder::Points local = Local(Wall(state.range(0)));
  cylinder::Model model;
  const cylinder::FreeParameters free = cylinder::ListFreeParameters(model, false, false);
  for (auto _ : state) {
    const cylinder::NormalEquations sums = cylinder::Evaluate(local, model);
    Eigen::MatrixXd matrix = cylinder::Reduce(sums.matrix, free.columns, model, false);
    matrix.diagonal().array() += 1e-3 * matrix.diagonal().maxCoeff();
    const Eigen::VectorXd gradient = sums.gradient(free.columns);
    const Eigen::VectorXd step = cylinder::Solve(matrix, -gradient);
    benchmark::DoNotOptimize(step.data());
  }
}

/// The same rows, kept and gathered into nothing: what residuals and Jacobian cost by themselves.
void BarePass(benchmark::State& state) {
  const cylinder::Points local = Local(Wall(state.range(0)));
  const cylinder::Model model;
  Eigen::ArrayXd residuals(local.size());
  Eigen::ArrayXXd jacobian(local.size(), static_cast<Eigen::Index>(cylinder::kColumns));
  for (auto _ : state) {
    for (Eigen::Index i = 0; i < local.size(); ++i) {
      const auto row = cylinder::EvaluateRow<double>(local.x[i], local.y[i], local.z[i], model);
      residuals[i] = row.residual;
      for (int k = 0; k < cylinder::kColumns; ++k) jacobian(i, k) = row.jacobian[k];
    }
    benchmark::DoNotOptimize(residuals.data());
    benchmark::DoNotOptimize(jacobian.data());
    benchmark::ClobberMemory();
  }
  state.counters["max_ratio"] = 2.0;
}

/// Whether memory is linear in the points: bytes a point at the worst moment of a whole fit.
void WholeFit(benchmark::State& state) {
  const auto points = Wall(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(Fit(points));
  state.counters["bytes_a_point"] =
      static_cast<double>(libmfx::bench::PeakBytes([&] { Fit(points); })) /
      static_cast<double>(points.size());
}

/// The least of a whole fit: its least squares.
void BareFit(benchmark::State& state) {
  LeastSquares(state);
  state.counters["max_ratio"] = 20.0;
}

void WholeThread(benchmark::State& state) {
  const auto points = Thread(state.range(0));
  ThreadedCylinderFitter::Statistics statistics;
  for (auto _ : state) {
    benchmark::DoNotOptimize(ThreadedCylinderFitter::Fit(
        points, Stud(), 0.001, 0.019, 0.001, 0.0005, 0.02, 0.05, false, false, &statistics));
  }
  if (!statistics.threaded) state.SkipWithError("the thread was not found");
}

void BareThread(benchmark::State& state) {
  const cylinder::Points local = Local(Thread(state.range(0)), Stud());
  for (auto _ : state) {
    cylinder::Model model;
    cylinder::Minimize(local, model, false, false);
    benchmark::DoNotOptimize(model);
  }
}

/// Qualities of a wall, a few of them poor.
std::vector<double> Qualities(std::size_t n) {
  std::mt19937_64 engine(2);
  std::vector<double> qualities;
  for (std::size_t i = 0; i < n; ++i)
    qualities.push_back(engine() % 50 == 0 ? 40.0 : 70.0 + static_cast<double>(engine() % 20));
  return qualities;
}

void QualityFilter(benchmark::State& state) {
  const auto all = Thread(state.range(0));
  const auto given = Qualities(all.size());
  std::size_t removed = 0;
  for (auto _ : state) {
    std::vector<Vector3d> points = all;
    std::vector<double> qualities = given;
    removed = ThreadedCylinderFitter::RemoveLowQuality(points, qualities);
    benchmark::DoNotOptimize(points.data());
  }
  state.counters["removed"] = static_cast<double>(removed);
}

/// The neighbours that a quality is judged by, each point's by a query of its own.
void TreeQueries(benchmark::State& state) {
  const auto all = Thread(state.range(0));
  cylinder::Points points(static_cast<Eigen::Index>(all.size()));
  for (std::size_t i = 0; i < all.size(); ++i) points.set(static_cast<Eigen::Index>(i), all[i]);
  std::vector<Eigen::Index> found;
  for (auto _ : state) {
    cylinder::Neighbourhood tree(points);
    tree.Build();
    for (const Vector3d& p : all) {
      tree.Nearest(p, 17, std::numeric_limits<double>::infinity(), found);
      benchmark::DoNotOptimize(found.data());
    }
  }
  state.counters["max_ratio"] = 0.5;
}

constexpr auto kUnit = benchmark::kMicrosecond;
BENCHMARK(LeastSquares)->Name("cylinder fit/ours")->Arg(500)->Arg(20000)->Unit(kUnit);
#ifdef LIBMFX_HAVE_CERES
BENCHMARK(CeresFit)->Name("cylinder fit/Ceres")->Arg(500)->Arg(20000)->Unit(kUnit);
#endif
BENCHMARK(Iteration)->Name("cylinder iteration/ours")->Arg(500)->Arg(20000)->Unit(kUnit);
BENCHMARK(BarePass)->Name("cylinder iteration/bare pass")->Arg(500)->Arg(20000)->Unit(kUnit);
BENCHMARK(WholeFit)->Name("cylinder with its filters/ours")->Arg(20000)->Arg(200000)->Unit(kUnit);
BENCHMARK(BareFit)
    ->Name("cylinder with its filters/least squares alone")
    ->Arg(20000)
    ->Arg(200000)
    ->Unit(kUnit);
BENCHMARK(WholeThread)->Name("threaded cylinder with its filters/ours")->Arg(10000)->Unit(kUnit);
BENCHMARK(BareThread)
    ->Name("threaded cylinder with its filters/least squares alone")
    ->Arg(10000)
    ->Unit(kUnit);
BENCHMARK(QualityFilter)->Name("quality filter/ours")->Arg(11500)->Unit(kUnit);
BENCHMARK(TreeQueries)->Name("quality filter/tree queries")->Arg(11500)->Unit(kUnit);

}  // namespace
