#include <gtest/gtest.h>

#include <limits>

#include "hole_request.h"
#include "libmfx/features/hole.h"
#include "protected.h"

namespace libmfx::features {
namespace {

/// A line of points along x, in the plane z = 2.
PointCloud LineAt(const std::vector<double>& xs, int segment = 1) {
  Eigen::MatrixXd data(5, static_cast<Eigen::Index>(xs.size()));
  for (std::size_t i = 0; i < xs.size(); ++i) {
    data.col(static_cast<Eigen::Index>(i)) << xs[i], 0.0, 2.0, 80.0, segment;
  }
  return PointCloud(std::move(data), {{EMBEDDING_XYZ, {0}}});
}

bool Isolated(const PointCloud& line, long long index, double radius, long long window = 5) {
  Hole hole;
  return PROTECTED(hole, IsIsolatedPoint)(line, line.point(index), index, window, radius);
}

TEST(HoleRim, FourCloseNeighboursWithItselfAreTooFewFiveAreEnough) {
  EXPECT_TRUE(Isolated(LineAt({0, 1, 2, 3, 90, 91, 92, 93}), 1, 10.0));
  EXPECT_FALSE(Isolated(LineAt({0, 1, 2, 3, 4, 91, 92, 93}), 1, 10.0));
}

TEST(HoleRim, TheRadiusOfCloseIsStrict) {
  const PointCloud line = LineAt({0, 1, 2, 3, 4});
  EXPECT_TRUE(Isolated(line, 0, 4.0));
  EXPECT_FALSE(Isolated(line, 0, std::nextafter(4.0, 5.0)));
}

TEST(HoleRim, TheReachIsFiveColumnsToEachSideAndTheWindowIsNotRead) {
  // Points close in space but six and more columns away do not count.
  std::vector<double> xs{0, 0, 0, 0, 50, 50, 50, 50, 50, 0, 0};
  EXPECT_TRUE(Isolated(LineAt(xs), 10, 1.0));
  EXPECT_TRUE(Isolated(LineAt(xs), 10, 1.0, 100));
  xs[8] = xs[7] = xs[6] = 0;
  EXPECT_FALSE(Isolated(LineAt(xs), 10, 1.0, 0));
}

TEST(HoleRim, AnEndOfTheLineReachesToOneSideOnly) {
  const std::vector<double> xs{0, 1, 2, 3, 90, 91, 4, 5};
  EXPECT_TRUE(Isolated(LineAt(xs), 0, 10.0)) << "four of the first six";
  EXPECT_FALSE(Isolated(LineAt(xs), 2, 10.0)) << "six of the first eight";
  EXPECT_TRUE(Isolated(LineAt({5}), 0, 10.0));
}

TEST(HoleRim, TheNearestPointIsTheEdge) {
  Hole hole;
  PointXYZW edge(7, 7, 7);
  const PointXYZW reference(0.2, 0, 2);
  EXPECT_TRUE(PROTECTED(hole, FindEdgePointForSegment)(true, LineAt({3, 1, 0, 2}), reference, false,
                                                       edge, 1));
  EXPECT_EQ(edge, PointXYZW(0, 0, 2));
  EXPECT_TRUE(PROTECTED(hole, FindEdgePointForSegment)(false, LineAt({3, 1, 0, 2}), reference,
                                                       false, edge, 1));
  EXPECT_EQ(edge, PointXYZW(3, 0, 2));
}

TEST(HoleRim, OfEquallyNearPointsTheFirstCounts) {
  Hole hole;
  PointXYZW edge;
  PROTECTED(hole, FindEdgePointForSegment)
  (true, LineAt({1, -1}), PointXYZW(0, 0, 2), false, edge, 1);
  EXPECT_EQ(edge.x(), 1.0);
}

TEST(HoleRim, WithoutPointsThereIsNoEdge) {
  Hole hole;
  PointXYZW edge(7, 7, 7);
  EXPECT_FALSE(
      PROTECTED(hole, FindEdgePointForSegment)(true, PointCloud(), PointXYZW(), true, edge, 1));
  // A point on the reference is not farther than the smallest double.
  EXPECT_FALSE(PROTECTED(hole, FindEdgePointForSegment)(false, LineAt({0}), PointXYZW(0, 0, 2),
                                                        false, edge, 1));
  EXPECT_EQ(edge, PointXYZW(7, 7, 7));
}

TEST(HoleRim, IsolatedPointsAreSkippedButNotInALineOfOne) {
  Hole hole;
  PointXYZW edge;
  const PointXYZW reference(-5, 0, 2);
  const PointCloud line = LineAt({0, 50, 51, 52, 53, 54, 55});
  EXPECT_TRUE(PROTECTED(hole, FindEdgePointForSegment)(true, line, reference, true, edge, 10.0));
  EXPECT_EQ(edge.x(), 50.0);
  EXPECT_TRUE(PROTECTED(hole, FindEdgePointForSegment)(true, line, reference, false, edge, 10.0));
  EXPECT_EQ(edge.x(), 0.0);
  EXPECT_TRUE(
      PROTECTED(hole, FindEdgePointForSegment)(true, LineAt({3}), reference, true, edge, 10.0));
  EXPECT_EQ(edge.x(), 3.0);
  EXPECT_FALSE(
      PROTECTED(hole, FindEdgePointForSegment)(true, LineAt({0, 1}), reference, true, edge, 10.0));
}

/// So a second search around another reference finds edges on the same lines as the first.
TEST(HoleRim, WhetherALineHasAnEdgeDoesNotDependOnTheReference) {
  Hole hole;
  const PointCloud lines[] = {LineAt({0, 50, 51, 52, 53, 54, 55}), LineAt({0, 20, 40, 60}),
                              LineAt({1, 2, 3, 4, 5, 90}), LineAt({7})};
  const bool has_edge[] = {true, false, true, true};
  for (const double x : {-100.0, 0.0, 30.0, 52.0, 90.0}) {
    for (int i = 0; i < 4; ++i) {
      PointXYZW edge;
      EXPECT_EQ(PROTECTED(hole, FindEdgePointForSegment)(true, lines[i], PointXYZW(x, 0, 2), true,
                                                         edge, 10.0),
                has_edge[i])
          << i << " from " << x;
    }
  }
}

TEST(HoleRim, EdgesAreProjectedAndCarryTheirSegment) {
  Hole hole;
  PROTECTED(hole, _plane) = geometry::Plane(PointXYZW(0, 0, 1), VectorXYZW(0, 0, -1));
  std::vector<PointCloud> lines{LineAt({1, 2}, 3), PointCloud(Eigen::MatrixXd(6, 0)),
                                LineAt({5, 4}, 7)};
  const PointCloud edges = PROTECTED(hole, FindEdgesRawDist)(lines, PointXYZW(0, 0, 2), false, 1.0);
  ASSERT_EQ(edges.rows(), 4);
  ASSERT_EQ(edges.cols(), 2);
  EXPECT_EQ(edges.col(0), Eigen::Vector4d(1, 0, 1, 3));
  EXPECT_EQ(edges.col(1), Eigen::Vector4d(4, 0, 1, 7));
}

TEST(HoleRim, FindEdgesTakesTheNearestOrTheFarthest) {
  Hole hole;
  PROTECTED(hole, _plane) = geometry::Plane(PointXYZW(0, 0, 1), VectorXYZW(0, 0, -1));
  std::vector<PointCloud> lines{LineAt({1, 2, 9}, 3)};
  PointXYZW reference(0, 0, 2);
  EXPECT_EQ(PROTECTED(hole, FindEdges)(lines, reference, true).col(0), Eigen::Vector4d(1, 0, 1, 3));
  EXPECT_EQ(PROTECTED(hole, FindEdges)(lines, reference, false).col(0),
            Eigen::Vector4d(9, 0, 1, 3));
}

TEST(HoleRim, TenPointsInsidePassElevenFail) {
  Hole hole;
  hole.SetSetting<double>(L"NominalRadius", 0.01);
  geometry::Circle circle;
  circle.Center(PointXYZW(0, 0, 2));
  std::vector<PointCloud> lines{LineAt(std::vector<double>(6, 0.004)),
                                LineAt(std::vector<double>(4, -0.001))};
  // Half of the radius is not inside.
  lines.push_back(LineAt(std::vector<double>(30, 0.005)));
  EXPECT_TRUE(PROTECTED(hole, HoleValid)(lines, circle));
  lines.push_back(LineAt({0.0049}));
  EXPECT_FALSE(PROTECTED(hole, HoleValid)(lines, circle));
}

}  // namespace
}  // namespace libmfx::features
