#include "inspection/characteristics.h"

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cmath>
#include <numbers>
#include <optional>
#include <string>
#include <vector>

#include "planned_parts.h"

namespace libmfx::inspection {
namespace {

using test::Asked;
using test::AsPlanned;
using test::Ball;
using test::Edge;
using test::Hole;
using test::MovedBy;
using test::PlanOf;
using test::Point;
using test::Polygon;
using test::Slot;
using test::Stud;
using Kind = Characteristic::Kind;

/// What is left of a double at a metre or two, some operations on: 2e-16 each.
constexpr double kExact = 1e-14;

double Value(const Characteristic& asked, const Plan& plan,
             const std::vector<FeatureNumbers>& measured) {
  return ValueOf(asked, plan, measured).value_or(FeatureNumbers::kNone);
}

/// The value, which a frame at a slant has to leave as it is.
double ValueInAnyFrame(const Characteristic& asked, const Plan& plan,
                       const std::vector<FeatureNumbers>& measured) {
  const Eigen::Isometry3d motion = test::SlantedFrame();
  const double value = Value(asked, plan, measured);
  EXPECT_NEAR(Value(asked, MovedBy(plan, motion), MovedBy(measured, motion)), value, kExact);
  return value;
}

TEST(ValueOf, ASizeIsTwiceTheRadiusOrTheSideItself) {
  const Plan plan = PlanOf(
      {Stud("S", Vector3d::Zero()), Polygon("P", Vector3d::Zero()), Slot("L", Vector3d::Zero())});
  auto measured = AsPlanned(plan);
  measured[0].radius = 0.00301;
  measured[1].radius = 0.00498;
  measured[2].length = 0.0203;
  measured[2].width = 0.0079;
  EXPECT_EQ(Value(Asked(Kind::kSize, {0}, "diameter"), plan, measured), 0.00602);
  EXPECT_EQ(Value(Asked(Kind::kSize, {1}), plan, measured), 0.00996);
  EXPECT_EQ(Value(Asked(Kind::kSize, {2}, "length"), plan, measured), 0.0203);
  EXPECT_EQ(Value(Asked(Kind::kSize, {2}, "width"), plan, measured), 0.0079);
  EXPECT_EQ(NominalOf(Asked(Kind::kSize, {0}, "diameter"), plan), 0.006);
}

TEST(ValueOf, ACoordinateIsThePlaceAlongItsAxis) {
  const Plan plan = PlanOf({Ball("B", Vector3d(0.1, 0.2, 0.3))});
  auto measured = AsPlanned(plan);
  measured[0].place += Vector3d(1e-4, -2e-4, 3e-4);
  EXPECT_NEAR(Value(Asked(Kind::kCoordinate, {0}, "x"), plan, measured), 0.1001, kExact);
  EXPECT_NEAR(Value(Asked(Kind::kCoordinate, {0}, "y"), plan, measured), 0.1998, kExact);
  EXPECT_NEAR(Value(Asked(Kind::kCoordinate, {0}, "z"), plan, measured), 0.3003, kExact);
  EXPECT_NEAR(NominalOf(Asked(Kind::kCoordinate, {0}, "z"), plan), 0.3, kExact);
}

TEST(ValueOf, ACoordinateAlongTheNormalIsToldFromTheNominalPlace) {
  const Plan plan = PlanOf({Point("P", Vector3d(0.1, 0.2, 0.3), Vector3d(0.6, 0.0, 0.8))});
  auto measured = AsPlanned(plan);
  // 0.1 mm along the normal, and as much as one likes across it.
  measured[0].place += 1e-4 * Vector3d(0.6, 0.0, 0.8) + 2e-3 * Vector3d(0.8, 0.0, -0.6);
  const Characteristic asked = Asked(Kind::kCoordinate, {0}, "normal");
  EXPECT_NEAR(ValueInAnyFrame(asked, plan, measured), 1e-4, kExact);
  EXPECT_EQ(NominalOf(asked, plan), 0.0);
}

TEST(ValueOf, WhatIsNotMeasuredOfAPlaceIsAsTheNominalTellsIt) {
  // Its normal leans by 0.9e-3, so that x is held well enough: what it is off along x is told, and
  // nothing of what it is off along y.
  const Vector3d normal(std::cos(0.9e-3), std::sin(0.9e-3), 0.0);
  const Plan plan = PlanOf({Point("P", Vector3d(0.1, 0.0, 0.0), normal)});
  auto measured = AsPlanned(plan);
  measured[0].place += 1e-4 * normal + 0.01 * Vector3d(-normal.y(), normal.x(), 0.0);
  const double value = Value(Asked(Kind::kCoordinate, {0}, "x"), plan, measured);
  EXPECT_NEAR(value, 0.1 + 1e-4 * normal.x(), kExact);
}

TEST(ValueOf, APositionIsTheDiameterAcrossTheDirection) {
  const Vector3d off(3e-5, 4e-5, 12e-5);
  const Plan plan = PlanOf({Hole("H", Vector3d(0.1, 0.0, 0.0)), Stud("S", Vector3d(0.1, 0.0, 0.0)),
                            Ball("B", Vector3d(0.1, 0.0, 0.0)),
                            Edge("E", Vector3d(0.1, 0.0, -0.001), Vector3d::UnitX())});
  auto measured = AsPlanned(plan);
  for (FeatureNumbers& numbers : measured) numbers.place += off;
  EXPECT_NEAR(ValueInAnyFrame(Asked(Kind::kPosition, {0}), plan, measured), 1e-4, kExact);
  EXPECT_NEAR(ValueInAnyFrame(Asked(Kind::kPosition, {1}), plan, measured), 1e-4, kExact);
  EXPECT_NEAR(ValueInAnyFrame(Asked(Kind::kPosition, {2}), plan, measured), 2.6e-4, kExact);
  EXPECT_NEAR(ValueInAnyFrame(Asked(Kind::kPosition, {3}), plan, measured), 6e-5, kExact);
  EXPECT_EQ(NominalOf(Asked(Kind::kPosition, {0}), plan), 0.0);
}

TEST(ValueOf, ADistanceIsThatOfThePlaces) {
  const Plan plan = PlanOf({Hole("A", Vector3d(0.0, 0.0, 0.0)), Hole("B", Vector3d(0.3, 0.4, 0.0)),
                            Ball("C", Vector3d(0.0, 0.0, 1.2))});
  auto measured = AsPlanned(plan);
  measured[1].place = Vector3d(0.6, 0.8, 0.0);
  EXPECT_NEAR(ValueInAnyFrame(Asked(Kind::kDistance, {0, 1}), plan, measured), 1.0, kExact);
  EXPECT_NEAR(NominalOf(Asked(Kind::kDistance, {0, 1}), plan), 0.5, kExact);
  EXPECT_NEAR(NominalOf(Asked(Kind::kDistance, {1, 2}), plan), 1.3, kExact);
}

TEST(ValueOf, ADistanceOfStudsIsAcrossTheirAxes) {
  // Whatever the heights at which they are told.
  const Plan plan =
      PlanOf({Stud("A", Vector3d(0.0, 0.0, 0.0)), Stud("B", Vector3d(0.3, 0.4, 0.2))});
  auto measured = AsPlanned(plan);
  measured[1].place += Vector3d(0.003, 0.004, -0.05);
  const Characteristic asked = Asked(Kind::kDistance, {0, 1});
  EXPECT_NEAR(ValueInAnyFrame(asked, plan, measured), 0.505, kExact);
  EXPECT_NEAR(NominalOf(asked, plan), 0.5, kExact);
}

TEST(ValueOf, ADistanceOfSurfacePointsIsAlongTheirNormals) {
  const Plan plan = PlanOf({Point("A", Vector3d(0.1, 0.1, 0.0), -Vector3d::UnitZ()),
                            Point("B", Vector3d(0.1, 0.1, 0.02))});
  auto measured = AsPlanned(plan);
  measured[1].place += Vector3d(0.002, -0.003, 1e-4);
  EXPECT_NEAR(ValueInAnyFrame(Asked(Kind::kDistance, {0, 1}), plan, measured), 0.0201, kExact);
}

TEST(ValueOf, ADistanceAlongAnAxisHasTheSenseOfTheNominals) {
  const Plan plan =
      PlanOf({Hole("A", Vector3d(0.5, 0.0, 0.0)), Hole("B", Vector3d(0.2, 0.4, 0.0))});
  auto measured = AsPlanned(plan);
  measured[0].place.x() += 1e-4;
  measured[1].place.y() += 1e-4;
  Characteristic along_x = Asked(Kind::kDistance, {0, 1}, "x");
  EXPECT_NEAR(Value(along_x, plan, measured), 0.3001, kExact);
  EXPECT_NEAR(NominalOf(along_x, plan), 0.3, kExact);
  EXPECT_NEAR(Value(Asked(Kind::kDistance, {0, 1}, "y"), plan, measured), 0.4001, kExact);
  along_x.nominal = -0.3;  // the plan wants the other sense
  EXPECT_NEAR(Value(along_x, plan, measured), -0.3001, kExact);
  EXPECT_NEAR(NominalOf(along_x, plan), -0.3, kExact);
}

TEST(ValueOf, ADistanceOfNothingAlongAnAxisIsTheSecondLessTheFirst) {
  const Plan plan =
      PlanOf({Hole("A", Vector3d(0.5, 0.0, 0.0)), Hole("B", Vector3d(0.5, 0.4, 0.0))});
  auto measured = AsPlanned(plan);
  measured[0].place.x() += 1e-4;
  EXPECT_NEAR(Value(Asked(Kind::kDistance, {0, 1}, "x"), plan, measured), -1e-4, kExact);
}

TEST(ValueOf, AnAngleIsBetweenTheDirectionsThatAreNamed) {
  const double a = 0.3;
  Plan plan = PlanOf({Slot("A", Vector3d::Zero()), Slot("B", Vector3d(0.1, 0.0, 0.0))});
  plan.features[1].direction = Vector3d(0.0, std::sin(a), std::cos(a));
  auto measured = AsPlanned(plan);
  measured[1].tangent = Vector3d(std::cos(0.2), std::sin(0.2), 0.0);
  const auto angle = [&](const std::string& of) {
    return ValueInAnyFrame(Asked(Kind::kAngle, {0, 1}, of), plan, measured);
  };
  EXPECT_NEAR(angle("direction,direction"), a, kExact);
  EXPECT_NEAR(angle(""), a, kExact);
  EXPECT_NEAR(angle("tangent,tangent"), 0.2, kExact);
  EXPECT_NEAR(angle("tangent,direction"), std::numbers::pi / 2, kExact);
  EXPECT_NEAR(angle("direction,tangent"), std::numbers::pi / 2, kExact);
  EXPECT_NEAR(NominalOf(Asked(Kind::kAngle, {0, 1}, "tangent,tangent"), plan), 0.0, kExact);
  // A small angle keeps its digits, and so does one that is nearly half a turn.
  measured[1].tangent = Vector3d(std::cos(1e-9), std::sin(1e-9), 0.0);
  EXPECT_NEAR(angle("tangent,tangent"), 1e-9, kExact);
  measured[1].tangent *= -1.0;
  EXPECT_NEAR(angle("tangent,tangent"), std::numbers::pi - 1e-9, kExact);
}

TEST(ValueOf, FlatnessIsTheWidthOfTheNarrowestZone) {
  const Plan plan =
      PlanOf({Point("A", Vector3d(0.0, 0.0, 0.0)), Point("B", Vector3d(0.1, 0.0, 0.0)),
              Point("C", Vector3d(0.0, 0.1, 0.0)), Point("D", Vector3d(0.1, 0.1, 0.0))});
  auto measured = AsPlanned(plan);
  measured[3].place.z() = 2e-4;  // one corner up: the plane lies between the two diagonals
  for (const Kind kind : {Kind::kFlatness, Kind::kCoplanarity}) {
    const double value = ValueInAnyFrame(Asked(kind, {0, 1, 2, 3}), plan, measured);
    // The diagonals are 0.1 mm apart over the middle, and the zone leans by 1e-3, twice.
    EXPECT_NEAR(value, 1e-4 / std::sqrt(1.0 + 2e-6), kExact);
  }
}

TEST(ValueOf, ConcentricityIsTwiceTheDistanceFromTheMeasuredAxis) {
  const double lean = 0.01;
  const Plan plan = PlanOf({Stud("A", Vector3d::Zero()), Hole("B", Vector3d(0.0, 0.0, 0.1))});
  auto measured = AsPlanned(plan);
  measured[0].direction = Vector3d(std::sin(lean), 0.0, std::cos(lean));
  measured[1].place.x() = 2e-4;
  const double value = ValueInAnyFrame(Asked(Kind::kConcentricity, {0, 1}), plan, measured);
  EXPECT_NEAR(value, 2.0 * (0.1 * std::sin(lean) - 2e-4 * std::cos(lean)), kExact);
  EXPECT_EQ(NominalOf(Asked(Kind::kConcentricity, {0, 1}), plan), 0.0);
}

TEST(ValueOf, APatternIsLaidOntoItsNominalsFirst) {
  std::vector<PlannedFeature> holes;
  std::vector<std::size_t> all;
  for (int i = 0; i < 6; ++i) {
    const double angle = i * std::numbers::pi / 3.0;
    holes.push_back(
        Hole("H" + std::to_string(i), 0.05 * Vector3d(std::cos(angle), std::sin(angle), 0.0)));
    all.push_back(static_cast<std::size_t>(i));
  }
  const Plan plan = PlanOf(holes);
  const Characteristic asked = Asked(Kind::kPattern, all);
  Eigen::Isometry3d turn = Eigen::Isometry3d::Identity();
  turn.translate(Vector3d(0.001, -0.002, 0.003));
  turn.rotate(Eigen::AngleAxisd(0.05, Vector3d(0.0, 0.6, 0.8)));
  auto measured = MovedBy(AsPlanned(plan), turn);
  EXPECT_NEAR(ValueInAnyFrame(asked, plan, measured), 0.0, kExact);
  // One of six is off along the circle's radius by d. The group takes d / 6 of a shift; nothing
  // turns. What is left is 5 / 6 d.
  measured = AsPlanned(plan);
  measured[0].place.x() += 6e-5;
  measured = MovedBy(measured, turn);
  EXPECT_NEAR(ValueInAnyFrame(asked, plan, measured), 2.0 * 5e-5, kExact);
}

TEST(ValueOf, APatternOfTwoTakesTheSmallestTurn) {
  const Plan plan =
      PlanOf({Ball("A", Vector3d(-0.1, 0.0, 0.0)), Ball("B", Vector3d(0.1, 0.0, 0.0))});
  auto measured = AsPlanned(plan);
  measured[0].place = Vector3d(0.0, -0.1001, 0.5);
  measured[1].place = Vector3d(0.0, 0.1001, 0.5);
  EXPECT_NEAR(ValueInAnyFrame(Asked(Kind::kPattern, {0, 1}), plan, measured), 2e-4, kExact);
}

TEST(ValueOf, APatternOfStudsIsLaidAcrossTheirAxes) {
  std::vector<PlannedFeature> studs;
  for (const auto& [x, y] : {std::pair(-1.0, -1.0), {1.0, -1.0}, {1.0, 1.0}, {-1.0, 1.0}}) {
    studs.push_back(Stud("S" + std::to_string(studs.size()), Vector3d(0.04 * x, 0.04 * y, 0.0)));
  }
  const Plan plan = PlanOf(studs);
  const Characteristic asked = Asked(Kind::kPattern, {0, 1, 2, 3});
  const Eigen::Isometry3d turn(Eigen::AngleAxisd(0.01, Vector3d::UnitZ()));
  auto measured = MovedBy(AsPlanned(plan), turn);
  // Where along the axes the places are told does not tilt the group.
  measured[0].place.z() += 0.01;
  measured[1].place.z() -= 0.02;
  EXPECT_NEAR(ValueInAnyFrame(asked, plan, measured), 0.0, kExact);
  // One off by d along the diagonal: d / 4 is a shift.
  measured[2].place += turn.linear() * Vector3d(4e-5, 4e-5, 0.0);
  EXPECT_NEAR(ValueInAnyFrame(asked, plan, measured), 2.0 * 3e-5 * std::sqrt(2.0), kExact);
}

TEST(ValueOf, APatternAroundARingIsShiftedByAllOfWhatItIsOff) {
  // Studs that stand out of a ring tell a shift across their axes alone.
  std::vector<PlannedFeature> studs;
  std::vector<std::size_t> all;
  for (std::size_t i = 0; i < 8; ++i) {
    const double angle = static_cast<double>(i) * std::numbers::pi / 4.0;
    const Vector3d out(std::cos(angle), std::sin(angle), 0.0);
    studs.push_back(Stud("S" + std::to_string(i), 0.05 * out, out));
    all.push_back(i);
  }
  const Plan plan = PlanOf(studs);
  Eigen::Isometry3d shift = Eigen::Isometry3d::Identity();
  shift.translate(Vector3d(1e-4, 2e-4, 3e-4));
  const auto measured = MovedBy(AsPlanned(plan), shift);
  EXPECT_NEAR(ValueInAnyFrame(Asked(Kind::kPattern, all), plan, measured), 0.0, kExact);
}

TEST(ValueOf, APatternOfEdgesTurnsWithAllOfThem) {
  // Two on each side of a square: the turn shows across the borders alone.
  std::vector<PlannedFeature> edges;
  std::vector<std::size_t> all;
  const Vector3d x = Vector3d::UnitX();
  const Vector3d y = Vector3d::UnitY();
  for (const double side : {-1.0, 1.0}) {
    for (const double along : {-0.03, 0.03}) {
      edges.push_back(Edge("X", 0.05 * side * x + along * y, side * x));
      edges.push_back(Edge("Y", 0.05 * side * y + along * x, side * y));
    }
  }
  for (std::size_t i = 0; i < edges.size(); ++i) all.push_back(i);
  const Plan plan = PlanOf(edges);
  const double a = 1e-4;
  const Eigen::Isometry3d turn(Eigen::AngleAxisd(a, Vector3d::UnitZ()));
  const auto measured = MovedBy(AsPlanned(plan), turn);
  // A border's place moves inwards by 1 - cos(a) of 0.05 m, and again as it is turned back without
  // what it went along itself: a^2 in all, and then terms of a^3 of 0.08 m.
  EXPECT_NEAR(Value(Asked(Kind::kPattern, all), plan, measured), 2.0 * 0.05 * a * a, 2e-13);
}

TEST(ValueOf, NothingIsToldOfWhatWasNotMeasured) {
  const Plan plan = PlanOf({Stud("A", Vector3d::Zero()), Hole("B", Vector3d(0.0, 0.0, 0.1))});
  auto measured = AsPlanned(plan);
  measured[0].direction.setConstant(FeatureNumbers::kNone);
  measured[0].radius = FeatureNumbers::kNone;
  EXPECT_FALSE(ValueOf(Asked(Kind::kConcentricity, {0, 1}), plan, measured));
  EXPECT_FALSE(ValueOf(Asked(Kind::kAngle, {0, 1}), plan, measured));
  EXPECT_FALSE(ValueOf(Asked(Kind::kSize, {0}, "diameter"), plan, measured));
  EXPECT_TRUE(ValueOf(Asked(Kind::kPosition, {0}), plan, measured));
  measured[1] = FeatureNumbers();
  EXPECT_FALSE(ValueOf(Asked(Kind::kDistance, {0, 1}), plan, measured));
  EXPECT_FALSE(ValueOf(Asked(Kind::kPosition, {1}), plan, measured));
  EXPECT_FALSE(ValueOf(Asked(Kind::kPattern, {0, 1}), plan, measured));
}

TEST(ValueOf, ListsThatDoNotFitTellNothing) {
  const Plan plan = PlanOf({Hole("A", Vector3d::Zero()), Hole("B", Vector3d::UnitX())});
  const auto measured = AsPlanned(plan);
  EXPECT_FALSE(ValueOf(Asked(Kind::kPosition, {7}), plan, measured));
  EXPECT_FALSE(ValueOf(Asked(Kind::kPosition, {}), plan, measured));
  EXPECT_FALSE(ValueOf(Asked(Kind::kDistance, {0}), plan, measured));
  EXPECT_FALSE(ValueOf(Asked(Kind::kDistance, {0, 1}), plan, {}));
  EXPECT_TRUE(std::isnan(NominalOf(Asked(Kind::kPosition, {7}), plan)));
}

TEST(MeasuredDirections, AreThoseOfTheType) {
  const Vector3d slanted(0.6, 0.0, 0.8);
  const Eigen::Matrix3d along = slanted * slanted.transpose();
  const Eigen::Matrix3d all = Eigen::Matrix3d::Identity();
  const auto directions = [](const PlannedFeature& feature) {
    return feature.MeasuredDirections();
  };
  EXPECT_EQ(directions(Ball("B", Vector3d::Zero())), all);
  EXPECT_EQ(directions(Hole("H", Vector3d::Zero(), slanted)), all);
  EXPECT_EQ(directions(Slot("L", Vector3d::Zero())), all);
  EXPECT_EQ(directions(Polygon("P", Vector3d::Zero())), all);
  EXPECT_TRUE(directions(Stud("S", Vector3d::Zero(), slanted)).isApprox(all - along));
  EXPECT_TRUE(directions(Point("P", Vector3d::Zero(), slanted)).isApprox(along));
  EXPECT_TRUE(directions(Edge("E", Vector3d::Zero(), slanted)).isApprox(along));
  EXPECT_TRUE(directions(test::FeatureAt("F", "ScanPathFeature", Vector3d::Zero())).isZero(0.0));
  EXPECT_TRUE(directions(Stud("S", Vector3d::Zero(), Vector3d::Zero())).isZero(0.0));
}

TEST(Units, AreToldInMetresAndRadians) {
  EXPECT_EQ((Units{"mm", "deg"}.Length()), 1e-3);
  EXPECT_EQ((Units{"m", "deg"}.Length()), 1.0);
  EXPECT_EQ((Units{"in", "deg"}.Length()), 0.0254);
  EXPECT_TRUE(std::isnan(Units({"ell", "deg"}).Length()));
  EXPECT_NEAR(180.0 * (Units{"mm", "deg"}.Angle()), std::numbers::pi, 1e-15);
  EXPECT_EQ((Units{"mm", "rad"}.Angle()), 1.0);
  EXPECT_TRUE(std::isnan(Units({"mm", "gon"}).Angle()));
}

TEST(KindName, IsReadBackByKindOf) {
  for (int i = 0; i <= static_cast<int>(Kind::kPattern); ++i) {
    const auto kind = static_cast<Kind>(i);
    EXPECT_FALSE(KindName(kind).empty());
    EXPECT_EQ(KindOf(KindName(kind)), kind);
  }
  EXPECT_EQ(KindName(Kind::kConcentricity), "concentricity");
  EXPECT_FALSE(KindOf("Size"));
  EXPECT_FALSE(KindOf(""));
}

TEST(IsZone, HoldsForWhatIsAWidth) {
  for (const Kind kind : {Kind::kPosition, Kind::kFlatness, Kind::kCoplanarity,
                          Kind::kConcentricity, Kind::kPattern}) {
    EXPECT_TRUE(Asked(kind, {}).IsZone());
  }
  for (const Kind kind : {Kind::kSize, Kind::kCoordinate, Kind::kDistance, Kind::kAngle}) {
    EXPECT_FALSE(Asked(kind, {}).IsZone());
  }
}

TEST(Plan, FindsAFeatureByItsName) {
  const Plan plan = PlanOf({Hole("A", Vector3d::Zero()), Hole("B", Vector3d::Zero())});
  EXPECT_EQ(plan.Find("B"), 1u);
  EXPECT_FALSE(plan.Find("C"));
}

TEST(FeatureNumbers, MoveAndScaleWithTheirFrame) {
  FeatureNumbers numbers;
  EXPECT_FALSE(numbers.IsMeasured());
  numbers.place = Vector3d(1.0, 0.0, 0.0);
  numbers.direction = Vector3d::UnitX();
  numbers.length = 2.0;
  Eigen::Isometry3d motion = Eigen::Isometry3d::Identity();
  motion.translate(Vector3d(0.0, 0.0, 3.0));
  motion.rotate(Eigen::AngleAxisd(std::numbers::pi / 2, Vector3d::UnitZ()));
  const FeatureNumbers moved = Moved(numbers, motion);
  EXPECT_TRUE(moved.place.isApprox(Vector3d(0.0, 1.0, 3.0)));
  EXPECT_TRUE(moved.direction.isApprox(Vector3d::UnitY()));
  EXPECT_TRUE(moved.tangent.hasNaN());
  EXPECT_EQ(moved.length, 2.0);
  const FeatureNumbers scaled = Scaled(moved, 0.5);
  EXPECT_TRUE(scaled.place.isApprox(Vector3d(0.0, 0.5, 1.5)));
  EXPECT_TRUE(scaled.direction.isApprox(Vector3d::UnitY()));
  EXPECT_EQ(scaled.length, 1.0);
  EXPECT_TRUE(std::isnan(scaled.radius));
}

}  // namespace
}  // namespace libmfx::inspection
