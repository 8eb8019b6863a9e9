// The frame of a measurement: clouds from samples, requests in, results out. Each case stands
// beside the least work that gives the same answer.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <Eigen/Core>
#include <cmath>
#include <cstring>
#include <memory>
#include <nlohmann/json.hpp>
#include <queue>
#include <string>
#include <vector>

#include "libmfx/data_structures/point_cloud.h"
#include "libmfx/features/feature.h"

namespace {

using libmfx::data_structures::EMBEDDING_XYZ;
using libmfx::data_structures::PointCloud;
using libmfx::data_structures::Position;
using libmfx::data_structures::RawDataPoint;
using libmfx::features::Feature;
using nlohmann::json;

/// Memory comes from a heap that is warm and stays: what the operating system takes to hand out
/// fresh pages is the same for every candidate, and would hide the difference between them.
const bool kWarmHeap =
    mallopt(M_MMAP_THRESHOLD, 1 << 30) == 1 && mallopt(M_TRIM_THRESHOLD, 1 << 30) == 1;

/// Samples as an instrument returns them: no two numbers alike, every digit in use.
std::vector<RawDataPoint> MakeSamples(std::size_t count) {
  std::vector<RawDataPoint> samples;
  samples.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    const double t = static_cast<double>(i) / static_cast<double>(count);
    samples.emplace_back(0.3 * std::sin(7.0 * t), 0.2 * std::cos(5.0 * t), 2.0 + 0.1 * t,
                         60.0 + 20.0 * t, static_cast<int>(i / 1000));
  }
  return samples;
}

void CloudOurs(benchmark::State& state) {
  const auto samples = MakeSamples(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    PointCloud cloud(samples, EMBEDDING_XYZ, 50.0, true);
    benchmark::DoNotOptimize(cloud.data().data());
  }
}

/// One loop over the same records: the same copy of the samples, the same test of the quality,
/// sines and cosines, and the same five rows.
void CloudBare(benchmark::State& state) {
  const auto samples = MakeSamples(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    const std::vector<RawDataPoint> raw = samples;
    Eigen::MatrixXd data(5, static_cast<Eigen::Index>(raw.size()));
    double* column = data.data();
    for (const RawDataPoint& s : raw) {
      if (s.quality < 50.0) continue;
      const double horizontal = std::cos(s.elevation) * s.range;
      column[0] = -std::sin(s.azimuth) * horizontal;
      column[1] = std::sin(s.elevation) * s.range;
      column[2] = std::cos(s.azimuth) * horizontal;
      column[3] = s.quality;
      column[4] = s.status;
      column += 5;
    }
    benchmark::DoNotOptimize(data.data());
  }
  state.counters["max_ratio"] = 1.5;
}

BENCHMARK(CloudOurs)->Name("PointCloud of samples/ours")->Arg(1000000);
BENCHMARK(CloudBare)->Name("PointCloud of samples/bare loop")->Arg(1000000);

std::string MakeScanPathRequest(std::size_t points) {
  json segments = json::array();
  json segment = json::array();
  for (std::size_t i = 0; i < points; ++i) {
    const double t = static_cast<double>(i) / static_cast<double>(points);
    segment.push_back({std::sin(7.0 * t), 0.5 * std::cos(5.0 * t), 2.0 + 0.1 * t});
    if (segment.size() == 100) {
      segments.push_back(segment);
      segment = json::array();
    }
  }
  return json{{"$id", "bench"},
              {"PointSpacing", 0.001},
              {"Feature",
               {{"$type", "ScanPathFeature"}, {"Name", "B"}, {"Path", {{"Segments", segments}}}}}}
      .dump();
}

void CreateOurs(benchmark::State& state) {
  const std::string request = MakeScanPathRequest(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    const std::unique_ptr<Feature> feature(Feature::Create(request));
    benchmark::DoNotOptimize(feature.get());
  }
}

/// The text through the JSON library once, and nothing done with it: made and dropped.
void CreateBare(benchmark::State& state) {
  const std::string request = MakeScanPathRequest(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    const json document = json::parse(request);
    benchmark::DoNotOptimize(document.size());
  }
  state.counters["max_ratio"] = 1.3;
}

BENCHMARK(CreateOurs)->Name("Create a scan path/ours")->Arg(100000);
BENCHMARK(CreateBare)->Name("Create a scan path/one bare parse")->Arg(100000);

/// A scan path that has been analysed and keeps `count` samples.
std::unique_ptr<Feature> MakeAnalysed(std::size_t count) {
  std::queue<Position> path;
  path.emplace(0.0, 0.0, 2.0, 0.0);
  std::unique_ptr<Feature> feature(Feature::Create(path, 50.0));
  feature->OutputDataBySegment(false);
  std::queue<Position> next;
  feature->SetRawData(MakeSamples(count), next);
  feature->AnalyzeFeature();
  return feature;
}

void ResultJsonOurs(benchmark::State& state) {
  const auto feature = MakeAnalysed(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    const std::string text = feature->GetResult();
    benchmark::DoNotOptimize(text.data());
  }
}

/// The same message, built beforehand, dumped by the JSON library.
void ResultJsonBare(benchmark::State& state) {
  const json message =
      json::parse(MakeAnalysed(static_cast<std::size_t>(state.range(0)))->GetResult());
  for (auto _ : state) {
    const std::string text = message.dump();
    benchmark::DoNotOptimize(text.data());
  }
  state.counters["max_ratio"] = 1.5;
}

BENCHMARK(ResultJsonOurs)->Name("GetResult, JSON/ours")->Arg(100000);
BENCHMARK(ResultJsonBare)->Name("GetResult, JSON/bare dump")->Arg(100000);

void ResultBinaryOurs(benchmark::State& state) {
  const auto feature = MakeAnalysed(static_cast<std::size_t>(state.range(0)));
  feature->SetScanPathReturnType(libmfx::features::SCANPATH_RETURN_BINARY);
  for (auto _ : state) {
    const std::string text = feature->GetResult();
    benchmark::DoNotOptimize(text.data());
  }
}

/// As many bytes as the message has, copied into a fresh string: a result can cost no less.
void ResultBinaryCopy(benchmark::State& state) {
  const auto feature = MakeAnalysed(static_cast<std::size_t>(state.range(0)));
  feature->SetScanPathReturnType(libmfx::features::SCANPATH_RETURN_BINARY);
  const std::string message = feature->GetResult();
  for (auto _ : state) {
    std::string text(message);
    benchmark::DoNotOptimize(text.data());
  }
  state.counters["max_ratio"] = 4.0;
}

BENCHMARK(ResultBinaryOurs)->Name("GetResult, binary/ours")->Arg(100000);
BENCHMARK(ResultBinaryCopy)->Name("GetResult, binary/memcpy of the message")->Arg(100000);

}  // namespace
