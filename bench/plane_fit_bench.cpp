// Plane::LeastSquares beside the two bare passes that any plane fit makes, and beside CGAL's fit of
// the same points.

#include <benchmark/benchmark.h>

#include <Eigen/Core>
#include <random>
#include <vector>

#include "libmfx/geometry/plane.h"

#ifdef LIBMFX_HAVE_CGAL
#include <CGAL/Simple_cartesian.h>
#include <CGAL/linear_least_squares_fitting_3.h>
#endif

namespace {

using libmfx::data_structures::PointCloud;
using libmfx::geometry::Plane;

/// A plate of 0.1 m with 10 µm of noise, 2 m away.
Eigen::MatrixXd Plate(Eigen::Index n) {
  std::mt19937_64 engine(1);
  const auto draw = [&] { return static_cast<double>(engine() >> 11) * 0x1p-53 - 0.5; };
  Eigen::MatrixXd data(3, n);
  for (Eigen::Index i = 0; i < n; ++i) {
    data.col(i) << 0.1 * draw() + 1.0, 0.1 * draw() - 1.0, 1e-5 * draw() + 1.4;
  }
  return data;
}

Eigen::VectorXd Weights(Eigen::Index n) { return Eigen::VectorXd::LinSpaced(n, 1.0, 0.1); }

void OursUnweighted(benchmark::State& state) {
  const PointCloud cloud(Plate(state.range(0)));
  for (auto _ : state) {
    Plane plane;
    benchmark::DoNotOptimize(plane.LeastSquares(cloud));
    benchmark::DoNotOptimize(plane);
  }
}

void OursWeighted(benchmark::State& state) {
  const PointCloud cloud(Plate(state.range(0)));
  const Eigen::VectorXd weights = Weights(state.range(0));
  for (auto _ : state) {
    Plane plane;
    benchmark::DoNotOptimize(plane.LeastSquares(cloud, weights));
    benchmark::DoNotOptimize(plane);
  }
}

/// Mean, then scatter about it, column by column: the least that Eigen can do without a copy.
void BareLoopUnweighted(benchmark::State& state) {
  const Eigen::MatrixXd data = Plate(state.range(0));
  const auto points = data.topRows<3>();
  for (auto _ : state) {
    Eigen::Vector3d mean = Eigen::Vector3d::Zero();
    for (Eigen::Index i = 0; i < data.cols(); ++i) mean += points.col(i);
    mean /= static_cast<double>(data.cols());
    Eigen::Matrix3d scatter = Eigen::Matrix3d::Zero();
    for (Eigen::Index i = 0; i < data.cols(); ++i) {
      const Eigen::Vector3d d = points.col(i) - mean;
      scatter.noalias() += d * d.transpose();
    }
    benchmark::DoNotOptimize(scatter);
  }
  state.counters["max_ratio"] = 1.5;
}

void BareLoopWeighted(benchmark::State& state) {
  const Eigen::MatrixXd data = Plate(state.range(0));
  const Eigen::VectorXd weights = Weights(state.range(0));
  const auto points = data.topRows<3>();
  for (auto _ : state) {
    Eigen::Vector3d mean = Eigen::Vector3d::Zero();
    for (Eigen::Index i = 0; i < data.cols(); ++i) mean += weights[i] * points.col(i);
    mean /= weights.sum();
    Eigen::Matrix3d scatter = Eigen::Matrix3d::Zero();
    for (Eigen::Index i = 0; i < data.cols(); ++i) {
      const Eigen::Vector3d d = weights[i] * (points.col(i) - mean);
      scatter.noalias() += d * d.transpose();
    }
    benchmark::DoNotOptimize(scatter);
  }
  state.counters["max_ratio"] = 1.5;
}

/// The same as whole-matrix expressions, with the centred points in a matrix of their own.
void BareMatrixUnweighted(benchmark::State& state) {
  const Eigen::MatrixXd data = Plate(state.range(0));
  Eigen::Matrix3Xd centred(3, data.cols());
  for (auto _ : state) {
    const Eigen::Vector3d mean = data.topRows<3>().rowwise().mean();
    centred = data.topRows<3>().colwise() - mean;
    Eigen::Matrix3d scatter = centred * centred.transpose();
    benchmark::DoNotOptimize(scatter);
  }
  state.counters["max_ratio"] = 1.5;
}

void BareMatrixWeighted(benchmark::State& state) {
  const Eigen::MatrixXd data = Plate(state.range(0));
  const Eigen::VectorXd weights = Weights(state.range(0));
  Eigen::Matrix3Xd centred(3, data.cols());
  for (auto _ : state) {
    const Eigen::Vector3d mean = data.topRows<3>() * weights / weights.sum();
    centred = (data.topRows<3>().colwise() - mean).array().rowwise() * weights.transpose().array();
    Eigen::Matrix3d scatter = centred * centred.transpose();
    benchmark::DoNotOptimize(scatter);
  }
  state.counters["max_ratio"] = 1.5;
}

#ifdef LIBMFX_HAVE_CGAL
void CgalUnweighted(benchmark::State& state) {
  using Kernel = CGAL::Simple_cartesian<double>;
  const Eigen::MatrixXd data = Plate(state.range(0));
  std::vector<Kernel::Point_3> points;
  for (Eigen::Index i = 0; i < data.cols(); ++i) {
    points.emplace_back(data(0, i), data(1, i), data(2, i));
  }
  for (auto _ : state) {
    Kernel::Plane_3 plane;
    Kernel::Point_3 centroid;
    benchmark::DoNotOptimize(CGAL::linear_least_squares_fitting_3(
        points.begin(), points.end(), plane, centroid, CGAL::Dimension_tag<0>()));
    benchmark::DoNotOptimize(plane);
  }
  state.counters["max_ratio"] = 1.0;
}
#endif

#define COLUMNS Arg(1000)->Arg(1000000)
BENCHMARK(OursUnweighted)->Name("Plane::LeastSquares/ours")->COLUMNS;
BENCHMARK(BareLoopUnweighted)->Name("Plane::LeastSquares/bare loops")->COLUMNS;
BENCHMARK(BareMatrixUnweighted)->Name("Plane::LeastSquares/bare matrices")->COLUMNS;
#ifdef LIBMFX_HAVE_CGAL
BENCHMARK(CgalUnweighted)->Name("Plane::LeastSquares/CGAL")->COLUMNS;
#endif
BENCHMARK(OursWeighted)->Name("Plane::LeastSquares weighted/ours")->COLUMNS;
BENCHMARK(BareLoopWeighted)->Name("Plane::LeastSquares weighted/bare loops")->COLUMNS;
BENCHMARK(BareMatrixWeighted)->Name("Plane::LeastSquares weighted/bare matrices")->COLUMNS;

}  // namespace
