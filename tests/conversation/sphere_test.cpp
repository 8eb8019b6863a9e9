// Whole measurements of a tooling ball with the virtual instrument. The analysis draws at random,
// so the tests judge the outcome of many runs.

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "host/errors.h"
#include "measuring.h"
#include "random_cases.h"
#include "sim/rng.h"
#include "sim/scenario.h"

namespace libmfx::features {
namespace {

using nlohmann::json;
using sim::Vec3;
using test::DistanceFrom;

/// One measurement: where the ball is, how it is asked for, what the instrument is like.
struct Case {
  Vec3 center{0.3, 0.1, 2.5};
  double radius = 0.0127;
  Vec3 nominal_off = Vec3::Zero();
  bool star = true;
  sim::Noise noise;
  std::optional<double> behind = 0.3;
  std::uint64_t seed = 1;
};

std::string Request(const Case& c, double radius, json root = json::object()) {
  const Vec3 nominal = c.center + c.nominal_off;
  root["UseStarPattern"] = c.star ? 1 : 0;
  root["Feature"] = {{"$type", "MatteSphereFeature"},
                     {"Location", {nominal.x(), nominal.y(), nominal.z()}},
                     {"Radius", radius}};
  return root.dump();
}

sim::Scene SceneOf(const Case& c) {
  sim::parts::BallSpec ball;
  ball.radius = c.radius;
  ball.stem_radius = 0.3 * c.radius;
  ball.stem_length = 4.0 * c.radius;
  return sim::MakeScene(sim::parts::MakeBall(ball), sim::TiltedPose(c.center, 0.6, 1.0), c.behind,
                        c.noise);
}

/// The result message of a case; null where nothing came back.
json Measure(const Case& c, const std::string& request) {
  try {
    return test::ResultOf(request, SceneOf(c), c.seed);
  } catch (const host::CallError&) {
    return {};
  }
}

json Measure(const Case& c) { return Measure(c, Request(c, c.radius)); }

/// A case of the campaign: ranges of 1 to 8 m, directions all over the front, radii of 6 to 25 mm,
/// a nominal off by up to 2 mm, star and W by turns.
Case RandomCase(sim::Rng& rng, int run) {
  Case c;
  const double range = rng.Uniform(1.0, 8.0);
  c.center = AzElRange(rng.Uniform(-1.0, 1.0), rng.Uniform(-0.6, 0.6), range).ToPoint().xyz();
  c.radius = rng.Uniform(0.006, 0.025);
  const Vec3 direction(rng.Uniform(-1, 1), rng.Uniform(-1, 1), rng.Uniform(-1, 1));
  c.nominal_off = direction.normalized() * rng.Uniform(0.0, 0.002);
  c.star = run % 2 == 0;
  c.seed = static_cast<std::uint64_t>(run) + 1;
  return c;
}

struct Tally {
  int runs = 0;
  int successes = 0;
  int within_20_um = 0;
  double worst = 0.0;
  std::string errors;
};

void Add(Tally& tally, const Case& c, const json& result) {
  ++tally.runs;
  if (result.is_null() || !result["Success"].get<bool>()) {
    tally.errors += (result.is_null() ? "no samples" : result["ErrorMessage"].dump()) + "\n";
    return;
  }
  const double off = DistanceFrom(c.center, result);
  ++tally.successes;
  tally.within_20_um += off <= 20e-6;
  tally.worst = std::max(tally.worst, off);
}

TEST(SphereConversation, FindsTheCentreOverRangesDirectionsRadiiAndPatterns) {
  sim::Rng rng(42);
  Tally tally;
  constexpr int kRuns = test::Draws(100, 20);
  for (int run = 0; run < kRuns; ++run) {
    const Case c = RandomCase(rng, run);
    Add(tally, c, Measure(c));
  }
  EXPECT_GE(tally.successes, kRuns * 98 / 100) << tally.errors;
  EXPECT_GE(tally.within_20_um, 0.95 * tally.successes);
  EXPECT_LE(tally.worst, 0.2e-3);
  RecordProperty("worst_um", std::to_string(tally.worst * 1e6));
}

TEST(SphereConversation, WithoutNoiseTheCentreIsExact) {
  for (const bool star : {true, false}) {
    Case c;
    c.noise = sim::Noise::Off();
    c.star = star;
    const json result = Measure(c);
    ASSERT_EQ(result["Success"], true) << result["ErrorMessage"];
    EXPECT_LT(DistanceFrom(c.center, result), 1e-8);
  }
}

TEST(SphereConversation, StrayPointsEndInAnErrorAndNotInAWrongCentre) {
  // Every third range means nothing: some measurements fail, those that succeed are right.
  sim::Rng rng(7);
  Tally tally;
  for (int run = 0; run < test::Draws(40, 10); ++run) {
    Case c = RandomCase(rng, run);
    c.noise.stray = 0.3;
    Add(tally, c, Measure(c));
  }
  EXPECT_LT(tally.successes, tally.runs);
  EXPECT_LE(tally.worst, 0.2e-3);
}

TEST(SphereConversation, ASceneWithoutTheBallHasNoSamples) {
  Case c;
  c.behind.reset();
  c.nominal_off = Vec3(0.1, 0.0, 0.0);
  const std::unique_ptr<Feature> feature(Feature::Create(Request(c, c.radius)));
  host::SceneDriver driver(SceneOf(c), 1);
  EXPECT_THROW(test::Converse(*feature, driver), host::CallError);
  EXPECT_EQ(feature->GetError(), "") << "an empty stroke is no error of the measurement's own";
  EXPECT_FALSE(feature->GetIsSuccessful());
}

TEST(SphereConversation, ABackgroundInPlaceOfTheBallIsAnError) {
  // Noise lends a plane any radius: which of the errors it is hangs on the draws of the scene, and
  // on those of the sampling, which differ from run to run.
  Case c;
  c.nominal_off = Vec3(0.1, 0.0, 0.0);
  for (std::uint64_t seed = 1; seed <= 20; ++seed) {
    c.seed = seed;
    const json result = Measure(c);
    EXPECT_EQ(result["Success"], false);
    const std::string text = result["ErrorMessage"];
    EXPECT_TRUE(text.find("The best spur is bad. (ERROR_SF_LSF = -5)") != std::string::npos ||
                text.find("less than the fit threshold! (ERROR_QUALITY)") != std::string::npos ||
                text.find("The fit quality is lower than the threshold!") != std::string::npos)
        << text;
    EXPECT_GT(result["ScanData"]["Count"], 100) << "a failed result carries its samples";
  }
}

TEST(SphereConversation, ABallOfAnotherRadiusIsAnError) {
  const Case c;
  for (const double radius : {c.radius + 0.0005, c.radius - 0.0005}) {
    const json result = Measure(c, Request(c, radius));
    EXPECT_EQ(result["Success"], false) << radius;
    EXPECT_NE(result["ErrorMessage"].get<std::string>().find("ERROR_QUALITY"), std::string::npos)
        << result["ErrorMessage"];
  }
}

TEST(SphereConversation, AThresholdAboveAllQualitiesIsAnError) {
  const Case c;
  const json result = Measure(c, Request(c, c.radius, {{"QualityThreshold", 99.0}}));
  EXPECT_EQ(result["ErrorMessage"],
            "SphereFit::FilterByDistanceFromAzElMedianSpur(): Too many bad points. "
            "(ERROR_SF_FILTER = -10)");
}

TEST(SphereConversation, AThresholdAboveTheFitIsAnErrorOfItsQuality) {
  Case c;
  c.noise.quality_peak = 100.0;
  c.noise.quality_incidence = 0.0;
  c.noise.quality_noise = 0.0;
  c.noise.range = 3e-4;
  c.noise.stray = 0.0;
  const json result = Measure(c, Request(c, c.radius, {{"QualityThreshold", 95.0}}));
  EXPECT_EQ(result["Success"], false);
  EXPECT_NE(result["ErrorMessage"], "");
}

TEST(SphereConversation, ABoxThatMissesMostOfTheBallIsAHardwareError) {
  // The ball is much smaller than the request says, and what misses it brings nothing back.
  Case c;
  c.radius = 0.003;
  c.behind.reset();
  const json result = Measure(c, Request(c, 0.0127));
  EXPECT_EQ(result["Success"], false);
  EXPECT_NE(result["ErrorMessage"].get<std::string>().find("ERROR_SF_HARDWARE = -16"),
            std::string::npos)
      << result["ErrorMessage"];
}

TEST(SphereConversation, LostReturnsOfEveryKindDoNoHarm) {
  for (const sim::LostReturn lost :
       {sim::LostReturn::kDrop, sim::LostReturn::kZero, sim::LostReturn::kNan}) {
    // Whatever is steeper than the quality floor is lost: a few of the star's outermost samples.
    Case c;
    c.noise.quality_floor = 72.0;
    c.noise.lost = lost;
    const json result = Measure(c);
    ASSERT_EQ(result["Success"], true) << result["ErrorMessage"];
    EXPECT_LT(DistanceFrom(c.center, result), 20e-6);
  }
}

TEST(SphereConversation, TheExampleRequestMeasuresItsScene) {
  const std::string examples = LIBMFX_SOURCE_DIR "/examples/";
  std::ifstream file(examples + "requests/matte-sphere.json");
  const std::string request((std::istreambuf_iterator<char>(file)), {});
  const sim::Scene scene = sim::Scene::FromFile(examples + "scenes/matte-sphere.json");
  const json result = test::ResultOf(request, scene, scene.seed);
  ASSERT_EQ(result["Success"], true) << result["ErrorMessage"];
  EXPECT_LT(DistanceFrom(scene.TruthInInstrument().points.at("center"), result), 20e-6);
}

}  // namespace
}  // namespace libmfx::features
