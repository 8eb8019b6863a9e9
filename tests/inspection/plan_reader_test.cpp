// A sound plan is read whole, in the library's units, and what a check of a request has to say is
// told where the plan tells the value.

#include "inspection/plan_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <numbers>
#include <string>
#include <vector>

#include "plan_text.h"

namespace libmfx::inspection {
namespace {

using plan_test::Changed;
using plan_test::ExpectTold;
using plan_test::kGoodPlan;
using plan_test::Listed;
using plan_test::PlanCase;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// What two roundings of a number leave of numbers near 1: millimetres told as metres.
constexpr double kRounding = 1e-15;
constexpr double kDegree = std::numbers::pi / 180.0;
constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// A plan in which there is nothing to find.
Plan Sound(const std::string& text) {
  ReadPlan read = ReadPlanText(text);
  EXPECT_EQ(Listed(read.findings), "");
  return read.plan;
}

/// The good plan with one more feature at the end.
std::string With(const std::string& feature) {
  return Changed(kGoodPlan, R"(    {"name": "F1", )",
                 "    " + feature + ",\n    {\"name\": \"F1\", ");
}

const PlannedFeature& Named(const Plan& plan, const std::string& name) {
  const auto index = plan.Find(name);
  EXPECT_TRUE(index) << name;
  return plan.features[index.value_or(0)];
}

/// To the rounding of turns and square roots.
void ExpectNear(const Vector3d& value, const Vector3d& expected) {
  EXPECT_LE((value - expected).norm(), 10.0 * kRounding * std::max(1.0, expected.norm()))
      << value.transpose() << ", not " << expected.transpose();
}

TEST(PlanReaderTest, ReadsThePartAndTheStations) {
  const Plan plan = Sound(kGoodPlan);
  EXPECT_EQ(plan.part.name, "Bracket");
  EXPECT_EQ(plan.part.number, "B-4711");
  EXPECT_EQ(plan.part.material, "aluminium");
  EXPECT_NEAR(plan.part.Growth(), 1.0001, kRounding);
  ASSERT_EQ(plan.stations.size(), 2u);
  const Station& front = plan.stations[0];
  EXPECT_EQ(front.name, "front");
  ASSERT_TRUE(front.pose);
  ExpectNear(*front.pose * Vector3d(0.1, 0.2, 0.3), {0.1, -0.2, 1.7});
  EXPECT_NEAR(front.position_off, 0.02, kRounding);
  EXPECT_NEAR(front.angle_off, 5.0 * kDegree, kRounding);
  const Station& left = plan.stations[1];
  EXPECT_FALSE(left.pose);
  EXPECT_NEAR(left.within, 3.0, kRounding);
  EXPECT_NEAR(left.azimuth[0], -90.0 * kDegree, kRounding);
  EXPECT_NEAR(left.azimuth[1], 45.0 * kDegree, kRounding);
  EXPECT_NEAR(left.elevation[0], -60.0 * kDegree, kRounding);
  EXPECT_NEAR(left.elevation[1], 60.0 * kDegree, kRounding);
}

TEST(PlanReaderTest, ReadsAPoseByRowsAndTakesTheNearestRotation) {
  const std::string pose =
      R"({"position": [0, 0, 2000], "normal": [0, 0, -1], "tangent": [1, 0, 0]})";
  const Plan exact = Sound(
      Changed(kGoodPlan, pose,
              R"({"position": [0, 0, 2000], "rotation": [[0, -1, 0], [-1, 0, 0], [0, 0, -1]]})"));
  ExpectNear(*exact.stations[0].pose * Vector3d(0.1, 0.2, 0.3), {-0.2, -0.1, 1.7});
  const Plan rounded = Sound(Changed(
      kGoodPlan, pose,
      R"({"position": [0, 0, 2000], "rotation": [[0.866, -0.5, 0], [-0.5, -0.866, 0], [0, 0, -1]]})"));
  const Eigen::Matrix3d matrix = rounded.stations[0].pose->linear();
  EXPECT_TRUE((matrix * matrix.transpose()).isIdentity(1e-14));
  EXPECT_NEAR(matrix.determinant(), 1.0, 1e-14);
  // The rows of a right angle's third are told to 3 digits.
  EXPECT_NEAR(matrix(0, 0), std::cos(30.0 * kDegree), 5e-4);
  // Without a tangent and a normal the part faces the instrument.
  const Plan facing = Sound(Changed(kGoodPlan, pose, R"({"position": [300, 0, 2000]})"));
  ExpectNear(facing.stations[0].pose->linear().col(2), -Vector3d(0.3, 0.0, 2.0).normalized());
}

TEST(PlanReaderTest, ReadsFeaturesInTheLibrarysUnits) {
  const Plan plan = Sound(kGoodPlan);
  ASSERT_EQ(plan.features.size(), 11u);
  const PlannedFeature& hole = Named(plan, "H1");
  EXPECT_EQ(hole.type, "HoleFeature");
  EXPECT_EQ(hole.at, "/features/6");
  EXPECT_THAT(hole.stations, ElementsAre(1u, 0u));
  EXPECT_THAT(Named(plan, "H2").stations, ElementsAre(0u, 1u));
  const json& request = hole.request;
  EXPECT_EQ(request["$id"], "H1");
  EXPECT_EQ(request["Feature"]["$type"], "HoleFeature");
  EXPECT_EQ(request["Feature"]["Name"], "H1");
  EXPECT_NEAR(request["Feature"]["Radius"].get<double>(), 0.006, kRounding);
  // The feature's own options come first, and the others of its type stay.
  EXPECT_NEAR(request["PointSpacing"].get<double>(), 0.0001, kRounding);
  EXPECT_NEAR(request["ChamferAngle"].get<double>(), 30.0 * kDegree, kRounding);
  EXPECT_EQ(request["ScanLines"], 7);
  EXPECT_NEAR(Named(plan, "H2").request["PointSpacing"].get<double>(), 0.0002, kRounding);
  EXPECT_FALSE(Named(plan, "H2").request.contains("ScanLines"));
  const PlannedFeature& path = Named(plan, "F1");
  const json& spacings = path.request["PointSpacing"];
  EXPECT_NEAR(spacings[1].get<double>(), 0.002, kRounding);
  EXPECT_NEAR(path.request["Feature"]["Path"]["Segments"][1][0][0].get<double>(), 0.05, kRounding);
}

TEST(PlanReaderTest, FillsPlacesAndDirectionsOfEveryType) {
  struct Case {
    std::string feature;
    Vector3d place, direction, tangent;
    double length, width, radius;
  };
  const double none = std::numeric_limits<double>::quiet_NaN();
  const Vector3d zero = Vector3d::Zero(), x = Vector3d::UnitX(), z = Vector3d::UnitZ();
  const Case cases[] = {
      {R"("MatteSphereFeature", "nominal": {"Location": [10, 20, 30], "Radius": 10}})",
       {0.01, 0.02, 0.03},
       zero,
       zero,
       none,
       none,
       0.01},
      {R"("HoleFeature", "nominal": {"Location": [10, 0, 0], "Normal": [0, 0, -3], "Radius": 5}})",
       {0.01, 0.0, 0.0},
       -z,
       zero,
       none,
       none,
       0.005},
      {R"("SurfaceNormalFeature", "nominal": {"Location": [10, 0, 0], "Normal": [0, 3, 4]}})",
       {0.01, 0.0, 0.0},
       {0.0, 0.6, 0.8},
       zero,
       none,
       none,
       none},
      {R"("RectangleFeature", "nominal": {"Location": [10, 0, 0], "Normal": [0, 0, 1],
          "Tangent": [2, 0, 1], "Length": 30, "Width": 20}})",
       {0.01, 0.0, 0.0},
       z,
       x,
       0.03,
       0.02,
       none},
      {R"("SlotFeature", "nominal": {"Location": [10, 0, 0], "Normal": [0, 0, 1],
          "Tangent": [1, 0, 0], "Length": 30, "Width": 12}, "options": {"ScanPassesPerArc": 15}})",
       {0.01, 0.0, 0.0},
       z,
       x,
       0.03,
       0.012,
       none},
      {R"("PolygonFeature", "nominal": {"Location": [10, 0, 0], "Normal": [0, 0, 1],
          "Axis": [1, 0, 0.1], "Sides": 6, "Radius": 12}, "options": {"ScansPerSide": 4}})",
       {0.01, 0.0, 0.0},
       z,
       x,
       none,
       none,
       0.012},
      {R"("StudFeature", "nominal": {"Location": [10, 0, 0], "Axis": [0.4, 0, 1], "Radius": 5,
          "Offset": 2, "Height": 20}})",
       {0.01, 0.0, 0.0},
       Vector3d(0.4, 0.0, 1.0).normalized(),
       zero,
       none,
       none,
       0.005},
      {R"("ThreadedHoleFeature", "nominal": {"Location": [10, 0, 0], "Axis": [0.5, 0, -1],
          "Radius": 5, "Offset": 2, "Height": 12, "RadiusTolerance": 1, "PlaneTolerance": 1}})",
       {0.01, 0.0, 0.0},
       Vector3d(0.5, 0.0, -1.0).normalized(),
       zero,
       none,
       none,
       0.005},
      {R"("EdgeFeature", "nominal": {"SurfacePoint": [100, 0, 0], "SurfaceNormal": [0, 0, 5],
          "EdgePoint": [108, 0, -1]}})",
       {0.108, 0.0, -0.001},
       z,
       x,
       none,
       none,
       none},
      {R"("ScanPathFeature", "nominal": {"Path": {"Segments": [[[0, 0, 0], [20, 40, 0]]]}},
          "options": {"PointSpacing": 1}})",
       {0.01, 0.02, 0.0},
       zero,
       zero,
       none,
       none,
       none}};
  const auto same = [](double a, double b) {
    return std::isnan(b) ? std::isnan(a) : std::abs(a - b) <= kRounding;
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.feature);
    const Plan plan = Sound(With(R"({"name": "T1", "type": )" + c.feature));
    const PlannedFeature& feature = Named(plan, "T1");
    ExpectNear(feature.place, c.place);
    ExpectNear(feature.direction, c.direction);
    ExpectNear(feature.tangent, c.tangent);
    EXPECT_TRUE(same(feature.length, c.length)) << feature.length;
    EXPECT_TRUE(same(feature.width, c.width)) << feature.width;
    EXPECT_TRUE(same(feature.radius, c.radius)) << feature.radius;
  }
}

TEST(PlanReaderTest, ReadsInchesMetresAndRadians) {
  const auto radius = [](const std::string& text, const std::string& name) {
    return Named(ReadPlanText(text).plan, name).radius;
  };
  const std::string inches = Changed(kGoodPlan, R"("length": "mm")", R"("length": "in")");
  EXPECT_NEAR(radius(inches, "H1"), 6.0 * 0.0254, kRounding);
  const std::string metres = Changed(kGoodPlan, R"("length": "mm")", R"("length": "m")");
  EXPECT_EQ(radius(metres, "H1"), 6.0);
  const std::string radians =
      Changed(Changed(Changed(kGoodPlan, R"("angle": "deg")", R"("angle": "rad")"),
                      R"("angle_off": 5)", R"("angle_off": 0.1)"),
              R"("azimuth": [-90, 45])", R"("azimuth": [-1.5, 0.7])");
  const Plan plan =
      ReadPlanText(Changed(radians, R"("ChamferAngle": 30)", R"("ChamferAngle": 0.5)")).plan;
  EXPECT_EQ(plan.stations[0].angle_off, 0.1);
  EXPECT_EQ(plan.stations[1].azimuth[1], 0.7);
  EXPECT_EQ(Named(plan, "H2").request["ChamferAngle"], 0.5);
  EXPECT_EQ(plan.characteristics[3].upper, 0.5);
  // Without them they are millimetres and degrees.
  const std::string none = Changed(kGoodPlan, R"("units": {"length": "mm", "angle": "deg"},)", "");
  EXPECT_NEAR(Named(Sound(none), "H1").radius, 0.006, kRounding);
}

TEST(PlanReaderTest, ReadsReferencesDatumsAndTheAlignment) {
  const Plan plan = Sound(kGoodPlan);
  ASSERT_EQ(plan.references.size(), 3u);
  EXPECT_EQ(plan.references[1].feature, 1u);
  EXPECT_NEAR(plan.references[0].tolerance, 0.0002, kRounding);
  EXPECT_NEAR(plan.references[2].tolerance, 0.00005, kRounding);
  ASSERT_EQ(plan.datums.size(), 3u);
  EXPECT_EQ(plan.datums[0].kind, Datum::Kind::kPlane);
  EXPECT_THAT(plan.datums[0].features, ElementsAre(3u, 4u, 5u));
  ExpectNear(plan.datums[0].direction, Vector3d::UnitZ());
  EXPECT_EQ(plan.datums[1].kind, Datum::Kind::kLine);
  ExpectNear(plan.datums[1].direction, Vector3d::UnitX());
  EXPECT_EQ(plan.datums[2].kind, Datum::Kind::kPoint);
  EXPECT_EQ(plan.alignment.method, AlignmentPlan::Method::kDatums);
  EXPECT_TRUE(plan.alignment.scales);
}

TEST(PlanReaderTest, ABestFitTakesAllThatHaveAPlace) {
  const auto fit = [](const std::string& method) {
    return ReadPlanText(
               Changed(kGoodPlan, R"("method": "datums")", R"("method": "best-fit")" + method))
        .plan.alignment;
  };
  EXPECT_EQ(fit("").method, AlignmentPlan::Method::kBestFit);
  EXPECT_THAT(fit("").features, ElementsAre(0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 9u));
  EXPECT_THAT(fit(R"(, "features": ["W1", "H1", "H2"])").features, ElementsAre(8u, 6u, 7u));
}

TEST(PlanReaderTest, ReadsCharacteristics) {
  const Plan plan = Sound(kGoodPlan);
  ASSERT_EQ(plan.characteristics.size(), 6u);
  const Characteristic& position = plan.characteristics[0];
  EXPECT_EQ(position.kind, Characteristic::Kind::kPosition);
  EXPECT_EQ(position.lower, -kInfinity);
  EXPECT_NEAR(position.upper, 0.0002, kRounding);
  EXPECT_EQ(position.nominal, 0.0);
  EXPECT_EQ(position.at, "/characteristics/0");
  const Characteristic& distance = plan.characteristics[1];
  EXPECT_THAT(distance.features, ElementsAre(6u, 7u));
  EXPECT_NEAR(distance.nominal, 0.08, kRounding);
  EXPECT_NEAR(distance.lower, 0.0799, kRounding);
  EXPECT_NEAR(distance.upper, 0.0802, kRounding);
  const Characteristic& window = plan.characteristics[2];
  EXPECT_EQ(window.quantity, "length");
  EXPECT_NEAR(window.nominal, 0.03, kRounding);  // the nominal's own
  EXPECT_NEAR(window.lower, 0.0299, kRounding);
  const Characteristic& angle = plan.characteristics[3];
  EXPECT_TRUE(angle.is_angle);
  EXPECT_EQ(angle.quantity, "direction,direction");
  EXPECT_EQ(angle.lower, -kInfinity);
  EXPECT_NEAR(angle.upper, 0.5 * kDegree, kRounding);
  EXPECT_NEAR(plan.characteristics[4].nominal, 0.188, kRounding);
  EXPECT_FALSE(plan.characteristics[4].is_angle);
  EXPECT_EQ(plan.characteristics[5].features.size(), 4u);
}

TEST(PlanReaderTest, TheOnlySizeOfATypeIsTakenAndATellOfLimitsStaysOneSided) {
  const std::string stud = R"({"name": "T1", "type": "StudFeature",
      "nominal": {"Location": [0, 80, 0], "Axis": [0.4, 0, 1], "Radius": 5, "Offset": 2, "Height": 20}})";
  const Plan plan = Sound(Changed(
      With(stud), R"({"name": "flat", )",
      R"({"name": "d", "type": "size", "features": ["T1"], "nominal": 9.99, "limits": [-0.02, null]},
    {"name": "flat", )"));
  const Characteristic& size = plan.characteristics[5];
  EXPECT_EQ(size.quantity, "diameter");
  EXPECT_NEAR(size.nominal, 0.00999, kRounding);
  EXPECT_NEAR(size.lower, 0.00997, kRounding);
  EXPECT_EQ(size.upper, kInfinity);
}

TEST(PlanReaderTest, RemarksAreReadByNobody) {
  const std::string remark = R"({"$comment": [1, {"a": 2}], "$schema": 7, )";
  std::string text;
  for (std::size_t i = 0; i < kGoodPlan.size(); ++i) {
    text += kGoodPlan[i] == '{' ? remark : std::string(1, kGoodPlan[i]);
  }
  const Plan plan = Sound(text);
  EXPECT_EQ(plan.features.size(), 11u);
  EXPECT_FALSE(Named(plan, "H1").request.contains("$comment"));
}

TEST(PlanReaderTest, WhatACheckOfTheRequestTellsStandsAtItsPlace) {
  const PlanCase cases[] = {
      // in the nominal, in its list, in the options, in the defaults
      {R"("Location": [80, 0, 0], "Normal": [0, 0, 1], "Radius": 6})",
       R"("Location": [80, 0, 0], "Normal": [0, 0, 1], "Radius": ^-6})",
       "/features/7/nominal/Radius", "\"Radius\" is -0.006 m: it has to be above 0"},
      {R"("ScanLines": 7)", R"("ScanLines": ^1)", "/features/6/options/ScanLines",
       "which counts as 2", host::Severity::kWarning},
      {R"("EdgeFeature": {"ClearanceZone": 4})", R"("EdgeFeature": {"ClearanceZone": ^0.1})",
       "/defaults/EdgeFeature/ClearanceZone", "holds too few samples"},
      {R"("EdgePoint": [188, 0, -1])", R"("EdgePoint": ^[188, 0, 1])",
       "/features/9/nominal/EdgePoint", "above the nominal surface"},
      {R"("ScanLines": 7)", R"("ScanLines": ^"many")", "/features/6/options/ScanLines",
       "reads as 0"},
      // what is absent is told of the feature
      {R"({"name": "F1", "type")", R"(^{"name": "X1", "type": "PolygonFeature",
        "nominal": {"Location": [0, 0, 0], "Normal": [0, 0, 1], "Axis": [1, 0, 0], "Sides": 6, "Radius": 5}},
    {"name": "F1", "type")",
       "/features/10", "\"ScansPerSide\" is 0, and 2 are the least"}};
  for (const PlanCase& c : cases) ExpectTold(c);
}

TEST(PlanReaderTest, OfAnUnknownPoseOnlyWhatIsSoFromEverywhereIsTold) {
  // From the front its back is seen, which nobody may measure; from the left nobody knows.
  const std::string back = R"({"name": "N1", "type": "SurfaceNormalFeature", )"
                           R"("nominal": {"Location": [0, 0, -5], "Normal": [0, 0, -1]})";
  EXPECT_EQ(Listed(ReadPlanText(With(back + "}")).findings), "");
  const std::string told =
      Listed(ReadPlanText(With(back + R"(, "stations": ["front"]})")).findings);
  EXPECT_THAT(told, HasSubstr("error /features/10/nominal/Normal"));
  // A type that is seen inclined alone is sound as well, and a radius below 0 is none from
  // anywhere.
  const std::string bore = R"({"name": "N1", "type": "ThreadedHoleFeature", "stations": ["left"],
      "nominal": {"Location": [0, 0, 0], "Axis": [0, 0, -1], "Offset": 2, "Height": 12,
                  "RadiusTolerance": 1, "PlaneTolerance": 1, "Radius": )";
  EXPECT_EQ(Listed(ReadPlanText(With(bore + "5}}")).findings), "");
  EXPECT_THAT(Listed(ReadPlanText(With(bore + "-5}}")).findings),
              HasSubstr("error /features/10/nominal/Radius"));
}

TEST(PlanReaderTest, AStationThatNothingIsMeasuredFromIsTold) {
  const std::string right = R"({"name": "right", "pose": "unknown"},)";
  std::string text = Changed(kGoodPlan, R"("stations": [
    {"name": "front")",
                             R"("stations": [
    )" + right + R"(
    {"name": "front")");
  for (const char* name : {"B1", "B2", "B3", "P1", "P2", "P3", "H2", "W1", "E1", "F1"}) {
    text = Changed(
        text, std::string("{\"name\": \"") + name + "\", \"type\"",
        std::string("{\"name\": \"") + name + R"(", "stations": ["front", "left"], "type")");
  }
  const std::string told = Listed(ReadPlanText(text).findings);
  EXPECT_THAT(told, HasSubstr("warning /stations/0 no feature may be measured from \"right\""));
}

}  // namespace
}  // namespace libmfx::inspection
