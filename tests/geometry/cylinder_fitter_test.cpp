#include "libmfx/geometry/cylinder_fitter.h"

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <limits>
#include <numbers>
#include <random>
#include <stdexcept>
#include <vector>

#include "cylinder_points.h"
#include "thrown.h"

namespace libmfx::geometry {
namespace {

using Eigen::Vector3d;
using test::AxisAngle;
using test::CylinderPoints;
using test::DistanceFromAxis;
using Cylinder = ThreadedCylinderFitter::Cylinder;
using Statistics = ThreadedCylinderFitter::Statistics;

constexpr double kDegree = std::numbers::pi / 180.0;
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

/// The arguments of a call, with the wall itself as the nominal.
struct Call {
  Call() : Call(CylinderPoints()) {}
  explicit Call(const CylinderPoints& wall) : points(wall.Make()), nominal(wall.Nominal()) {}

  std::vector<Vector3d> points;
  Cylinder nominal;
  double bottom_offset = 0.001;
  double height = 0.019;
  double radius_tolerance = 0.001;
  double plane_tolerance = 0.0005;
  bool fix_axis = false;
  bool fix_radius = false;
  Statistics statistics;

  Cylinder Fit() {
    return ThreadedCylinderFitter::Fit(points, nominal, bottom_offset, height, radius_tolerance,
                                       plane_tolerance, 0.02, 0.05, fix_axis, fix_radius,
                                       &statistics);
  }
  std::string Error() {
    return test::TextThrown([this] { Fit(); });
  }
};

TEST(CylinderFitter, ValidatesInOrder) {
  const char* texts[] = {"NominalCylinderAxis must be a non-zero vector",
                         "NominalRadius must be positive",
                         "nominalCylinderBottomOffset must be less than nominalCylinderHeight",
                         "RadiusTolerance must be positive", "PlaneTolerance must be positive"};
  // Everything from the k-th argument on is broken: the first of them is reported.
  for (int k = 0; k < 5; ++k) {
    Call call;
    if (k <= 0) call.nominal.axis.setZero();
    if (k <= 1) call.nominal.radius = 0.0;
    if (k <= 2) call.bottom_offset = call.height;
    if (k <= 3) call.radius_tolerance = 0.0;
    if (k <= 4) call.plane_tolerance = 0.0;
    call.points.clear();
    EXPECT_EQ(call.Error(), texts[k]);
  }
}

TEST(CylinderFitter, ValidatesEachArgumentAlone) {
  for (const double bad : {0.0, -1.0, kNan}) {
    Call radius, tolerance, plane;
    radius.nominal.radius = bad;
    EXPECT_EQ(radius.Error(), "NominalRadius must be positive");
    tolerance.radius_tolerance = bad;
    EXPECT_EQ(tolerance.Error(), "RadiusTolerance must be positive");
    plane.plane_tolerance = bad;
    EXPECT_EQ(plane.Error(), "PlaneTolerance must be positive");
  }
  Call axis;
  axis.nominal.axis = Vector3d(kNan, 0.0, 1.0);
  EXPECT_EQ(axis.Error(), "NominalCylinderAxis must be a non-zero vector");
  Call height;
  height.height = kNan;
  EXPECT_EQ(height.Error(), "nominalCylinderBottomOffset must be less than nominalCylinderHeight");
}

TEST(CylinderFitter, TakesAnAxisOfAnyLength) {
  for (const double length : {1e-6, 1.0, 1e6}) {
    Call call;
    call.nominal.axis *= length;
    const Cylinder fitted = call.Fit();
    EXPECT_NEAR(fitted.axis.norm(), 1.0, 1e-14);
    EXPECT_LT(AxisAngle(fitted.axis, CylinderPoints().axis), 1e-10);
  }
}

TEST(CylinderFitter, ReportsTheAxisPointOnThePlaneOfTheBottomOffset) {
  Call call;
  call.nominal.axis = Eigen::AngleAxisd(kDegree, Vector3d::UnitX()) * call.nominal.axis;
  const Cylinder fitted = call.Fit();
  const Vector3d unit = call.nominal.axis.normalized();
  EXPECT_NEAR((fitted.point - call.nominal.point).dot(unit), call.bottom_offset, 1e-12);
  EXPECT_LT(DistanceFromAxis(fitted.point, CylinderPoints().point, CylinderPoints().axis), 1e-12);
  EXPECT_NEAR(fitted.radius, 0.005, 1e-12);
  EXPECT_GT(fitted.axis.dot(unit), 0.99);
}

TEST(CylinderFitter, AxisDownTheZAxisTakesTheFixedRotation) {
  // Within 2.6 degrees of -Z all axes share one half-turn; the others near it don't.
  for (const double tilt : {0.0, 1e-9, 0.5, 2.5, 2.6, 5.0}) {
    CylinderPoints wall;
    wall.axis = Eigen::AngleAxisd(tilt * kDegree, Vector3d(1.0, 2.0, 0.0).normalized()) *
                Vector3d(0.0, 0.0, -1.0);
    Call call(wall);
    const Cylinder fitted = call.Fit();
    EXPECT_LT(AxisAngle(fitted.axis, wall.axis), 1e-10) << tilt;
    EXPECT_LT(DistanceFromAxis(fitted.point, wall.point, wall.axis), 1e-12) << tilt;
    EXPECT_NEAR((fitted.point - wall.point).dot(wall.axis), call.bottom_offset, 1e-12) << tilt;
    EXPECT_EQ(fitted.inliers, 2000) << tilt;
  }
}

TEST(CylinderFitter, TenPointsProceedAndNineDoNot) {
  CylinderPoints wall;
  wall.around = 5;
  wall.along = 2;
  Call call;
  call.points = wall.Make();
  ASSERT_EQ(call.points.size(), 10u);
  const Cylinder fitted = call.Fit();
  EXPECT_EQ(fitted.inliers, 10);
  EXPECT_NEAR(fitted.radius, wall.radius, 1e-9);
  call.points.pop_back();
  EXPECT_EQ(call.Error(), "Too few inlier points for cylinder fitting");
  call.points.clear();
  EXPECT_EQ(call.Error(), "Too few inlier points for cylinder fitting");
}

TEST(CylinderFitter, KeepsThePointsInTheWindow) {
  CylinderPoints wall;
  wall.low = 0.0;
  wall.high = 0.02;
  wall.along = 21;
  wall.around = 12;
  Call call;
  call.points = wall.Make();
  call.bottom_offset = 0.0049;
  call.height = 0.0151;
  EXPECT_EQ(call.Fit().inliers, 11 * 12);
  // Two points beside the wall, just inside and just beyond the tolerance.
  const Vector3d out = wall.axis.unitOrthogonal();
  call.points.push_back(wall.point + 0.01 * wall.axis + 0.00601 * out);
  call.Fit();
  EXPECT_EQ(call.statistics.windowed, 11 * 12);
  call.points.push_back(wall.point + 0.01 * wall.axis + 0.00599 * out);
  call.Fit();
  EXPECT_EQ(call.statistics.windowed, 11 * 12 + 1);
}

TEST(CylinderFitter, BothEndsOfTheHeightWindowBelongToIt) {
  for (const double scale : {0.001, 0.7, 1.0, 3.3}) {
    CylinderPoints wall;
    wall.radius = scale;
    wall.low = scale;
    wall.high = 3.0 * scale;
    wall.along = 3;
    wall.around = 16;
    Call call(wall);
    call.bottom_offset = wall.low;
    call.height = wall.high;
    call.radius_tolerance = 0.1 * scale;
    EXPECT_EQ(call.Fit().inliers, 48) << scale;
  }
}

TEST(CylinderFitter, FixedPartsStay) {
  for (const bool fix_axis : {false, true}) {
    for (const bool fix_radius : {false, true}) {
      Call call;
      call.nominal.axis = Eigen::AngleAxisd(0.001, Vector3d::UnitX()) * call.nominal.axis;
      call.nominal.radius *= 1.002;
      call.fix_axis = fix_axis;
      call.fix_radius = fix_radius;
      const Cylinder fitted = call.Fit();
      EXPECT_EQ(call.statistics.free_parameters, 2 + (fix_axis ? 0 : 3) + (fix_radius ? 0 : 1));
      EXPECT_EQ(AxisAngle(fitted.axis, call.nominal.axis) < 1e-14, fix_axis);
      EXPECT_EQ(fitted.radius == call.nominal.radius, fix_radius);
    }
  }
}

TEST(CylinderFitter, PointsThatAreNotFiniteArePassedOver) {
  Call call;
  const Cylinder clean = call.Fit();
  const double infinity = std::numeric_limits<double>::infinity();
  for (const double bad : {kNan, infinity, -infinity, 1e300})
    call.points.insert(call.points.begin(), Vector3d(bad, 0.0, 2.0));
  const Cylinder fitted = call.Fit();
  EXPECT_EQ(fitted.radius, clean.radius);
  EXPECT_EQ(fitted.inliers, clean.inliers);
}

TEST(CylinderFitter, ConvergesFromAnyStartWithinTheTolerances) {
  for (const double arc : {60.0, 90.0, 180.0, 360.0}) {
    CylinderPoints wall;
    wall.arc = arc * kDegree;
    wall.noise = 10e-6;
    Call reference;
    reference.points = wall.Make();
    reference.nominal = wall.Nominal();
    const Cylinder expected = reference.Fit();
    EXPECT_NEAR(expected.radius, wall.radius, 20e-6) << arc;
    std::mt19937 random(7);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    for (int k = 0; k < 15; ++k) {
      Call call = reference;
      call.nominal.radius *= 1.0 + 0.1 * unit(random);
      call.nominal.point += 0.0005 * Vector3d(unit(random), unit(random), unit(random));
      call.nominal.axis += 0.03 * Vector3d(unit(random), unit(random), unit(random));
      call.bottom_offset = -0.01;
      call.height = 0.03;
      call.radius_tolerance = 0.003;
      const Cylinder fitted = call.Fit();
      EXPECT_NEAR(fitted.radius, expected.radius, 1e-10) << arc << " " << k;
      EXPECT_LT(AxisAngle(fitted.axis, expected.axis), 1e-8) << arc << " " << k;
      EXPECT_LT(DistanceFromAxis(fitted.point, expected.point, expected.axis), 1e-10);
    }
  }
}

TEST(CylinderFitter, MovesAndScalesWithThePoints) {
  CylinderPoints wall;
  wall.noise = 20e-6;
  Call call;
  call.points = wall.Make();
  const Cylinder before = call.Fit();
  constexpr double kScale = 250.0;
  const Eigen::AngleAxisd turn(1.1, Vector3d(1.0, -2.0, 0.5).normalized());
  const Vector3d shift(0.7, -3.0, 1.2);
  const auto move = [&](const Vector3d& p) -> Vector3d { return kScale * (turn * p) + shift; };
  for (Vector3d& p : call.points) p = move(p);
  call.nominal.point = move(call.nominal.point);
  call.nominal.axis = turn * call.nominal.axis;
  for (double* length : {&call.nominal.radius, &call.bottom_offset, &call.height,
                         &call.radius_tolerance, &call.plane_tolerance})
    *length *= kScale;
  const Cylinder after = call.Fit();
  EXPECT_NEAR(after.radius, kScale * before.radius, 1e-9);
  EXPECT_LT((after.point - move(before.point)).norm(), 1e-9);
  EXPECT_LT((after.axis - turn * before.axis).norm(), 1e-11);
  EXPECT_EQ(after.inliers, before.inliers);
}

TEST(CylinderFitter, StatisticsTellTheResiduals) {
  CylinderPoints wall;
  wall.noise = 20e-6;
  Call call;
  call.points = wall.Make();
  const Cylinder fitted = call.Fit();
  double cost = 0.0;
  for (const Vector3d& p : call.points) {
    const double residual = DistanceFromAxis(p, fitted.point, fitted.axis) - fitted.radius;
    cost += residual * residual;
  }
  EXPECT_NEAR(call.statistics.cost, cost, 1e-9 * cost);
  EXPECT_NEAR(call.statistics.rms, 20e-6, 1e-6);
  EXPECT_GT(call.statistics.rounds, 0);
  EXPECT_FALSE(call.statistics.threaded);
  EXPECT_LT(call.statistics.radius_uncertainty, 5e-6);
  EXPECT_LT(std::abs(fitted.radius - wall.radius), 4.0 * call.statistics.radius_uncertainty);
  EXPECT_LT(AxisAngle(fitted.axis, wall.axis), 4.0 * call.statistics.axis_uncertainty);
}

TEST(CylinderFitter, PointsThatLeaveTheCylinderOpenFail) {
  CylinderPoints line;
  line.around = 1;
  line.along = 200;
  Call call;
  call.points = line.Make();
  EXPECT_EQ(call.Error(), "Cylinder fitting failed");
  const std::vector<Vector3d> spot(50, call.points.front());
  call.points = spot;
  EXPECT_EQ(call.Error(), "Cylinder fitting failed");
}

TEST(CylinderFitter, AFlatSheetIsNoCylinder) {
  // A sheet along the axis, where the nominal wall touches it.
  Call call;
  const CylinderPoints frame;
  const Vector3d out = frame.axis.unitOrthogonal(), across = frame.axis.cross(out);
  call.points.clear();
  for (int i = -20; i <= 20; ++i)
    for (int k = 0; k < 40; ++k)
      call.points.push_back(frame.point + (0.002 + 0.0004 * k) * frame.axis + 0.005 * out +
                            0.0001 * i * across);
  EXPECT_EQ(call.Error(), "Cylinder fitting failed");
}

TEST(CylinderFitter, AFlatTopInTheWindowIsDropped) {
  CylinderPoints wall;
  wall.noise = 5e-6;
  Call call;
  call.radius_tolerance = 0.005;
  call.points = wall.Make();
  const std::size_t on_wall = call.points.size();
  const Vector3d e1 = wall.axis.unitOrthogonal(), e2 = wall.axis.cross(e1);
  for (int i = -24; i <= 24; ++i) {
    for (int k = -24; k <= 24; ++k) {
      if (i * i + k * k > 24 * 24) continue;
      call.points.push_back(wall.point + 0.0185 * wall.axis + 0.0002 * (i * e1 + k * e2));
    }
  }
  const Cylinder fitted = call.Fit();
  EXPECT_NEAR(fitted.radius, wall.radius, 1e-6);
  EXPECT_LT(DistanceFromAxis(fitted.point, wall.point, wall.axis), 2e-6);
  EXPECT_GT(call.statistics.end_face, 1700);
  EXPECT_GT(fitted.inliers, static_cast<int>(on_wall) - 10);
}

TEST(CylinderFitter, ARaisedBaseIsDropped) {
  // The base stands 1.2 mm above its nominal place and reaches into the window.
  CylinderPoints wall;
  wall.low = 0.0012;
  wall.noise = 5e-6;
  Call call;
  call.radius_tolerance = 0.002;
  call.plane_tolerance = 0.002;
  call.points = wall.Make();
  const Vector3d e1 = wall.axis.unitOrthogonal(), e2 = wall.axis.cross(e1);
  for (int i = -60; i <= 60; ++i) {
    for (int k = -60; k <= 60; ++k) {
      const double distance = 0.0002 * std::hypot(i, k);
      if (distance < wall.radius) continue;
      call.points.push_back(wall.point + 0.0012 * wall.axis + 0.0002 * (i * e1 + k * e2));
    }
  }
  const Cylinder fitted = call.Fit();
  EXPECT_TRUE(call.statistics.has_base);
  EXPECT_NEAR((call.statistics.base.point - wall.point).dot(wall.axis), 0.0012, 1e-9);
  EXPECT_NEAR(fitted.radius, wall.radius, 1e-6);
}

TEST(CylinderFitter, AWallOfTenThousandRadiiIsFittedAsSmooth) {
  CylinderPoints wall;
  wall.radius = 1e-4;
  wall.low = 0.0;
  wall.high = 1.0;
  wall.around = 20;
  wall.along = 200;
  wall.noise = 2e-6;
  Call call(wall);
  call.bottom_offset = -0.1;
  call.height = 1.1;
  call.radius_tolerance = 5e-5;
  EXPECT_NEAR(call.Fit().radius, wall.radius, 1e-6);
  EXPECT_FALSE(call.statistics.threaded);
}

}  // namespace
}  // namespace libmfx::geometry
