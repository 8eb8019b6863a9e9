// The analysis of a border's profile: the whole of it beside the bare line fits that it makes.

#include <benchmark/benchmark.h>

#include <Eigen/Core>
#include <Eigen/SVD>
#include <cmath>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "libmfx/features/edge.h"

namespace {

using Eigen::Index;
using libmfx::data_structures::AzElRange;
using libmfx::data_structures::PointCloud;
using libmfx::data_structures::PointXYZW;
using libmfx::data_structures::RawDataPoint;

constexpr Index kSamples = 2000;
constexpr Index kOnSurface = 1400;
constexpr double kSpacing = 0.0001;
constexpr double kClearance = 0.06;
constexpr double kBorder = 0.08;

/// An edge whose stages can be asked.
class OpenEdge : public libmfx::features::Edge {
 public:
  using Edge::_profile;
  using Edge::Edge;
  using Edge::split_curve;
};

/// A surface of 140 mm and a flank that leans by 45 degrees, with 10 micrometres of noise.
std::vector<RawDataPoint> Profile() {
  std::mt19937_64 engine(1);
  std::vector<RawDataPoint> samples(kSamples);
  for (Index i = 0; i < kSamples; ++i) {
    const double step = static_cast<double>(i - kOnSurface + 1) * kSpacing;
    const double down = step > 0.0 ? step * std::sqrt(0.5) : 0.0;
    const double noise = 2e-5 * (static_cast<double>(engine() >> 11) * 0x1p-53 - 0.5);
    const AzElRange aer(PointXYZW(kBorder + (step > 0.0 ? down : step), 0.0, 2.0 + down + noise));
    RawDataPoint& sample = samples[static_cast<std::size_t>(i)];
    sample.azimuth = aer.azimuth;
    sample.elevation = aer.elevation;
    sample.range = aer.range;
    sample.quality = 80.0;
    sample.status = 1;
  }
  return samples;
}

OpenEdge Scanned(bool use_nominal_offset) {
  const std::string request =
      std::string(R"({"ClearanceZone":0.06,"UseNominalOffset":)") +
      (use_nominal_offset ? "true" : "false") +
      R"(,"Feature":{"$type":"EdgeFeature","SurfacePoint":[0,0,2],"SurfaceNormal":[0,0,-1],)"
      R"("EdgePoint":[0.10,0,2.02]}})";
  OpenEdge edge(request);
  edge.UpdateRawData(Profile());
  return edge;
}

void AnalyzeOurs(benchmark::State& state) {
  OpenEdge edge = Scanned(state.range(1) != 0);
  for (auto _ : state) {
    edge.AnalyzeFeature();
    if (!edge.GetIsSuccessful()) state.SkipWithError(edge.GetError().c_str());
  }
  state.counters["samples"] = static_cast<double>(edge._profile.selected.cols());
  state.counters["split"] = static_cast<double>(edge._profile.split_index);
}

/// The columns of each line fit of the split, as its rules tell them.
std::vector<Index> FitSizes() {
  OpenEdge edge = Scanned(false);
  edge.AnalyzeFeature();
  if (!edge.GetIsSuccessful()) throw std::runtime_error(edge.GetError());
  const Index columns = edge._profile.selected.cols();
  const auto n = static_cast<Index>(kClearance / kSpacing * 0.8);
  const Index step = (columns - n) / 10;
  std::vector<Index> sizes{n};
  for (Index end = n + step; end <= columns - step; end += step) sizes.push_back(end);
  sizes.push_back(n + 5 * step);  // the steadiest of these, one way or another
  for (Index end = columns; end >= edge._profile.split_index; end -= 5) sizes.push_back(end);
  return sizes;
}

/// Mean, scatter about it, and its decomposition, column by column: the least that a fit takes.
void AnalyzeBare(benchmark::State& state) {
  const std::vector<Index> sizes = FitSizes();
  const PointCloud cloud(Profile(), libmfx::data_structures::EMBEDDING_XYZ, 0.0, false);
  const auto points = cloud.data().topRows<3>();
  for (auto _ : state) {
    for (const Index n : sizes) {
      Eigen::Vector3d mean = Eigen::Vector3d::Zero();
      for (Index i = 0; i < n; ++i) mean += points.col(i);
      mean /= static_cast<double>(n);
      Eigen::Matrix3d scatter = Eigen::Matrix3d::Zero();
      for (Index i = 0; i < n; ++i) {
        const Eigen::Vector3d d = points.col(i) - mean;
        scatter.noalias() += d * d.transpose();
      }
      const Eigen::JacobiSVD<Eigen::Matrix3d> svd(scatter,
                                                  Eigen::ComputeFullU | Eigen::ComputeFullV);
      Eigen::Vector3d direction = svd.matrixV().col(0);
      benchmark::DoNotOptimize(direction);
    }
  }
  state.counters["max_ratio"] = 1.0;
  state.counters["fits"] = static_cast<double>(sizes.size());
}

BENCHMARK(AnalyzeOurs)->Name("Analyze an edge, curve/ours")->Args({kSamples, 0});
BENCHMARK(AnalyzeBare)->Name("Analyze an edge, curve/bare line fits")->Args({kSamples, 0});
BENCHMARK(AnalyzeOurs)->Name("Analyze an edge, sample/ours")->Args({kSamples, 1});
BENCHMARK(AnalyzeBare)->Name("Analyze an edge, sample/bare line fits")->Args({kSamples, 1});

}  // namespace
