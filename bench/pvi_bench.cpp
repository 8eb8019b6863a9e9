// The outlier removal of a surface point: peeling three samples of ten off, beside one pass of the
// work of a single round, and the whole analysis.

#include <benchmark/benchmark.h>

#include <Eigen/Core>
#include <Eigen/SVD>
#include <cmath>
#include <random>

#include "libmfx/features/pvi.h"

namespace {

using Eigen::Index;
using libmfx::data_structures::PointCloud;

class OpenPvi : public libmfx::features::PVI {
 public:
  using PVI::RemoveOutliers;
};

enum Kind { kNoisy, kCoarse, kOutlying };

/// Azimuth, elevation and range of a tilted patch of 4 mm at 2 m, with 10 micrometres of noise;
/// read to full micrometres; with a tenth of the samples up to a millimetre behind it.
PointCloud Patch(Index samples, Kind kind) {
  std::mt19937_64 engine(1);
  std::uniform_real_distribution<double> across(-0.001, 0.001), behind(0.0, 1e-3);
  std::normal_distribution<double> noise(0.0, 1e-5);
  Eigen::MatrixXd data(5, samples);
  for (Index i = 0; i < samples; ++i) {
    const double azimuth = across(engine), elevation = across(engine);
    double range = 2.0 + 0.4 * azimuth - 0.7 * elevation + noise(engine);
    if (kind == kOutlying && i % 10 == 0) range += behind(engine);
    if (kind == kCoarse) range = std::round((range - 0.4 * azimuth + 0.7 * elevation) * 1e6) * 1e-6;
    data.col(i) << 0.3 + azimuth, 0.1 + elevation, range, 80.0, 1.0;
  }
  return PointCloud(data);
}

void PeelOurs(benchmark::State& state) {
  const PointCloud patch = Patch(state.range(0), static_cast<Kind>(state.range(1)));
  Index kept = 0;
  for (auto _ : state) {
    PointCloud cloud = patch;
    OpenPvi pvi;
    if (!pvi.RemoveOutliers(cloud)) state.SkipWithError(pvi.GetError().c_str());
    kept = cloud.cols();
  }
  state.counters["kept"] = static_cast<double>(kept);
}

/// One round as a pass: mean, scatter, its decomposition, and the farthest of all samples.
void RoundBare(benchmark::State& state) {
  const PointCloud patch = Patch(state.range(0), kNoisy);
  const Eigen::Matrix3Xd points = patch.data().topRows(3);
  for (auto _ : state) {
    Eigen::Vector3d mean = Eigen::Vector3d::Zero();
    for (Index i = 0; i < points.cols(); ++i) mean += points.col(i);
    mean /= static_cast<double>(points.cols());
    Eigen::Matrix3d scatter = Eigen::Matrix3d::Zero();
    for (Index i = 0; i < points.cols(); ++i) {
      const Eigen::Vector3d d = points.col(i) - mean;
      scatter.noalias() += d * d.transpose();
    }
    const Eigen::JacobiSVD<Eigen::Matrix3d> svd(scatter, Eigen::ComputeFullV);
    const Eigen::Vector3d normal = svd.matrixV().col(2);
    double worst = -1.0;
    Index column = 0;
    for (Index i = 0; i < points.cols(); ++i) {
      const double distance = std::abs(normal.dot(points.col(i) - mean));
      if (distance > worst) {
        worst = distance;
        column = i;
      }
    }
    benchmark::DoNotOptimize(column);
  }
  state.counters["max_ratio"] = 200.0;  // rounds; refitting takes 3,000 to 300,000 of them
}

template <Kind kind>
void Sizes(benchmark::internal::Benchmark* bench) {
  for (const Index n : {10000, 100000, 1000000}) bench->Args({n, kind});
  bench->Unit(benchmark::kMillisecond);
}

BENCHMARK(PeelOurs)->Name("Peel 30 %/ours")->Apply(Sizes<kNoisy>);
BENCHMARK(RoundBare)->Name("Peel 30 %/bare pass of one round")->Apply(Sizes<kNoisy>);
BENCHMARK(PeelOurs)->Name("Peel 30 %, ranges in full micrometres/ours")->Apply(Sizes<kCoarse>);
BENCHMARK(PeelOurs)->Name("Peel 30 %, outliers/ours")->Apply(Sizes<kOutlying>);

}  // namespace
