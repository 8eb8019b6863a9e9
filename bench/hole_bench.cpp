// The analysis of a hole beside the bare cost of its fits, and its search beside the robust plane
// and the mesh that it needs.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <iostream>
#include <vector>

#include "../tests/support/hole_request.h"
#include "../tests/support/protected.h"
#include "bare_fits.h"
#include "libmfx/features/hole.h"
#include "libmfx/geometry/mesh.h"
#include "libmfx/geometry/voronoi_graph.h"
#include "sim/scenario.h"

namespace {

using Eigen::MatrixXd;
using libmfx::data_structures::EMBEDDING_XY;
using libmfx::data_structures::EMBEDDING_XYZ;
using libmfx::data_structures::PointCloud;
using libmfx::data_structures::PointXYZW;
using libmfx::data_structures::RawDataPoint;
using libmfx::features::Hole;
using libmfx::geometry::Circle;
using libmfx::geometry::Plane;
using libmfx::geometry::VoronoiGraph;
namespace bench = libmfx::bench;
namespace sim = libmfx::sim;

const bool kWarmHeap =
    mallopt(M_MMAP_THRESHOLD, 1 << 30) == 1 && mallopt(M_TRIM_THRESHOLD, 1 << 30) == 1;

constexpr double kRadius = 0.0072;
constexpr double kIncidence = 0.52;
const sim::Vec3 kCenter(0.3, -0.2, 2.5);

sim::Instrument Instrument() {
  return sim::Instrument(
      sim::MakeScene(sim::parts::MakeOpeningPlate(sim::parts::RoundOpening(kRadius)),
                     sim::TiltedPose(kCenter, kIncidence), 0.1),
      7);
}

/// A hole with the samples of 9 lines, as the virtual instrument gives them.
Hole Scanned() {
  const sim::Pose pose = sim::TiltedPose(kCenter, kIncidence);
  const auto triple = [](const sim::Vec3& v) { return nlohmann::json{v.x(), v.y(), v.z()}; };
  nlohmann::json request = libmfx::test::HoleRequest(kRadius);
  request["Feature"]["Location"] = triple(kCenter);
  request["Feature"]["Normal"] = triple(pose.rotation.col(2));
  // Just below the radius: nine lines of two times 140 samples.
  request["ClearanceZone"] = 0.007;
  Hole hole(request.dump());
  sim::Instrument instrument = Instrument();
  hole.UpdateRawData(instrument.Drive(hole.GetDrivePoints(false)));
  return hole;
}

void AnalyzeOurs(benchmark::State& state) {
  Hole hole = Scanned();
  for (auto _ : state) hole.AnalyzeFeature();
  if (!hole.GetIsSuccessful()) state.SkipWithError(hole.GetError().c_str());
  state.counters["samples"] = static_cast<double>(hole.GetRawData().size());
}

/// What the fits of one analysis are made to.
struct Fits {
  bench::PlaneFits planes;
  PointCloud rim;
};

Fits FitsOf() {
  Hole hole = Scanned();
  hole.AnalyzeFeature();
  return {bench::FitsOf(PROTECTED(hole, _segments), PointXYZW(kCenter),
                        PROTECTED(hole, _radius) + PROTECTED(hole, _clearance_zone),
                        3.0 * PROTECTED(hole, _point_spacing)),
          PointCloud(MatrixXd(PROTECTED(hole, _edge_points).data().topRows(3)),
                     {{EMBEDDING_XYZ, {0}}})};
}

void FitCircles(const Fits& fits) {
  for (int i = 0; i < 3; ++i) {
    Circle circle;
    benchmark::DoNotOptimize(circle.LeastSquares(fits.rim));
  }
  Circle circle;
  benchmark::DoNotOptimize(circle.LeastSquaresFixedRadius(fits.rim, kRadius));
}

void AnalyzeFits(benchmark::State& state) {
  const Fits fits = FitsOf();
  for (auto _ : state) {
    bench::FitPlanes(fits.planes);
    FitCircles(fits);
  }
  state.counters["plane_fits"] = static_cast<double>(fits.planes.weights.size());
  state.counters["max_ratio"] = 3.5;
}

void AnalyzeDecompositions(benchmark::State& state) {
  const Fits fits = FitsOf();
  for (auto _ : state) {
    bench::DecomposePlanes(fits.planes);
    FitCircles(fits);
  }
  state.counters["max_ratio"] = 2.0;
}

/// The samples of a spiral over the hole.
struct Spiral {
  Hole hole;
  std::vector<RawDataPoint> samples;
};

constexpr std::size_t kSpiralSamples = 10000;

Spiral SearchedFor() {
  Spiral spiral{Scanned(), {}};
  PROTECTED(spiral.hole, _search) = true;
  PROTECTED(spiral.hole, _search_point_spacing) = 0.00055;
  PROTECTED(spiral.hole, _search_radius_multiplier) = 3.2;
  sim::Instrument instrument = Instrument();
  spiral.samples = instrument.Drive(spiral.hole.GetDrivePoints(true));
  if (spiral.samples.size() > kSpiralSamples) spiral.samples.resize(kSpiralSamples);
  return spiral;
}

/// Swallows what the search tells on standard output.
class Silence {
 public:
  Silence() : _kept(std::cout.rdbuf(nullptr)) {}
  ~Silence() {
    std::cout.rdbuf(_kept);
    std::cout.clear();
  }

 private:
  std::streambuf* _kept;
};

void SearchOurs(benchmark::State& state) {
  Spiral spiral = SearchedFor();
  const PointXYZW nominal = PROTECTED(spiral.hole, _input_center_pt);
  const auto normal = PROTECTED(spiral.hole, _input_normal);
  const Silence silence;
  for (auto _ : state) {
    PROTECTED(spiral.hole, _input_center_pt) = nominal;
    PROTECTED(spiral.hole, _input_normal) = normal;
    PROTECTED(spiral.hole, UpdateNominals)(spiral.samples);
  }
  if (PROTECTED(spiral.hole, _input_center_pt) == nominal)
    state.SkipWithError("the hole was not found");
  state.counters["samples"] = static_cast<double>(spiral.samples.size());
}

/// The robust plane and the mesh, each on input that is ready for it.
void SearchParts(benchmark::State& state) {
  Spiral spiral = SearchedFor();
  Hole& hole = spiral.hole;
  const PointCloud cloud(spiral.samples, EMBEDDING_XYZ, PROTECTED(hole, _quality_threshold), true);
  const double sigma = static_cast<double>(cloud.cols());
  const std::vector<std::vector<PointCloud>> bins{{cloud}};
  const auto cut = [&](Plane& plane, std::vector<std::vector<PointCloud>>& selected) {
    return plane.IterativeBinaryCuts(
        bins, PROTECTED(hole, _input_center_pt), selected, PROTECTED(hole, _quality_threshold), 0.0,
        2.0 * kRadius * PROTECTED(hole, _search_radius_multiplier), sigma, sigma,
        2.0 * PROTECTED(hole, _search_point_spacing), false);
  };
  Plane plane;
  std::vector<std::vector<PointCloud>> surface;
  cut(plane, surface);
  const Eigen::Matrix3d to_plane = plane.TBN().inverse();
  const PointCloud in_plane(
      MatrixXd(to_plane * (surface[0][0].data().topRows(3).colwise() - plane.Point().xyz())),
      {{EMBEDDING_XY, {0}}});
  for (auto _ : state) {
    Plane again;
    std::vector<std::vector<PointCloud>> selected;
    benchmark::DoNotOptimize(cut(again, selected));
    benchmark::DoNotOptimize(VoronoiGraph(in_plane).ExtractPlanarMesh());
  }
  state.counters["max_ratio"] = 1.2;
}

BENCHMARK(AnalyzeOurs)->Name("analysis of a hole/ours");
BENCHMARK(AnalyzeFits)->Name("analysis of a hole/its fits alone");
BENCHMARK(AnalyzeDecompositions)->Name("analysis of a hole/its fits, by bare decompositions");
BENCHMARK(SearchOurs)->Name("search of a hole/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(SearchParts)
    ->Name("search of a hole/plane and mesh alone")
    ->Unit(benchmark::kMillisecond);

}  // namespace
