// The analysis of rectangle, polygon and slot beside the bare cost of their fits.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "bare_fits.h"
#include "libmfx/features/feature.h"
#include "libmfx/geometry/circle.h"
#include "libmfx/geometry/line.h"
#include "sim/scenario.h"

namespace {

using libmfx::data_structures::EMBEDDING_XYZ;
using libmfx::data_structures::PointCloud;
using libmfx::data_structures::PointXYZW;
using libmfx::features::Feature;
using nlohmann::json;
namespace bench = libmfx::bench;
namespace geometry = libmfx::geometry;
namespace sim = libmfx::sim;

const bool kWarmHeap =
    mallopt(M_MMAP_THRESHOLD, 1 << 30) == 1 && mallopt(M_TRIM_THRESHOLD, 1 << 30) == 1;

const sim::Vec3 kCenter(0.3, -0.2, 2.5);

/// One type's measurement: about 2,500 samples on its lines.
struct Case {
  json request;
  sim::parts::OpeningPlateSpec opening;
  double reach = 0.0;  ///< from the centre to the farthest sample that counts
  int sides = 0;       ///< groups of lines
  int lines = 0;       ///< in each
  bool arcs = false;   ///< a group shows an arc, which is fitted twice, and not a straight side
};

json Triple(const sim::Vec3& v) { return {v.x(), v.y(), v.z()}; }

sim::Pose Pose() { return sim::TiltedPose(kCenter, 0.52); }

Case Opening(const char* type, const char* direction) {
  const sim::Pose pose = Pose();
  Case c;
  c.request = {{"Feature",
                {{"$type", type},
                 {"Location", Triple(kCenter)},
                 {"Normal", Triple(pose.rotation.col(2))},
                 {direction, Triple(pose.rotation.col(0))}}}};
  return c;
}

Case RectangleCase() {
  Case c = Opening("RectangleFeature", "Tangent");
  c.request["ScansPerSide"] = c.lines = 6;
  c.request["Feature"]["Length"] = 0.03;
  c.request["Feature"]["Width"] = 0.02;
  c.opening = sim::parts::RectangularOpening(0.03, 0.02);
  c.reach = 0.035;
  c.sides = 4;
  return c;
}

Case PolygonCase() {
  Case c = Opening("PolygonFeature", "Axis");
  c.request["ScansPerSide"] = c.lines = 4;
  c.request["Feature"]["Sides"] = 6;
  c.request["Feature"]["Radius"] = 0.016;
  c.opening = sim::parts::PolygonalOpening(6, 0.016);
  c.reach = 0.021;
  c.sides = 6;
  return c;
}

Case SlotCase() {
  Case c = Opening("SlotFeature", "Tangent");
  c.request["ScanPassesPerArc"] = c.lines = 12;
  c.request["Feature"]["Length"] = 0.03;
  c.request["Feature"]["Width"] = 0.012;
  c.opening = sim::parts::ObroundOpening(0.03, 0.012);
  c.reach = 0.0175;
  c.sides = 2;
  c.arcs = true;
  return c;
}

std::unique_ptr<Feature> Scanned(const Case& c) {
  std::unique_ptr<Feature> feature(Feature::Create(c.request.dump()));
  sim::Instrument instrument(sim::MakeScene(sim::parts::MakeOpeningPlate(c.opening), Pose(), 0.05),
                             7);
  feature->UpdateRawData(instrument.Drive(feature->GetDrivePoints(false)));
  return feature;
}

void Ours(benchmark::State& state, const Case& c) {
  const std::unique_ptr<Feature> feature = Scanned(c);
  for (auto _ : state) feature->AnalyzeFeature();
  if (!feature->GetIsSuccessful()) state.SkipWithError(feature->GetError().c_str());
  state.counters["samples"] = static_cast<double>(feature->GetRawData().size());
}

/// What the fits of one analysis are made to. The points of a side, of an arc and of the plane that
/// shifts the centre are as many as the analysis has, on a line and on a circle of their own.
struct Fits {
  bench::PlaneFits planes;
  PointCloud side;
  PointCloud arc;
  PointCloud ring;
};

PointCloud OnArc(int points, double angle) {
  Eigen::MatrixXd data(3, points);
  for (int i = 0; i < points; ++i) {
    const double turn = angle * (i + 1.0) / (points + 1.0);
    data.col(i) << 0.006 * std::cos(turn), 0.006 * std::sin(turn), 2e-5 * (i % 3);
  }
  return PointCloud(data, {{EMBEDDING_XYZ, {0}}});
}

Fits FitsOf(const Case& c) {
  const std::unique_ptr<Feature> feature = Scanned(c);
  const PointCloud scan(feature->GetRawData(), EMBEDDING_XYZ, 50.0, true);
  std::vector<PointCloud> lines;
  for (int line = 0; line < c.sides * c.lines; ++line) {
    std::vector<Eigen::Index> columns;
    for (Eigen::Index i = 0; i < scan.cols(); ++i) {
      if (scan.data()(4, i) == 2 * line + 1) columns.push_back(i);
    }
    lines.emplace_back(Eigen::MatrixXd(scan.data()(Eigen::all, columns)), scan.embeddings());
  }
  Eigen::MatrixXd side(3, c.lines);
  for (int i = 0; i < c.lines; ++i) side.col(i) << 0.003 * i, 2e-5 * (i % 2), 2.0;
  return {bench::FitsOf(lines, PointXYZW(kCenter), c.reach, 0.0003),
          PointCloud(side, {{EMBEDDING_XYZ, {0}}}), OnArc(c.lines, 3.14),
          OnArc(c.sides * c.lines, 6.28)};
}

void FitOutline(const Case& c, const Fits& fits) {
  for (int i = 0; i < c.sides; ++i) {
    geometry::Line line;
    geometry::Circle circle;
    for (int j = 0; c.arcs && j < 2; ++j) {
      benchmark::DoNotOptimize(circle.LeastSquares(fits.arc));
    }
    if (!c.arcs) benchmark::DoNotOptimize(line.LeastSquares(fits.side));
  }
  geometry::Plane ring;
  if (!c.arcs) benchmark::DoNotOptimize(ring.LeastSquares(fits.ring));
}

void FitsAlone(benchmark::State& state, const Case& c) {
  const Fits fits = FitsOf(c);
  for (auto _ : state) {
    bench::FitPlanes(fits.planes);
    FitOutline(c, fits);
  }
  state.counters["plane_fits"] = static_cast<double>(fits.planes.weights.size());
  state.counters["max_ratio"] = 3.5;
}

void Decompositions(benchmark::State& state, const Case& c) {
  const Fits fits = FitsOf(c);
  for (auto _ : state) {
    bench::DecomposePlanes(fits.planes);
    FitOutline(c, fits);
  }
  state.counters["max_ratio"] = 2.0;
}

#define OPENING_BENCHMARK(name, made)                                                       \
  BENCHMARK_CAPTURE(Ours, name, made)->Name("analysis of a " #name "/ours");                \
  BENCHMARK_CAPTURE(FitsAlone, name, made)->Name("analysis of a " #name "/its fits alone"); \
  BENCHMARK_CAPTURE(Decompositions, name, made)                                             \
      ->Name("analysis of a " #name "/its fits, by bare decompositions")

OPENING_BENCHMARK(rectangle, RectangleCase());
OPENING_BENCHMARK(polygon, PolygonCase());
OPENING_BENCHMARK(slot, SlotCase());

}  // namespace
