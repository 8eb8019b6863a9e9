// Whole measurements of round holes with the virtual instrument, against known truth: on the
// nominal, off it, found by search, and the failures.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <nlohmann/json.hpp>
#include <numbers>
#include <optional>
#include <vector>

#include "measuring.h"
#include "random_cases.h"
#include "sim/rng.h"
#include "sim/scenario.h"

namespace libmfx::features {
namespace {

using nlohmann::json;
using sim::Vec3;
using test::Triple;
using test::VectorIn;

/// Where a hole stands and how it is asked for.
struct Case {
  double radius = 0.006;
  double nominal_radius = 0.0;  ///< 0: the true one
  Vec3 at{0.1, 0.05, 2.0};
  double incidence = 0.3;  ///< radians
  double roll = 0.5;
  Vec3 nominal_off = Vec3::Zero();  ///< in the plate's frame
  double thickness = 0.01;          ///< of the plate, and of the wall
  double floor = 0.0;               ///< depth of a blind hole; 0: through
  double chamfer_depth = 0.0;
  double chamfer_angle = std::numbers::pi / 4;
  double plate = 0.2;  ///< length and width of the plate
  std::optional<double> behind = 0.05;
  std::uint64_t seed = 1;
  json extra = json::object();  ///< further keys of the request

  sim::Pose pose() const { return sim::TiltedPose(at, incidence, roll); }
};

std::string RequestOf(const Case& c) {
  const sim::Pose pose = c.pose();
  json request = c.extra;
  if (c.chamfer_depth > 0.0) {
    request["ChamferDepth"] = c.chamfer_depth;
    request["ChamferAngle"] = c.chamfer_angle;
  }
  request["Feature"] = {{"$type", "HoleFeature"},
                        {"Location", Triple(pose.Point(c.nominal_off))},
                        {"Normal", Triple(pose.rotation.col(2))},
                        {"Radius", c.nominal_radius > 0.0 ? c.nominal_radius : c.radius}};
  return request.dump();
}

sim::Scene SceneOf(const Case& c) {
  auto part = sim::parts::RoundOpening(c.radius);
  part.thickness = c.thickness;
  part.depth = c.floor;
  part.chamfer_depth = c.chamfer_depth;
  part.chamfer_angle = c.chamfer_angle;
  part.length = part.width = c.plate;
  return sim::MakeScene(sim::parts::MakeOpeningPlate(part), c.pose(), c.behind);
}

/// One measurement, re-scans included.
json Measure(const Case& c) { return test::ResultOf(RequestOf(c), SceneOf(c), c.seed, 3); }

/// Distance of the measured centre from the true one, metres; huge for a failure.
double OffBy(const json& result, const Case& c) {
  if (!result["Success"].get<bool>()) return 1e9;
  return test::DistanceFrom(c.at, result);
}

/// Radii of 2.5 to 10 mm, ranges of 1 to 5 m, a nominal off by up to 1 mm; something behind the
/// opening every other time.
Case RandomCase(sim::Rng& rng, int run, double low_degrees, double high_degrees) {
  constexpr double kDegree = std::numbers::pi / 180;
  Case c;
  c.radius = rng.Uniform(0.0025, 0.01);
  c.at =
      AzElRange(rng.Uniform(-0.8, 0.8), rng.Uniform(-0.4, 0.4), rng.Uniform(1, 5)).ToPoint().xyz();
  c.incidence = rng.Uniform(low_degrees, high_degrees) * kDegree;
  c.roll = rng.Uniform(0.0, 6.28);
  const Vec3 off(rng.Uniform(-1, 1), rng.Uniform(-1, 1), rng.Uniform(-1, 1));
  c.nominal_off = off.normalized() * rng.Uniform(0.0, 0.001);
  if (run % 2 == 0) c.behind.reset();
  c.seed = static_cast<std::uint64_t>(run) + 1;
  return c;
}

TEST(HoleConversation, OnTheNominal) {
  const Case c;
  const json result = Measure(c);
  EXPECT_LT(OffBy(result, c), 60e-6) << result["ErrorMessage"];
  EXPECT_EQ(result["Radius"], 0.006);
  EXPECT_GT(result["Quality"].get<double>(), 70.0);
}

TEST(HoleConversation, CentresLieWithin60MicrometresAndNormalsWithin5Milliradians) {
  constexpr int kRuns = test::Draws(120, 12);
  sim::Rng rng(41);
  std::vector<double> centers, normals;
  for (int run = 0; run < kRuns; ++run) {
    const Case c = RandomCase(rng, run, 0.0, 45.0);
    const json result = Measure(c);
    if (!result["Success"].get<bool>()) continue;
    centers.push_back(OffBy(result, c));
    const double cosine = VectorIn(result, "Normal").dot(c.pose().rotation.col(2));
    normals.push_back(std::acos(std::min(1.0, cosine)));
  }
  ASSERT_GE(centers.size(), kRuns * 98 / 100);
  EXPECT_LE(*std::max_element(centers.begin(), centers.end()), 0.5e-3);
  if (test::kSanitized) return;  // too few for a percentile
  EXPECT_LE(test::Percentile95(centers), 60e-6);
  EXPECT_LE(test::Percentile95(normals), 5e-3);
}

constexpr double kIncidences[] = {0.0, 0.2, 0.5, 0.8, 1.0};

TEST(HoleConversation, WithAndWithoutWall) {
  for (const double incidence : kIncidences) {
    for (const double thickness : {0.0005, 0.002, 0.03}) {
      for (const std::optional<double> behind : {std::optional<double>(), std::optional(0.1)}) {
        Case c;
        c.incidence = incidence;
        c.thickness = thickness;
        c.behind = behind;
        const json result = Measure(c);
        EXPECT_LT(OffBy(result, c), 150e-6)
            << incidence << " rad, wall " << thickness << " m: " << result["ErrorMessage"];
      }
    }
  }
}

/// Right behind the opening a line of the default clearance sees as much of the plate behind as of
/// the surface. With a clearance of 1.6 radii and more the surface outweighs it.
TEST(HoleConversation, SomethingBrightRightBehindTheOpening) {
  for (const double incidence : kIncidences) {
    for (const double gap : {0.001, 0.003, 0.01}) {
      Case c;
      c.incidence = incidence;
      c.thickness = 0.0005;
      c.behind = c.thickness + gap;
      const json tight = Measure(c);
      if (tight["Success"].get<bool>()) {
        EXPECT_LT(OffBy(tight, c), 200e-6) << incidence << " rad, " << gap << " m";
      } else {
        EXPECT_NE(tight["ErrorMessage"], "") << incidence << " rad, " << gap << " m";
      }
      c.extra["ClearanceZone"] = 2.0 * c.radius;
      const json wide = Measure(c);
      EXPECT_LT(OffBy(wide, c), 200e-6)
          << incidence << " rad, " << gap << " m: " << wide["ErrorMessage"];
    }
  }
}

TEST(HoleConversation, ABlindHole) {
  for (const double incidence : {0.1, 0.5, 0.8}) {
    Case c;
    c.incidence = incidence;
    c.floor = 0.004;
    c.extra["ClearanceZone"] = 2.0 * c.radius;
    const json result = Measure(c);
    EXPECT_LT(OffBy(result, c), 150e-6) << incidence << ": " << result["ErrorMessage"];
  }
}

TEST(HoleConversation, AChamferedHole) {
  for (const double incidence : {0.1, 0.25, 0.6, 0.8}) {
    for (const double angle : {0.5236, 0.7854}) {
      Case c;
      c.radius = 0.007;
      c.incidence = incidence;
      c.chamfer_depth = 0.0005;
      c.chamfer_angle = angle;
      const json result = Measure(c);
      EXPECT_LT(OffBy(result, c), 150e-6)
          << incidence << " rad, chamfer of " << angle << " rad: " << result["ErrorMessage"];
      EXPECT_EQ(result["Radius"], 0.007) << "of the bore";
    }
  }
}

TEST(HoleConversation, OffBy2MillimetresWithRescan) {
  for (const double turn : {0.0, 2.0, 4.0}) {
    Case c;
    c.nominal_off = Vec3(0.002 * std::cos(turn), 0.002 * std::sin(turn), 0.0);
    c.extra["RescanThreshold"] = 0.0005;
    const json result = Measure(c);
    EXPECT_LT(OffBy(result, c), 100e-6) << result["ErrorMessage"];
  }
}

/// The conversation with a search: the spiral, then the star around what it found, and its
/// re-scans.
json SearchAndMeasure(const Case& c) {
  json request = json::parse(RequestOf(c));
  request["SearchEnabled"] = true;
  const std::unique_ptr<Feature> hole(Feature::Create(request.dump()));
  test::WatchedDriver driver(SceneOf(c), c.seed);
  EXPECT_TRUE(host::ResetKeepingSettings(*hole, true));
  const host::Conversation outcome = test::Converse(*hole, driver, 3);
  EXPECT_GE(driver.steps.size(), 2U);
  driver.steps.resize(2);
  EXPECT_THAT(driver.steps, testing::ElementsAre("SEARCH", "FEATURE_SCAN_PATTERN"));
  return json::parse(outcome.result);
}

TEST(HoleConversation, OffBy8MillimetresFoundBySearch) {
  for (const double turn : {0.0, 2.0, 4.0}) {
    Case c;
    c.nominal_off = Vec3(0.008 * std::cos(turn), 0.008 * std::sin(turn), 0.0);
    c.extra = {{"RescanThreshold", 0.0005}, {"SearchEnabled", true}};
    EXPECT_FALSE(Measure(c)["Success"].get<bool>()) << "lost without a search";
    const json result = SearchAndMeasure(c);
    EXPECT_LT(OffBy(result, c), 100e-6) << result["ErrorMessage"];
  }
}

TEST(HoleConversation, ASearchFindsHolesOffByTheMultipleOfTheRadius) {
  constexpr int kRuns = test::Draws(30, 6);
  sim::Rng rng(43);
  int found = 0;
  for (int run = 0; run < kRuns; ++run) {
    Case c = RandomCase(rng, run, 0.0, 45.0);
    const double turn = rng.Uniform(0.0, 6.28);
    c.nominal_off = Vec3(std::cos(turn), std::sin(turn), 0.0) * rng.Uniform(0.0, 2.0 * c.radius);
    c.extra["RescanThreshold"] = 0.0005;
    found += OffBy(SearchAndMeasure(c), c) < 200e-6;
  }
  EXPECT_GE(found, kRuns * 95 / 100);
}

std::string ErrorOf(const Case& c) {
  const json result = Measure(c);
  EXPECT_FALSE(result["Success"].get<bool>());
  return result.value("ErrorMessage", "");
}

TEST(HoleConversation, NoHoleAtAll) {
  Case c;
  c.radius = 1e-5;
  c.nominal_radius = 0.006;
  EXPECT_EQ(ErrorOf(c),
            "Hole::Analyze(): Fit outer circle is invalid. Too many points inside the hole.");
}

TEST(HoleConversation, NothingThere) {
  Case c;
  c.extra["ScanQualityThreshold"] = 101;
  EXPECT_EQ(ErrorOf(c), "Hole::Analyze(): All scanned data was filtered!");
}

TEST(HoleConversation, AHoleOfTheWrongSize) {
  for (const double nominal : {0.0048, 0.0075}) {
    Case c;
    c.nominal_radius = nominal;
    EXPECT_NE(ErrorOf(c), "") << nominal;
  }
}

TEST(HoleConversation, HalfOfTheHoleMissing) {
  // The hole is open to the border: the plate ends across it, and half of the lines see nothing.
  Case whole;
  const std::unique_ptr<Feature> hole(Feature::Create(RequestOf(whole)));
  test::WatchedDriver driver(SceneOf(whole), 1);
  driver.hides = [&](const RawDataPoint& sample) {
    return !(whole.pose().Inverse(sim::SamplePoint(sample)).x() < 0.0);
  };
  const json result = json::parse(test::Converse(*hole, driver).result);
  // Half of a rim still determines its circle, so the answer is there, and right.
  ASSERT_TRUE(result["Success"].get<bool>()) << result["ErrorMessage"];
  EXPECT_LT(OffBy(result, whole), 100e-6);
}

TEST(HoleConversation, ASurfaceTurnedFromItsNominalIsRefused) {
  Case c;
  const std::unique_ptr<Feature> hole([&] {
    json request = json::parse(RequestOf(c));
    const Vec3 n = sim::TiltedPose(c.at, c.incidence + 0.3, c.roll).rotation.col(2);
    request["Feature"]["Normal"] = Triple(n);
    return Feature::Create(request.dump());
  }());
  host::SceneDriver driver(SceneOf(c), 1);
  test::Converse(*hole, driver);
  EXPECT_EQ(hole->GetError(),
            "Hole::FitRobustPlane(): The normal vector of the fit plane exceeds the angle to "
            "nominal rejection threshold.");
}

TEST(HoleConversation, AThresholdAtTheSurfacesOwnQualityIsDoubted) {
  // At 2 m and this angle the surface comes back with 78 +- 2.
  Case c;
  c.incidence = 0.69;
  c.extra["ScanQualityThreshold"] = 76.5;
  const json doubted = Measure(c);
  ASSERT_TRUE(doubted.contains("Warnings")) << doubted["ErrorMessage"];
  EXPECT_NE(doubted["Warnings"].dump().find("lie below the quality threshold of 76.5"),
            std::string::npos)
      << doubted["Warnings"];
  c.extra["ScanQualityThreshold"] = 70.0;
  const json sure = Measure(c);
  EXPECT_LT(OffBy(sure, c), 80e-6);
  EXPECT_FALSE(sure.contains("Warnings"));
}

}  // namespace
}  // namespace libmfx::features
