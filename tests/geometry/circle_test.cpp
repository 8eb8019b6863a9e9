#include "libmfx/geometry/circle.h"

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cmath>
#include <limits>
#include <numbers>

namespace libmfx::geometry {
namespace {

using data_structures::PointCloud;
using data_structures::PointXYZW;
using data_structures::VectorXYZW;
using Eigen::Vector3d;

/// `n` points of a circle around `center` in the plane of the unit vectors u and v.
PointCloud OnCircle(int n, const Vector3d& center, const Vector3d& u, const Vector3d& v,
                    double radius, double arc = 2 * std::numbers::pi) {
  Eigen::MatrixXd data(3, n);
  for (int i = 0; i < n; ++i) {
    const double angle = arc * i / n;
    data.col(i) = center + radius * (std::cos(angle) * u + std::sin(angle) * v);
  }
  return PointCloud(data);
}

struct Tilted {
  Vector3d center{1, -2, 3};
  Vector3d normal = Vector3d(1, 2, 3).normalized();
  Vector3d u = normal.unitOrthogonal();
  Vector3d v = normal.cross(u);

  PointCloud Points(int n, double arc = 2 * std::numbers::pi) const {
    return OnCircle(n, center, u, v, 2.0, arc);
  }
};

void ExpectSame(const Circle& a, const Circle& b) {
  EXPECT_EQ(a.Point(), b.Point());
  EXPECT_EQ(a.Normal(), b.Normal());
  EXPECT_EQ(a.Radius(), b.Radius());
}

TEST(Circle, TheDefaultHasNoRadiusAndIsNotValid) {
  const Circle circle;
  EXPECT_EQ(circle.Point(), PointXYZW(0, 0, 0, 1));
  EXPECT_EQ(circle.Normal(), VectorXYZW(0, 0, 1));
  EXPECT_EQ(circle.Radius(), 0.0);
  EXPECT_EQ(circle.MaxIterations(), 200);
  EXPECT_EQ(circle.StepTolerance(), 1e-10);
  EXPECT_FALSE(circle.IsValid());
}

TEST(Circle, ValidityNeedsAPlaneAndARadius) {
  Circle circle;
  circle.Radius(2.0);
  EXPECT_TRUE(circle.IsValid());
  circle.Radius(-2.0);
  EXPECT_FALSE(circle.IsValid());
  circle.Radius(std::numeric_limits<double>::quiet_NaN());
  EXPECT_FALSE(circle.IsValid());
  circle.Radius(2.0);
  circle.Normal(VectorXYZW());
  EXPECT_FALSE(circle.IsValid());
}

TEST(Circle, SettingTheNormalRebuildsTheFrame) {
  Circle circle;
  circle.Normal(VectorXYZW(3, 0, 0));
  EXPECT_EQ(circle.Normal(), VectorXYZW(1, 0, 0));
  EXPECT_EQ(circle.SupportPlane().Tangent(), VectorXYZW(0, 0, 1));
  circle.Center(PointXYZW(4, 5, 6));
  EXPECT_EQ(circle.Point(), PointXYZW(4, 5, 6));
  EXPECT_EQ(circle.Center(), circle.Point());
}

TEST(CircleFit, TwoPointsLeaveTheCircleUnchanged) {
  Circle circle;
  circle.Radius(3.0);
  const Circle before = circle;
  const PointCloud two(Eigen::MatrixXd::Random(3, 2));
  EXPECT_FALSE(circle.LeastSquares(two));
  EXPECT_FALSE(circle.LeastSquaresFixedRadius(two, 2.0));
  const PointCloud flat(Eigen::MatrixXd::Random(2, 9));
  EXPECT_FALSE(circle.LeastSquares(flat));
  EXPECT_FALSE(circle.LeastSquaresFixedRadius(flat, 2.0));
  ExpectSame(circle, before);
}

TEST(CircleFit, APerfectCircleInATiltedPlane) {
  const Tilted truth;
  // An arc, so that the centroid is not the centre.
  const PointCloud cloud = truth.Points(40, 4.0);
  Circle circle;
  ASSERT_TRUE(circle.LeastSquares(cloud));
  EXPECT_NEAR((circle.Center().xyz() - truth.center).norm(), 0.0, 1e-13);
  EXPECT_NEAR(circle.Radius(), 2.0, 1e-13);
  EXPECT_NEAR(std::abs(circle.Normal().xyz().dot(truth.normal)), 1.0, 1e-14);
  const Plane& plane = circle.SupportPlane();
  EXPECT_NEAR((plane.Normal().cross(plane.Tangent()) - plane.Bitangent()).norm(), 0.0, 1e-15);
  Plane fitted;
  ASSERT_TRUE(fitted.LeastSquares(cloud));
  EXPECT_NEAR((fitted.Normal().cross(fitted.Tangent()) + fitted.Bitangent()).norm(), 0.0, 1e-15);
}

TEST(CircleFit, ThreePointsLieOnTheirCircle) {
  Eigen::MatrixXd data(3, 3);
  data << 0, 4, 1, 0, 0, 3, 1, 2, 3;
  Circle circle;
  ASSERT_TRUE(circle.LeastSquares(PointCloud(data)));
  for (int i = 0; i < 3; ++i) {
    EXPECT_NEAR((circle.Center().xyz() - data.col(i)).norm(), circle.Radius(), 1e-9);
  }
}

TEST(CircleFit, OnlyTheTopThreeRowsCount) {
  const PointCloud cloud = Tilted().Points(12);
  Circle three;
  ASSERT_TRUE(three.LeastSquares(cloud));
  for (const Eigen::Index rows : {4, 5, 6}) {
    Eigen::MatrixXd data = Eigen::MatrixXd::Constant(rows, 12, 50.0);
    data.topRows(3) = cloud.data();
    Circle more;
    ASSERT_TRUE(more.LeastSquares(PointCloud(data)));
    ExpectSame(more, three);
  }
}

TEST(CircleFit, NoRoundsOverwriteTheCircleAndTheFreeFitSaysFalse) {
  const PointCloud cloud = Tilted().Points(40, 4.0);
  const Vector3d centroid = cloud.data().rowwise().mean();
  const double mean_distance = (cloud.data().colwise() - centroid).colwise().norm().mean();
  Circle circle;
  circle.MaxIterations(0);
  EXPECT_FALSE(circle.LeastSquares(cloud));
  EXPECT_NEAR((circle.Center().xyz() - centroid).norm(), 0.0, 4e-15);
  EXPECT_NEAR(circle.Radius(), mean_distance, 1e-14);
  EXPECT_TRUE(circle.LeastSquaresFixedRadius(cloud, 7.5));
  EXPECT_NEAR((circle.Center().xyz() - centroid).norm(), 0.0, 4e-15);
  EXPECT_EQ(circle.Radius(), 7.5);
}

TEST(CircleFit, ANegativeLimitIsNoLimitOfZero) {
  Circle circle;
  circle.MaxIterations(-3);
  EXPECT_TRUE(circle.LeastSquares(Tilted().Points(40)));
}

TEST(CircleFit, RunningOutOfRoundsKeepsTheLastStep) {
  const Tilted truth;
  const PointCloud cloud = truth.Points(40, 2.0);
  Circle one;
  one.MaxIterations(1);
  EXPECT_TRUE(one.LeastSquares(cloud));
  Circle many;
  EXPECT_TRUE(many.LeastSquares(cloud));
  EXPECT_GT(std::abs(one.Radius() - 2.0), 1e-3);
  EXPECT_NEAR(many.Radius(), 2.0, 1e-12);
}

TEST(CircleFit, AWideStepToleranceEndsAfterOneRound) {
  const PointCloud cloud = Tilted().Points(40, 2.0);
  Circle one;
  one.MaxIterations(1);
  ASSERT_TRUE(one.LeastSquares(cloud));
  Circle loose;
  loose.StepTolerance(1e3);
  ASSERT_TRUE(loose.LeastSquares(cloud));
  ExpectSame(loose, one);
}

TEST(CircleFit, APointAtTheCentreMakesTheCircleNaN) {
  // The centroid is the first centre, and the fifth point lies on it.
  Eigen::MatrixXd data(3, 5);
  data << 1, -1, 0, 0, 0, 0, 0, 1, -1, 0, 0, 0, 0, 0, 0;
  Circle circle;
  EXPECT_TRUE(circle.LeastSquares(PointCloud(data)));
  EXPECT_TRUE(std::isnan(circle.Center().x()));
  EXPECT_FALSE(circle.IsValid());
  EXPECT_TRUE(circle.LeastSquaresFixedRadius(PointCloud(data), 1.0));
  EXPECT_FALSE(circle.IsValid());
}

TEST(CircleFit, DataThatIsNotFiniteMakesACircleThatIsNotValid) {
  Eigen::MatrixXd data = Tilted().Points(9).data();
  data(1, 4) = std::numeric_limits<double>::quiet_NaN();
  Circle circle;
  circle.LeastSquares(PointCloud(data));
  EXPECT_FALSE(circle.IsValid());
  data.setConstant(3.0);  // coincident
  circle.LeastSquares(PointCloud(data));
  EXPECT_FALSE(circle.IsValid());
}

TEST(CircleFit, TheFixedRadiusIsKept) {
  const Tilted truth;
  const PointCloud cloud = truth.Points(30, 5.0);
  Circle circle;
  ASSERT_TRUE(circle.LeastSquaresFixedRadius(cloud, 2.0));
  EXPECT_NEAR((circle.Center().xyz() - truth.center).norm(), 0.0, 1e-12);
  EXPECT_EQ(circle.Radius(), 2.0);
  ASSERT_TRUE(circle.LeastSquaresFixedRadius(cloud, 2.1));
  EXPECT_EQ(circle.Radius(), 2.1);
  EXPECT_GT((circle.Center().xyz() - truth.center).norm(), 1e-3);
}

TEST(CircleFit, WeightsScaleTheResidualsOfTheFirstStepOnly) {
  // One round from the centroid: with weights all 2 the step is twice the unweighted one, since the
  // Jacobian carries no weight.
  const PointCloud cloud = Tilted().Points(40, 3.0);
  Circle start, plain, doubled;
  start.MaxIterations(0);
  start.LeastSquares(cloud);
  plain.MaxIterations(1);
  doubled.MaxIterations(1);
  ASSERT_TRUE(plain.LeastSquares(cloud));
  ASSERT_TRUE(doubled.LeastSquares(cloud, Eigen::VectorXd::Constant(40, 2.0)));
  const Vector3d step = plain.Center().xyz() - start.Center().xyz();
  EXPECT_GT(step.norm(), 0.1);
  EXPECT_NEAR((doubled.Center().xyz() - start.Center().xyz() - 2 * step).norm(), 0.0, 1e-12);
  EXPECT_NEAR(doubled.Radius() - start.Radius(), 2 * (plain.Radius() - start.Radius()), 1e-12);
}

TEST(CircleFit, WeightsOfAnotherSizeAreIgnored) {
  const PointCloud cloud = Tilted().Points(40, 3.0);
  Circle plain, odd;
  ASSERT_TRUE(plain.LeastSquares(cloud));
  for (const int size : {1, 39, 41}) {
    ASSERT_TRUE(odd.LeastSquares(cloud, Eigen::VectorXd::Constant(size, 5.0)));
    ExpectSame(odd, plain);
  }
}

TEST(CircleCountInside, APointOnTheCircleIsNotInside) {
  Circle circle;
  circle.Radius(2.0);
  Eigen::MatrixXd data(3, 4);
  data << 2, 0, 1.999, 3, 0, 0, 0, 0, 5, -7, 1, 0;
  EXPECT_EQ(circle.CountInside(PointCloud(data)), 2);
}

TEST(CircleCountInside, FewerThanThreeColumnsCountNothing) {
  Circle circle;
  circle.Radius(2.0);
  EXPECT_EQ(circle.CountInside(PointCloud(Eigen::MatrixXd::Zero(3, 2))), 0);
  EXPECT_EQ(circle.CountInside(PointCloud(Eigen::MatrixXd::Zero(3, 3))), 3);
  EXPECT_EQ(circle.CountInside(PointCloud(Eigen::MatrixXd::Zero(2, 3))), 0);
}

}  // namespace
}  // namespace libmfx::geometry
