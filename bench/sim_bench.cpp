// The virtual instrument on part files of 1,000, 100,000 and 1,000,000 triangles, beside bare calls
// of Embree on the same triangles with the same rays in single precision: the bound for anything
// that stands on it. "Rays" casts them in double precision, "Scan" makes whole samples of them,
// with path, footprint, echo and noise. Then the built-in parts, which need no tree. The counter
// `rays/s` tells the rays per second.

#include <benchmark/benchmark.h>
#include <embree3/rtcore.h>

#include <cmath>
#include <cstring>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <vector>

#include "sim/mesh/mesh_part.h"
#include "sim/mesh/mesh_shapes.h"
#include "sim/scenario.h"

namespace {

using namespace libmfx;
using data_structures::Position;
using sim::Vec3;

constexpr double kSide = 0.1;

/// A wavy block of about `triangles` triangles; each size is made once.
const sim::TriangleMesh& Block(std::int64_t triangles) {
  static std::map<std::int64_t, sim::TriangleMesh> blocks;
  auto& mesh = blocks[triangles];
  if (mesh.triangles.empty()) {
    // 2 n^2 on the upper side and 12 n around and below it.
    const double half = 0.5 * static_cast<double>(triangles);
    const int cells = static_cast<int>(std::lround(std::sqrt(9.0 + half) - 3.0));
    mesh = sim::mesh_shapes::WavyBlock(kSide, 0.004, cells);
  }
  return mesh;
}

/// The same part for all benchmarks of a size.
std::shared_ptr<const sim::Part> BlockPart(std::int64_t triangles) {
  static std::map<std::int64_t, std::shared_ptr<const sim::Part>> parts;
  auto& part = parts[triangles];
  if (!part) part = std::make_shared<sim::MeshPart>(Block(triangles));
  return part;
}

const sim::Pose kPose = sim::TiltedPose({0, 0, 2}, 0.3);

/// Lines over the part's front, as a scan has them: 20 lines of 401 samples.
std::vector<Position> Raster(double half_side) {
  std::vector<Position> path;
  for (int line = 0; line < 20; ++line) {
    const double y = half_side * (line / 9.5 - 1.0);
    path.emplace_back(sim::ToPoint(kPose.Point({-half_side, y, 0})), 0.0);
    path.emplace_back(sim::ToPoint(kPose.Point({half_side, y, 0})), half_side / 200.0);
  }
  return path;
}

/// The rays that the instrument casts along the raster, in the part's frame.
std::vector<sim::Ray> RasterRays() {
  std::vector<sim::Ray> rays;
  const auto path = Raster(0.045);
  const auto footprint = sim::FootprintRays(13);
  sim::PathWalk(path).Visit([&](const sim::Aim& aim) {
    for (const auto& offset : footprint) {
      const Vec3 d = aim.direction + 0.25 * 0.00015 * Vec3(offset.x(), offset.y(), 0.0);
      rays.push_back({kPose.Inverse(Vec3::Zero()), kPose.rotation.transpose() * d.normalized()});
    }
  });
  return rays;
}

void CountRays(benchmark::State& state, std::size_t rays_per_round) {
  state.counters["rays/s"] = benchmark::Counter(
      static_cast<double>(rays_per_round) * static_cast<double>(state.iterations()),
      benchmark::Counter::kIsRate);
}

/// Embree on its own: triangles and rays in single precision, nothing refined.
class BareEmbree {
 public:
  explicit BareEmbree(const sim::TriangleMesh& mesh) : _device(rtcNewDevice("threads=1")) {
    _scene = rtcNewScene(_device);
    RTCGeometry geometry = rtcNewGeometry(_device, RTC_GEOMETRY_TYPE_TRIANGLE);
    auto* vertices = static_cast<float*>(
        rtcSetNewGeometryBuffer(geometry, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3,
                                3 * sizeof(float), mesh.vertices.size()));
    for (const Vec3& v : mesh.vertices) {
      for (int i = 0; i < 3; ++i) *vertices++ = static_cast<float>(v[i]);
    }
    void* indices = rtcSetNewGeometryBuffer(geometry, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3,
                                            3 * sizeof(std::uint32_t), mesh.triangles.size());
    std::memcpy(indices, mesh.triangles.data(), mesh.triangles.size() * 3 * sizeof(std::uint32_t));
    rtcCommitGeometry(geometry);
    rtcAttachGeometry(_scene, geometry);
    rtcReleaseGeometry(geometry);
    rtcCommitScene(_scene);
  }
  ~BareEmbree() {
    rtcReleaseScene(_scene);
    rtcReleaseDevice(_device);
  }
  BareEmbree(const BareEmbree&) = delete;
  BareEmbree& operator=(const BareEmbree&) = delete;

  /// Distance to the first triangle; infinite for none.
  float Cast(const sim::Ray& ray) const {
    RTCIntersectContext context;
    rtcInitIntersectContext(&context);
    context.flags = RTC_INTERSECT_CONTEXT_FLAG_COHERENT;
    RTCRayHit hit{};
    hit.ray.org_x = static_cast<float>(ray.origin.x());
    hit.ray.org_y = static_cast<float>(ray.origin.y());
    hit.ray.org_z = static_cast<float>(ray.origin.z());
    hit.ray.dir_x = static_cast<float>(ray.direction.x());
    hit.ray.dir_y = static_cast<float>(ray.direction.y());
    hit.ray.dir_z = static_cast<float>(ray.direction.z());
    hit.ray.tfar = std::numeric_limits<float>::infinity();
    hit.ray.mask = 0xffffffffU;
    hit.hit.geomID = RTC_INVALID_GEOMETRY_ID;
    rtcIntersect1(_scene, &context, &hit);
    return hit.ray.tfar;
  }

 private:
  RTCDevice _device;
  RTCScene _scene;
};

void RaysBare(benchmark::State& state) {
  const BareEmbree embree(Block(state.range(0)));
  const auto rays = RasterRays();
  for (auto _ : state) {
    float sum = 0.0F;
    for (const sim::Ray& ray : rays) sum += embree.Cast(ray);
    benchmark::DoNotOptimize(sum);
  }
  state.counters["max_ratio"] = 2.5;
  CountRays(state, rays.size());
}

void RaysOurs(benchmark::State& state) {
  const auto part = BlockPart(state.range(0));
  const auto rays = RasterRays();
  for (auto _ : state) {
    double sum = 0.0;
    for (const sim::Ray& ray : rays) {
      sim::Hit hit;
      if (part->Intersect(ray, hit)) sum += hit.t;
    }
    benchmark::DoNotOptimize(sum);
  }
  CountRays(state, rays.size());
}

void Scan(benchmark::State& state, std::shared_ptr<const sim::Part> part, double half_side) {
  sim::Instrument instrument(sim::MakeScene(std::move(part), kPose, 0.2), 1);
  const auto path = Raster(half_side);
  std::size_t samples = 0;
  for (auto _ : state) samples = instrument.Drive(path).size();
  if (samples == 0) state.SkipWithError("nothing was measured");
  CountRays(state, 13 * static_cast<std::size_t>(sim::PathWalk(path).samples()));
}

void ScanOfFile(benchmark::State& state) { Scan(state, BlockPart(state.range(0)), 0.045); }

void ScanOfPlate(benchmark::State& state) {
  Scan(state, sim::parts::MakeOpeningPlate(sim::parts::RoundOpening(0.005)), 0.01);
}

void ScanOfHexagon(benchmark::State& state) {
  Scan(state, sim::parts::MakeOpeningPlate(sim::parts::PolygonalOpening(6, 0.005)), 0.01);
}

void ScanOfBall(benchmark::State& state) { Scan(state, sim::parts::MakeBall({}), 0.01); }

void ScanOfThread(benchmark::State& state) {
  sim::parts::BoreSpec spec;
  spec.thread = sim::Thread::Metric("M8");
  Scan(state, sim::parts::MakeBore(spec), 0.004);
}

/// The plate with a hole in a workshop: all that can spoil its scan is switched on.
void ScanOfSpoiltPlate(benchmark::State& state) {
  auto scene = sim::Scene::FromJson(nlohmann::json::parse(R"({
    "part": {"type": "plate",
             "opening": {"shape": "round", "radius": 0.005,
                         "burr": {"height": 1e-4, "width": 1e-4, "patches": 6, "share": 0.5}}},
    "pose": {"position": [0, 0, 2]},
    "behind": 0.2,
    "instrument": {
      "drift": {"range_um_per_s": 0.05, "azimuth_urad_per_s": 0.02, "range_walk_um": 0.1,
                "angle_walk_urad": 0.1},
      "vibration": {"amplitude": 2e-6},
      "range_offset": 1e-5, "range_scale_ppm": 2, "collimation_urad": 10, "axis_tilt_urad": 10,
      "azimuth_encoder": {"first_urad": 5, "second_urad": 2},
      "elevation_encoder": {"first_urad": 5, "second_urad": 2},
      "focus": {"distance": 1.98}, "bursts": {"share": 0.02}},
    "surface": {
      "roughness": {"range": 5e-6}, "patches": [{"share": 0.3, "factor": 0.2, "nearer": 1e-5}],
      "lay": {"direction": [1, 0, 0]}, "gloss": {}, "mirror": 0.3},
    "relief": {
      "waves": [{"amplitude": 4e-6, "wavelength": 0.004, "direction": [1, 0.5, 0]}],
      "flatness": {"dish": 3e-5, "twist": -1e-5},
      "marks": {"depth": 3e-6, "width": 0.0004, "spacing": 0.003, "across": [0, 1, 0]}},
    "obstacles": [
      {"type": "cylinder", "from": [-0.1, 0.004, 0.02], "to": [0.1, 0.006, 0.03],
       "radius": 0.001},
      {"type": "box", "center": [0.0062, 0, 5e-5], "length": 0.002, "width": 0.004,
       "height": 1e-4},
      {"type": "dust", "center": [0, -0.006, 0], "reach": 0.004, "count": 300},
      {"type": "spatter", "center": [0, 0, 0]}]})"));
  scene.pose = kPose;
  sim::Instrument instrument(scene, 1);
  const auto path = Raster(0.01);
  std::size_t samples = 0;
  for (auto _ : state) samples = instrument.Drive(path).size();
  if (samples == 0) state.SkipWithError("nothing was measured");
  CountRays(state, 13 * static_cast<std::size_t>(sim::PathWalk(path).samples()));
}

void TreeOurs(benchmark::State& state) {
  const auto& mesh = Block(state.range(0));
  for (auto _ : state) {
    const sim::MeshPart part(mesh);
    benchmark::DoNotOptimize(part.Reach());
  }
}

void TreeBare(benchmark::State& state) {
  const auto& mesh = Block(state.range(0));
  for (auto _ : state) {
    const BareEmbree embree(mesh);
    benchmark::DoNotOptimize(&embree);
  }
}

constexpr auto kUnit = benchmark::kMillisecond;

/// The three sizes of part that every figure is told for.
void Sizes(benchmark::internal::Benchmark* b) {
  b->Arg(1000)->Arg(100000)->Arg(1000000)->Unit(kUnit);
}

BENCHMARK(RaysOurs)->Name("Rays on a part file/ours")->Apply(Sizes);
BENCHMARK(RaysBare)->Name("Rays on a part file/bare Embree")->Apply(Sizes);
BENCHMARK(ScanOfFile)->Name("Scan of a part file/ours")->Apply(Sizes);
BENCHMARK(RaysBare)->Name("Scan of a part file/bare Embree")->Apply(Sizes);
BENCHMARK(TreeOurs)->Name("Tree over a part file/ours")->Apply(Sizes);
BENCHMARK(TreeBare)->Name("Tree over a part file/bare Embree")->Apply(Sizes);
BENCHMARK(ScanOfPlate)->Name("Scan of a plate with a hole/ours")->Unit(kUnit);
BENCHMARK(ScanOfSpoiltPlate)->Name("Scan of a spoilt plate/ours")->Unit(kUnit);
BENCHMARK(ScanOfHexagon)->Name("Scan of a plate with a hexagon/ours")->Unit(kUnit);
BENCHMARK(ScanOfBall)->Name("Scan of a ball/ours")->Unit(kUnit);
BENCHMARK(ScanOfThread)->Name("Scan of a threaded bore/ours")->Unit(kUnit);

}  // namespace
