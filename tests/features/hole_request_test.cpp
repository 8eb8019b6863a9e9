#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <numbers>

#include "feature_probe.h"
#include "hole_request.h"
#include "libmfx/features/hole.h"
#include "protected.h"
#include "settings.h"

namespace libmfx::features {
namespace {

using nlohmann::json;
using namespace test;

constexpr double kPi = std::numbers::pi;
constexpr double kLargest = std::numeric_limits<double>::max();

TEST(HoleRequest, DefaultsOfTheClass) {
  Hole hole;
  EXPECT_EQ(hole.FeatureName(), "RobustHole");
  ExpectSettings(hole, {{L"NumScanLines", 9},
                        {L"NominalRadius", 1.0},
                        {L"ClearanceZone", 0.005},
                        {L"PointSpacing", 0.0001},
                        {L"QualityThreshold", 50.0},
                        {L"ChamferDepth", 0.0},
                        {L"ChamferAngle", kPi / 4}});
  EXPECT_EQ(PROTECTED(hole, _nominal_radius), 0.0);
  EXPECT_EQ(PROTECTED(hole, _normal_reject_angle), 0.2617993877991494);
  EXPECT_EQ(PROTECTED(hole, _isolation_radius), 0.0);
  EXPECT_FALSE(PROTECTED(hole, _has_chamfer));
  EXPECT_FALSE(PROTECTED(hole, _use_fast_star));
  EXPECT_EQ(hole.GetError(), "");
}

TEST(HoleRequest, TableAndDefaults) {
  const std::vector<ExpectedRow> expected{
      {L"NominalPoint", L"Nominal cartesian point of the hole centroid", 0, 4},
      {L"NominalNormal", L"Nominal cartesian normal of the hole surface", 0, 6},
      {L"NominalRadius", L"Nominal radius of the hole", 0, 0},
      {L"NumScanLines", L"Number of scan lines in the user pattern", 1, 1},
      {L"ClearanceZone", L"The distance to search for the edge of the hole", 1, 0},
      {L"PointSpacing", L"The pointspacing for the scan", 1, 0},
      {L"QualityThreshold", L"Minimum required quality of the scan data", 1, 0},
      {L"SearchEnabled", L"The search functionality to be enabled", 1, 2},
      {L"RescanThreshold", L"The threshold distance for the re-scan", 1, 0},
      {L"IDCMethod", L"Enhanced Measurement Mode (0=off,1=Speed,2=Optimized)", 1, 1},
      {L"ChamferDepth", L"The depth of the chamfer cut", 1, 0},
      {L"ChamferAngle", L"The angle of the chamfer cut", 1, 0},
      {L"MeasuredPoint", L"Measured point in cartesian coordinates", 2, 4},
      {L"MeasuredNormal", L"Measured normal in cartesian coordinates", 2, 6},
      {L"Quality", L"Quality metric", 2, 0},
      {L"Radius", L"Measured output radius", 2, 0},
  };
  const auto descriptor = Hole::FeatureDescriptor();
  EXPECT_EQ(descriptor->_name, L"RobustHole");
  EXPECT_EQ(descriptor->_label, L"Robust Hole");
  const auto& rows = descriptor->_settings;
  ExpectTable(rows, expected);
  EXPECT_EQ(rows[0].Default<PointXYZW>(), PointXYZW());
  EXPECT_EQ(rows[1].Default<VectorXYZW>(), VectorXYZW());
  EXPECT_EQ(rows[2].Default<double>(), 1.0);
  EXPECT_EQ(rows[3].Default<int>(), 9);
  EXPECT_EQ(rows[4].Default<double>(), 0.005);
  EXPECT_EQ(rows[5].Default<double>(), 0.0001);
  EXPECT_EQ(rows[6].Default<double>(), 50.0);
  EXPECT_EQ(rows[7].Default<bool>(), false);
  EXPECT_EQ(rows[8].Default<double>(), kLargest);
  EXPECT_EQ(rows[9].Default<int>(), -1);
  EXPECT_EQ(rows[10].Default<double>(), 0.0);
  EXPECT_EQ(rows[11].Default<double>(), kPi / 4);
  EXPECT_EQ(rows[12].Default<PointXYZW>(), PointXYZW());
  EXPECT_EQ(rows[14].Default<double>(), 0.0);
  EXPECT_EQ(rows[15].Default<double>(), 0.0);
}

TEST(HoleRequest, TheSettingOfTheRadiusReachesTheWorkingRadiusAlone) {
  Hole hole(HoleRequest(0.004).dump());
  hole.SetSetting<double>(L"NominalRadius", 0.02);
  EXPECT_EQ(PROTECTED(hole, _radius), 0.02);
  EXPECT_EQ(PROTECTED(hole, _nominal_radius), 0.004);
}

TEST(HoleRequest, ReadsItsKeys) {
  json request = HoleRequest(0.004);
  request["ClearanceZone"] = 0.003;
  request["ScanLines"] = 5;
  request["PointSpacing"] = 0.0002;
  request["ScanQualityThreshold"] = 30;
  request["ChamferDepth"] = 0.0005;
  request["ChamferAngle"] = 0.5;
  request["ScanOrigin"] = {0.1, 0.2, 0.3};
  request["RescanThreshold"] = 0.001;
  request["SearchPointSpacing"] = 0.002;
  request["SearchRadiusMultiplier"] = 3;
  request["SearchEnabled"] = 1;
  request["Feature"]["Name"] = "bolt 7";
  const Hole hole(request.dump());
  EXPECT_EQ(hole.GetError(), "");
  EXPECT_EQ(PROTECTED(hole, _uuid), "h-1");
  EXPECT_EQ(PROTECTED(hole, _name), "bolt 7");
  ExpectSettings(hole, {{L"ClearanceZone", 0.003},
                        {L"NumScanLines", 5},
                        {L"PointSpacing", 0.0002},
                        {L"QualityThreshold", 30.0},
                        {L"RescanThreshold", 0.001},
                        {L"SearchEnabled", true},
                        {L"NominalPoint", PointXYZW(0, 0, 2)}});
  EXPECT_EQ(PROTECTED(hole, _scan_origin), PointXYZW(0.1, 0.2, 0.3));
  EXPECT_EQ(PROTECTED(hole, _search_point_spacing), 0.002);
  EXPECT_EQ(PROTECTED(hole, _search_radius_multiplier), 3.0);
  EXPECT_EQ(PROTECTED(hole, _nominal_radius), 0.004);
  EXPECT_DOUBLE_EQ(PROTECTED(hole, _chamfer_offset), std::tan(0.5) * 0.0005);
  EXPECT_DOUBLE_EQ(hole.GetSetting<double>(L"NominalRadius"), 0.004 + std::tan(0.5) * 0.0005);
  EXPECT_TRUE(PROTECTED(hole, _has_chamfer));
  EXPECT_DOUBLE_EQ(PROTECTED(hole, _isolation_radius), 0.001);
}

TEST(HoleRequest, ScanOriginOfTwoNumbersHasZ0) {
  json request = HoleRequest();
  request["ScanOrigin"] = {0.1, 0.2};
  EXPECT_EQ(PROTECTED(Hole(request.dump()), _scan_origin), PointXYZW(0.1, 0.2, 0.0));
}

TEST(HoleRequest, NoJsonIsToldInTheHolesOwnWords) {
  for (const char* text : {"", "[1]", "nonsense", "{\"a\":"}) {
    Hole hole{std::string(text)};
    EXPECT_EQ(hole.GetError(), "jsonRoot is Nothing") << text;
    EXPECT_TRUE(hole.GetDrivePoints(true).empty());
    EXPECT_FALSE(hole.Reset(false, false));
  }
}

TEST(HoleRequest, WithoutLocationOrRadiusNothingIsDerived) {
  for (const char* key : {"Location", "Radius"}) {
    json request = HoleRequest(0.004);
    request["ChamferDepth"] = 0.001;
    request["Feature"].erase(key);
    Hole hole(request.dump());
    EXPECT_EQ(hole.GetError(), "Request does not contain nominal location and/or radius!");
    EXPECT_EQ(hole.GetSetting<double>(L"NominalRadius"), 1.0);
    EXPECT_EQ(PROTECTED(hole, _isolation_radius), 0.0);
    EXPECT_FALSE(PROTECTED(hole, _has_chamfer));
    EXPECT_FALSE(PROTECTED(hole, _use_fast_star));
    EXPECT_FALSE(hole.Reset(false, false));
  }
  EXPECT_EQ(Hole(std::string("{\"Feature\": 3}")).GetError(),
            "Request does not contain nominal location and/or radius!");
}

TEST(HoleRequest, WithoutNormalItPointsAwayFromTheInstrument) {
  json request = HoleRequest();
  request["ScanOrigin"] = {0.0, 1.0, 2.0};
  request["Feature"].erase("Normal");
  const Hole hole(request.dump());
  EXPECT_EQ(hole.GetSetting<VectorXYZW>(L"NominalNormal"), VectorXYZW(0, -1, 0));
}

TEST(HoleRequest, AZeroNormalKeepsTheDefault) {
  for (const double tiny : {0.0, 1e-12, -1e-12}) {
    json request = HoleRequest();
    request["Feature"]["Normal"] = {tiny, tiny, 0.0};
    EXPECT_EQ(Hole(request.dump()).GetSetting<VectorXYZW>(L"NominalNormal"), VectorXYZW(0, 0, 1))
        << tiny;
  }
}

TEST(HoleRequest, ANormalIsLoggedAndMadeUnit) {
  json request = HoleRequest();
  request["Feature"]["Normal"] = {0.0, 3.0, -4.0};
  const LogCollector log;
  const Hole hole(request.dump());
  EXPECT_EQ(hole.GetSetting<VectorXYZW>(L"NominalNormal"), VectorXYZW(0, 0.6, -0.8));
  ASSERT_EQ(LogCollector::Texts().size(), 1u);
  EXPECT_EQ(LogCollector::Texts()[0], L"use nominal _input_normal: (0, 3, -4, 0)");
  EXPECT_EQ(LogCollector::Lines()[0].level, 1);
  EXPECT_EQ(LogCollector::Lines()[0].name, L"RobustHole");
}

TEST(HoleRequest, ChamferAngleOfAQuarterTurnCountsAsNone) {
  for (const double angle : {kPi / 2, -kPi / 2, 2.0, -7.0}) {
    json request = HoleRequest(0.004);
    request["ChamferDepth"] = 0.5;
    request["ChamferAngle"] = angle;
    const Hole hole(request.dump());
    EXPECT_EQ(PROTECTED(hole, _chamfer_offset), 0.0) << angle;
    EXPECT_EQ(hole.GetSetting<double>(L"NominalRadius"), 0.004) << angle;
    EXPECT_FALSE(PROTECTED(hole, _has_chamfer)) << angle;
  }
}

TEST(HoleRequest, ANegativeChamferNarrowsTheRadiusAndIsNone) {
  json request = HoleRequest(0.004);
  request["ChamferDepth"] = -0.001;
  const Hole hole(request.dump());
  EXPECT_NEAR(hole.GetSetting<double>(L"NominalRadius"), 0.003, 1e-15);
  EXPECT_FALSE(PROTECTED(hole, _has_chamfer));
}

TEST(HoleRequest, TheFastStarIsForARadiusStrictlyAboveTheClearance) {
  json request = HoleRequest(0.004);
  request["ClearanceZone"] = 0.004;
  EXPECT_FALSE(PROTECTED(Hole(request.dump()), _use_fast_star));
  request["Feature"]["Radius"] = std::nextafter(0.004, 1.0);
  EXPECT_TRUE(PROTECTED(Hole(request.dump()), _use_fast_star));
}

TEST(HoleRequest, TheFactoryMakesAHole) {
  const std::unique_ptr<Feature> feature(Feature::Create(HoleRequest().dump()));
  EXPECT_NE(dynamic_cast<Hole*>(feature.get()), nullptr);
  EXPECT_EQ(feature->GetUuid(), "");
  GetFeatureDescriptors();
  EXPECT_EQ(InstantiateFeature(L"Hole"), nullptr);
  const std::unique_ptr<Feature> made(InstantiateFeature(L"RobustHole"));
  EXPECT_NE(dynamic_cast<Hole*>(made.get()), nullptr);
}

TEST(HoleRequest, ACopyHasEveryField) {
  Hole hole(HoleRequest(0.004).dump());
  hole.SetSetting<double>(L"Quality", 91.0);
  hole.SetSetting<PointXYZW>(L"MeasuredPoint", PointXYZW(1, 2, 3));
  const Hole copy(hole);
  EXPECT_EQ(copy.GetSetting<double>(L"NominalRadius"), 0.004);
  EXPECT_EQ(copy.GetSetting<double>(L"Quality"), 91.0);
  Hole assigned;
  assigned = hole;
  EXPECT_EQ(assigned.GetSetting<PointXYZW>(L"MeasuredPoint"), PointXYZW(1, 2, 3));
  EXPECT_EQ(assigned.GetResult(), hole.GetResult());
}

}  // namespace
}  // namespace libmfx::features
