// What a sweep has built stays when an exception ends it, and whatever asks the graph then copes.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <new>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "geometry/sweep/diagram.h"
#include "libmfx/geometry/voronoi_graph.h"
#include "protected.h"
#include "thrown.h"

namespace {

/// Allocations until one fails, once; none does while negative.
thread_local int allocations_left = -1;

}  // namespace

// The whole program allocates by these, so that a test can let memory run out at any place.
// Inlined, g++ takes one of a pair for a mismatch of the other.
[[gnu::noinline]] void* operator new(std::size_t bytes) {
  if (allocations_left >= 0 && allocations_left-- == 0) throw std::bad_alloc();
  if (void* const block = std::malloc(bytes > 0 ? bytes : 1)) return block;
  throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  return std::malloc(bytes > 0 ? bytes : 1);
}
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, const std::nothrow_t&) noexcept {
  std::free(block);
}

namespace libmfx::geometry {
namespace {

using data_structures::EMBEDDING_XY;
using data_structures::PointCloud;
using sweep::Diagram;
using sweep::Triangulation;

constexpr const char* kEarly = "VoronoiGraph forced to stop early due to invalid state: ";

PointCloud RandomCloud(int count) {
  std::mt19937_64 engine(3);
  std::uniform_real_distribution<double> across(-1.0, 1.0);
  Eigen::MatrixXd data(2, count);
  for (double& v : data.reshaped()) v = across(engine);
  return PointCloud(std::move(data), {{EMBEDDING_XY, {0}}});
}

using Triangles = std::set<std::array<int, 3>>;

Triangles TrianglesOf(const Mesh& mesh) {
  Triangles triangles;
  for (Eigen::Index i = 0; i < mesh.faces().rows(); ++i) {
    std::array<int, 3> t = {mesh.faces()(i, 0), mesh.faces()(i, 1), mesh.faces()(i, 2)};
    std::rotate(t.begin(), std::min_element(t.begin(), t.end()), t.end());
    triangles.insert(t);
  }
  return triangles;
}

TEST(VoronoiFaults, WhatWasBuiltStaysWhenMemoryRunsOut) {
  const PointCloud cloud = RandomCloud(500);
  const Triangles whole = TrianglesOf(*VoronoiGraph(cloud).ExtractPlanarMesh());
  ASSERT_GT(whole.size(), 900u);
  int early = 0, partial = 0;
  for (int allocation = 0; allocation < 2000; ++allocation) {
    testing::internal::CaptureStdout();
    std::unique_ptr<VoronoiGraph> graph;
    allocations_left = allocation;
    try {
      graph = std::make_unique<VoronoiGraph>(cloud);
    } catch (const std::bad_alloc&) {
      // Before the sweep: no graph, and no place to keep what was built.
    }
    const bool ran_out = allocations_left < 0;
    allocations_left = -1;
    const std::string trace = testing::internal::GetCapturedStdout();
    if (!ran_out) break;
    if (!graph) continue;
    EXPECT_EQ(trace.rfind(kEarly, 0), 0u) << allocation << trace;
    ++early;
    const auto mesh = graph->ExtractPlanarMesh();
    const Triangles built = TrianglesOf(*mesh);
    EXPECT_TRUE(std::includes(whole.begin(), whole.end(), built.begin(), built.end()));
    if (!built.empty() && built.size() < whole.size()) ++partial;
    mesh->InteriorBoundaries(0.2, false);
    PROTECTED(*graph, GenerateHalfedgeGraph)();
    EXPECT_EQ(PROTECTED(*graph, _halfedges).empty(), built.empty()) << allocation;
  }
  EXPECT_GT(early, 10);
  EXPECT_GT(partial, 3);
}

/// Sweeps sites in the order given, which need not be that of a sweep; what it threw, if anything.
std::string ErrorOfSweep(std::vector<sweep::Vec2> sites, Diagram& diagram) {
  diagram = Diagram();
  diagram.sites = std::move(sites);
  return test::TextThrown<std::logic_error>([&] { sweep::SweepSites(diagram); });
}

TEST(VoronoiFaults, AMeshThatDoesNotTileTheHullIsKeptWithItsMarks) {
  std::mt19937_64 engine(5);
  std::uniform_real_distribution<double> across(-1.0, 1.0);
  std::set<std::string> texts;
  for (int draw = 0; draw < 200; ++draw) {
    std::vector<sweep::Vec2> sites(12);
    for (sweep::Vec2& site : sites) site = {across(engine), across(engine)};
    Diagram diagram;
    const std::string text = ErrorOfSweep(sites, diagram);
    texts.insert(text);
    EXPECT_EQ(diagram.finished, text.empty());
    EXPECT_FALSE(diagram.beachline.empty());
    EXPECT_EQ(diagram.mesh.shared_circle.size(), diagram.mesh.corner.size());
    EXPECT_EQ(diagram.mesh.twin.size(), diagram.mesh.corner.size());
  }
  EXPECT_TRUE(texts.contains("not sure what's going on here?"));
}

}  // namespace
}  // namespace libmfx::geometry
