#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "delaunay_check.h"

namespace {

using namespace delaunay_check;
using ::testing::Test;

Points UniformPoints(int n, std::uint64_t seed) {
  Random random(seed);
  Points points;
  for (int i = 0; i < n; ++i) points.emplace_back(random.Uniform(), random.Uniform());
  return points;
}

void ExpectSound(const Points& points) {
  const auto mesh = MeshOf(points);
  for (const std::string& message : BrokenInvariants(points, mesh->faces()))
    ADD_FAILURE() << message;
  for (const std::string& message : BrokenLinks(*mesh)) ADD_FAILURE() << message;
}

TEST(VoronoiGraph, ThreePointsAreOneTriangle) {
  const Points points{{0, 0}, {1, 0}, {0, 1}};
  EXPECT_EQ(MeshOf(points)->faces().rows(), 1);
  ExpectSound(points);
}

TEST(VoronoiGraph, FewerThanThreePointsHaveNoFaces) {
  for (const Points& points : {Points{}, Points{{1, 2}}, Points{{1, 2}, {3, 4}}}) {
    const auto mesh = MeshOf(points);
    ASSERT_NE(mesh, nullptr);
    EXPECT_EQ(mesh->faces().rows(), 0);
    EXPECT_EQ(mesh->faces().cols(), 3);
    EXPECT_EQ(mesh->vertices().cols(), static_cast<Eigen::Index>(points.size()));
  }
}

TEST(VoronoiGraph, SquareIsTwoTriangles) {
  const Points points{{0, 0}, {1, 0}, {0, 1}, {1, 1}};
  EXPECT_EQ(MeshOf(points)->faces().rows(), 2);
  ExpectSound(points);
}

TEST(VoronoiGraph, IdenticalPointAddsNothing) {
  const Points points{{0, 0}, {1, 0}, {0, 1}, {1, 0}, {0, 0}, {0, 1}};
  EXPECT_EQ(MeshOf(points)->faces().rows(), 1);
  ExpectSound(points);
}

TEST(VoronoiGraph, CollinearPointsHaveNoFaces) {
  EXPECT_EQ(MeshOf({{0, 0}, {1, 0}, {2, 0}, {5, 0}})->faces().rows(), 0);
  EXPECT_EQ(MeshOf({{0, 0}, {0, 1}, {0, 2}, {0, 5}})->faces().rows(), 0);
  EXPECT_EQ(MeshOf({{0, 0}, {1, 1}, {2, 2}, {5, 5}})->faces().rows(), 0);
}

TEST(VoronoiGraph, PointsThatAreNotFiniteDoNotCount) {
  const double inf = std::numeric_limits<double>::infinity();
  const auto mesh = MeshOf({{0, 0}, {NAN, 0}, {1, 0}, {inf, 1}, {0, 1}, {0.25, -inf}});
  ASSERT_EQ(mesh->faces().rows(), 1);
  EXPECT_EQ(mesh->faces().sum(), 0 + 2 + 4);
}

TEST(VoronoiGraph, UniformPoints) {
  for (std::uint64_t seed = 0; seed < 50; ++seed) ExpectSound(UniformPoints(200, seed));
}

TEST(VoronoiGraph, Grid) {
  Points points;
  for (int i = 0; i < 15; ++i) {
    for (int j = 0; j < 12; ++j) points.emplace_back(0.001 * i, 0.001 * j);
  }
  ExpectSound(points);
}

}  // namespace
