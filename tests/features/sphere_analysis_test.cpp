// The analysis as a whole, on balls seen by an instrument made for the purpose: the outcome of many
// runs, as the consensus search draws at random.

#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>

#include "ball_scene.h"
#include "protected.h"

namespace libmfx::features {
namespace {

using nlohmann::json;
using test::Ball;
using test::LogCollector;
using test::MeasureBall;
using test::SphereRequest;

SphereFit ProbeOf(const Ball& ball, const std::string& keys = "") {
  return SphereFit(SphereRequest(ball.Front(), ball.radius, keys));
}

/// A feature that has measured `ball`.
SphereFit Measured(const Ball& ball, std::mt19937_64& random, const std::string& keys = "") {
  SphereFit s = ProbeOf(ball, keys);
  MeasureBall(s, ball, random);
  return s;
}

double OffBy(const SphereFit& s, const Ball& ball) {
  return (s.GetSetting<PointXYZW>(L"MeasuredPoint").xyz() - ball.center).norm();
}

TEST(SphereAnalysis, MeasuresABallInManyRuns) {
  std::mt19937_64 random(1);
  for (int run = 0; run < 60; ++run) {
    Ball ball;
    ball.center = Eigen::Vector3d(0.3, 0.1, 1.0 + 7.0 * run / 59);
    ball.radius = 0.006 + 0.019 * (run % 7) / 6;
    const bool star = run % 2 == 0;
    SphereFit s = Measured(ball, random, star ? "" : R"("UseStarPattern":0,)");
    ASSERT_TRUE(s.GetIsSuccessful()) << run << ": " << s.GetError();
    EXPECT_LT(OffBy(s, ball), 2e-5) << run;
    EXPECT_EQ(s.GetSetting<double>(L"MeasuredRadius"), ball.radius)
        << "the radius of the result is the nominal one";
    EXPECT_GT(s.GetSetting<double>(L"Quality"), 50.0);
    EXPECT_GE(PROTECTED(s, _final_fit_count), 25u);
  }
}

TEST(SphereAnalysis, MeasuresABallWithoutNoise) {
  std::mt19937_64 random(2);
  for (int run = 0; run < 20; ++run) {
    Ball ball;
    ball.center.z() = 1.0 + run * 0.37;
    ball.range_noise = 0.0;
    SphereFit s = Measured(ball, random);
    ASSERT_TRUE(s.GetIsSuccessful()) << run << ": " << s.GetError();
    EXPECT_LT(OffBy(s, ball), 1e-12) << run;
  }
}

TEST(SphereAnalysis, BehindTheInstrumentAcrossTheSeam) {
  std::mt19937_64 random(3);
  for (const double side : {-1.0, 1.0}) {
    Ball ball;
    ball.center = Eigen::Vector3d(-side * 0.002, 0.3, -3.0);
    SphereFit s = Measured(ball, random);
    ASSERT_TRUE(s.GetIsSuccessful()) << s.GetError();
    EXPECT_LT(OffBy(s, ball), 2e-5);
  }
}

TEST(SphereAnalysis, ANominalOffByTwoMillimetresIsFound) {
  std::mt19937_64 random(4);
  const Ball ball;
  for (const Eigen::Vector3d& off : {Eigen::Vector3d(0.002, 0, 0), Eigen::Vector3d(0, -0.002, 0),
                                     Eigen::Vector3d(0, 0, 0.002), Eigen::Vector3d(0, 0, -0.002)}) {
    SphereFit s(SphereRequest(ball.Front() + off, ball.radius));
    MeasureBall(s, ball, random);
    ASSERT_TRUE(s.GetIsSuccessful()) << s.GetError();
    EXPECT_LT(OffBy(s, ball), 2e-5);
  }
}

TEST(SphereAnalysis, AWrongRadiusOfTheRequestIsAnError) {
  std::mt19937_64 random(5);
  const Ball ball;
  SphereFit s(SphereRequest(ball.Front(), ball.radius + 0.001));
  MeasureBall(s, ball, random);
  EXPECT_FALSE(s.GetIsSuccessful());
  EXPECT_NE(s.GetError().find("ERROR_QUALITY"), std::string::npos) << s.GetError();
}

TEST(SphereAnalysis, TheErrorOfTheRadiusShiftsTheCentreAlongTheLineOfSight) {
  // A request whose radius is 5 um too small: the surface stays, so the centre comes nearer.
  std::mt19937_64 random(6);
  const Ball ball;
  double along = 0.0;
  for (int run = 0; run < 20; ++run) {
    SphereFit s(SphereRequest(ball.Front(), ball.radius - 5e-6));
    MeasureBall(s, ball, random);
    ASSERT_TRUE(s.GetIsSuccessful()) << s.GetError();
    along += (s.GetSetting<PointXYZW>(L"MeasuredPoint").xyz() - ball.center)
                 .dot(ball.center.normalized()) /
             20;
  }
  EXPECT_NEAR(along, -5e-6, 1e-6);
}

TEST(SphereAnalysis, ARadiusThatIsOffByManyTimesTheNoiseIsAnError) {
  std::mt19937_64 random(6);
  Ball ball;
  ball.range_noise = 1e-6;
  SphereFit s(SphereRequest(ball.Front(), ball.radius - 1e-5));
  MeasureBall(s, ball, random);
  EXPECT_FALSE(s.GetIsSuccessful());
  EXPECT_EQ(s.GetError(), "SphereFit::Analyze(): The fit quality is lower than the threshold!");
}

TEST(SphereAnalysis, NoSamplesLeaveNoRange) {
  SphereFit s(SphereRequest(Ball().Front(), 0.0127));
  s.AnalyzeFeature();
  EXPECT_EQ(s.GetError(), "SphereFit::Analyze(): Refine range of nominal point failed.");
  EXPECT_EQ(PROTECTED(s, _scan_data).cols(), 0);
}

TEST(SphereAnalysis, ANominalAtTheInstrumentHasNoLineOfSight) {
  SphereFit s;
  s.UpdateRawData({{0, 0, 2, 80, 1}, {0.1, 0, 2, 80, 1}});
  s.AnalyzeFeature();
  EXPECT_EQ(s.GetError(), "SphereFit::Analyze(): Refine range of nominal point failed.");
}

/// Three samples of which the second is nearest to the line of sight.
SphereFit Three(double second, double third) {
  SphereFit s;
  s.SetSetting<PointXYZW>(L"NominalPoint", PointXYZW(0, 0, 3.0));
  s.UpdateRawData({{0.01, 0, 2.0, 80, 1}, {0.0001, 0, second, 80, 1}, {0.02, 0, third, 80, 1}});
  s.AnalyzeFeature();
  return s;
}

TEST(SphereRefine, TheRangeIsThatOfTheSampleAfterTheClosest) {
  const SphereFit s = Three(2.5, 2.25);
  EXPECT_EQ(PROTECTED(s, _refined_aer).range, 2.25);
  EXPECT_EQ(s.GetSetting<PointXYZW>(L"NominalPoint"), PointXYZW(0, 0, 2.25));
}

TEST(SphereRefine, WhenTheClosestIsTheLastItsOwnRangeIsTaken) {
  SphereFit s;
  s.SetSetting<PointXYZW>(L"NominalPoint", PointXYZW(0, 0, 3.0));
  s.UpdateRawData({{0.01, 0, 2.0, 80, 1}, {0.0001, 0, 2.5, 80, 1}});
  s.AnalyzeFeature();
  EXPECT_EQ(PROTECTED(s, _refined_aer).range, 2.5);
}

TEST(SphereRefine, ANextSampleWithoutARangeIsPassedOver) {
  EXPECT_EQ(PROTECTED(Three(2.5, std::nan("")), _refined_aer).range, 2.5);
  EXPECT_EQ(PROTECTED(Three(2.5, std::numeric_limits<double>::infinity()), _refined_aer).range,
            2.5);
}

TEST(SphereRefine, ALostSampleIsNeverTheClosest) {
  const SphereFit s = Three(std::nan(""), 2.25);
  EXPECT_EQ(PROTECTED(s, _refined_aer).range, 2.0)
      << "the first is closest; the one after it has no range";
}

TEST(SphereRefine, ARangeOfZeroIsALostSample) {
  EXPECT_EQ(PROTECTED(Three(2.5, 0.0), _refined_aer).range, 2.5);
  EXPECT_EQ(PROTECTED(Three(0.0, 2.25), _refined_aer).range, 2.0);
}

TEST(SphereRefine, TheFirstOfEquallyCloseSamplesWins) {
  SphereFit s;
  s.SetSetting<PointXYZW>(L"NominalPoint", PointXYZW(0, 0, 3.0));
  s.UpdateRawData(
      {{0, 0.01, 2.0, 80, 1}, {0.1, 0, 2.1, 80, 1}, {0, -0.01, 2.0, 80, 1}, {0.1, 0, 2.2, 80, 1}});
  s.AnalyzeFeature();
  EXPECT_EQ(PROTECTED(s, _refined_aer).range, 2.1);
}

TEST(SphereTolerances, FollowTheRange) {
  const auto at = [](double range, bool user_filters) {
    SphereFit s = SphereFit();
    s.SetSetting<bool>(L"UserFilters", user_filters);
    s.SetSetting<PointXYZW>(L"NominalPoint", PointXYZW(0, 0, range));
    s.UpdateRawData({{0.0, 0, range, 80, 1}});
    s.AnalyzeFeature();
    return std::pair(s.GetSetting<double>(L"FitTolerance"),
                     s.GetSetting<double>(L"FilterTolerance"));
  };
  EXPECT_DOUBLE_EQ(at(1.0, false).first, 0.000215 - 7e-05);
  EXPECT_DOUBLE_EQ(at(1.0, false).second, 0.0006 - 0.0002);
  EXPECT_DOUBLE_EQ(at(1.999, false).first, 0.000215 - 7e-05 * 1.999);
  // At 2 m exactly the long-range formulas hold, and they do not meet the others there.
  EXPECT_DOUBLE_EQ(at(2.0, false).first, 8.3e-06 * 2.0 + 7.5e-05);
  EXPECT_DOUBLE_EQ(at(2.0, false).second, 3.78e-05 * 2.0 + 8.22e-05);
  EXPECT_DOUBLE_EQ(at(8.0, false).second, 3.78e-05 * 8.0 + 8.22e-05);
  EXPECT_EQ(at(1.0, true), std::pair(0.000275, 0.00055));
  EXPECT_EQ(at(8.0, true), std::pair(0.000275, 0.00055));
}

TEST(SphereAnalysis, TheSimplePathAlwaysEndsInItsErrorWithItsValuesSet) {
  std::mt19937_64 random(7);
  const Ball ball;
  SphereFit s = ProbeOf(ball);
  s.SetSetting<bool>(L"AdvancedFilter", false);
  MeasureBall(s, ball, random);
  EXPECT_FALSE(s.GetIsSuccessful());
  EXPECT_EQ(s.GetError(),
            "SphereFit::Analyze(): All fit points removed via dilation filtering. Bad fit!");
  EXPECT_LT(OffBy(s, ball), 2e-5);
  EXPECT_EQ(s.GetSetting<double>(L"MeasuredRadius"), ball.radius);
  EXPECT_GT(PROTECTED(s, _final_fit_count), 100u);
  EXPECT_EQ(s.GetSetting<double>(L"Quality"), 0.0);
}

TEST(SphereAnalysis, TheSimplePathNeedsSamplesThatPassItsFilter) {
  std::mt19937_64 random(8);
  SphereFit s = ProbeOf(Ball());
  s.SetSetting<bool>(L"AdvancedFilter", false);
  s.SetSetting<double>(L"QualityThreshold", 80.0);
  MeasureBall(s, Ball(), random);
  EXPECT_EQ(s.GetError(),
            "FilterByDistance(): FilterByDistance failed (ERROR_SF_FILTER = -10). Bad filtered "
            "data!");
}

TEST(SphereAnalysis, SamplesAtTheQualityThresholdAreTooManyBadPoints) {
  std::mt19937_64 random(9);
  SphereFit s = ProbeOf(Ball());
  s.SetSetting<double>(L"QualityThreshold", 80.0);
  MeasureBall(s, Ball(), random);
  EXPECT_EQ(s.GetError(),
            "SphereFit::FilterByDistanceFromAzElMedianSpur(): Too many bad points. "
            "(ERROR_SF_FILTER = -10)");
}

TEST(SphereAnalysis, AScanThatIsTooSmallIsAHardwareError) {
  std::mt19937_64 random(10);
  const Ball ball;
  SphereFit s = Measured(ball, random);
  std::vector<RawDataPoint> few(s.GetRawData().begin(), s.GetRawData().begin() + 150);
  s.UpdateRawData(few);
  s.AnalyzeFeature();
  EXPECT_NE(s.GetError().find("Range extents threshold not met! (ERROR_SF_HARDWARE = -16)"),
            std::string::npos);
}

TEST(SphereAnalysis, AToleranceThatKeepsNothingIsTooFewGoodPoints) {
  std::mt19937_64 random(11);
  SphereFit s = ProbeOf(Ball());
  s.SetSetting<bool>(L"UserFilters", true);
  s.SetSetting<double>(L"FilterTolerance", 1e-12);
  MeasureBall(s, Ball(), random);
  EXPECT_EQ(s.GetError(),
            "FilterByError(): FilterByError failed (ERROR_SF_FILTER = -10). Too few good points!");
}

TEST(SphereAnalysis, AMultiplierThatKeepsTooFewLeavesTheFitAndTheCount) {
  std::mt19937_64 random(12);
  const Ball ball;
  SphereFit s = Measured(ball, random, R"("StdMultiplier":0.001,)");
  EXPECT_TRUE(s.GetIsSuccessful()) << s.GetError();
  EXPECT_EQ(PROTECTED(s, _final_fit_count), 0u);
  EXPECT_LT(OffBy(s, ball), 2e-5);
  EXPECT_EQ(json::parse(s.GetResult())["FinalFitcount"], 0);
}

TEST(SphereAnalysis, AFinalFitOfFewerThanFourPointsIsAnError) {
  // On the simple path the sample size rules the last filter alone.
  std::mt19937_64 random(13);
  SphereFit s = ProbeOf(Ball(), R"("StdMultiplier":0,)");
  s.SetSetting<bool>(L"AdvancedFilter", false);
  s.SetSetting<int>(L"NumSamplePoints", 0);
  MeasureBall(s, Ball(), random);
  EXPECT_EQ(s.GetError(),
            "SphereFit::Analyze(): SphereFitLS failed after std multiplier filtering.");
}

TEST(SphereAnalysis, AQualityBelowTheThresholdIsAnErrorAndOneAtItPasses) {
  std::mt19937_64 random(14);
  Ball ball;
  ball.quality = 1e6;
  SphereFit s = Measured(ball, random);
  ASSERT_TRUE(s.GetIsSuccessful()) << s.GetError();
  const double reached = s.GetSetting<double>(L"Quality");
  s.SetSetting<double>(L"QualityThreshold", reached + 20.0);
  s.AnalyzeFeature();
  EXPECT_FALSE(s.GetIsSuccessful());
  EXPECT_EQ(s.GetError(), "SphereFit::Analyze(): The fit quality is lower than the threshold!");
  EXPECT_LT(OffBy(s, ball), 2e-5) << "the point is set, though the measurement failed";
  EXPECT_EQ(json::parse(s.GetResult())["Location"], json({0.0, 0.0, 0.0}));
}

TEST(SphereAnalysis, AnEarlierErrorStaysAndTheSamplesStandInTheResult) {
  std::mt19937_64 random(15);
  SphereFit s = Measured(Ball(), random);
  PROTECTED(s, SetError)("an earlier failure");
  s.AnalyzeFeature();
  EXPECT_FALSE(s.GetIsSuccessful());
  EXPECT_EQ(s.GetError(), "an earlier failure");
  EXPECT_EQ(json::parse(s.GetResult())["ScanData"]["Count"], s.GetRawData().size());
}

TEST(SphereAnalysis, LostSamplesDoNotHarm) {
  std::mt19937_64 random(16);
  const Ball ball;
  SphereFit s = Measured(ball, random);
  std::vector<RawDataPoint> samples = s.GetRawData();
  const double bad[] = {std::nan(""), std::numeric_limits<double>::infinity(),
                        -std::numeric_limits<double>::infinity()};
  for (std::size_t i = 0; i < samples.size(); i += 3) {
    double* fields[] = {&samples[i].azimuth, &samples[i].elevation, &samples[i].range,
                        &samples[i].quality};
    *fields[i % 4] = bad[i % 7 % 3];
  }
  s.UpdateRawData(samples);
  s.AnalyzeFeature();
  ASSERT_TRUE(s.GetIsSuccessful()) << s.GetError();
  EXPECT_LT(OffBy(s, ball), 2e-5);
  const json data = json::parse(s.GetResult())["ScanData"];
  EXPECT_EQ(data["Count"], samples.size());
  EXPECT_TRUE(data["Data"][0][0].is_null()) << "what is not finite is listed as null";
}

TEST(SphereAnalysis, NothingButLostSamplesIsAnError) {
  std::mt19937_64 random(17);
  SphereFit s = Measured(Ball(), random);
  std::vector<RawDataPoint> samples = s.GetRawData();
  for (RawDataPoint& sample : samples) sample.quality = std::nan("");
  s.UpdateRawData(samples);
  s.AnalyzeFeature();
  EXPECT_FALSE(s.GetIsSuccessful());
  EXPECT_NE(s.GetError(), "");
}

TEST(SphereAnalysis, LogsItsStations) {
  std::mt19937_64 random(18);
  SphereFit s = Measured(Ball(), random);
  const LogCollector collector;
  s.AnalyzeFeature();
  std::vector<std::wstring> stations;
  for (const std::wstring& text : LogCollector::Texts()) {
    if (text.find(L"called") != std::wstring::npos || text.find(L"ended") != std::wstring::npos ||
        text.find(L"done") != std::wstring::npos || text.find(L"started") != std::wstring::npos) {
      stations.push_back(text.substr(0, text.find_first_of(L" (.")));
    }
  }
  EXPECT_EQ(stations,
            (std::vector<std::wstring>{L"Analyze", L"FilterByDistanceFromAzElMedianSpur",
                                       L"FilterByDistanceFromAzElMedianSpur", L"FindBestFitSpur",
                                       L"CombineDataSets3", L"SamplingSphereFit",
                                       L"SamplingSphereFit", L"CalculateSFQuality", L"Analyze"}));
  EXPECT_EQ(LogCollector::Lines().front().name, L"MatteSphere");
  EXPECT_EQ(LogCollector::Lines().front().level, 1);
}

std::vector<std::string> KeysOf(const std::string& text) {
  std::vector<std::string> keys;
  const auto result = nlohmann::ordered_json::parse(text);
  for (const auto& item : result.items()) keys.push_back(item.key());
  return keys;
}

using Keys = std::vector<std::string>;

TEST(SphereResult, KeysOfASuccess) {
  std::mt19937_64 random(19);
  const Ball ball;
  SphereFit s = Measured(ball, random);
  ASSERT_TRUE(s.GetIsSuccessful()) << s.GetError();
  const std::string text = s.GetResult();
  EXPECT_EQ(KeysOf(text), (Keys{"$type", "Location", "Radius", "ScanData", "Quality", "Success",
                                "Target", "Name", "FinalFitcount"}));
  const json result = json::parse(text);
  EXPECT_EQ(result["$type"], "MatteSphereTargetResult");
  EXPECT_EQ(result["Target"], "ball-1");
  EXPECT_EQ(result["Name"], "B1");
  EXPECT_EQ(result["Success"], true);
  EXPECT_EQ(result["FinalFitcount"], PROTECTED(s, _final_fit_count));
  EXPECT_NEAR(result["Location"][2].get<double>(), s.GetSetting<PointXYZW>(L"MeasuredPoint").z(),
              5.1e-9);
  EXPECT_NE(text.find("\"Radius\":0.01270000,"), std::string::npos) << "8 decimals";
  EXPECT_EQ(result["ScanData"]["DataFormat"], "LR_AER");
  EXPECT_EQ(result["ScanData"]["Count"], s.GetRawData().size());
  const std::size_t quality = text.find("\"Quality\":") + 10;
  EXPECT_EQ(text.find(',', quality) - text.find('.', quality), 3u) << "2 decimals";
  EXPECT_EQ(text, s.GetResult()) << "the same when asked twice";
}

TEST(SphereResult, KeysOfAFailure) {
  SphereFit s(SphereRequest(Ball().Front(), 0.0127));
  s.UpdateRawData({{0.25, -0.5, 2.0, 61.5, -1}});
  s.AnalyzeFeature();
  EXPECT_EQ(s.GetResult(),
            R"json({"$type":"MatteSphereTargetResult","ErrorMessage":"SphereFit::)json"
            R"json(FilterByDistanceFromAzElMedianSpur(): Range extents threshold not met! )json"
            R"json((ERROR_SF_HARDWARE = -16)","Location":[0.0,0.0,0.0],"ScanData":{)json"
            R"json("$type":"ScanData","DataFormat":"LR_AER","Data":[[0.25000000,-0.50000000,)json"
            R"json(2.00000000,61.50000000,-1]],"Count":1},"Quality":0.00,"Success":false,)json"
            R"json("Target":"ball-1","Name":"B1","FinalFitcount":0})json");
}

TEST(SphereResult, BeforeTheAnalysisAndWithoutAName) {
  const SphereFit s;
  EXPECT_EQ(s.GetResult(),
            R"({"$type":"MatteSphereTargetResult","ErrorMessage":"","Location":[0.0,0.0,0.0],)"
            R"("ScanData":{"$type":"ScanData","DataFormat":"LR_AER","Data":[],"Count":0},)"
            R"("Quality":0.00,"Success":false,"Target":"","FinalFitcount":0})");
}

TEST(SphereResult, Logs) {
  const SphereFit s;
  const LogCollector collector;
  s.GetResult();
  EXPECT_EQ(LogCollector::Texts(),
            (std::vector<std::wstring>{L"GenerateResult() called.", L"GenerateResult() done."}));
}

TEST(SphereResult, ItsLinesGoThroughTheLoggerOfTheFeature) {
  SphereFit s;
  const LogCollector collector;
  PROTECTED(s, SetError)("why");
  s.GetResult();
  // Each line begins by ending the stream of the line before, which has nothing left to say.
  std::vector<std::pair<int, std::wstring>> calls;
  for (const auto& line : LogCollector::Lines()) calls.emplace_back(line.level, line.text);
  EXPECT_EQ(calls, (std::vector<std::pair<int, std::wstring>>{{3, L"why\n"},
                                                              {3, L""},
                                                              {1, L"GenerateResult() called.\n"},
                                                              {1, L""},
                                                              {1, L"GenerateResult() done.\n"}}));
}

}  // namespace
}  // namespace libmfx::features
