// What the cylinder fit is made of beside its residuals: neighbours, the base, the quality filter.

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cmath>
#include <limits>
#include <numbers>
#include <stdexcept>

#include "cylinder_points.h"
#include "geometry/cylinder/least_squares.h"
#include "geometry/cylinder/neighbourhood.h"
#include "geometry/cylinder/thread_model.h"
#include "thrown.h"

namespace libmfx::geometry {
namespace {

using Eigen::Vector3d;
using test::TextThrown;
using Fitter = ThreadedCylinderFitter;

TEST(CylinderNeighbourhood, AsksForATree) {
  cylinder::Points points(3);
  for (int i = 0; i < 3; ++i) points.set(i, Vector3d(i, 0.0, 0.0));
  cylinder::Neighbourhood neighbourhood(points);
  std::vector<Eigen::Index> found;
  EXPECT_EQ(TextThrown([&] { neighbourhood.Nearest(Vector3d::Zero(), 2, 10.0, found); }),
            "[nanoflann] findNeighbors() called before building");
  neighbourhood.Build();
  neighbourhood.Nearest(Vector3d(1.9, 0.0, 0.0), 2, 10.0, found);
  EXPECT_EQ(found, (std::vector<Eigen::Index>{2, 1}));
  neighbourhood.Nearest(Vector3d(1.9, 0.0, 0.0), 2, 0.5, found);
  EXPECT_EQ(found, (std::vector<Eigen::Index>{2}));
}

TEST(CylinderNeighbourhood, NeedsPoints) {
  const cylinder::Points none(0);
  cylinder::Neighbourhood neighbourhood(none);
  EXPECT_EQ(TextThrown([&] { neighbourhood.Build(); }),
            "[nanoflann] computeBoundingBox() called but no data points found.");
}

/// A square of 21 by 21 points, 1 mm apart, across `normal`.
std::vector<Vector3d> Square(const Vector3d& normal, const Vector3d& point) {
  std::vector<Vector3d> points;
  const Vector3d e1 = normal.unitOrthogonal(), e2 = normal.cross(e1);
  for (int i = -10; i <= 10; ++i)
    for (int k = -10; k <= 10; ++k) points.push_back(point + 0.001 * (i * e1 + k * e2));
  return points;
}

TEST(CylinderBasePlane, NeedsThreePoints) {
  const std::vector<Vector3d> two = {Vector3d::Zero(), Vector3d::UnitX()};
  for (int mode = 0; mode < 3; ++mode) {
    EXPECT_EQ(TextThrown([&] { Fitter::FitBasePlane(two, Vector3d::UnitZ(), mode, 0.001); }),
              "Too few points for plane fitting");
  }
}

TEST(CylinderBasePlane, FreePlaneFindsTheNormalOnTheGivenSide) {
  const Vector3d normal = Vector3d(0.1, -0.3, 0.9).normalized(), point(0.2, 0.3, 2.0);
  const auto points = Square(normal, point);
  for (const double side : {1.0, -1.0}) {
    const auto plane =
        Fitter::FitBasePlane(points, side * Vector3d::UnitZ(), Fitter::kFreePlane, 0.0);
    EXPECT_LT((plane.normal - side * normal).norm(), 1e-12);
    EXPECT_LT((plane.point - point).norm(), 1e-12);
    EXPECT_EQ(plane.points, 441);
    EXPECT_LT(plane.rms, 1e-14);
    // Both ways of a square of 21 rows: 2 * (21^2 - 1) / 12 square steps.
    EXPECT_NEAR(plane.scale, 2.0 * 440.0 / 12.0 * 1e-6, 1e-15);
  }
}

TEST(CylinderBasePlane, FixedNormalLeavesTheHeight) {
  const Vector3d normal = Vector3d(0.0, 0.1, 1.0).normalized();
  const auto plane = Fitter::FitBasePlane(Square(normal, Vector3d::Zero()), Vector3d(0.0, 0.0, 3.0),
                                          Fitter::kFixedNormal, 0.0);
  EXPECT_EQ(plane.normal, Vector3d::UnitZ());
  EXPECT_GT(plane.rms, 1e-4);
}

TEST(CylinderBasePlane, TrimmedPlaneLeavesStrayPointsOut) {
  auto points = Square(Vector3d::UnitZ(), Vector3d::Zero());
  for (int i = 0; i < 20; ++i) points.emplace_back(0.01, 0.0005 * i, 0.003);
  const auto free = Fitter::FitBasePlane(points, Vector3d::UnitZ(), Fitter::kFreePlane, 0.0);
  EXPECT_GT(free.normal.head<2>().norm(), 1e-3);
  const auto trimmed =
      Fitter::FitBasePlane(points, Vector3d::UnitZ(), Fitter::kTrimmedPlane, 0.0005);
  EXPECT_LT(trimmed.normal.head<2>().norm(), 1e-12);
  EXPECT_EQ(trimmed.points, 441);
}

TEST(CylinderBasePlane, OpenNormalsAndUnknownModesAreRefused) {
  std::vector<Vector3d> line;
  for (int i = 0; i < 10; ++i) line.emplace_back(0.1 * i, 0.2 * i, 0.3 * i);
  EXPECT_EQ(
      TextThrown([&] { Fitter::FitBasePlane(line, Vector3d::UnitZ(), Fitter::kFreePlane, 0.0); }),
      "Plane fitting failed");
  EXPECT_THROW(Fitter::FitBasePlane(line, Vector3d::UnitZ(), 3, 0.0), std::invalid_argument);
}

TEST(CylinderQuality, ASampleThatStandsOutAloneIsRemoved) {
  auto points = Square(Vector3d::UnitZ(), Vector3d::Zero());
  std::vector<double> qualities(points.size(), 80.0);
  qualities[220] = 55.0;
  const Vector3d poor = points[220];
  EXPECT_EQ(Fitter::RemoveLowQuality(points, qualities), 1u);
  EXPECT_EQ(points.size(), 440u);
  EXPECT_EQ(qualities.size(), 440u);
  for (const Vector3d& p : points) EXPECT_GT((p - poor).norm(), 1e-6);
}

TEST(CylinderQuality, AFaintRegionStays) {
  auto points = Square(Vector3d::UnitZ(), Vector3d::Zero());
  std::vector<double> qualities(points.size(), 80.0);
  for (std::size_t i = 0; i < points.size(); ++i)
    if (points[i].x() > 0.0) qualities[i] = 30.0;
  EXPECT_EQ(Fitter::RemoveLowQuality(points, qualities), 0u);
}

TEST(CylinderQuality, SamplesThatAreNotFiniteAreRemoved) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  std::vector<Vector3d> points(4, Vector3d::UnitX());
  std::vector<double> qualities = {80.0, nan, 80.0, 80.0};
  points[3].y() = nan;
  EXPECT_EQ(Fitter::RemoveLowQuality(points, qualities), 2u);
  EXPECT_EQ(points.size(), 2u);
}

TEST(CylinderLeastSquares, DampingFollowsTheGain) {
  cylinder::Damping damping(2000.0);
  EXPECT_EQ(damping.mu(), 2.0);
  damping.TakenBack();
  EXPECT_EQ(damping.mu(), 4.0);
  damping.TakenBack();
  EXPECT_EQ(damping.mu(), 16.0);
  damping.Kept(1.0);  // as predicted: the least factor
  EXPECT_DOUBLE_EQ(damping.mu(), 16.0 / 3.0);
  damping.Kept(0.25);  // 1 - (-0.5)^3
  EXPECT_DOUBLE_EQ(damping.mu(), 16.0 / 3.0 * 1.125);
  damping.TakenBack();  // and the growth starts at 2 again
  EXPECT_DOUBLE_EQ(damping.mu(), 16.0 / 3.0 * 1.125 * 2.0);
}

/// Samples of an ISO thread of one millimetre pitch, as they lie on the profile itself.
std::vector<Vector3d> ThreadPoints(const test::CylinderPoints& wall, double pitch, bool bore) {
  std::vector<Vector3d> points;
  const Vector3d e1 = wall.axis.unitOrthogonal(), e2 = wall.axis.cross(e1);
  for (const Vector3d& p : wall.Make()) {
    const Vector3d q = p - wall.point;
    const double height = q.dot(wall.axis);
    const double turn = std::atan2(q.dot(e2), q.dot(e1)) / (2.0 * std::numbers::pi);
    const double depth =
        std::abs(pitch) *
        cylinder::DepthOfProfile(height / pitch - turn, cylinder::Profile::Basic(bore)).depth;
    const Vector3d out = (q - height * wall.axis).normalized();
    points.push_back(p + (bore ? depth : -depth) * out);
  }
  return points;
}

TEST(CylinderThread, RadiusIsThatOfTheCrests) {
  for (const bool bore : {false, true}) {
    test::CylinderPoints wall;
    // The instrument stands in the origin: it sees the near side of a stud, the far one of a bore.
    wall.axis = Vector3d(0.0, 0.8, bore ? 0.6 : -0.6);
    wall.around = 30;
    wall.along = 200;
    wall.noise = 5e-6;
    wall.arc = 2.0 * std::numbers::pi;
    std::vector<Vector3d> points;
    for (const Vector3d& p : ThreadPoints(wall, 0.001, bore)) {
      Vector3d out = p - wall.point;
      out -= out.dot(wall.axis) * wall.axis;
      if ((out.dot(p) > 0.0) == bore) points.push_back(p);
    }
    Fitter::Statistics statistics;
    const auto fitted = Fitter::Fit(points, wall.Nominal(), 0.001, 0.019, 0.002, 0.0005, 0.02, 0.05,
                                    false, false, &statistics);
    EXPECT_TRUE(statistics.threaded) << bore;
    EXPECT_NEAR(fitted.radius, wall.radius, 3e-6) << bore;
    EXPECT_NEAR(std::abs(statistics.pitch), 0.001, 2e-6) << bore;
    EXPECT_LT(test::AxisAngle(fitted.axis, wall.axis), 1e-3) << bore;
    EXPECT_LT(test::DistanceFromAxis(fitted.point, wall.point, wall.axis), 5e-6) << bore;
  }
}

/// A wall of a bore whose thread shows whole, which no sight line into it does.
std::vector<Vector3d> WholeThread(test::CylinderPoints& wall, double noise) {
  wall.axis = Vector3d(0.0, 0.3, 1.0).normalized();
  wall.around = 30;
  wall.along = 200;
  wall.noise = noise;
  return ThreadPoints(wall, 0.001, true);
}

std::string ErrorOfFit(const std::vector<Vector3d>& points, const test::CylinderPoints& wall,
                       Fitter::Statistics& statistics) {
  return TextThrown([&] {
    Fitter::Fit(points, wall.Nominal(), 0.001, 0.019, 0.002, 0.0005, 0.02, 0.05, false, false,
                &statistics);
  });
}

TEST(CylinderThread, AProfileThatIsLostInNoiseIsRefused) {
  test::CylinderPoints wall;
  const auto points = WholeThread(wall, 0.00015);
  Fitter::Statistics statistics;
  EXPECT_EQ(ErrorOfFit(points, wall, statistics), "Cylinder fitting failed");
  EXPECT_TRUE(statistics.threaded);
}

TEST(CylinderThread, ARadiusThatTheDepthSeenContradictsNeedsASharpProfile) {
  test::CylinderPoints wall;
  // Sight lines as flat as these end 0.1 mm behind the crests on the average, and these points lie
  // twice as deep. Sharp, they prove themselves.
  const auto sharp = WholeThread(wall, 5e-6);
  Fitter::Statistics statistics;
  EXPECT_EQ(ErrorOfFit(sharp, wall, statistics), "");
  const auto fitted = Fitter::Fit(sharp, wall.Nominal(), 0.001, 0.019, 0.002, 0.0005, 0.02, 0.05,
                                  false, false, nullptr);
  EXPECT_NEAR(fitted.radius, wall.radius, 3e-6);
  const auto blurred = WholeThread(wall, 40e-6);
  EXPECT_EQ(ErrorOfFit(blurred, wall, statistics), "Cylinder fitting failed");
  EXPECT_TRUE(statistics.threaded);
}

TEST(RobustBound, OfNoResidualsAndOfNonesIsABound) {
  EXPECT_EQ(cylinder::RobustBound(Eigen::ArrayXd(), 3.0), 1e-6);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_GT(cylinder::RobustBound(Eigen::ArrayXd::Constant(64, nan), 3.0), 1.0);
  Eigen::ArrayXd some = Eigen::ArrayXd::Constant(64, 0.01);
  some.head(20) = nan;
  EXPECT_NEAR(cylinder::RobustBound(some, 3.0), 3.0 * 1.4826 * 0.01, 1e-12);
}

}  // namespace
}  // namespace libmfx::geometry
