// The analysis of a matte sphere: the whole of it beside the bare decompositions that its fits
// need.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <Eigen/Core>
#include <Eigen/SVD>
#include <algorithm>
#include <cstdlib>
#include <memory>
#include <queue>
#include <string>
#include <vector>

#include "libmfx/features/feature.h"
#include "libmfx/features/sphere_fit.h"
#include "libmfx/win32_support/exports.h"
#include "peak_memory.h"
#include "sim/scenario.h"

namespace {

long g_draws = 0;
unsigned int g_seed = 1;

}  // namespace

// The analysis seeds the C generator by the clock. Here the generator is the same one behind a
// counter, and the seed is the benchmark's: each run draws what the run before it drew.
extern "C" int rand() noexcept {
  ++g_draws;
  return static_cast<int>(random());
}
extern "C" void srand(unsigned int) noexcept { srandom(g_seed); }

namespace {

using Eigen::MatrixXd;
using Eigen::VectorXd;
using libmfx::data_structures::PointCloud;
using libmfx::data_structures::PointXYZW;
using libmfx::data_structures::Position;
using libmfx::data_structures::RawDataPoint;
using libmfx::features::Feature;
namespace sim = libmfx::sim;

const bool kWarmHeap =
    mallopt(M_MMAP_THRESHOLD, 1 << 30) == 1 && mallopt(M_TRIM_THRESHOLD, 1 << 30) == 1;

constexpr int kSeeds = 16;
constexpr int kSampleSize = 25;
const sim::Vec3 kCenter(0.4, 0.2, 3.0);
constexpr double kRadius = 0.0127;

/// A feature that holds the samples of a star of 9 lines of 190 points.
std::unique_ptr<Feature> Scanned() {
  const sim::Vec3 front = kCenter * (1.0 - kRadius / kCenter.norm());
  const std::string request =
      R"({"ScanLines":9,"NumPointsPerLine":190,"Feature":{"$type":"MatteSphereFeature","Location":[)" +
      std::to_string(front.x()) + "," + std::to_string(front.y()) + "," +
      std::to_string(front.z()) + "],\"Radius\":" + std::to_string(kRadius) + "}}";
  sim::Instrument instrument(
      sim::MakeScene(sim::parts::MakeBall({}), sim::Pose::Facing(kCenter), 0.3), 7);
  std::unique_ptr<Feature> feature(Feature::Create(request));
  std::queue<Position> next = feature->GetDrivePoints(false);
  for (bool taken = false; !taken;) {
    const std::vector<RawDataPoint> samples = instrument.Drive(next);
    next = {};
    taken = feature->SetRawData(samples, next);
  }
  return feature;
}

/// The sizes of all fits of one analysis, as its log lines and its draws tell.
std::vector<Eigen::Index> FitSizes(Feature& feature) {
  static std::vector<Eigen::Index> sizes;
  static Eigen::Index quadrants;
  sizes.clear();
  quadrants = 0;
  RegisterLogCallbackFunction([](const wchar_t*, int, const wchar_t* text) {
    const std::wstring line = text;
    const auto number_after = [&line](const wchar_t* start) -> Eigen::Index {
      return line.starts_with(start) ? std::stol(line.substr(std::wstring(start).size())) : 0;
    };
    if (const auto n = number_after(L"Filtered points quad returned: 3 x ")) {
      if (sizes.size() < 4) quadrants += n;
      sizes.push_back(n);
    }
    if (const auto n = number_after(L"No. of fitPoints columns: ")) sizes.push_back(n);
  });
  g_draws = 0;
  feature.AnalyzeFeature();
  RegisterLogCallbackFunction(nullptr);
  if (!feature.GetIsSuccessful()) throw std::runtime_error(feature.GetError());
  const long rounds = g_draws / kSampleSize;
  sizes.insert(sizes.end(), static_cast<std::size_t>(rounds), kSampleSize);
  // All quadrants less the few that the filter by distance rejects, then what the last filter
  // keeps.
  sizes.push_back(quadrants);
  const std::string result = feature.GetResult();
  sizes.push_back(std::stol(result.substr(result.find("\"FinalFitcount\":") + 16)));
  return sizes;
}

void AnalyzeOurs(benchmark::State& state) {
  const std::unique_ptr<Feature> feature = Scanned();
  for (auto _ : state) {
    for (g_seed = 1; g_seed <= kSeeds; ++g_seed) feature->AnalyzeFeature();
    if (!feature->GetIsSuccessful()) state.SkipWithError(feature->GetError().c_str());
  }
  state.counters["samples"] = static_cast<double>(feature->GetRawData().size());
}

/// Points of a cap and their right-hand sides, of which a solve takes the first n.
struct Systems {
  MatrixXd rows;
  VectorXd rhs;
};

Systems MakeSystems(Eigen::Index n) {
  Systems s{MatrixXd(n, 4), VectorXd(n)};
  for (Eigen::Index i = 0; i < n; ++i) {
    const double turn = 2.399963 * static_cast<double>(i);
    const double across =
        0.0095 * std::sqrt((static_cast<double>(i) + 0.5) / static_cast<double>(n));
    const double x = across * std::cos(turn);
    const double y = across * std::sin(turn);
    const double z = 3.0 - std::sqrt(kRadius * kRadius - across * across);
    s.rows.row(i) << x, y, z, 1.0;
    s.rhs[i] = -(x * x + y * y + z * z);
  }
  return s;
}

void Solve(const std::vector<Eigen::Index>& sizes, const Systems& systems) {
  for (const Eigen::Index n : sizes) {
    const Eigen::JacobiSVD<MatrixXd> svd(systems.rows.topRows(n),
                                         Eigen::ComputeThinU | Eigen::ComputeThinV);
    Eigen::Vector4d solution = svd.solve(systems.rhs.head(n));
    benchmark::DoNotOptimize(solution);
  }
}

void AnalyzeBare(benchmark::State& state) {
  const std::unique_ptr<Feature> feature = Scanned();
  std::vector<Eigen::Index> sizes;
  for (g_seed = 1; g_seed <= kSeeds; ++g_seed) {
    const std::vector<Eigen::Index> one = FitSizes(*feature);
    sizes.insert(sizes.end(), one.begin(), one.end());
  }
  const Systems systems = MakeSystems(*std::max_element(sizes.begin(), sizes.end()));
  for (auto _ : state) Solve(sizes, systems);
  state.counters["max_ratio"] = 1.5;
  state.counters["solves"] = static_cast<double>(sizes.size()) / kSeeds;
}

BENCHMARK(AnalyzeOurs)
    ->Name("Analyze a sphere, 16 times/ours")
    ->Arg(1710)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(AnalyzeBare)
    ->Name("Analyze a sphere, 16 times/bare solves")
    ->Arg(1710)
    ->Unit(benchmark::kMillisecond);

void FitOurs(benchmark::State& state) {
  const Systems systems = MakeSystems(state.range(0));
  const PointCloud cloud(systems.rows.leftCols<3>().transpose());
  PointXYZW center;
  double radius = 0.0;
  VectorXd residuals;
  for (auto _ : state) {
    libmfx::features::SphereFitLS(cloud, center, radius, residuals);
    benchmark::DoNotOptimize(radius);
  }
}

void FitBare(benchmark::State& state) {
  const Systems systems = MakeSystems(state.range(0));
  for (auto _ : state) Solve({state.range(0)}, systems);
  state.counters["max_ratio"] = 1.5;
}

/// The filters of the analysis, open for measuring.
class Filters : public libmfx::features::SphereFit {
 public:
  using SphereFit::FilterByDistanceFromAzElMedianSpur;
  using SphereFit::FilterByError;
  using SphereFit::NominalPoint;
};

/// Samples of a cap as the pattern brings them: azimuth, elevation, range, quality, status.
PointCloud RawCap(Eigen::Index n) {
  MatrixXd rows(5, n);
  rows.topRows<3>() = MakeSystems(n).rows.leftCols<3>().transpose();
  rows.row(3).setConstant(80.0);
  rows.row(4).setOnes();
  PointCloud cloud(std::move(rows), {{libmfx::features::EMBEDDING_XYZ, {0}}});
  cloud.Convert(libmfx::features::EMBEDDING_AER);
  return cloud;
}

/// What a pass of each filter holds at its worst, its result counted, over the size of its result:
/// 1 is a pass that makes no copy beside it.
void FilterMemory(benchmark::State& state) {
  Filters sphere;
  sphere.NominalPoint = PointXYZW(0.0, 0.0, 3.0 - kRadius);
  const libmfx::features::AzElRange aim(sphere.NominalPoint);
  const PointCloud raw = RawCap(state.range(0));
  const double column = 3.0 * sizeof(double);
  double spur_peak = 0.0;
  double spur_result = 0.0;
  double error_peak = 0.0;
  for (auto _ : state) {
    PointCloud spurs[5];
    spur_peak = static_cast<double>(libmfx::bench::PeakBytes(
        [&] { sphere.FilterByDistanceFromAzElMedianSpur(raw, aim, spurs, kRadius, 50.0); }));
    spur_result = 0.0;
    for (const PointCloud& spur : spurs) spur_result += column * static_cast<double>(spur.cols());
    PointCloud cloud(raw.data().topRows<3>(), {{libmfx::features::EMBEDDING_AER, {0}}});
    cloud.Convert(libmfx::features::EMBEDDING_XYZ);
    PointCloud good;
    PointCloud bad;
    error_peak = static_cast<double>(libmfx::bench::PeakBytes(
        [&] { sphere.FilterByError(cloud, good, bad, PointXYZW(0.001, 0, 3), kRadius, 0.0005); }));
  }
  state.counters["spurs_peak_over_result"] = spur_peak / spur_result;
  state.counters["error_peak_over_result"] =
      error_peak / (column * static_cast<double>(state.range(0)));
  if (error_peak > 1.1 * column * static_cast<double>(state.range(0)) ||
      spur_peak > 1.1 * spur_result) {
    state.SkipWithError("a filter copies its cloud");
  }
}

BENCHMARK(FilterMemory)->Name("Memory of the sphere's filters/ours")->Arg(100'000)->Iterations(1);

BENCHMARK(FitOurs)->Name("Fit a sphere/ours")->Arg(25)->Arg(1710);
BENCHMARK(FitBare)->Name("Fit a sphere/bare solve")->Arg(25)->Arg(1710);

}  // namespace
