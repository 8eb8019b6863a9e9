// Studs and threaded holes from the samples to the result.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <nlohmann/json.hpp>

#include "cylinder_points.h"
#include "feature_probe.h"
#include "libmfx/features/stud.h"
#include "libmfx/features/threaded_hole.h"

namespace libmfx::features {
namespace {

using nlohmann::json;
using test::CylinderPoints;
using test::LogCollector;
using testing::Contains;
using testing::StartsWith;

CylinderPoints Wall() {
  CylinderPoints wall;
  wall.axis = Eigen::Vector3d(0.1, 0.6, -0.8).normalized();
  return wall;
}

std::vector<RawDataPoint> Samples(const CylinderPoints& wall, double quality = 80.0) {
  std::vector<RawDataPoint> samples;
  for (const Eigen::Vector3d& p : wall.Make()) {
    const AzElRange at{PointXYZW(p)};
    samples.push_back({at.azimuth, at.elevation, at.range, quality, 1});
  }
  return samples;
}

json Request(const CylinderPoints& wall) {
  const auto triple = [](const Eigen::Vector3d& v) { return json{v.x(), v.y(), v.z()}; };
  return {{"$id", "T7"},
          {"Feature",
           {{"$type", "StudFeature"},
            {"Name", "pin"},
            {"Location", triple(wall.point)},
            {"Axis", triple(wall.axis)},
            {"Radius", wall.radius},
            {"Offset", 0.001},
            {"Height", 0.019},
            {"RadiusTolerance", 0.001}}}};
}

template <typename T = Stud>
T Analysed(const json& request, const std::vector<RawDataPoint>& samples) {
  T feature(request.dump());
  feature.UpdateRawData(samples);
  feature.AnalyzeFeature();
  return feature;
}

TEST(StudAnalysis, ReportsTheFittedCylinder) {
  const Stud stud = Analysed(Request(Wall()), Samples(Wall()));
  ASSERT_TRUE(stud.GetIsSuccessful()) << stud.GetError();
  const auto center = stud.GetSetting<PointXYZW>(L"FittedCylinderCenter");
  EXPECT_EQ(center.w(), 1.0);
  EXPECT_EQ(stud.GetSetting<PointXYZW>(L"FittedCylinderAxis").w(), 0.0);
  EXPECT_LT((center.xyz() - (Wall().point + 0.001 * Wall().axis)).norm(), 1e-9);
  EXPECT_NEAR(stud.GetSetting<double>(L"FittedCylinderRadius"), 0.005, 1e-9);
  const std::string text = stud.GetResult();
  EXPECT_THAT(text, StartsWith("{\"$type\":\"StudTargetResult\",\"Location\":["));
  EXPECT_NE(text.find("],\"Axis\":["), std::string::npos);
  EXPECT_NE(text.find("],\"Radius\":0.00500000,\"ScanData\":{\"$type\":\"ScanData\","
                      "\"DataFormat\":\"LR_AER\",\"Data\":[["),
            std::string::npos);
  EXPECT_THAT(text, testing::EndsWith("\"Count\":2000},\"Success\":true,\"Target\":\"T7\","
                                      "\"Name\":\"pin\"}"));
}

TEST(StudAnalysis, TellsItsStagesToTheLog) {
  auto samples = Samples(Wall());
  samples[1000].quality = 55.0;  // stands out from its neighbours
  LogCollector log;
  Analysed(Request(Wall()), samples);
  const auto texts = LogCollector::Texts();
  ASSERT_EQ(texts.size(), 3U);
  EXPECT_EQ(texts[0], L"ThreadedCylinderFitter::Analyze!");
  EXPECT_EQ(texts[1], L"Removed 1 low quality points");
  EXPECT_THAT(texts[2], StartsWith(L"Cylinder fitting took "));
  EXPECT_THAT(texts[2], testing::EndsWith(L" msec."));
  EXPECT_EQ(LogCollector::Lines().front().level, 1);
}

TEST(StudAnalysis, NothingIsAnalysedWhenAnErrorIsSet) {
  json request = Request(Wall());
  request["Feature"].erase("Radius");
  LogCollector log;
  const Stud stud = Analysed(request, Samples(Wall()));
  EXPECT_FALSE(stud.GetIsSuccessful());
  EXPECT_EQ(stud.GetError(), "Request does not contain valid nominal radius!");
  EXPECT_THAT(LogCollector::Texts(), Contains(L"ThreadedCylinderFitter::Analyze!"));
}

TEST(StudAnalysis, AllSamplesBelowTheThreshold) {
  EXPECT_EQ(Analysed(Request(Wall()), Samples(Wall(), 49.999)).GetError(),
            "All scanned data was filtered!");
  EXPECT_EQ(Analysed(Request(Wall()), {}).GetError(), "All scanned data was filtered!");
  EXPECT_TRUE(Analysed(Request(Wall()), Samples(Wall(), 50.0)).GetIsSuccessful());
}

TEST(StudAnalysis, SamplesThatAreNotFiniteAreNotFittedButListed) {
  auto samples = Samples(Wall());
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  samples.push_back({nan, 0.0, 2.0, 80.0, 1});
  samples.push_back({0.0, 0.0, infinity, 80.0, 1});
  samples.push_back({0.0, 0.0, 2.0, nan, 1});
  samples.push_back({0.0, 0.0, 1.9, infinity, 1});
  const Stud stud = Analysed(Request(Wall()), samples);
  ASSERT_TRUE(stud.GetIsSuccessful()) << stud.GetError();
  EXPECT_NEAR(stud.GetSetting<double>(L"FittedCylinderRadius"), 0.005, 1e-9);
  const json result = json::parse(stud.GetResult());
  EXPECT_EQ(result["ScanData"]["Count"], 2004);
  EXPECT_TRUE(result["ScanData"]["Data"][2000][0].is_null());
}

TEST(StudAnalysis, AMovedCentreIsTheNextNominal) {
  CylinderPoints moved = Wall();
  moved.point.x() += 0.0004;
  json request = Request(Wall());
  request["RescanThreshold"] = 0.00102;
  testing::internal::CaptureStdout();
  const Stud stud = Analysed(request, Samples(moved));
  EXPECT_THAT(testing::internal::GetCapturedStdout(), StartsWith("Rescan triggered! 0.0010"));
  EXPECT_FALSE(stud.GetIsSuccessful());
  EXPECT_EQ(stud.GetError(), "");
  EXPECT_EQ(stud.GetDriveStep(), RESCAN);
  EXPECT_EQ(stud.GetSetting<PointXYZW>(L"NominalCylinderCenter"),
            stud.GetSetting<PointXYZW>(L"FittedCylinderCenter"));
  EXPECT_EQ(stud.GetSetting<PointXYZW>(L"NominalCylinderAxis"),
            stud.GetSetting<PointXYZW>(L"FittedCylinderAxis"));
}

TEST(StudAnalysis, AFitThatDropsATenthOfTheWallIsDoubted) {
  // Samples of something else within the window, 0.6 mm off the wall: every tenth of a tenth more.
  const auto warnings_with = [](int every) {
    std::vector<RawDataPoint> samples = Samples(Wall());
    CylinderPoints other = Wall();
    other.radius += 0.0006;
    const std::vector<RawDataPoint> beside = Samples(other);
    for (std::size_t i = 0; i < samples.size(); i += static_cast<std::size_t>(every)) {
      samples[i] = beside[i];
    }
    const Stud stud = Analysed(Request(Wall()), samples);
    EXPECT_TRUE(stud.GetIsSuccessful()) << stud.GetError();
    EXPECT_NEAR(stud.GetSetting<double>(L"FittedCylinderRadius"), 0.005, 1e-6);
    return stud.GetWarnings();
  };
  EXPECT_THAT(warnings_with(20), testing::IsEmpty());
  EXPECT_THAT(warnings_with(10),
              testing::ElementsAre(StartsWith("10 % of the wall's samples (200 of 2000) do not "
                                              "follow the fitted cylinder")));
}

TEST(StudAnalysis, AResultStaysUntilTheReset) {
  Stud stud = Analysed(Request(Wall()), Samples(Wall()));
  EXPECT_GT(stud.GetSetting<double>(L"FittedCylinderRadius"), 0.0);
  stud.Reset(true, false);
  EXPECT_GT(stud.GetSetting<double>(L"FittedCylinderRadius"), 0.0);
  stud.Reset(false, false);
  EXPECT_EQ(stud.GetSetting<double>(L"FittedCylinderRadius"), -1.0);
}

TEST(StudAnalysis, FailuresOfTheFitAreItsTexts) {
  CylinderPoints few = Wall();
  few.around = 3;
  few.along = 3;
  EXPECT_EQ(Analysed(Request(Wall()), Samples(few)).GetError(),
            "Too few inlier points for cylinder fitting");
  CylinderPoints line = Wall();
  line.around = 1;
  const Stud stud = Analysed(Request(Wall()), Samples(line));
  EXPECT_EQ(stud.GetError(), "Cylinder fitting failed");
  const json result = json::parse(stud.GetResult());
  EXPECT_EQ(result["ErrorMessage"], "Cylinder fitting failed");
  EXPECT_FALSE(result.contains("Radius"));
}

TEST(ThreadedHoleAnalysis, ReportsTheBore) {
  CylinderPoints bore = Wall();
  bore.axis = -bore.axis;
  json request = Request(bore);
  request["Feature"]["$type"] = "ThreadedHoleFeature";
  const auto hole = Analysed<ThreadedHole>(request, Samples(bore));
  ASSERT_TRUE(hole.GetIsSuccessful()) << hole.GetError();
  EXPECT_THAT(hole.GetResult(), StartsWith("{\"$type\":\"ThreadedHoleTargetResult\","));
  EXPECT_NEAR(hole.GetSetting<double>(L"FittedCylinderRadius"), 0.005, 1e-9);
}

}  // namespace
}  // namespace libmfx::features
