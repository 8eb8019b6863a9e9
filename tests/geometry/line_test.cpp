#include "libmfx/geometry/line.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "libmfx/geometry/plane.h"

namespace libmfx::geometry {
namespace {

using data_structures::PointCloud;
using data_structures::PointXYZW;
using data_structures::VectorXYZW;
using math::AccStats;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

PointCloud Columns(std::initializer_list<Eigen::Vector3d> points) {
  Eigen::MatrixXd data(3, static_cast<Eigen::Index>(points.size()));
  Eigen::Index i = 0;
  for (const Eigen::Vector3d& p : points) data.col(i++) = p;
  return PointCloud(data);
}

TEST(Line, TheDefaultIsNotValid) {
  const Line line;
  EXPECT_EQ(line.Point(), PointXYZW(0, 0, 0, 1));
  EXPECT_EQ(line.Vector(), VectorXYZW(0, 0, 0, 0));
  EXPECT_FALSE(line.IsValid());
}

TEST(Line, DirectionsAreMadeUnitOverFourComponents) {
  Line line(PointXYZW(1, 2, 3, 9), VectorXYZW(0, 3, 0, 4));
  EXPECT_EQ(line.Point(), PointXYZW(1, 2, 3, 9));
  EXPECT_EQ(line.Vector(), VectorXYZW(0, 0.6, 0, 0));
  line.Vector(VectorXYZW(0, 0, -2));
  EXPECT_EQ(line.Vector(), VectorXYZW(0, 0, -1));
  line.Vector(VectorXYZW(0, 0, 0, 5));
  EXPECT_EQ(line.Vector(), VectorXYZW());
  line.Set(PointXYZW(4, 5, 6), VectorXYZW(7, 0, 0));
  EXPECT_EQ(line.Point(), PointXYZW(4, 5, 6));
  EXPECT_EQ(line.Vector(), VectorXYZW(1, 0, 0));
}

TEST(Line, TwoThreeVectorsAreKeptAsTheyStand) {
  const Line line(Eigen::Vector3d(1, 2, 3), Eigen::Vector3d(0, 0, 3));
  EXPECT_EQ(line.Point(), PointXYZW(1, 2, 3, 1));
  EXPECT_EQ(line.Vector(), VectorXYZW(0, 0, 3, 0));
  EXPECT_EQ(line.Distance(PointXYZW(1, 4, 9)), 6.0);
}

TEST(Line, ANaNDirectionIsValidForALineButNotForAPlane) {
  const Line line(Eigen::Vector3d(0, 0, 0), Eigen::Vector3d(kNaN, 0, 0));
  EXPECT_TRUE(line.IsValid());
  EXPECT_FALSE(Plane(PointXYZW(), VectorXYZW(kNaN, 0, 0)).IsValid());
}

TEST(Line, ValidityStartsBeyond1em12) {
  EXPECT_FALSE(Line(Eigen::Vector3d(0, 0, 0), Eigen::Vector3d(1e-12, -1e-12, 0)).IsValid());
  EXPECT_TRUE(Line(Eigen::Vector3d(0, 0, 0), Eigen::Vector3d(0, -1.0001e-12, 0)).IsValid());
}

TEST(LineFit, OnePointLeavesTheLineUnchanged) {
  Line line(PointXYZW(1, 2, 3), VectorXYZW(0, 1, 0));
  AccStats stats;
  stats.Add(1.0);
  EXPECT_FALSE(line.LeastSquares(Columns({{7, 8, 9}}), stats));
  EXPECT_EQ(line.Point(), PointXYZW(1, 2, 3));
  EXPECT_EQ(line.Vector(), VectorXYZW(0, 1, 0));
  EXPECT_EQ(stats.count, 1);
}

TEST(LineFit, CloudsThatCannotBeReadLeaveTheLineUnchanged) {
  Line line(PointXYZW(1, 2, 3), VectorXYZW(0, 1, 0));
  EXPECT_FALSE(line.LeastSquares(PointCloud(Eigen::MatrixXd::Random(2, 2))));
  EXPECT_FALSE(line.LeastSquares(PointCloud(Eigen::MatrixXd::Random(2, 9))));
  EXPECT_FALSE(line.LeastSquares(Columns({{1, 2, 3}, {4, 5, 6}}), Eigen::VectorXd::Ones(1)));
  EXPECT_FALSE(line.LeastSquares(PointCloud()));
  EXPECT_EQ(line.Point(), PointXYZW(1, 2, 3));
  EXPECT_EQ(line.Vector(), VectorXYZW(0, 1, 0));
}

TEST(LineFit, TwoCoincidentPointsOverwriteTheLine) {
  Line line(PointXYZW(1, 2, 3), VectorXYZW(0, 1, 0));
  EXPECT_FALSE(line.LeastSquares(Columns({{4, 5, 6}, {4, 5, 6}})));
  EXPECT_EQ(line.Point(), PointXYZW(4, 5, 6));
  EXPECT_EQ(line.Vector(), VectorXYZW());
}

TEST(LineFit, TwoPointsThreeApartScaleTheDistances) {
  Line line;
  AccStats stats;
  ASSERT_TRUE(line.LeastSquares(Columns({{1, 0, 0}, {1, 3, 0}}), stats));
  EXPECT_EQ(line.Vector(), VectorXYZW(0, 3, 0));
  EXPECT_EQ(line.Point(), PointXYZW(1, 1.5, 0, 1));
  EXPECT_EQ(line.Distance(PointXYZW(3, 7, 0)), 6.0);
  EXPECT_EQ(stats.count, 2);
  EXPECT_EQ(stats.max, 0.0);
}

TEST(LineFit, TwoWeightedPoints) {
  Line line;
  ASSERT_TRUE(line.LeastSquares(Columns({{0, 0, 0}, {4, 0, 0}}), Eigen::Vector2d(1, 3)));
  EXPECT_EQ(line.Point(), PointXYZW(3, 0, 0, 1));
  EXPECT_EQ(line.Vector(), VectorXYZW(4, 0, 0));
}

TEST(LineFit, ThreeCollinearPoints) {
  Line line;
  AccStats stats;
  ASSERT_TRUE(line.LeastSquares(Columns({{1, 1, 1}, {2, 3, 3}, {6, 11, 11}}), stats));
  EXPECT_NEAR(std::abs(line.Vector().dot(VectorXYZW(1, 2, 2))), 3.0, 1e-14);
  EXPECT_NEAR((line.Point() - PointXYZW(3, 5, 5)).norm(), 0.0, 1e-15);
  EXPECT_NEAR(stats.max, 0.0, 1e-14);
}

TEST(LineFit, ThreeCoincidentPointsAreNoLine) {
  Line line;
  EXPECT_FALSE(line.LeastSquares(Columns({{4, 5, 6}, {4, 5, 6}, {4, 5, 6}})));
  EXPECT_EQ(line.Point(), PointXYZW(4, 5, 6));
  EXPECT_EQ(line.Vector(), VectorXYZW());
}

TEST(LineFit, StatisticsAreTheDistancesOfAllColumns) {
  Line line;
  AccStats stats;
  Eigen::VectorXd w(5);
  w << 1, 1, 1, 1, 0;
  ASSERT_TRUE(line.LeastSquares(Columns({{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {3, 0, 0}, {9, 3, 4}}), w,
                                stats));
  EXPECT_EQ(stats.count, 5);
  EXPECT_NEAR(stats.sum, 5.0, 1e-14);
}

TEST(LineFit, StatsOfACloudThatCannotBeReadAreNaN) {
  AccStats stats;
  Line().FillLeastSquaresStats(PointCloud(Eigen::MatrixXd::Zero(2, 3)), stats);
  EXPECT_EQ(stats.count, 3);
  EXPECT_TRUE(std::isnan(stats.sum));
}

TEST(LineRegression, InterceptAndSlope) {
  Line line;
  ASSERT_TRUE(line.LinearRegression2D(Columns({{0, 1, 9}, {1, 3, 9}, {2, 5, 9}}), false));
  EXPECT_NEAR((line.Point() - PointXYZW(0, 1, 0)).norm(), 0.0, 1e-15);
  EXPECT_NEAR((line.Vector() - VectorXYZW(1, 2, 0).normalized()).norm(), 0.0, 1e-15);
}

TEST(LineRegression, ThroughTheOriginHasNoIntercept) {
  Line line;
  ASSERT_TRUE(line.LinearRegression2D(Columns({{1, 3, 9}, {2, 5, 9}}), true));
  EXPECT_EQ(line.Point(), PointXYZW(0, 0, 0));
  EXPECT_NEAR(line.Vector().y() / line.Vector().x(), 13.0 / 5.0, 1e-15);
}

TEST(LineRegression, VerticalDataGoesThroughTheCentroid) {
  Line line;
  ASSERT_TRUE(line.LinearRegression2D(Columns({{2, 1, 9}, {2, 3, 9}, {2, 8, 9}}), false));
  EXPECT_EQ(line.Vector(), VectorXYZW(0, 1, 0));
  EXPECT_EQ(line.Point(), PointXYZW(2, 4, 0));
}

TEST(LineRegression, VerticalDataThroughTheOriginIsTreatedTheSame) {
  Line line;
  ASSERT_TRUE(line.LinearRegression2D(Columns({{0, 1, 9}, {0, 3, 9}}), true));
  EXPECT_EQ(line.Vector(), VectorXYZW(0, 1, 0));
  EXPECT_EQ(line.Point(), PointXYZW(0, 2, 0));
}

TEST(LineRegression, VerticalDataIsSeenFarFromTheOrigin) {
  Line line;
  ASSERT_TRUE(line.LinearRegression2D(
      Columns({{100.1, 1, 9}, {100.1, 3, 9}, {100.1, 8, 9}, {100.1, 9, 9}}), false));
  EXPECT_EQ(line.Vector(), VectorXYZW(0, 1, 0));
}

TEST(LineRegression, TwoRowsAreEnoughAndOneIsNot) {
  Eigen::MatrixXd data(2, 2);
  data << 0, 1, 1, 2;
  Line line;
  EXPECT_TRUE(line.LinearRegression2D(PointCloud(data), false));
  const VectorXYZW before = line.Vector();
  EXPECT_FALSE(line.LinearRegression2D(PointCloud(Eigen::MatrixXd::Zero(1, 4)), false));
  EXPECT_FALSE(line.LinearRegression2D(PointCloud(Eigen::MatrixXd::Zero(3, 1)), false));
  EXPECT_EQ(line.Vector(), before);
}

TEST(LineIntersection, CrossingLinesMeet) {
  const Line a(PointXYZW(0, 1, 5), VectorXYZW(1, 0, 3));
  const Line b(PointXYZW(3, 0, -7), VectorXYZW(0, 1, 0));
  PointXYZW result(8, 8, 8, 8);
  ASSERT_TRUE(a.Intersection2D(b, result));
  EXPECT_NEAR((result - PointXYZW(3, 1, 0)).norm(), 0.0, 1e-14);
  EXPECT_EQ(result.w(), 1.0);
}

TEST(LineIntersection, ParallelLinesLeaveTheResultAlone) {
  const Line a(PointXYZW(0, 1, 0), VectorXYZW(1, 1, 0));
  const Line b(PointXYZW(0, 2, 0), VectorXYZW(1, 1, 0));
  PointXYZW result(8, 8, 8, 8);
  EXPECT_FALSE(a.Intersection2D(b, result));
  EXPECT_EQ(result, PointXYZW(8, 8, 8, 8));
}

TEST(LineDistance, SkewLines) {
  const Line a(PointXYZW(0, 0, 0), VectorXYZW(1, 0, 0));
  const Line b(PointXYZW(5, 3, 2), VectorXYZW(0, 1, 0));
  EXPECT_NEAR(a.Distance(b), 2.0, 1e-15);
  EXPECT_NEAR(b.Distance(a), 2.0, 1e-15);
}

TEST(LineDistance, ParallelLinesWithEqualProductsUseTheLastForm) {
  // b = c = 1, so b is not greater than c: t = e / c.
  const Line a(PointXYZW(0, 0, 0), VectorXYZW(1, 0, 0));
  const Line b(PointXYZW(7, 3, 4), VectorXYZW(1, 0, 0));
  EXPECT_NEAR(a.Distance(b), 5.0, 1e-14);
}

TEST(LineDistance, ParallelLinesWithALongerDirectionUseTheFirstForm) {
  // b = 2 and c = 1: t = d / b.
  const Line a(Eigen::Vector3d(0, 0, 0), Eigen::Vector3d(2, 0, 0));
  const Line b(Eigen::Vector3d(7, 3, 4), Eigen::Vector3d(1, 0, 0));
  EXPECT_NEAR(a.Distance(b), 5.0, 1e-14);
}

TEST(LineProject, TheDefaultLineGivesTheOrigin) {
  EXPECT_EQ(Line().Project({4, 5, 6}), PointXYZW(0, 0, 0, 1));
}

TEST(LineProject, APointThatCoincidesComesBackExactly) {
  const Line line(PointXYZW(0.1, 0.2, 0.3, 7), VectorXYZW(1, 1, 1));
  EXPECT_EQ(line.Project({0.1, 0.2, 0.3 + 1e-13}), PointXYZW(0.1, 0.2, 0.3, 7));
}

TEST(LineProject, TheFootOfThePerpendicular) {
  const Line line(PointXYZW(1, 1, 1), VectorXYZW(0, 0, 2));
  EXPECT_EQ(line.Project({5, 6, 7}), PointXYZW(1, 1, 7));
}

TEST(LineProject, AnUnnormalisedDirectionScalesTheFoot) {
  const Line line(Eigen::Vector3d(0, 0, 0), Eigen::Vector3d(2, 0, 0));
  EXPECT_EQ(line.Project({3, 1, 0}), PointXYZW(12, 0, 0));
}

}  // namespace
}  // namespace libmfx::geometry
