// Both circle fits beside the bare decompositions that their rounds make.

#include <benchmark/benchmark.h>

#include <Eigen/SVD>
#include <cmath>
#include <numbers>
#include <random>

#include "libmfx/geometry/circle.h"

namespace {

using libmfx::data_structures::PointCloud;
using libmfx::geometry::Circle;

/// Rim points of a hole of 10 mm radius with 20 µm of noise, 2 m away, over 300 degrees.
Eigen::MatrixXd Rim(Eigen::Index n) {
  std::mt19937_64 engine(1);
  const auto draw = [&] { return static_cast<double>(engine() >> 11) * 0x1p-53 - 0.5; };
  Eigen::MatrixXd data(3, n);
  for (Eigen::Index i = 0; i < n; ++i) {
    const double angle = 5.0 / 3.0 * std::numbers::pi * static_cast<double>(i) / double(n);
    const double r = 0.01 + 4e-5 * draw();
    data.col(i) << 1.0 + r * std::cos(angle), 1.0 + r * std::sin(angle), 1.4 + 4e-5 * draw();
  }
  return data;
}

/// Rounds that a fit of these points makes: the smallest limit that gives the same circle.
int Rounds(const PointCloud& cloud, bool fixed) {
  const auto fit = [&](int limit) {
    Circle circle;
    circle.MaxIterations(limit);
    fixed ? circle.LeastSquaresFixedRadius(cloud, 0.01) : circle.LeastSquares(cloud);
    return circle;
  };
  const Circle full = fit(200);
  int limit = 1;
  while (!(fit(limit).Center() == full.Center())) ++limit;
  return limit;
}

void Ours(benchmark::State& state, bool fixed) {
  const PointCloud cloud(Rim(state.range(0)));
  for (auto _ : state) {
    Circle circle;
    benchmark::DoNotOptimize(fixed ? circle.LeastSquaresFixedRadius(cloud, 0.01)
                                   : circle.LeastSquares(cloud));
    benchmark::DoNotOptimize(circle);
  }
  state.counters["rounds"] = Rounds(cloud, fixed);
}

/// As many JacobiSVD solves of the Jacobian as the fit has rounds; one object for all, as a careful
/// user would.
void BareSolves(benchmark::State& state, bool fixed) {
  const Eigen::MatrixXd data = Rim(state.range(0));
  const int rounds = Rounds(PointCloud(data), fixed);
  Eigen::MatrixXd jacobian(data.cols(), fixed ? 2 : 3);
  Eigen::VectorXd residuals(data.cols());
  for (Eigen::Index i = 0; i < data.cols(); ++i) {
    const Eigen::Vector2d d = data.col(i).head<2>() - Eigen::Vector2d(1.0, 1.0);
    jacobian(i, 0) = d.x() / d.norm();
    jacobian(i, 1) = d.y() / d.norm();
    if (!fixed) jacobian(i, 2) = 1.0;
    residuals[i] = d.norm() - 0.01;
  }
  Eigen::JacobiSVD<Eigen::MatrixXd> svd(data.cols(), jacobian.cols(),
                                        Eigen::ComputeThinU | Eigen::ComputeThinV);
  for (auto _ : state) {
    for (int round = 0; round < rounds; ++round) {
      Eigen::VectorXd step = svd.compute(jacobian).solve(residuals);
      benchmark::DoNotOptimize(step);
    }
  }
  state.counters["max_ratio"] = 1.5;
}

#define POINTS Arg(18)->Arg(500)
BENCHMARK_CAPTURE(Ours, free, false)->Name("Circle::LeastSquares/ours")->POINTS;
BENCHMARK_CAPTURE(BareSolves, free, false)->Name("Circle::LeastSquares/bare solves")->POINTS;
BENCHMARK_CAPTURE(Ours, fixed, true)->Name("Circle fixed radius/ours")->POINTS;
BENCHMARK_CAPTURE(BareSolves, fixed, true)->Name("Circle fixed radius/bare solves")->POINTS;

}  // namespace
