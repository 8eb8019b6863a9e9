#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <set>

#include "edge_profile.h"
#include "feature_probe.h"
#include "paths.h"
#include "protected.h"
#include "settings.h"

namespace libmfx::features {
namespace {

using nlohmann::json;
using test::EdgeRequest;
using test::PointsOf;

std::string ErrorOf(const json& request) { return Edge(request.dump()).GetError(); }

TEST(EdgeRequest, EveryKeyIsRead) {
  json request = EdgeRequest(0.002, true);
  request["QualityThreshold"] = 40.0;
  request["ClearanceZone"] = 0.004;
  request["ScanLines"] = 3;
  request["PointSpacing"] = 0.0002;
  request["ScanOrigin"] = {0.1, 0.0, 0.0};
  request["Feature"]["Name"] = "hem";
  request["Feature"]["SurfaceNormal"] = {0.0, 0.0, -3.0};
  const Edge edge(request.dump());
  EXPECT_EQ(edge.GetError(), "");
  EXPECT_EQ(edge.GetSetting<double>(L"QualityThreshold"), 40.0);
  EXPECT_EQ(edge.GetSetting<double>(L"ClearanceZone"), 0.004);
  EXPECT_EQ(PROTECTED(edge, _scan_lines), 3);
  EXPECT_EQ(edge.GetSetting<double>(L"PointSpacing"), 0.0002);
  EXPECT_TRUE(edge.GetSetting<bool>(L"UseNominalOffset"));
  EXPECT_EQ(PROTECTED(edge, _scan_origin), PointXYZW(0.1, 0.0, 0.0));
  EXPECT_EQ(edge.GetSetting<PointXYZW>(L"NominalSurfacePoint"), PointXYZW(0.0, 0.0, 2.0));
  EXPECT_EQ(edge.GetSetting<VectorXYZW>(L"NominalSurfaceNormal"), VectorXYZW(0.0, 0.0, -1.0));
  EXPECT_EQ(edge.GetSetting<PointXYZW>(L"NominalEdgePoint"), PointXYZW(0.006, 0.0, 2.002));
  EXPECT_NEAR(PROTECTED(edge, _nominal_offset), 0.002, 1e-15);
  EXPECT_NEAR(PROTECTED(edge, _incidence_angle), std::atan2(0.1, 2.0), 1e-12);
  const json result = json::parse(edge.GetResult());
  EXPECT_EQ(result["Target"], "E1");
  EXPECT_EQ(result["Name"], "hem");
}

TEST(EdgeRequest, AbsentKeysKeepTheirDefaults) {
  json request = EdgeRequest();
  request.erase("UseNominalOffset");
  const Edge edge(request.dump());
  EXPECT_EQ(edge.GetSetting<double>(L"QualityThreshold"), 50.0);
  EXPECT_EQ(edge.GetSetting<double>(L"ClearanceZone"), 0.005);
  EXPECT_EQ(PROTECTED(edge, _scan_lines), 1);
  EXPECT_EQ(edge.GetSetting<double>(L"PointSpacing"), 0.0001);
  EXPECT_FALSE(edge.GetSetting<bool>(L"UseNominalOffset"));
  EXPECT_EQ(edge.GetSetting<double>(L"Quality"), 0.0);
}

TEST(EdgeRequest, AZeroSurfaceNormalIsRefused) {
  json request = EdgeRequest();
  request["Feature"]["SurfaceNormal"] = {0.0, 0.0, 0.0};
  EXPECT_EQ(ErrorOf(request), "Axis is zero!");
  request["Feature"]["SurfaceNormal"] = {1e-12, -1e-12, 0.0};
  EXPECT_EQ(ErrorOf(request), "Axis is zero!");
  request["Feature"]["SurfaceNormal"] = {0.0, 0.0, -2e-12};
  EXPECT_EQ(ErrorOf(request), "");
}

TEST(EdgeRequest, EachRequiredKeyIsMissed) {
  for (const char* key : {"SurfacePoint", "SurfaceNormal", "EdgePoint"}) {
    json request = EdgeRequest();
    request["Feature"].erase(key);
    Edge edge(request.dump());
    EXPECT_EQ(edge.GetError(),
              "Request does not contain nominal point, nominal surface vector, or nominal edge "
              "point!");
    EXPECT_FALSE(PROTECTED(edge, _nominals_valid));
    EXPECT_TRUE(edge.GetDrivePoints(true).empty());
  }
  EXPECT_EQ(Edge("[]").GetError(), "Unable to parse JSON message!");
}

/// A border seen from a scan origin that stands `side` metres to its outside, one metre away.
json SeenFrom(double side) {
  json request = EdgeRequest();
  request["ScanOrigin"] = {side, 0.0, 1.0};
  return request;
}

TEST(EdgeRequest, AViewFromOverThePlateIsRefusedBeyondFiveDegrees) {
  const double five_degrees = std::tan(5.0 * std::numbers::pi / 180.0);
  EXPECT_EQ(ErrorOf(SeenFrom(-five_degrees - 1e-6)), "The angle of the feature is out of spec!");
  EXPECT_EQ(ErrorOf(SeenFrom(-five_degrees + 1e-6)), "");
  EXPECT_EQ(ErrorOf(SeenFrom(-2.0)), "The angle of the feature is out of spec!");
}

TEST(EdgeRequest, AViewFromTheOutsideIsTakenAtEveryAngle) {
  for (const double side : {0.01, 0.5, 2.0, 50.0}) EXPECT_EQ(ErrorOf(SeenFrom(side)), "");
}

TEST(EdgeRequest, AViewAlongTheBorderIsOfNeitherSide) {
  json request = EdgeRequest();
  request["ScanOrigin"] = {0.0, 1.0, 1.0};
  EXPECT_EQ(ErrorOf(request), "");
}

TEST(EdgeRequest, TheTurnOfTheNormalDoesNotMatterToTheView) {
  json request = SeenFrom(-2.0);
  request["Feature"]["SurfaceNormal"] = {0.0, 0.0, 1.0};
  EXPECT_EQ(ErrorOf(request), "The angle of the feature is out of spec!");
}

TEST(EdgeRequest, TheFactoryMakesAnEdge) {
  const std::unique_ptr<Feature> feature(Feature::Create(EdgeRequest().dump()));
  EXPECT_EQ(feature->FeatureName(), "Edge");
  EXPECT_NE(dynamic_cast<Edge*>(feature.get()), nullptr);
  const auto& descriptors = *GetFeatureDescriptors();
  std::vector<std::wstring> names;
  for (const auto& descriptor : descriptors) names.push_back(descriptor->_name);
  const auto slot = std::find(names.begin(), names.end(), L"Slot");
  ASSERT_NE(slot, names.end());
  EXPECT_EQ(*(slot + 1), L"Edge");
  EXPECT_EQ(*(slot + 2), L"Polygon");
  const std::unique_ptr<Feature> by_name(InstantiateFeature(L"Edge"));
  EXPECT_NE(dynamic_cast<Edge*>(by_name.get()), nullptr);
}

TEST(EdgeRequest, TheTableOfSettings) {
  const auto descriptor = Edge::FeatureDescriptor();
  EXPECT_EQ(descriptor->_label, L"Edge");
  const auto& rows = descriptor->_settings;
  test::ExpectTable(rows, {{L"NominalSurfacePoint", L"", 0, 4},
                           {L"NominalSurfaceNormal", L"", 0, 6},
                           {L"NominalEdgePoint", L"", 0, 4},
                           {L"PointSpacing", L"", 1, 0},
                           {L"QualityThreshold", L"", 1, 0},
                           {L"ClearanceZone", L"", 1, 0},
                           {L"UseNominalOffset", L"", 1, 2},
                           {L"SearchEnabled", L"", 1, 2},
                           {L"RescanThreshold", L"", 1, 0},
                           {L"IDCMethod", L"", 1, 1},
                           {L"MeasuredPoint", L"", 2, 4},
                           {L"Quality", L"", 2, 0}});
  EXPECT_EQ(rows[6].label,
            L"If true, calcuated edge point will be the same distance below the measured surface "
            L"as the nominal edge point is below the nominal surface");
  EXPECT_EQ(rows[3].default_double, 0.0001);
  EXPECT_EQ(rows[9].default_int, -1);
}

/// The drive points of a request's one line.
std::vector<Position> LineOf(const json& request) {
  Edge edge(request.dump());
  const std::vector<Position> points = PointsOf(edge.GetDrivePoints(false));
  EXPECT_EQ(points.size(), 2U) << edge.GetError();
  EXPECT_EQ(PointsOf(edge.GetLastDrivePoints()), points);
  return points;
}

TEST(EdgePlan, OneLineRunsFromBeyondTheSurfacePointToPastTheEdge) {
  json request = EdgeRequest(0.001);
  request["ClearanceZone"] = 0.004;
  const auto points = LineOf(request);
  ASSERT_EQ(points.size(), 2U);
  EXPECT_EQ(points[0].point_spacing, 0.00035);
  EXPECT_EQ(points[1].point_spacing, 0.0001);
  const auto at = [&](std::size_t i) { return test::PlaceOf(points[i]); };
  EXPECT_LT(data_structures::Distance(at(0), PointXYZW(-0.004, 0.0, 2.0)), 1e-12);
  const double step = 0.004 / std::hypot(0.006, 0.001);
  EXPECT_LT(
      data_structures::Distance(at(1), PointXYZW(0.006 * (1.0 + step), 0.0, 2.001 + 0.001 * step)),
      1e-12);
}

TEST(EdgePlan, ALineAcrossTheSeamDoesNotJump) {
  json request = EdgeRequest();
  request["Feature"]["SurfacePoint"] = {0.001, 0.0, -2.0};
  request["Feature"]["SurfaceNormal"] = {0.0, 0.0, 1.0};
  request["Feature"]["EdgePoint"] = {-0.004, 0.0, -2.001};
  const auto points = LineOf(request);
  ASSERT_EQ(points.size(), 2U);
  EXPECT_LT(std::abs(points[0].azimuth - points[1].azimuth), 0.1);
}

TEST(EdgePlan, AnEdgePointOverTheSurfacePointGivesALineStraightDown) {
  json request = EdgeRequest();
  request["Feature"]["EdgePoint"] = {0.0, 0.0, 2.001};
  const auto points = LineOf(request);
  ASSERT_EQ(points.size(), 2U);
  EXPECT_NEAR(points[0].range, 2.0, 1e-12);
  EXPECT_NEAR(points[1].range, 2.006, 1e-12);
}

TEST(EdgePlan, AbsurdValuesAreRefusedByName) {
  const auto refusal = [](const char* name, const auto& value) {
    Edge edge(EdgeRequest().dump());
    edge.SetSetting(std::wstring(name, name + std::string(name).size()), value);
    EXPECT_TRUE(edge.GetDrivePoints(true).empty());
    EXPECT_TRUE(edge.GetLastDrivePoints().empty());
    return edge.GetError();
  };
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(refusal("PointSpacing", nan), "PointSpacing is not finite: nan");
  EXPECT_NE(refusal("ClearanceZone", nan).find("ClearanceZone is not finite"), std::string::npos);
  EXPECT_NE(refusal("NominalSurfacePoint", PointXYZW(nan, 0, 2)).find("SurfacePoint is not finite"),
            std::string::npos);
  EXPECT_NE(refusal("NominalSurfaceNormal", VectorXYZW(0, nan, 0)).find("SurfaceNormal"),
            std::string::npos);
  EXPECT_NE(refusal("NominalEdgePoint", PointXYZW(1e300, 0, 2)).find("is not finite"),
            std::string::npos);
}

TEST(EdgePlan, AnErrorLeavesNothingToDrive) {
  json request = EdgeRequest();
  request["Feature"]["SurfaceNormal"] = {0.0, 0.0, 0.0};
  Edge edge(request.dump());
  EXPECT_TRUE(edge.GetDrivePoints(true).empty());
  EXPECT_FALSE(edge.Reset(false, false));
}

}  // namespace
}  // namespace libmfx::features
