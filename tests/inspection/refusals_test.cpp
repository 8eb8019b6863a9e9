// What a plan asks for and cannot be told, in words.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "inspection/characteristics.h"
#include "planned_parts.h"

namespace libmfx::inspection {
namespace {

using test::Asked;
using test::Ball;
using test::Edge;
using test::Hole;
using test::PlanOf;
using test::Point;
using test::Polygon;
using test::Slot;
using test::Stud;
using Kind = Characteristic::Kind;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

/// One feature of each type, and some more.
class WhyNotToldOf : public testing::Test {
 protected:
  WhyNotToldOf() {
    const Vector3d x = Vector3d::UnitX();
    plan = PlanOf({Ball("B", Vector3d::Zero()), Hole("H", Vector3d::Zero()),
                   Slot("L", Vector3d::Zero()), Polygon("P", Vector3d::Zero()),
                   Stud("S", Vector3d(0.1, 0.0, 0.0)), Point("N", Vector3d(0.0, 0.1, 0.0)),
                   Edge("E", Vector3d(0.2, 0.0, -0.001), x),
                   test::FeatureAt("F", "ScanPathFeature", Vector3d::Zero()),
                   Stud("T", Vector3d(0.0, 0.0, 0.05), Vector3d(0.6, 0.0, 0.8)),
                   Point("N2", Vector3d(0.3, 0.1, 0.05))});
  }

  std::string Why(Kind kind, const std::vector<std::string>& names,
                  const std::string& quantity = "") const {
    std::vector<std::size_t> features;
    features.reserve(names.size());
    for (const std::string& name : names) features.push_back(plan.Find(name).value());
    return WhyNotTold(Asked(kind, features, quantity), plan);
  }

  Plan plan;
};

TEST_F(WhyNotToldOf, WhatIsMeasuredIsNothing) {
  EXPECT_EQ(Why(Kind::kSize, {"S"}), "");
  EXPECT_EQ(Why(Kind::kSize, {"P"}, "diameter"), "");
  EXPECT_EQ(Why(Kind::kSize, {"L"}, "width"), "");
  EXPECT_EQ(Why(Kind::kCoordinate, {"S"}, "x"), "");
  EXPECT_EQ(Why(Kind::kCoordinate, {"T"}, "y"), "");
  EXPECT_EQ(Why(Kind::kCoordinate, {"E"}, "x"), "");
  EXPECT_EQ(Why(Kind::kCoordinate, {"N"}, "normal"), "");
  EXPECT_EQ(Why(Kind::kCoordinate, {"H"}, "normal"), "");
  for (const char* name : {"B", "H", "L", "P", "S", "E", "T"}) {
    EXPECT_EQ(Why(Kind::kPosition, {name}), "") << name;
  }
  EXPECT_EQ(Why(Kind::kDistance, {"B", "T"}, "y"), "");
  EXPECT_EQ(Why(Kind::kDistance, {"H", "S"}), "");  // the way lies across the stud's axis
  EXPECT_EQ(Why(Kind::kDistance, {"N", "N2"}, "z"), "");
  EXPECT_EQ(Why(Kind::kAngle, {"H", "S"}, "direction,direction"), "");
  EXPECT_EQ(Why(Kind::kAngle, {"L", "P"}, "tangent,tangent"), "");
  EXPECT_EQ(Why(Kind::kConcentricity, {"H", "P"}), "");
  EXPECT_EQ(Why(Kind::kPattern, {"H", "S", "E", "T"}), "");
}

TEST_F(WhyNotToldOf, ASizeNamesTheRequestThatMeasuresIt) {
  EXPECT_EQ(Why(Kind::kSize, {"H"}, "diameter"),
            "\"H\": a HoleFeature request measures no diameter. A ThreadedHoleFeature request "
            "measures that of a bore, of a smooth one too");
  EXPECT_EQ(Why(Kind::kSize, {"H"}), Why(Kind::kSize, {"H"}, "diameter"));
  EXPECT_EQ(Why(Kind::kSize, {"B"}, "diameter"),
            "\"B\": a MatteSphereFeature request takes the ball's diameter as known, and no other "
            "request measures it");
  EXPECT_EQ(Why(Kind::kSize, {"E"}, "length"), "\"E\": an EdgeFeature request measures no length");
  EXPECT_EQ(Why(Kind::kSize, {"L"}, "diameter"),
            "\"L\": a SlotFeature request measures no diameter");
  EXPECT_EQ(Why(Kind::kSize, {"N"}), "\"N\": a SurfaceNormalFeature request measures no size");
  EXPECT_EQ(Why(Kind::kSize, {"L"}),
            "\"L\" has two sizes: \"quantity\" has to be \"length\" or \"width\"");
  EXPECT_EQ(Why(Kind::kSize, {"S"}, "depth"),
            "\"quantity\" of a size is \"diameter\", \"length\" or \"width\", and not \"depth\"");
}

TEST_F(WhyNotToldOf, WhatARequestHoldsIsNotMeasured) {
  plan.features[4].request["FixRadius"] = true;
  plan.features[8].request["FixAxis"] = "1";  // read as a request reads it
  EXPECT_EQ(Why(Kind::kSize, {"S"}),
            "\"S\" keeps its nominal radius: its diameter is measured without \"FixRadius\"");
  EXPECT_EQ(Why(Kind::kSize, {"T"}), "");
  EXPECT_EQ(Why(Kind::kAngle, {"S", "T"}, "direction,direction"),
            "\"T\" keeps its nominal axis: its direction is measured without \"FixAxis\"");
  EXPECT_EQ(Why(Kind::kConcentricity, {"T", "B"}), Why(Kind::kAngle, {"H", "T"}));
  EXPECT_EQ(Why(Kind::kAngle, {"H", "S"}), "");
}

TEST_F(WhyNotToldOf, ACoordinateNamesWhatIsMeasured) {
  EXPECT_EQ(Why(Kind::kCoordinate, {"N"}, "x"),
            "\"N\" is measured along its normal (0, 0, 1) alone, and not along x");
  EXPECT_EQ(Why(Kind::kCoordinate, {"S"}, "z"),
            "\"S\" is measured across its axis (0, 0, 1) alone, and not along z");
  EXPECT_EQ(Why(Kind::kCoordinate, {"T"}, "z"),
            "\"T\" is measured across its axis (0.6, 0, 0.8) alone, and only in part along z");
  EXPECT_EQ(Why(Kind::kCoordinate, {"S"}, "normal"),
            "\"S\" is measured across its axis (0, 0, 1) alone, and not along its direction "
            "(0, 0, 1)");
  EXPECT_EQ(Why(Kind::kCoordinate, {"E"}, "normal"),
            "\"E\" is measured across its border, along (1, 0, 0), alone, and not along its "
            "direction (0, 0, 1)");
  EXPECT_EQ(Why(Kind::kCoordinate, {"F"}, "x"),
            "\"F\" is a free path, of which no place is measured");
  EXPECT_EQ(Why(Kind::kCoordinate, {"B"}, "normal"),
            "\"B\" has no direction of its own: \"quantity\" has to be \"x\", \"y\" or \"z\"");
  EXPECT_EQ(Why(Kind::kCoordinate, {"B"}),
            "\"quantity\" of a coordinate is \"x\", \"y\", \"z\" or \"normal\", and not \"\"");
}

TEST_F(WhyNotToldOf, ADirectionOfAPlanMayBeRounded) {
  plan.features[5].direction = Vector3d(0.9e-3, 0.0, 1.0).normalized();
  EXPECT_EQ(Why(Kind::kCoordinate, {"N"}, "z"), "");
  plan.features[5].direction = Vector3d(1.1e-3, 0.0, 1.0).normalized();
  EXPECT_EQ(Why(Kind::kCoordinate, {"N"}, "z"),
            "\"N\" is measured along its normal (0.0011, 0, 1) alone, and only in part along z");
}

TEST_F(WhyNotToldOf, APositionTakesPlacesAcrossTheirDirection) {
  EXPECT_EQ(Why(Kind::kPosition, {"N"}),
            "\"N\" is measured along its normal (0, 0, 1) alone, and a position is told across it: "
            "ask for its coordinate \"normal\"");
  EXPECT_EQ(Why(Kind::kPattern, {"H", "N"}), Why(Kind::kPosition, {"N"}));
  EXPECT_EQ(Why(Kind::kPosition, {"F"}), "\"F\" is a free path, of which no place is measured");
  plan.features[1].direction.setZero();
  EXPECT_EQ(Why(Kind::kPosition, {"H"}),
            "\"H\" has no direction, across which a position is told: its nominal needs "
            "\"Normal\"");
}

TEST_F(WhyNotToldOf, ADistanceLiesInWhatBothMeasure) {
  const std::string remedy = ": tell as \"quantity\" an axis along which both are measured";
  // A ball over a stud's foot, on a slanted way.
  plan.features[0].place = Vector3d(0.4, 0.0, 0.4);
  EXPECT_EQ(Why(Kind::kDistance, {"B", "S"}),
            "\"S\" is measured across its axis (0, 0, 1) alone, and only in part along the way "
            "(-0.6, 0, -0.8) between the two" +
                remedy);
  EXPECT_EQ(Why(Kind::kDistance, {"N", "N2"}),
            "\"N\" is measured along its normal (0, 0, 1) alone, and only in part along the way "
            "(0.986, 0, 0.164) between the two" +
                remedy);
  EXPECT_EQ(Why(Kind::kDistance, {"N", "H"}),
            "\"N\" is measured along its normal (0, 0, 1) alone, and not along the way (0, -1, 0) "
            "between the two" +
                remedy);
  // Studs whose axes are not parallel.
  EXPECT_EQ(Why(Kind::kDistance, {"S", "T"}).substr(0, 51),
            "\"S\" is measured across its axis (0, 0, 1) alone, an");
  EXPECT_EQ(Why(Kind::kDistance, {"N", "B"}, "y"),
            "\"N\" is measured along its normal (0, 0, 1) alone, and not along y");
  EXPECT_EQ(Why(Kind::kDistance, {"B", "N"}, "y"), Why(Kind::kDistance, {"N", "B"}, "y"));
  EXPECT_EQ(Why(Kind::kDistance, {"B", "F"}, "z"),
            "\"F\" is a free path, of which no place is measured");
  EXPECT_EQ(Why(Kind::kDistance, {"B", "H"}, "normal"),
            "\"quantity\" of a distance is \"x\", \"y\" or \"z\", or it is left out, and not "
            "\"normal\"");
  Characteristic negative = Asked(Kind::kDistance, {0, 1});
  negative.nominal = -0.1;
  EXPECT_EQ(WhyNotTold(negative, plan), "its nominal is negative, and a distance never is");
}

TEST_F(WhyNotToldOf, PlacesThatCoincideAreToldApartByWhatBothMeasure) {
  // No way leads from one to the other, and nothing is left in which both are measured.
  plan.features = {Point("A", Vector3d::Zero()), Point("B", Vector3d::Zero(), Vector3d::UnitX())};
  EXPECT_EQ(Why(Kind::kDistance, {"A", "B"}),
            "\"A\" is measured along its normal (0, 0, 1) alone, and \"B\" is measured along its "
            "normal (1, 0, 0) alone: tell as \"quantity\" an axis along which both are measured");
}

TEST_F(WhyNotToldOf, AnAngleTakesMeasuredDirections) {
  EXPECT_EQ(Why(Kind::kAngle, {"H", "B"}),
            "\"B\": a MatteSphereFeature request measures no direction");
  EXPECT_EQ(Why(Kind::kAngle, {"E", "H"}), "\"E\": an EdgeFeature request measures no direction");
  EXPECT_EQ(Why(Kind::kAngle, {"L", "H"}, "tangent,tangent"),
            "\"H\": a HoleFeature request measures no tangent");
  EXPECT_EQ(Why(Kind::kAngle, {"L", "H"}, "normal,normal"),
            "\"quantity\" of an angle is two of \"direction\" and \"tangent\" with a comma between "
            "them, and not \"normal,normal\"");
  plan.features[1].direction.setZero();
  EXPECT_EQ(Why(Kind::kAngle, {"L", "H"}), "\"H\" has no direction");
}

TEST_F(WhyNotToldOf, FlatnessTakesAPlaneThatIsMeasuredAcross) {
  plan.features = {Point("A", Vector3d(0.0, 0.0, 0.0)), Point("B", Vector3d(0.1, 0.0, 0.0)),
                   Point("C", Vector3d(0.0, 0.1, 0.0)), Stud("S", Vector3d(0.1, 0.1, 0.0)),
                   Point("D", Vector3d(0.2, 0.0, 0.0)), Point("E", Vector3d(0.3, 1e-4, 0.0)),
                   Hole("H", Vector3d(0.1, 0.2, 0.001))};
  EXPECT_EQ(Why(Kind::kFlatness, {"A", "B", "C", "D"}), "");
  EXPECT_EQ(Why(Kind::kCoplanarity, {"A", "B", "C", "S"}),
            "\"S\" is measured across its axis (0, 0, 1) alone, and not along the normal "
            "(0, 0, 1) of the plane");
  EXPECT_EQ(Why(Kind::kFlatness, {"A", "B", "D", "E"}),
            "its nominal places lie on a line, through which no one plane goes");
  EXPECT_EQ(Why(Kind::kFlatness, {"A", "B", "C"}),
            "it has 3, and takes four features or more: a plane goes through any three");
  for (std::size_t i = 0; i < plan.features.size(); ++i) plan.features[i].direction.setZero();
  for (PlannedFeature& feature : plan.features) feature.type = "HoleFeature";
  Characteristic flatness = Asked(Kind::kFlatness, {0, 1, 2, 6});
  flatness.upper = 1e-5;
  EXPECT_EQ(WhyNotTold(flatness, plan),
            "its nominals themselves come to 0.333 mm, more than its tolerance");
  flatness.upper = 5e-4;
  EXPECT_EQ(WhyNotTold(flatness, plan), "");
}

TEST_F(WhyNotToldOf, ConcentricityTakesAnAxisAndWhatIsMeasuredAcrossIt) {
  EXPECT_EQ(Why(Kind::kConcentricity, {"B", "H"}),
            "\"B\": a MatteSphereFeature request measures no axis");
  EXPECT_EQ(Why(Kind::kConcentricity, {"N", "H"}),
            "\"N\": a SurfaceNormalFeature request measures no axis");
  EXPECT_EQ(Why(Kind::kConcentricity, {"H", "T"}),
            "\"T\" is measured across its axis (0.6, 0, 0.8) alone, and not in all directions "
            "across the axis (0, 0, 1) of \"H\"");
  EXPECT_EQ(Why(Kind::kConcentricity, {"H", "F"}),
            "\"F\" is a free path, of which no place is measured");
  Characteristic apart = Asked(Kind::kConcentricity, {1, 4});
  apart.upper = 1e-4;
  EXPECT_EQ(WhyNotTold(apart, plan),
            "its nominals themselves come to 0.2 m, more than its tolerance");
}

TEST_F(WhyNotToldOf, FeaturesAreOfTheRightNumber) {
  EXPECT_EQ(Why(Kind::kSize, {"S", "T"}), "it has 2, and takes one feature");
  EXPECT_EQ(Why(Kind::kPosition, {}), "it has 0, and takes one feature");
  EXPECT_EQ(Why(Kind::kDistance, {"S"}), "it has 1, and takes two features");
  EXPECT_EQ(Why(Kind::kAngle, {"S", "T", "H"}), "it has 3, and takes two features");
  EXPECT_EQ(Why(Kind::kPattern, {"H"}), "it has 1, and takes two features or more");
  EXPECT_EQ(Why(Kind::kDistance, {"H", "H"}), "it names \"H\" twice");
  EXPECT_EQ(WhyNotTold(Asked(Kind::kDistance, {1, 10}), plan),
            "it names a feature that the plan does not have");
}

TEST_F(WhyNotToldOf, LimitsAndNominalsAreNumbers) {
  Characteristic asked = Asked(Kind::kCoordinate, {0}, "x");
  asked.lower = kNan;
  EXPECT_EQ(WhyNotTold(asked, plan), "its limits are not numbers");
  asked.lower = 0.1;
  asked.upper = 0.05;
  EXPECT_EQ(WhyNotTold(asked, plan), "its lower limit is above its upper one");
  asked.lower = -std::numeric_limits<double>::infinity();
  EXPECT_EQ(WhyNotTold(asked, plan), "");
  plan.features[0].place.x() = kNan;
  EXPECT_EQ(WhyNotTold(asked, plan), "its nominals have no such value");
}

}  // namespace
}  // namespace libmfx::inspection
