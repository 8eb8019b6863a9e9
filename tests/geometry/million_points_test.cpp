// Nothing in sweep, mesh and loops may recurse, or chain destructors, as deep as there are points.

#include <gtest/gtest.h>
#include <pthread.h>

#include <Eigen/Core>
#include <cmath>

#include "data_structures/halfedge_arena.h"
#include "libmfx/geometry/voronoi_graph.h"
#include "random_cases.h"

namespace {

using libmfx::data_structures::EMBEDDING_XY;
using libmfx::data_structures::LiveHalfedgeElements;
using libmfx::data_structures::PointCloud;

/// The stack is far too small for a frame a point: those take 50 bytes and more, under a sanitizer
/// 100 and more.
constexpr Eigen::Index kPoints = libmfx::test::Draws(1'000'000, 100'000);
constexpr std::size_t kStack = libmfx::test::kSanitized ? 10 * kPoints : kPoints / 4;

struct Outcome {
  Eigen::Index faces = 0;
  std::size_t loops = 0;
};

/// A raster of a thousand columns, 1 mm apart, with a slot of 3 mm across it.
void* Work(void* result) {
  Eigen::MatrixXd data(2, kPoints);
  for (Eigen::Index i = 0; i < kPoints; ++i) {
    const double row = static_cast<double>(i / 1000);
    data.col(i) << 0.001 * static_cast<double>(i % 1000), 0.001 * row + (row < 50.0 ? 0.0 : 0.003);
  }
  libmfx::geometry::VoronoiGraph graph(PointCloud(std::move(data), {{EMBEDDING_XY, {0}}}));
  const auto mesh = graph.ExtractPlanarMesh();
  auto& outcome = *static_cast<Outcome*>(result);
  outcome.faces = mesh->faces().rows();
  outcome.loops = mesh->InteriorBoundaries(0.002, false).size();
  return nullptr;
}

TEST(MillionPoints, NeedNoStack) {
  const auto before = LiveHalfedgeElements().load();
  Outcome outcome;
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, kStack), 0);
  pthread_t thread;
  ASSERT_EQ(pthread_create(&thread, &attributes, Work, &outcome), 0);
  ASSERT_EQ(pthread_join(thread, nullptr), 0);
  pthread_attr_destroy(&attributes);
  EXPECT_EQ(outcome.faces, 2 * 999 * (kPoints / 1000 - 1));
  EXPECT_EQ(outcome.loops, 0u);  // the slot runs out to the rim on both sides
  EXPECT_EQ(LiveHalfedgeElements().load(), before);
}

}  // namespace
