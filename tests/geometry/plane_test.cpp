#include "libmfx/geometry/plane.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace libmfx::geometry {
namespace {

using data_structures::EMBEDDING_XYZ;
using data_structures::PointCloud;
using data_structures::PointXYZW;
using data_structures::VectorXYZW;
using math::AccStats;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

PointCloud Cloud(std::initializer_list<Eigen::Vector3d> points, Eigen::Index rows = 3) {
  Eigen::MatrixXd data =
      Eigen::MatrixXd::Constant(rows, static_cast<Eigen::Index>(points.size()), 77);
  Eigen::Index i = 0;
  for (const Eigen::Vector3d& p : points) data.col(i++).head<3>() = p;
  return PointCloud(data);
}

PointCloud Rectangle(Eigen::Index rows = 3) {
  return Cloud({{-1, -2, 5}, {1, -2, 5}, {1, 2, 5}, {-1, 2, 5}}, rows);
}

void ExpectSame(const Plane& a, const Plane& b) {
  EXPECT_EQ(a.Point(), b.Point());
  EXPECT_EQ(a.TBN(), b.TBN());
}

TEST(Plane, TheDefaultIsNotValid) {
  const Plane plane;
  EXPECT_EQ(plane.Point(), PointXYZW(0, 0, 0, 1));
  EXPECT_EQ(plane.TBN(), Eigen::Matrix3d::Zero());
  EXPECT_FALSE(plane.IsValid());
}

TEST(Plane, OnTheDefaultPlaneDistancesAreNaN) {
  const Plane plane;
  EXPECT_TRUE(std::isnan(plane.Distance({1, 2, 3})));
  EXPECT_TRUE(std::isnan(plane.SignedDistanceTo({1, 2, 3})));
  const PointXYZW foot = plane.Project({1, 2, 3});
  EXPECT_TRUE(std::isnan(foot.x()) && std::isnan(foot.y()) && std::isnan(foot.z()));
  EXPECT_EQ(foot.w(), 1.0);
  AccStats stats;
  plane.FillLeastSquaresStats(Rectangle(), stats);
  EXPECT_EQ(stats.count, 4);
  EXPECT_TRUE(std::isnan(stats.sum));
}

TEST(Plane, ANormalAlongXTakesTheSecondBranch) {
  const Plane plane(PointXYZW(), VectorXYZW(1, 0, 0));
  EXPECT_EQ(plane.Tangent(), VectorXYZW(0, 0, 1));
  EXPECT_EQ(plane.Bitangent(), VectorXYZW(0, -1, 0));
}

TEST(Plane, ANormalAlongZ) {
  const Plane plane(PointXYZW(), VectorXYZW(0, 0, 1));
  EXPECT_EQ(plane.Tangent(), VectorXYZW(0, 1, 0));
  EXPECT_EQ(plane.Bitangent(), VectorXYZW(-1, 0, 0));
}

TEST(Plane, AFrameFromANormalIsRightHandedAndUnit) {
  const Plane plane(PointXYZW(1, 2, 3), VectorXYZW(3, -4, 12));
  EXPECT_NEAR((plane.TBN().transpose() * plane.TBN() - Eigen::Matrix3d::Identity()).norm(), 0,
              1e-15);
  EXPECT_NEAR((plane.Normal().cross(plane.Tangent()) - plane.Bitangent()).norm(), 0, 1e-15);
}

TEST(Plane, TheLengthOfADirectionIsTakenOverFourComponents) {
  const Plane plane(PointXYZW(), VectorXYZW(0, 0, 3, 4));
  EXPECT_EQ(plane.Normal(), VectorXYZW(0, 0, 3.0 / 5.0, 0));
}

TEST(Plane, SettingTheNormalDiscardsTheTangent) {
  Plane plane(PointXYZW(), VectorXYZW(0, 0, 1));
  plane.Tangent(VectorXYZW(1, 0, 0));
  plane.Normal(VectorXYZW(0, 0, 2));
  EXPECT_EQ(plane.Tangent(), VectorXYZW(0, 1, 0));
  EXPECT_EQ(plane.Normal(), VectorXYZW(0, 0, 1));
}

TEST(Plane, SettingOneAxisLeavesTheOthers) {
  Plane plane(PointXYZW(), VectorXYZW(0, 0, 1));
  plane.Tangent(VectorXYZW(0, 3, 4));
  EXPECT_EQ(plane.Tangent(), VectorXYZW(0, 0.6, 0.8));
  EXPECT_EQ(plane.Normal(), VectorXYZW(0, 0, 1));
  EXPECT_EQ(plane.Bitangent(), VectorXYZW(-1, 0, 0));
  plane.Bitangent(VectorXYZW(5, 0, 0));
  EXPECT_EQ(plane.Bitangent(), VectorXYZW(1, 0, 0));
  EXPECT_EQ(plane.Tangent(), VectorXYZW(0, 0.6, 0.8));
}

TEST(Plane, FourVectorsAreEachMadeUnit) {
  const Plane plane({1, 2, 3}, {0, 0, 2}, {4, 0, 0}, {1, 1, 0});
  EXPECT_EQ(plane.Normal(), VectorXYZW(0, 0, 1));
  EXPECT_EQ(plane.Tangent(), VectorXYZW(1, 0, 0));
  EXPECT_NEAR(plane.Bitangent().x(), std::sqrt(0.5), 1e-15);
}

TEST(Plane, NaNIsNotValidButTheWIsNotLookedAt) {
  EXPECT_FALSE(Plane(PointXYZW(0, kNaN, 0), VectorXYZW(0, 0, 1)).IsValid());
  EXPECT_FALSE(Plane(PointXYZW(), VectorXYZW(kNaN, 0, 1)).IsValid());
  EXPECT_TRUE(Plane(PointXYZW(0, 0, 0, kNaN), VectorXYZW(0, 0, 1)).IsValid());
}

TEST(Plane, DistancesAndProjection) {
  const Plane plane(PointXYZW(0, 0, 5), VectorXYZW(0, 0, -1));
  EXPECT_EQ(plane.SignedDistanceTo({1, 2, 8}), -3.0);
  EXPECT_EQ(plane.Distance({1, 2, 8}), 3.0);
  EXPECT_EQ(plane.Project({1, 2, 8}), PointXYZW(1, 2, 5));
  EXPECT_EQ(plane.Project({1, 2, 8, 0.5}), PointXYZW(1, 2, 5, 0.5));
}

TEST(Plane, ProjectingAnEmptyCloudReturnsACopy) {
  const PointCloud empty(Eigen::MatrixXd(5, 0), {{EMBEDDING_XYZ, {0}}});
  const PointCloud projected = Plane().ProjectPointCloud(empty);
  EXPECT_EQ(projected.rows(), 5);
  EXPECT_EQ(projected.cols(), 0);
  EXPECT_EQ(projected.embeddings(), empty.embeddings());
}

TEST(Plane, ProjectingThreeRowsDropsTheEmbeddings) {
  PointCloud cloud = Rectangle();
  cloud.embeddings()[EMBEDDING_XYZ] = {0};
  const PointCloud projected =
      Plane(PointXYZW(0, 0, 1), VectorXYZW(0, 0, 1)).ProjectPointCloud(cloud);
  EXPECT_TRUE(projected.embeddings().empty());
  EXPECT_EQ(projected.data().row(2), Eigen::RowVector4d::Ones());
  EXPECT_EQ(projected.data().topRows(2), cloud.data().topRows(2));
}

TEST(Plane, ProjectingMoreThanThreeRowsReturnsACopy) {
  const PointCloud cloud = Rectangle(5);
  const Plane plane(PointXYZW(), VectorXYZW(0, 0, 1));
  EXPECT_EQ(plane.ProjectPointCloud(cloud).data(), cloud.data());
}

TEST(PlaneFit, TwoPointsLeaveThePlaneUnchanged) {
  Plane plane(PointXYZW(1, 2, 3), VectorXYZW(0, 1, 0));
  const Plane before = plane;
  AccStats stats;
  stats.Add(4.0);
  EXPECT_FALSE(plane.LeastSquares(Cloud({{0, 0, 0}, {1, 0, 0}}), stats));
  ExpectSame(plane, before);
  EXPECT_EQ(stats.count, 1);
}

TEST(PlaneFit, CloudsThatCannotBeReadLeaveThePlaneUnchanged) {
  Plane plane(PointXYZW(1, 2, 3), VectorXYZW(0, 1, 0));
  const Plane before = plane;
  EXPECT_FALSE(plane.LeastSquares(PointCloud(Eigen::MatrixXd::Zero(2, 5))));
  EXPECT_FALSE(plane.LeastSquares(PointCloud()));
  EXPECT_FALSE(plane.LeastSquares(Rectangle(), Eigen::VectorXd::Ones(3)));
  EXPECT_FALSE(plane.LeastSquares(Rectangle(), Eigen::VectorXd::Ones(5)));
  ExpectSame(plane, before);
}

TEST(PlaneFit, ThreePointsHaveNoResidual) {
  Plane plane;
  AccStats stats;
  ASSERT_TRUE(plane.LeastSquares(Cloud({{0, 0, 1}, {4, 0, 1}, {0, 1, 1}}), stats));
  EXPECT_NEAR(stats.max, 0.0, 1e-15);
  // Of the scatter [[32, -4], [-4, 2]] / 3 the largest axis is (15 + sqrt(241), -4).
  const Eigen::Vector2d expected = Eigen::Vector2d(15 + std::sqrt(241.0), -4).normalized();
  EXPECT_NEAR(std::abs(plane.Tangent().xyz().head<2>().dot(expected)), 1.0, 1e-15);
}

TEST(PlaneFit, FourCornersOfARectangle) {
  Plane plane;
  ASSERT_TRUE(plane.LeastSquares(Rectangle()));
  EXPECT_EQ(plane.Point(), PointXYZW(0, 0, 5));
  EXPECT_NEAR(std::abs(plane.Normal().z()), 1.0, 1e-15);
  EXPECT_NEAR(std::abs(plane.Tangent().y()), 1.0, 1e-15);
}

TEST(PlaneFit, AFittedFrameIsLeftHanded) {
  Plane plane;
  ASSERT_TRUE(plane.LeastSquares(Cloud({{0, 0, 1}, {4, 0, 2}, {0, 1, 7}, {3, 3, 3}, {1, 1, 0}})));
  EXPECT_NEAR((plane.Tangent().cross(plane.Normal()) - plane.Bitangent()).norm(), 0.0, 1e-15);
}

TEST(PlaneFit, OnlyTheTopThreeRowsCount) {
  Plane three;
  ASSERT_TRUE(three.LeastSquares(Rectangle()));
  for (const Eigen::Index rows : {4, 5, 6}) {
    Plane more;
    ASSERT_TRUE(more.LeastSquares(Rectangle(rows)));
    ExpectSame(more, three);
  }
}

TEST(PlaneFit, CollinearPointsHaveTheirTangentAlongTheLine) {
  Plane plane;
  ASSERT_TRUE(plane.LeastSquares(Cloud({{0, 0, 0}, {1, 2, 2}, {2, 4, 4}, {3, 6, 6}})));
  EXPECT_NEAR(std::abs(plane.Tangent().dot(VectorXYZW(1, 2, 2))), 3.0, 1e-14);
  EXPECT_NEAR(plane.Normal().dot(VectorXYZW(1, 2, 2)), 0.0, 1e-14);
  EXPECT_TRUE(plane.IsValid());
}

TEST(PlaneFit, CoincidentPointsGiveAZeroFrame) {
  Plane plane(PointXYZW(1, 2, 3), VectorXYZW(0, 1, 0));
  EXPECT_TRUE(plane.LeastSquares(Cloud({{1, 2, 4}, {1, 2, 4}, {1, 2, 4}, {1, 2, 4}})));
  EXPECT_EQ(plane.Point(), PointXYZW(1, 2, 4));
  EXPECT_EQ(plane.TBN(), Eigen::Matrix3d::Zero());
  EXPECT_FALSE(plane.IsValid());
}

TEST(PlaneFit, AWeightOfZeroRemovesAPointThatStillCounts) {
  // Two points with weight and one without: n is 3, so the fit runs, on the two.
  const PointCloud cloud = Cloud({{0, 0, 0}, {2, 0, 0}, {50, 60, 70}});
  Plane plane;
  ASSERT_TRUE(plane.LeastSquares(cloud, Eigen::Vector3d(1, 1, 0)));
  EXPECT_EQ(plane.Point(), PointXYZW(1, 0, 0));
  EXPECT_NEAR(std::abs(plane.Tangent().x()), 1.0, 1e-15);
}

TEST(PlaneFit, AWeightOfZeroRemovesANaN) {
  const PointCloud cloud = Cloud({{-1, -2, 5}, {kNaN, 0, 0}, {1, -2, 5}, {1, 2, 5}, {-1, 2, 5}});
  Eigen::VectorXd weights(5);
  weights << 1, 0, 1, 1, 1;
  Plane plane;
  ASSERT_TRUE(plane.LeastSquares(cloud, weights));
  EXPECT_EQ(plane.Point(), PointXYZW(0, 0, 5));
  EXPECT_NEAR(std::abs(plane.Normal().z()), 1.0, 1e-15);
}

TEST(PlaneFit, NaNDataAndWeightsOfSumZeroGiveAPlaneThatIsNotValid) {
  Plane plane;
  EXPECT_TRUE(plane.LeastSquares(Cloud({{0, 0, 0}, {kNaN, 0, 0}, {1, 1, 0}})));
  EXPECT_FALSE(plane.IsValid());
  EXPECT_TRUE(plane.TBN().array().isNaN().all());
  EXPECT_TRUE(plane.LeastSquares(Rectangle(), Eigen::Vector4d::Zero()));
  EXPECT_FALSE(plane.IsValid());
  EXPECT_TRUE(plane.LeastSquares(Cloud({{1e300, 0, 0}, {0, -1e300, 0}, {1e300, 1, 1e300}})));
  EXPECT_FALSE(plane.IsValid());
}

TEST(PlaneFit, AWeightCountsSquaredInTheScatterAndPlainInTheCentroid) {
  // One point lifted by 1 with weight 2 among four corners with weight 1.
  const PointCloud cloud = Cloud({{-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0}, {0.5, 0, 1}});
  Eigen::VectorXd w(5);
  w << 1, 1, 1, 1, 2;
  Eigen::Vector3d centroid = Eigen::Vector3d::Zero();
  for (int i = 0; i < 5; ++i) centroid += w[i] * cloud.data().col(i) / 6.0;
  Eigen::Matrix3d scatter = Eigen::Matrix3d::Zero();
  for (int i = 0; i < 5; ++i) {
    const Eigen::Vector3d d = w[i] * (cloud.data().col(i) - centroid);
    scatter += d * d.transpose();
  }
  Plane plane;
  ASSERT_TRUE(plane.LeastSquares(cloud, w));
  EXPECT_NEAR((plane.Point().xyz() - centroid).norm(), 0.0, 1e-15);
  const Eigen::Vector3d n = plane.Normal().xyz();
  const Eigen::Vector3d t = plane.Tangent().xyz();
  EXPECT_NEAR((scatter * n - n.dot(scatter * n) * n).norm(), 0.0, 1e-14);
  EXPECT_NEAR((scatter * t - t.dot(scatter * t) * t).norm(), 0.0, 1e-14);
  EXPECT_LT(n.dot(scatter * n), t.dot(scatter * t));
}

TEST(PlaneFit, StatisticsOfAWeightedFitAreNotWeighted) {
  const PointCloud cloud = Cloud({{-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0}, {0, 0, 3}});
  Eigen::VectorXd w(5);
  w << 1, 1, 1, 1, 0;
  Plane plane;
  AccStats stats;
  ASSERT_TRUE(plane.LeastSquares(cloud, w, stats));
  EXPECT_EQ(stats.count, 5);
  EXPECT_NEAR(stats.sum, 3.0, 1e-14);
  EXPECT_NEAR(stats.max, 3.0, 1e-14);
  EXPECT_NEAR(stats.min, 0.0, 1e-14);
}

TEST(PlaneFit, AnIsotropicScatterTakesOneColumnForBothAxes) {
  // The six ends of three equal axes: all spreads are 2, so the first column wins both searches.
  Plane plane;
  ASSERT_TRUE(plane.LeastSquares(
      Cloud({{1, 0, 0}, {-1, 0, 0}, {0, 1, 0}, {0, -1, 0}, {0, 0, 1}, {0, 0, -1}})));
  EXPECT_EQ(plane.Normal(), plane.Tangent());
  EXPECT_EQ(plane.Bitangent(), VectorXYZW());
}

TEST(PlaneFit, StatsOfACloudThatCannotBeReadAreNaN) {
  const Plane plane(PointXYZW(), VectorXYZW(0, 0, 1));
  AccStats stats;
  plane.FillLeastSquaresStats(PointCloud(Eigen::MatrixXd::Zero(2, 3)), stats);
  EXPECT_EQ(stats.count, 3);
  EXPECT_TRUE(std::isnan(stats.sum));
}

}  // namespace
}  // namespace libmfx::geometry
