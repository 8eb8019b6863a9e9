// What speaks against an outline that was fitted: edge points off the arcs of a slot, arcs that
// differ, and corners that are not where the result has them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <utility>
#include <vector>

#include "features/shared/outline_fit.h"

namespace libmfx::features::shared {
namespace {

using data_structures::PointCloud;
using data_structures::PointXYZW;
using data_structures::VectorXYZW;
using geometry::Circle;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr double kSpacing = 1e-4;
constexpr double kClearance = 0.005;
constexpr double kRadius = 0.008;

/// 20 points of half a circle around (`x`, 0, 2), towards -x or +x.
PointCloud HalfCircle(double x, double sense) {
  Eigen::MatrixXd points(3, 20);
  for (Eigen::Index i = 0; i < points.cols(); ++i) {
    const double turn = std::numbers::pi * (static_cast<double>(i) / 19.0 - 0.5);
    points.col(i) << x + sense * kRadius * std::cos(turn), kRadius * std::sin(turn), 2.0;
  }
  return PointCloud(std::move(points));
}

Circle At(double x, double radius) {
  Circle circle;
  circle.Center(PointXYZW(x, 0, 2));
  circle.Radius(radius);
  return circle;
}

TEST(OutlineDoubts, ArcsThatFitLeaveNone) {
  const std::vector<PointCloud> edges = {HalfCircle(0.01, 1.0), HalfCircle(-0.01, -1.0)};
  EXPECT_THAT(
      DoubtsOfArcs({At(0.01, kRadius), At(-0.01, kRadius + 0.00049)}, edges, kSpacing, kClearance),
      IsEmpty());
}

TEST(OutlineDoubts, AnEdgePointOffItsArcIsTold) {
  PointCloud second = HalfCircle(-0.01, -1.0);
  second.data().col(10) +=
      0.0006 / kRadius * (second.data().col(10) - Eigen::Vector3d(-0.01, 0, 2));
  const std::vector<PointCloud> edges = {HalfCircle(0.01, 1.0), second};
  EXPECT_THAT(DoubtsOfArcs({At(0.01, kRadius), At(-0.01, kRadius)}, edges, kSpacing, kClearance),
              ElementsAre(HasSubstr("An edge point of arc 2 of 2 lies 0.6 mm off the circle")));
  // A coarse spacing, or a wide clearance, allows for more.
  EXPECT_THAT(
      DoubtsOfArcs({At(0.01, kRadius), At(-0.01, kRadius)}, edges, 2.0 * kSpacing, kClearance),
      IsEmpty());
  EXPECT_THAT(
      DoubtsOfArcs({At(0.01, kRadius), At(-0.01, kRadius)}, edges, kSpacing, 2.0 * kClearance),
      IsEmpty());
}

TEST(OutlineDoubts, RadiiThatDifferAreTold) {
  const std::vector<PointCloud> edges = {HalfCircle(0.01, 1.0), HalfCircle(-0.01, -1.0)};
  EXPECT_THAT(DoubtsOfArcs({At(0.01, kRadius + 0.0003), At(-0.01, kRadius - 0.0003)}, edges,
                           kSpacing, kClearance),
              ElementsAre(HasSubstr("The radii of the two arcs differ by 0.6 mm")));
}

TEST(OutlineDoubts, ACornerOffTheReportedOutlineIsTold) {
  const std::vector<PointXYZW> reported = {{0.01, 0.01, 2}, {-0.01, 0.01, 2}, {-0.01, -0.01, 2}};
  std::vector<PointXYZW> found = reported;
  EXPECT_THAT(DoubtsOfCorners(found, reported, kSpacing, kClearance), IsEmpty());
  found[1].x() += 0.0008;
  EXPECT_THAT(DoubtsOfCorners(found, reported, kSpacing, kClearance),
              ElementsAre(HasSubstr("Corner 2 of 3 lies 0.8 mm off the outline that is reported")));
}

}  // namespace
}  // namespace libmfx::features::shared
