#include "libmfx/features/polygon.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "feature_probe.h"
#include "opening_scene.h"
#include "paths.h"

namespace libmfx::features {
namespace {

using data_structures::Distance;
using nlohmann::json;
using namespace test;

constexpr double kPi = std::numbers::pi;

json Request(int sides = 6, double radius = 0.012) {
  return OpeningRequest("PolygonFeature", "Axis", {{"$id", "P1"}, {"ScansPerSide", 3}},
                        {{"Sides", sides}, {"Radius", radius}});
}

/// A regular polygon whose first corner lies `angle` off the tangent.
auto Opening(int sides, double radius, double u = 0.0, double v = 0.0, double angle = 0.0) {
  const double sector = 2.0 * kPi / sides;
  const auto covers = [=](double x, double y) {
    const double turned = std::atan2(y, x) - sector / 2.0;
    const double to_middle = turned - sector * std::round(turned / sector);
    return std::hypot(x, y) * std::cos(to_middle) < radius * std::cos(sector / 2.0);
  };
  return OpeningAt(covers, u, v, angle);
}

TEST(Polygon, TableReachesTheFieldsThatHostsKnow) {
  const auto& rows = Polygon::FeatureDescriptor()->_settings;
  ASSERT_EQ(rows.size(), 17U);
  EXPECT_EQ(rows[2].name, L"NominalAxis");
  EXPECT_EQ(rows[2].offset, rows[1].offset);
  EXPECT_EQ(rows[14].name, L"MeasuredAxis");
  EXPECT_EQ(rows[14].offset, rows[13].offset);
  Polygon polygon(Request().dump());
  EXPECT_EQ(polygon.GetSetting<double>(L"MeasuredRadius"), 0.012);
  EXPECT_EQ(polygon.GetSetting<double>(L"NominalRadius"), 0.0);
  polygon.SetSetting(L"NominalAxis", VectorXYZW(0, 0, -1));
  EXPECT_EQ(polygon.GetSetting<VectorXYZW>(L"NominalNormal"), VectorXYZW(0, 0, -1));
}

TEST(Polygon, ErrorsOfARequest) {
  const auto error_of = [](const json& request) { return Polygon(request.dump()).GetError(); };
  EXPECT_EQ(Polygon("[").GetError(), "Unable to parse JSON message!");
  for (const char* key : {"Location", "Normal", "Axis", "Sides", "Radius"}) {
    json request = Request();
    request["Feature"].erase(key);
    EXPECT_EQ(error_of(request),
              "Request does not contain valid nominal location, orientation, and/or geometry!");
  }
  json request = Request();
  request["Feature"]["Normal"] = {0, 1e-13, 0};
  EXPECT_EQ(error_of(request), "Nominal normal is zero!");
  request = Request();
  request["Feature"]["Axis"] = {0, 0, 0};
  EXPECT_EQ(error_of(request), "Nominal axis is zero!");
}

TEST(Polygon, NoSidesOrNoScansPlanNothing) {
  for (const char* key : {"Sides", "ScansPerSide"}) {
    json request = Request();
    request[key] = 0;
    request["Feature"][key] = 0;
    Polygon polygon(request.dump());
    EXPECT_TRUE(polygon.GetDrivePoints(true).empty());
    EXPECT_EQ(polygon.GetError(), "");
    polygon.UpdateRawData({{0.0, 0.0, 2.0, 80.0, 1}});
    polygon.AnalyzeFeature();
    EXPECT_FALSE(polygon.GetIsSuccessful());
  }
}

TEST(Polygon, AbsurdPlansAreRefused) {
  Polygon sides(Request(2000000000).dump());
  EXPECT_TRUE(sides.GetDrivePoints(true).empty());
  EXPECT_NE(sides.GetError().find("Sides asks for a plan"), std::string::npos);
  json request = Request();
  request["Feature"]["Axis"] = TripleOf(-kPlate.normal);
  Polygon parallel(request.dump());
  EXPECT_TRUE(parallel.GetDrivePoints(true).empty());
  EXPECT_EQ(parallel.GetError(),
            "Normal and tangent are (anti-)parallel! Unable to create scan pattern!");
}

/// How far a spacing of 0.1 mm can turn the axis, radians: a corner is where two fitted sides meet,
/// and the flatter they meet, the farther an error of either moves it.
double AxisTolerance(int sides) { return 2e-4 / (0.012 * std::sin(2.0 * kPi / sides)); }

class PolygonSides : public testing::TestWithParam<int> {};

TEST_P(PolygonSides, IsMeasured) {
  const int sides = GetParam();
  const auto feature = MeasurePlate(Request(sides), Opening(sides, 0.012));
  ASSERT_TRUE(feature->GetIsSuccessful()) << feature->GetError();
  const json result = json::parse(feature->GetResult());
  EXPECT_EQ(result["$type"], "PolygonTargetResult");
  EXPECT_EQ(result["Sides"], sides);
  // Edge points lie up to a spacing outside, which a corner of few sides magnifies.
  EXPECT_NEAR(result["Radius"].get<double>(), 0.012, 1e-4 / std::cos(kPi / sides));
  EXPECT_GT(result["Quality"].get<double>(), 79.0);
  const json& at = result["Location"];
  EXPECT_LT(Distance(PointXYZW(at[0], at[1], at[2]), kPlate.center), 8e-5);
  const json& axis = result["Axis"];
  EXPECT_GT(VectorXYZW(axis[0], axis[1], axis[2]).dot(kPlate.tangent),
            std::cos(AxisTolerance(sides)));
}

INSTANTIATE_TEST_SUITE_P(ThreeToTwelve, PolygonSides, testing::Range(3, 13));

TEST(Polygon, TurnedWithinWhatItsLinesCross) {
  const auto feature = MeasurePlate(Request(), Opening(6, 0.012, 0.0005, 0.0005, 0.06));
  ASSERT_TRUE(feature->GetIsSuccessful()) << feature->GetError();
  const json axis = json::parse(feature->GetResult())["Axis"];
  const VectorXYZW measured(axis[0], axis[1], axis[2]);
  EXPECT_NEAR(std::atan2(measured.dot(kPlate.across()), measured.dot(kPlate.tangent)), 0.06,
              AxisTolerance(6));
}

std::string ErrorOver(const std::function<bool(const PointXYZW&)>& opening) {
  const auto feature = MeasurePlate(Request(), opening);
  EXPECT_FALSE(feature->GetIsSuccessful());
  return feature->GetError();
}

TEST(Polygon, FailuresInWords) {
  EXPECT_EQ(ErrorOver(Opening(6, 0.0148)), "Inconsistent dimensions! Check target offset!");
  EXPECT_EQ(ErrorWithoutSamples(Request()), "All scanned data was filtered!");
  const auto side_missing = [](const PointXYZW& p) {
    return Opening(6, 0.012)(p) || kPlate.v(p) > 0.0103;
  };
  EXPECT_EQ(ErrorOver(side_missing),
            "Bad scan lines resulted insufficient edge points being found!");
  const std::string filled = ErrorOver([](const PointXYZW&) { return false; });
  EXPECT_TRUE(filled == "Inconsistent dimensions! Check target offset!" ||
              filled == "Significant scan data within fit area! Check target offset!")
      << filled;
}

TEST(Polygon, ALineThatCrossesTheNextSideTooMakesItsSideDoubtful) {
  // Close to the sharp corner of a triangle a line runs out over the next side again, and its last
  // sample of the surface lies there, millimetres off its own side.
  json request = Request(3);
  request["ScansPerSide"] = 10;
  const auto feature = MeasurePlate(request, Opening(3, 0.012));
  EXPECT_TRUE(feature->GetIsSuccessful()) << feature->GetError();
  EXPECT_THAT(feature->GetWarnings(),
              testing::Contains(testing::AllOf(testing::StartsWith("An edge point of side "),
                                               testing::HasSubstr("\"ClearanceZone\""))));
  request["ClearanceZone"] = 0.002;
  const auto shorter = MeasurePlate(request, Opening(3, 0.012));
  EXPECT_TRUE(shorter->GetIsSuccessful());
  EXPECT_THAT(shorter->GetWarnings(), testing::IsEmpty());
}

TEST(Polygon, PassesAroundTheMovedNominalReachAShiftedOpening) {
  json request = Request();
  request["RescanThreshold"] = 5e-5;
  const auto opening = Opening(6, 0.012, 0.0, 0.001);
  EXPECT_EQ(MeasurePlate(request, opening)->GetDriveStep(), RESCAN);
  const auto feature = MeasurePlate(request, opening, 10);
  EXPECT_TRUE(feature->GetIsSuccessful()) << feature->GetError();
  EXPECT_LT(Distance(feature->GetSetting<PointXYZW>(L"MeasuredPoint"), kPlate.At(0.0, 0.001)),
            1e-4);
}

}  // namespace
}  // namespace libmfx::features
