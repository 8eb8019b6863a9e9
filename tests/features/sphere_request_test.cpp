#include <gtest/gtest.h>

#include <limits>
#include <nlohmann/json.hpp>

#include "ball_scene.h"
#include "paths.h"
#include "protected.h"
#include "settings.h"

namespace libmfx::features {
namespace {

using nlohmann::json;

std::string WithFeature(const std::string& root, const std::string& feature) {
  return "{" + root + R"("Feature":{"$type":"MatteSphereFeature")" + feature + "}}";
}

const char* kLocation = R"(,"Location":[0.1,0.2,3])";

SphereFit FromRoot(const std::string& root) { return SphereFit(WithFeature(root, kLocation)); }

TEST(SphereRequest, TheFactoryMakesIt) {
  const std::unique_ptr<Feature> sphere(Feature::Create(WithFeature("", kLocation)));
  EXPECT_NE(dynamic_cast<SphereFit*>(sphere.get()), nullptr);
  EXPECT_EQ(sphere->FeatureName(), "MatteSphere");
  EXPECT_EQ(sphere->GetError(), "");
  EXPECT_EQ(sphere->GetUuid(), "");
}

TEST(SphereRequest, TheListHoldsItInSecondPlaceAndMakesItByName) {
  const auto* list = GetFeatureDescriptors();
  const auto named = std::find_if(list->begin(), list->end(),
                                  [](const auto& d) { return d->_name == L"MatteSphere"; });
  ASSERT_NE(named, list->end());
  EXPECT_EQ((*named)->_label, L"Matte Sphere");
  const auto scan = std::find_if(list->begin(), list->end(),
                                 [](const auto& d) { return d->_name == L"CustomScan"; });
  EXPECT_LT(named, scan);
  const std::unique_ptr<Feature> made(InstantiateFeature(L"MatteSphere"));
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(made->FeatureName(), "MatteSphere");
  EXPECT_EQ(InstantiateFeature(L"Sphere"), nullptr);
}

TEST(SphereRequest, EveryKeyGoesToItsField) {
  const SphereFit s(WithFeature(
      R"("$id":"t-1","QualityThreshold":42.5,"ScanLines":7,"NumPointsPerLine":120,
         "ScanElevation":0,"BoxDimensionRatio":0.5,"UseStarPattern":0,"StdMultiplier":1.25,
         "ScanOrigin":[1,2,3],)",
      R"(,"Name":"ball","Location":[0.5,-0.25,4],"Radius":0.019)"));
  const auto& nominal_aer = PROTECTED(s, _nominal_aer);
  EXPECT_EQ(s.GetError(), "");
  EXPECT_EQ(PROTECTED(s, _target_uuid), "t-1");
  test::ExpectSettings(s, {{L"QualityThreshold", 42.5},
                           {L"ScanLines", 7},
                           {L"NumPointsPerLine", 120},
                           {L"ScanElevation", false},
                           {L"BoxDimensionRatio", 0.5},
                           {L"StarScanPattern", false},
                           {L"StdMultiplier", 1.25},
                           {L"NominalPoint", PointXYZW(0.5, -0.25, 4)},
                           {L"NominalRadius", 0.019}});
  EXPECT_EQ(PROTECTED(s, _scan_origin), PointXYZW(1, 2, 3));
  const AzElRange aer(PointXYZW(0.5, -0.25, 4));
  EXPECT_EQ(nominal_aer.azimuth, aer.azimuth);
  EXPECT_EQ(nominal_aer.elevation, aer.elevation);
  EXPECT_EQ(nominal_aer.range, aer.range);
  EXPECT_EQ(json::parse(s.GetResult())["Name"], "ball");
}

TEST(SphereRequest, KeysThatNoConstructorReadsLeaveTheDefaults) {
  const SphereFit s(WithFeature(
      R"("AdvancedFilter":0,"UserFilters":1,"FitTolerance":1,"FilterTolerance":1,
         "NumSamplePoints":3,"IDCMethod":2,"StarScanPattern":0,"SearchEnabled":true,
         "RescanThreshold":0.5,)",
      kLocation));
  test::ExpectSettings(s, {{L"AdvancedFilter", true},
                           {L"UserFilters", false},
                           {L"FitTolerance", 0.000275},
                           {L"FilterTolerance", 0.00055},
                           {L"NumSamplePoints", 25},
                           {L"IDCMethod", -1},
                           {L"StarScanPattern", true},
                           {L"SearchEnabled", false},
                           {L"RescanThreshold", std::numeric_limits<double>::max()}});
}

TEST(SphereRequest, SwitchesAreReadAsIntegers) {
  EXPECT_TRUE(FromRoot(R"("ScanElevation":-3,)").GetSetting<bool>(L"ScanElevation"));
  EXPECT_FALSE(FromRoot(R"("ScanElevation":0.9,)").GetSetting<bool>(L"ScanElevation"));
  EXPECT_FALSE(FromRoot(R"("ScanElevation":false,)").GetSetting<bool>(L"ScanElevation"));
  EXPECT_TRUE(FromRoot(R"("ScanElevation":true,)").GetSetting<bool>(L"ScanElevation"));
  EXPECT_FALSE(FromRoot(R"("ScanElevation":"true",)").GetSetting<bool>(L"ScanElevation"));
  EXPECT_FALSE(FromRoot(R"("UseStarPattern":"true",)").GetSetting<bool>(L"StarScanPattern"));
  EXPECT_TRUE(FromRoot(R"("UseStarPattern":"2",)").GetSetting<bool>(L"StarScanPattern"));
  EXPECT_FALSE(FromRoot(R"("UseStarPattern":null,)").GetSetting<bool>(L"StarScanPattern"));
}

TEST(SphereRequest, AShortScanOriginReadsZeros) {
  EXPECT_EQ(PROTECTED(FromRoot(R"("ScanOrigin":[1,2],)"), _scan_origin), PointXYZW(1, 2, 0));
}

TEST(SphereRequest, AnAbsentRadiusReadsZeroWithoutAMessage) {
  const SphereFit s = FromRoot("");
  EXPECT_EQ(s.GetSetting<double>(L"NominalRadius"), 0.0);
  EXPECT_EQ(s.GetError(), "");
}

TEST(SphereRequest, TextThatDoesNotParse) {
  for (const char* text : {"", "{", "[1]", "ball"}) {
    SphereFit s{std::string(text)};
    EXPECT_EQ(s.GetError(), "Unable to parse JSON message!");
    EXPECT_FALSE(PROTECTED(s, _nominals_valid));
    EXPECT_TRUE(s.GetDrivePoints(true).empty());
    EXPECT_EQ(s.GetDriveStep(), INITIAL);
  }
}

TEST(SphereRequest, ALocationThatIsNoArrayReadsAsTheOrigin) {
  SphereFit s{std::string(R"({"Feature":{"Location":"here","Radius":0.01}})")};
  EXPECT_EQ(s.GetError(), "");
  EXPECT_EQ(s.GetSetting<PointXYZW>(L"NominalPoint"), PointXYZW());
  EXPECT_EQ(s.GetSetting<double>(L"NominalRadius"), 0.01);
  EXPECT_TRUE(PROTECTED(s, _nominals_valid));
  for (const Position& p : test::PointsOf(s.GetDrivePoints(true))) {
    EXPECT_TRUE(std::isfinite(p.azimuth + p.elevation + p.range));
  }
}

TEST(SphereRequest, NoLocationKeepsTheDefaultNominal) {
  const char* texts[] = {R"({})", R"({"Feature":5})", R"({"Feature":{"Radius":0.01}})"};
  for (const char* text : texts) {
    SphereFit s{std::string(text)};
    EXPECT_EQ(s.GetError(), "Request does not contain nominal location!") << text;
    EXPECT_EQ(s.GetSetting<PointXYZW>(L"NominalPoint"), PointXYZW());
    EXPECT_EQ(s.GetSetting<double>(L"NominalRadius"), 0.0127);
    EXPECT_FALSE(PROTECTED(s, _nominals_valid));
    EXPECT_TRUE(s.GetDrivePoints(true).empty());
  }
}

TEST(SphereRequest, AfterAnErrorNothingIsLeftToDrive) {
  SphereFit s{std::string("{}")};
  std::queue<Position> next;
  EXPECT_TRUE(s.SetRawData({}, next));
  EXPECT_TRUE(next.empty());
  s.AnalyzeFeature();
  EXPECT_FALSE(s.GetIsSuccessful());
  EXPECT_EQ(s.GetError(), "Request does not contain nominal location!");
}

TEST(SphereSettings, TheTable) {
  using namespace win32_support;
  const std::vector<test::ExpectedRow> expected = {
      {L"NominalPoint", L"Nominal cartesian point on the surface", 0, SETTING_POINT_XYZ},
      {L"NominalRadius", L"The radius of the nominal sphere", 0, SETTING_DOUBLE},
      {L"ScanLines", L"Number of scan lines in the user pattern", 1, SETTING_INT},
      {L"NumPointsPerLine", L"Number of points per scan line in user pattern", 1, SETTING_INT},
      {L"ScanElevation", L"Toggle for W-scan direction (false will scan in azimuth)", 1,
       SETTING_BOOL},
      {L"QualityThreshold",
       L"Minimum acceptable quality for a valid scanned point (Quality Filter dB value)", 1,
       SETTING_DOUBLE},
      {L"BoxDimensionRatio",
       L"Fraction of tooling ball diameter to use as the dimensions of the box that defines the "
       L"user pattern region",
       1, SETTING_DOUBLE},
      {L"AdvancedFilter",
       L"Enables bin division and sampling sphere fit. If disabled, a sphere is naively fit to the "
       L"set only after a quality filter pass and then returned",
       1, SETTING_BOOL},
      {L"StarScanPattern", L"Override W-Scan and use star pattern instead", 1, SETTING_BOOL},
      {L"UserFilters", L"Use static user-defined filter values", 1, SETTING_BOOL},
      {L"FitTolerance",
       L"Acceptable deviation from input nominal radius (m) (only used with UserFilters is set to "
       L"true)",
       1, SETTING_DOUBLE},
      {L"FilterTolerance",
       L"ax point distance from fit sphere before rejection (m) (only used with UserFilters is set "
       L"to true)",
       1, SETTING_DOUBLE},
      {L"StdMultiplier", L"Standard deviation multiplier for distance threshold of final fit", 1,
       SETTING_DOUBLE},
      {L"NumSamplePoints", L"Number of randomly sampled points for RANSAC", 1, SETTING_INT},
      {L"SearchEnabled", L"The search functionality to be enabled", 1, SETTING_BOOL},
      {L"RescanThreshold", L"The threshold distance for the re-scan", 1, SETTING_DOUBLE},
      {L"IDCMethod", L"Enhanced Measurement Mode (0=off,1=Speed,2=Optimized)", 1, SETTING_INT},
      {L"MeasuredPoint", L"Measured point in cartesian coordinates", 2, SETTING_POINT_XYZ},
      {L"MeasuredRadius", L"Radius of the measured sphere", 2, SETTING_DOUBLE},
      {L"Quality", L"Quality metric", 2, SETTING_DOUBLE}};
  test::ExpectTable(SphereFit::FeatureDescriptor()->_settings, expected);
}

TEST(SphereSettings, DefaultsAreThoseOfAnInstance) {
  const SphereFit s;
  test::ExpectSettings(s, {{L"ScanLines", 9},
                           {L"NumPointsPerLine", 190},
                           {L"ScanElevation", true},
                           {L"QualityThreshold", 50.0},
                           {L"NominalRadius", 0.0127},
                           {L"BoxDimensionRatio", 0.75},
                           {L"FitTolerance", 0.000275},
                           {L"FilterTolerance", 0.00055},
                           {L"StdMultiplier", 0.75},
                           {L"NumSamplePoints", 25},
                           {L"IDCMethod", -1},
                           {L"NominalPoint", PointXYZW()}});
  EXPECT_EQ(PROTECTED(s, _nominal_aer).range, 2.0);
  EXPECT_EQ(PROTECTED(s, _refined_aer).range, 2.0);
  EXPECT_EQ(PROTECTED(s, _final_fit_count), 0u);
}

TEST(SphereSettings, AResetPutsTheNominalBackAndKeepsTheTarget) {
  SphereFit s(WithFeature(R"("$id":"t-9",)", R"(,"Location":[0,0,3],"Radius":0.02)"));
  s.SetSetting<PointXYZW>(L"MeasuredPoint", PointXYZW(1, 2, 3));
  s.Reset(false, false);
  EXPECT_EQ(s.GetSetting<PointXYZW>(L"NominalPoint"), PointXYZW());
  EXPECT_EQ(s.GetSetting<double>(L"NominalRadius"), 0.0127);
  EXPECT_EQ(s.GetSetting<PointXYZW>(L"MeasuredPoint"), PointXYZW());
  EXPECT_EQ(PROTECTED(s, _target_uuid), "t-9");
}

TEST(SphereSettings, SearchEnabledLeadsToAnOrdinaryMeasurement) {
  SphereFit s(WithFeature("", R"(,"Location":[0,0,3],"Radius":0.02)"));
  s.SetSetting<bool>(L"SearchEnabled", true);
  EXPECT_TRUE(s.Reset(false, true));
  s.SetSetting<PointXYZW>(L"NominalPoint", PointXYZW(0, 0, 3));
  EXPECT_EQ(s.GetDrivePoints(true).size(), 2u);
  EXPECT_EQ(s.GetDriveStep(), SURFACE_RANGE);
  EXPECT_FALSE(s.Reset(true, true)) << "the search that was asked for is answered";
}

}  // namespace
}  // namespace libmfx::features
