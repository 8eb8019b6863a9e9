// Requests with one value that no JSON parser reads: the feature is the one that the request names,
// and its plan is refused in words or does without the value.

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>

#include "libmfx/features/feature.h"

namespace libmfx::features {
namespace {

using nlohmann::json;
using FeaturePtr = std::unique_ptr<Feature>;

/// The example requests by their "$type".
std::map<std::string, json> Examples() {
  std::map<std::string, json> examples;
  for (const auto& entry :
       std::filesystem::directory_iterator(LIBMFX_SOURCE_DIR "/examples/requests")) {
    std::ifstream in(entry.path());
    json request = json::parse(in, nullptr, true, true);
    const std::string type = request["Feature"]["$type"];
    examples[type] = std::move(request);
  }
  return examples;
}

/// The request with `literal` as the value at `place`.
std::string With(json request, const json::json_pointer& place, const std::string& literal) {
  request[place] = "@";
  std::string text = request.dump();
  return text.replace(text.find("\"@\""), 3, literal);
}

std::string NameOf(const std::string& request) {
  return FeaturePtr(Feature::Create(request))->FeatureName();
}

/// Why the first plan of a request is refused; empty if it is not. What is driven is finite, with
/// its spacings.
std::string Refusal(const std::string& request) {
  const FeaturePtr feature(Feature::Create(request));
  std::queue<Position> plan = feature->GetDrivePoints(false);
  EXPECT_TRUE(plan.empty() || feature->GetError().empty()) << feature->GetError() << request;
  for (; !plan.empty(); plan.pop()) {
    const Position& p = plan.front();
    EXPECT_TRUE(std::isfinite(p.azimuth) && std::isfinite(p.elevation) && std::isfinite(p.range) &&
                std::isfinite(p.point_spacing))
        << request;
  }
  return feature->GetError();
}

/// What of a request its first plan does not use: thresholds of samples and results, limits of a
/// search, switches, what the pattern of a ball is made of once its range is known, and the number
/// of samples of a zigzag, which changes their spacing alone.
const std::set<std::string>& Unplanned() {
  static const std::set<std::string> keys = {
      "QualityThreshold", "ScanQualityThreshold", "RescanThreshold",
      "RadiusTolerance",  "NumberOfPoints",       "SearchEnabled",
      "UseStarPattern",   "BoxDimensionRatio",    "NumPointsPerLine"};
  return keys;
}

TEST(BadValues, EveryExampleHasAType) { EXPECT_EQ(Examples().size(), 10U); }

TEST(BadValues, AnInfiniteValueIsRefusedInWordsWhereThePlanUsesIt) {
  for (const auto& [type, request] : Examples()) {
    const std::string name = NameOf(request.dump());
    ASSERT_NE(name, "UnknownFeature") << type;
    ASSERT_EQ(Refusal(request.dump()), "") << type;
    const json leaves = request.flatten();
    for (const auto& [place, value] : leaves.items()) {
      if (!value.is_number()) continue;
      for (const char* literal : {"1e400", "-1e400"}) {
        const std::string bad = With(request, json::json_pointer(place), literal);
        EXPECT_EQ(NameOf(bad), name) << bad;
        const std::string refusal = Refusal(bad);
        const std::string key = place.substr(place.rfind('/') + 1);
        // A count below 0 is held at a limit, and a box is read only when it is positive.
        const bool negative = literal[0] == '-';
        const bool held = negative && (value.is_number_integer() || key == "BoxDimension");
        if (held) continue;
        if (Unplanned().contains(key)) {
          EXPECT_EQ(refusal, "") << bad;
        } else if (type != "MatteSphereFeature" || place.starts_with("/Feature/Location")) {
          EXPECT_NE(refusal, "") << bad;
        }
      }
    }
  }
}

TEST(BadValues, TheWordsNameTheValue) {
  const struct {
    const char* type;
    const char* place;
    const char* words;
  } cases[] = {
      {"HoleFeature", "/Feature/Radius", "Radius is not finite: inf"},
      {"HoleFeature", "/Feature/Location/0", "Location is not finite: (inf, 0.1004, 2.2)"},
      {"HoleFeature", "/PointSpacing", "PointSpacing is not finite: inf"},
      {"HoleFeature", "/ClearanceZone", "ClearanceZone is not finite: inf"},
      {"HoleFeature", "/ScanLines",
       "ScanLines asks for a plan of 8589934588 drive points; the limit is 1000000"},
      {"EdgeFeature", "/PointSpacing", "PointSpacing is not finite: inf"},
      {"EdgeFeature", "/ClearanceZone", "ClearanceZone is not finite: inf"},
      {"MatteSphereFeature", "/Feature/Location/2",
       "Nominal point is not finite: (-0.349, 0.151, inf)"},
      {"PolygonFeature", "/Feature/Radius", "NominalRadius is not finite: inf"},
      {"RectangleFeature", "/PointSpacing", "PointSpacing is not finite: inf"},
      {"SlotFeature", "/ClearanceZone", "ClearanceZone is not finite: inf"},
      {"StudFeature", "/Feature/Radius", "Radius is not finite: inf"},
      {"ThreadedHoleFeature", "/PointSpacing", "PointSpacing is not finite: inf"},
      {"SurfaceNormalFeature", "/BoxDimension", "BoxDimension is not finite: inf"},
      {"ScanPathFeature", "/PointSpacing", "PointSpacing is not finite: inf"},
      {"ScanPathFeature", "/Feature/Path/Segments/0/1/2", "Path has a point that is not finite"}};
  const auto examples = Examples();
  for (const auto& c : cases) {
    EXPECT_EQ(Refusal(With(examples.at(c.type), json::json_pointer(c.place), "1e400")), c.words)
        << c.type << c.place;
  }
}

TEST(BadValues, ABallOfInfiniteSizeIsRefusedWhenItsPatternIsMade) {
  const json request = Examples().at("MatteSphereFeature");
  for (const char* place : {"/Feature/Radius", "/BoxDimensionRatio", "/ScanLines"}) {
    const FeaturePtr ball(Feature::Create(With(request, json::json_pointer(place), "1e400")));
    const Position aim = ball->GetDrivePoints(false).front();
    std::queue<Position> next;
    ball->SetRawData({{aim.azimuth, aim.elevation, aim.range, 90.0, 1}}, next);
    EXPECT_TRUE(next.empty()) << place;
    EXPECT_NE(ball->GetError(), "") << place;
  }
}

TEST(BadValues, ASpacingOfAPathMayBeInfiniteInEveryForm) {
  const json request = Examples().at("ScanPathFeature");
  for (const char* spacing : {"[1e400,0.02]", "[0.02,1e400]", "[[0.02],[1e400]]"}) {
    EXPECT_EQ(Refusal(With(request, json::json_pointer("/PointSpacing"), spacing)),
              "PointSpacing is not finite: inf")
        << spacing;
  }
}

TEST(BadValues, AKeyThatNobodyReadsIsHarmless) {
  for (const auto& [type, request] : Examples()) {
    for (const char* literal : {"1e400", "\"\xFF\"", "\"\\ud800\"", "[{\"\xC3\":-1e999}]"}) {
      const std::string bad = With(request, json::json_pointer("/Nobody"), literal);
      EXPECT_EQ(NameOf(bad), NameOf(request.dump())) << bad;
      EXPECT_EQ(Refusal(bad), "") << bad;
    }
  }
}

TEST(BadValues, NamesComeBackWithTheReplacementCharacter) {
  for (const auto& [type, request] : Examples()) {
    std::string bad = With(request, json::json_pointer("/Feature/Name"), "\"a\xFF\\ud800z\"");
    const FeaturePtr feature(Feature::Create(bad));
    feature->GetDrivePoints(false);
    feature->AnalyzeFeature();
    EXPECT_EQ(json::parse(feature->GetResult())["Name"], "a\uFFFD\uFFFDz") << bad;
  }
}

}  // namespace
}  // namespace libmfx::features
