#include "libmfx/features/custom_scan.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <nlohmann/json.hpp>
#include <numbers>

#include "feature_probe.h"
#include "libmfx/features/unknown_feature.h"
#include "paths.h"

namespace libmfx::features {
namespace {

using nlohmann::json;
using test::PointsOf;
using test::QueueOf;
using FeaturePtr = std::unique_ptr<Feature>;

constexpr double kPi = std::numbers::pi;

FeaturePtr Make(const std::string& text) { return FeaturePtr(Feature::Create(text)); }

/// A request for two segments of three points with the given "PointSpacing".
std::string TwoSegments(const std::string& spacing) {
  return R"({"$id":"42","QualityThreshold":50,"PointSpacing":)" + spacing +
         R"(,"Feature":{"$type":"ScanPathFeature","Name":"path","Path":{"Segments":[
            [[0,0,2],[0.1,0,2],[0.2,0,2]],[[0,0.1,2],[0.1,0.1,2],[0.2,0.1,2]]]}}})";
}

std::vector<double> SpacingsOf(const std::string& spacing) {
  const FeaturePtr scan = Make(TwoSegments(spacing));
  EXPECT_EQ(scan->GetError(), "");
  std::vector<double> result;
  for (const Position& p : PointsOf(scan->GetDrivePoints(false))) {
    result.push_back(p.point_spacing);
  }
  return result;
}

std::string ErrorOf(const std::string& request) {
  const FeaturePtr scan = Make(request);
  EXPECT_EQ(scan->FeatureName(), "CustomScan");
  EXPECT_TRUE(scan->GetDrivePoints(false).empty());
  return scan->GetError();
}

using Doubles = std::vector<double>;

TEST(CustomScan, OneSpacingForThePath) {
  EXPECT_EQ(SpacingsOf("0.001"), (Doubles{0, 0.001, 0.001, 0, 0.001, 0.001}));
}

TEST(CustomScan, OneSpacingForEachSegment) {
  EXPECT_EQ(SpacingsOf("[0.001, 0.002]"), (Doubles{0, 0.001, 0.001, 0, 0.002, 0.002}));
}

TEST(CustomScan, OneSpacingForEachStep) {
  EXPECT_EQ(SpacingsOf("[[0.1, 0.2], [0.3, 0.4]]"), (Doubles{0, 0.1, 0.2, 0, 0.3, 0.4}));
  EXPECT_EQ(SpacingsOf("[[0.1, 0.2, 0.3, 0.4]]"), (Doubles{0, 0.1, 0.2, 0, 0.3, 0.4}));
}

TEST(CustomScan, ErrorsOfARequest) {
  const std::string segments = R"("Path":{"Segments":[]})";
  const auto with = [](const std::string& root, const std::string& feature) {
    return "{" + root + R"("Feature":{"$type":"ScanPathFeature")" + feature + "}}";
  };
  EXPECT_EQ(ErrorOf(with("", "," + segments)), "PointSpacing not specified!");
  EXPECT_EQ(ErrorOf(with(R"("PointSpacing":[],)", "," + segments)), "PointSpacing array is empty");
  for (const char* other : {"\"0.001\"", "true", "null", "{}"}) {
    EXPECT_EQ(ErrorOf(with(std::string("\"PointSpacing\":") + other + ",", "," + segments)),
              "PointSpacing type is not double or array");
  }
  EXPECT_EQ(ErrorOf(with(R"("PointSpacing":1,)", "")), "Segments are not specified!");
  EXPECT_EQ(ErrorOf(with(R"("PointSpacing":1,)", R"(,"Path":{})")), "Segments are not specified!");
  EXPECT_EQ(ErrorOf(with(R"("PointSpacing":1,)", "," + segments)), "");
}

TEST(CustomScan, SpacingsThatEndBeforeThePathAreAnError) {
  const char* text = "PointSpacing array is too short for the path";
  EXPECT_EQ(ErrorOf(TwoSegments("[0.001]")), text);
  EXPECT_EQ(ErrorOf(TwoSegments("[[0.1, 0.2], [0.3]]")), text);
}

TEST(CustomScan, AnErrorOfTheRequestLeavesTheNominalsValid) {
  const FeaturePtr scan = Make(R"({"Feature":{"$type":"ScanPathFeature"}})");
  EXPECT_EQ(scan->GetError(), "PointSpacing not specified!");
  const test::LogCollector collector;
  scan->Reset(false, false);
  EXPECT_EQ(collector.Texts().back(), L"Nominals are valid.");
}

TEST(CustomScan, UnparsableTextGivesNoErrorAndAnEmptyResult) {
  CustomScan scan("{");
  EXPECT_EQ(scan.GetError(), "");
  EXPECT_TRUE(scan.GetDrivePoints(true).empty());
  const json result = json::parse(scan.GetResult());
  EXPECT_EQ(result["ScanData"]["Count"], 0);
}

TEST(CustomScan, APathWithoutEndIsRefused) {
  std::queue<Position> path;
  for (int i = 0; i <= 1'000'000; ++i) path.emplace(0.0, 0.0, 1.0, 0.0);
  const FeaturePtr scan(Feature::Create(std::move(path), 50.0));
  EXPECT_EQ(scan->GetError(), "Path asks for a plan of 1000001 drive points; the limit is 1000000");
  EXPECT_TRUE(scan->GetDrivePoints(false).empty());
}

TEST(CustomScan, APointThatIsNotFiniteIsRefused) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const FeaturePtr scan(Feature::Create(QueueOf({{0, 0, 1, 0}, {nan, 0, 1, 0.1}}), 50.0));
  EXPECT_EQ(scan->GetError(), "Path has a point that is not finite");
  EXPECT_TRUE(scan->GetDrivePoints(false).empty());
  EXPECT_EQ(ErrorOf(R"({"PointSpacing":1,"Feature":{"$type":"ScanPathFeature",
                       "Path":{"Segments":[[[1e300,1e300,1]]]}}})"),
            "Path has a point that is not finite");
}

TEST(CustomScan, DrivePointsAreTheSamePathEachTime) {
  const FeaturePtr scan = Make(TwoSegments("0.001"));
  const auto first = PointsOf(scan->GetDrivePoints(true));
  EXPECT_EQ(first, PointsOf(scan->GetDrivePoints(true)));
  EXPECT_EQ(first, PointsOf(scan->GetLastDrivePoints()));
  EXPECT_NEAR(first[1].azimuth, -std::atan2(0.1, 2.0), 1e-15);
}

TEST(CustomScan, AMissingCoordinateIsZero) {
  const FeaturePtr scan = Make(R"({"PointSpacing":1,"Feature":{"$type":"ScanPathFeature",
                                  "Path":{"Segments":[[[3],[0,4]]]}}})");
  const auto points = PointsOf(scan->GetDrivePoints(false));
  ASSERT_EQ(points.size(), 2U);
  EXPECT_EQ(points[0].range, 3.0);
  EXPECT_EQ(points[1].elevation, kPi / 2);
}

/// A path behind the instrument, from azimuth `from` to `to` at elevation 0.
std::vector<Position> AcrossTheSeam(double from, double to) {
  return {Position(AzElRange(from, 0.0, 2.0), 0.0), Position(AzElRange(to, 0.0, 2.0), 0.01)};
}

TEST(CustomScan, APathInBothRearBandsIsFlippedInTheJsonFormOnly) {
  const auto points = AcrossTheSeam(3.0, -3.0);
  json segment = json::array();
  for (const Position& p : points) {
    const PointXYZW c = test::PlaceOf(p);
    segment.push_back({c.x(), c.y(), c.z()});
  }
  const json request = {
      {"PointSpacing", 0.01},
      {"Feature", {{"$type", "ScanPathFeature"}, {"Path", {{"Segments", {segment}}}}}}};
  const auto flipped = PointsOf(Make(request.dump())->GetDrivePoints(false));
  EXPECT_NEAR(flipped[0].azimuth, 3.0 - kPi, 1e-12);
  EXPECT_NEAR(flipped[0].elevation, -kPi, 1e-12);
  EXPECT_NEAR(flipped[1].azimuth, kPi - 3.0, 1e-12);

  const FeaturePtr by_queue(Feature::Create(QueueOf(points), 50.0));
  const auto unwrapped = PointsOf(by_queue->GetDrivePoints(false));
  EXPECT_EQ(unwrapped[0].azimuth, 3.0);
  EXPECT_EQ(unwrapped[1].azimuth, -3.0 + 2 * kPi);
  EXPECT_EQ(unwrapped[1].elevation, 0.0);
}

TEST(CustomScan, DataOutBySegmentSucceedsAndKeepsNothing) {
  const FeaturePtr scan = Make(TwoSegments("0.001"));
  EXPECT_TRUE(scan->OutputDataBySegment());
  scan->UpdateRawData({RawDataPoint(0, 0, 2, 0.0, 1)});
  scan->AnalyzeFeature();
  EXPECT_TRUE(scan->GetIsSuccessful());
  EXPECT_TRUE(scan->GetRawData().empty());
  EXPECT_EQ(json::parse(scan->GetResult())["ScanData"]["Count"], 0);
}

TEST(CustomScan, DataOutBySegmentDropsWhatAnEarlierAnalysisKept) {
  const FeaturePtr scan = Make(TwoSegments("0.001"));
  scan->OutputDataBySegment(false);
  scan->UpdateRawData({RawDataPoint(0, 0, 2, 90.0, 1)});
  scan->AnalyzeFeature();
  EXPECT_EQ(json::parse(scan->GetResult())["ScanData"]["Count"], 1);
  scan->OutputDataBySegment(true);
  scan->AnalyzeFeature();
  EXPECT_EQ(json::parse(scan->GetResult())["ScanData"]["Count"], 0);
}

TEST(CustomScan, DataOutBySegmentSucceedsAlsoWhenAnErrorIsSet) {
  const FeaturePtr scan = Make(R"({"Feature":{"$type":"ScanPathFeature"}})");
  scan->AnalyzeFeature();
  EXPECT_TRUE(scan->GetIsSuccessful());
  scan->OutputDataBySegment(false);
  scan->AnalyzeFeature();
  EXPECT_FALSE(scan->GetIsSuccessful());
}

TEST(CustomScan, QualityEqualToTheThresholdIsKept) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const FeaturePtr scan = Make(TwoSegments("0.001"));
  scan->OutputDataBySegment(false);
  scan->UpdateRawData({{0.1, 0, 2, 50.0, 1}, {0.2, 0, 2, 49.99, 1}, {0.3, 0, nan, 99.0, 1}});
  scan->AnalyzeFeature();
  EXPECT_TRUE(scan->GetIsSuccessful());
  EXPECT_EQ(scan->GetResult(),
            R"({"$id":"42","$type":"ScanPathTargetResult","Name":"path","ScanData":{)"
            R"("$type":"ScanData","Count":1,"Data":[[0.1,0.0,2.0,50.0,1]],"DataFormat":"LR_AER"},)"
            R"("Success":true,"Target":"42"})");
  EXPECT_EQ(scan->GetUuid(), "42");
  EXPECT_EQ(scan->QualityThreshold(), 50.0);
}

TEST(CustomScan, AllPointsFilteredOut) {
  const FeaturePtr scan = Make(TwoSegments("0.001"));
  scan->OutputDataBySegment(false);
  scan->UpdateRawData({{0.1, 0, 2, 49.0, 1}});
  scan->AnalyzeFeature();
  EXPECT_FALSE(scan->GetIsSuccessful());
  EXPECT_EQ(scan->GetError(), "All points filtered out");
  const json result = json::parse(scan->GetResult());
  EXPECT_FALSE(result.contains("ErrorMessage"));
  EXPECT_EQ(result["Success"], false);
  // With an error set, the next analysis ends at once.
  scan->UpdateRawData({{0.1, 0, 2, 90.0, 1}});
  scan->AnalyzeFeature();
  EXPECT_FALSE(scan->GetIsSuccessful());
}

TEST(CustomScan, AStatusOfMinusOnePrintsAsItIsAndTheResultRepeats) {
  const FeaturePtr scan(Feature::Create(QueueOf({{0, 0, 1, 0}}), 10.0));
  scan->OutputDataBySegment(false);
  scan->UpdateRawData({{0.1, 0.2, 2, 20, -1}});
  scan->AnalyzeFeature();
  const std::string text = scan->GetResult();
  EXPECT_NE(text.find("[0.1,0.2,2.0,20.0,-1]"), std::string::npos);
  EXPECT_EQ(text, scan->GetResult());
  EXPECT_EQ(text.find("\"Name\""), std::string::npos);
}

/// The bytes that a base64 text with line feeds holds.
std::string Decoded(const std::string& text) {
  static const std::string alphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string bytes;
  unsigned int bits = 0;
  int held = 0;
  for (const char c : text) {
    const std::size_t value = alphabet.find(c);
    if (value == std::string::npos) continue;
    bits = bits << 6 | static_cast<unsigned int>(value);
    held += 6;
    if (held >= 8) {
      held -= 8;
      bytes += static_cast<char>(bits >> held & 255);
    }
  }
  return bytes;
}

std::string BinaryOf(const std::vector<RawDataPoint>& samples) {
  const FeaturePtr scan(Feature::Create(QueueOf({{0, 0, 1, 0}}), 0.0));
  scan->OutputDataBySegment(false);
  scan->SetScanPathReturnType(SCANPATH_RETURN_BINARY);
  scan->UpdateRawData(samples);
  scan->AnalyzeFeature();
  return json::parse(scan->GetResult())["ScanData"];
}

TEST(CustomScan, BinaryFormOfNoSamplesIsTheHead) { EXPECT_EQ(BinaryOf({}), "AAAAADAADQE=\n"); }

TEST(CustomScan, BinaryFormOfTenSamples) {
  std::vector<RawDataPoint> samples;
  for (int i = 0; i < 10; ++i) {
    RawDataPoint sample(0.1 * i, -0.1 * i, 2.0 + i, 60.0, i - 1);
    sample.reserved = 7.5;
    sample.padding = 99;
    samples.push_back(sample);
  }
  const std::string text = BinaryOf(samples);
  const std::string bytes = Decoded(text);
  ASSERT_EQ(bytes.size(), 488U);
  EXPECT_EQ(bytes.substr(0, 8), std::string("\x0A\0\0\0\x30\0\x0D\x01", 8));
  std::vector<RawDataPoint> read(10);
  std::memcpy(static_cast<void*>(read.data()), bytes.data() + 8, 480);
  EXPECT_EQ(read, samples);
  // 163 groups are 652 characters: nine full lines, the rest, and a line feed at the end.
  ASSERT_EQ(text.size(), 652U + 9U + 1U);
  for (std::size_t i = 0; i < text.size(); ++i) {
    EXPECT_EQ(text[i] == '\n', i % 73 == 72 || i + 1 == text.size()) << i;
  }
}

TEST(CustomScan, BinaryFormOfOneSample) {
  // 56 bytes are 19 groups: one full line of 72 characters, one group, the closing line feed.
  const std::string text = BinaryOf({RawDataPoint(0, 0, 1, 1, 0)});
  EXPECT_EQ(text.size(), 76U + 1U + 1U);
  EXPECT_EQ(text[72], '\n');
  EXPECT_EQ(text.back(), '\n');
}

TEST(UnknownFeature, EveryTextWithoutAKnownTypeMakesOne) {
  for (const char* text : {"", "no JSON", "[]", "{}", R"({"Feature":{}})", R"({"Feature":7})",
                           R"({"Feature":{"$type":7}})", R"({"Feature":{"$type":"Nothing"}})",
                           R"({"Feature":{"$type":"scanpathfeature"}})",
                           R"({"Feature":{"$type":"ScanPathFeature "}})"}) {
    EXPECT_EQ(Make(text)->FeatureName(), "UnknownFeature") << text;
  }
}

TEST(UnknownFeature, ResultDoesNotDependOnTheAnalysis) {
  const FeaturePtr feature =
      Make(R"({"$id":"9","$type":"TargetRequest","Feature":{"$type":"X","Name":"n"}})");
  const std::string expected = R"({"$type":"TargetRequest","$id":"9","Success":"false","Name":"n",)"
                               R"("ErrorMessage":"The feature type requested is not supported!"})";
  EXPECT_EQ(feature->GetResult(), expected);
  EXPECT_TRUE(feature->GetDrivePoints(true).empty());
  feature->AnalyzeFeature();
  EXPECT_FALSE(feature->GetIsSuccessful());
  EXPECT_EQ(feature->GetError(), "Unknown feature");
  EXPECT_EQ(feature->GetResult(), expected);
  EXPECT_EQ(feature->GetUuid(), "");
}

TEST(UnknownFeature, ResultOfATextThatDoesNotParse) {
  EXPECT_EQ(Make("no JSON")->GetResult(),
            R"({"$type":"","$id":"","Success":"false",)"
            R"("ErrorMessage":"The feature type requested is not supported!"})");
}

TEST(Factory, KeysThatNoClassKnowsChangeNothing) {
  json request = json::parse(TwoSegments("0.001"));
  const auto plain = PointsOf(Make(request.dump())->GetDrivePoints(false));
  request["Unheard"] = {{"of", {1, 2, 3}}};
  request["Feature"]["zzz"] = "trailing";
  EXPECT_EQ(PointsOf(Make(request.dump())->GetDrivePoints(false)), plain);
}

}  // namespace
}  // namespace libmfx::features
