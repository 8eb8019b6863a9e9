// Whole measurements of studs and threaded holes with the virtual instrument, against known truth:
// on the nominal, off it, found by search, and the failures.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <nlohmann/json.hpp>

#include "measuring.h"
#include "random_cases.h"
#include "sim/scenario.h"

namespace libmfx::features {
namespace {

using nlohmann::json;
using sim::Thread;
using sim::Vec3;
using test::Triple;
using test::VectorIn;

/// A cylinder and how it is asked for. Lengths are metres, angles radians.
struct Case {
  bool bore = false;
  std::optional<Thread> thread;
  double radius = 0.005;  ///< of a smooth wall
  double size = 0.02;     ///< height of a stud, depth of a bore
  double incidence = 0.7;
  double tolerance = 0.002;  ///< of the radius
  double beyond = -0.002;    ///< how far the window ends above the stud or below the floor
  Vec3 at{0.15, -0.1, 1.8};
  Vec3 nominal_off = Vec3::Zero();  ///< in the part's frame
  json keys = json::object();       ///< more keys of the request's root
  sim::Noise noise = {};
  std::uint64_t seed = 1;

  sim::Pose pose() const { return sim::TiltedPose(at, incidence, 0.5); }
  Vec3 axis() const { return (bore ? -1.0 : 1.0) * pose().rotation.col(2); }
  /// What the request and the result mean: of a thread the crests.
  double TrueRadius() const {
    if (!thread) return radius;
    return bore ? thread->MinorRadius() : thread->major_radius;
  }

  json Request() const {
    json request = keys;
    request["$id"] = "C1";
    request["LineSpacing"] = 0.1 * radius;
    request["Feature"] = {{"$type", bore ? "ThreadedHoleFeature" : "StudFeature"},
                          {"Location", Triple(at + pose().rotation * nominal_off)},
                          {"Axis", Triple(axis())},
                          {"Radius", TrueRadius()},
                          {"Offset", 0.002},
                          {"Height", size + beyond},
                          {"RadiusTolerance", tolerance}};
    return request;
  }

  sim::Scene Scene() const {
    sim::parts::PartPtr part;
    if (bore) {
      sim::parts::BoreSpec spec;
      spec.radius = radius;
      spec.thread = thread;
      spec.depth = size;
      part = sim::parts::MakeBore(spec);
    } else {
      sim::parts::StudSpec spec;
      spec.radius = radius;
      spec.thread = thread;
      spec.height = size;
      part = sim::parts::MakeStud(spec);
    }
    return sim::MakeScene(part, pose(), std::nullopt, noise);
  }
};

void ExpectTruth(const Case& c, const json& result, double length, double angle) {
  ASSERT_TRUE(result["Success"].get<bool>()) << result["ErrorMessage"];
  const Vec3 off = VectorIn(result, "Location") - c.at;
  EXPECT_LT(off.cross(c.axis()).norm(), length);
  EXPECT_LT(VectorIn(result, "Axis").cross(c.axis()).norm(), angle);
  EXPECT_GT(VectorIn(result, "Axis").dot(c.axis()), 0.0);
  EXPECT_NEAR(result["Radius"].get<double>(), c.TrueRadius(), length);
}

json Measure(const Case& c) { return test::ResultOf(c.Request().dump(), c.Scene(), c.seed); }

TEST(StudMeasurement, SmoothWithoutNoiseIsExact) {
  Case c;
  c.noise = sim::Noise::Off();
  const json result = Measure(c);
  ExpectTruth(c, result, 1e-7, 1e-6);  // results are written with 8 decimals
  EXPECT_EQ(result["$type"], "StudTargetResult");
  EXPECT_EQ(result["ScanData"]["DataFormat"], "LR_AER");
  EXPECT_EQ(result["Target"], "C1");
  // The centre lies at the bottom offset.
  EXPECT_NEAR((VectorIn(result, "Location") - c.at).dot(c.axis()), 0.002, 1e-7);
}

TEST(StudMeasurement, SmoothWithNoise) { ExpectTruth(Case(), Measure(Case()), 20e-6, 2e-3); }

TEST(StudMeasurement, ThreadGivesTheMajorRadius) {
  Case c;
  c.thread = Thread::Metric("M10");
  ExpectTruth(c, Measure(c), 30e-6, 2e-3);
}

TEST(ThreadedHoleMeasurement, SmoothBore) {
  Case c;
  c.bore = true;
  const json result = Measure(c);
  ExpectTruth(c, result, 30e-6, 4e-3);
  EXPECT_EQ(result["$type"], "ThreadedHoleTargetResult");
}

TEST(ThreadedHoleMeasurement, ThreadGivesTheMinorRadius) {
  Case c;
  c.bore = true;
  c.thread = Thread::Metric("M12");
  c.radius = 0.006;
  ExpectTruth(c, Measure(c), 30e-6, 4e-3);
}

/// A threaded bore as deep as four major radii.
Case ThreadedBore(const char* name, double incidence, const Vec3& at) {
  Case c;
  c.bore = true;
  c.thread = Thread::Metric(name);
  c.radius = 0.25 * c.thread->major_radius + 0.001;  // close lines
  c.size = 4.0 * c.thread->major_radius;
  c.incidence = incidence;
  c.tolerance = 0.001;
  c.at = at;
  return c;
}

TEST(ThreadedHoleMeasurement, AThreadFinerThanTheBeam) {
  // At 5 m the beam is 0.375 mm wide and a pitch, as it is seen, from 0.34 mm on.
  for (const double range : {3.0, 4.0, 5.0}) {
    for (const char* name : {"M4", "M5", "M6"}) {
      const Case c = ThreadedBore(name, 0.5, Vec3(0.3, -0.2, range));
      SCOPED_TRACE(std::string(name) + " at " + std::to_string(range));
      ExpectTruth(c, Measure(c), 50e-6, 0.01);
    }
  }
}

TEST(ThreadedHoleMeasurement, AThreadSeenAlongItsAxis) {
  for (const char* name : {"M5", "M8", "M12", "M20"}) {
    Case c = ThreadedBore(name, 0.25, Vec3(-0.2, 0.1, 3.0));
    c.keys["ScanQualityThreshold"] = 20.0;
    SCOPED_TRACE(name);
    ExpectTruth(c, Measure(c), 50e-6, 0.01);
  }
}

TEST(ThreadedHoleMeasurement, AThreadFinerThanTheBeamWithFixedAxisAndRadius) {
  Case c = ThreadedBore("M4", 0.5, Vec3(0.3, -0.2, 4.0));
  c.keys = {{"FixAxis", true}, {"FixRadius", true}};
  const json result = Measure(c);
  ExpectTruth(c, result, 50e-6, 1e-7);
  EXPECT_NEAR(result["Radius"].get<double>(), c.TrueRadius(), 1e-8);
}

TEST(StudMeasurement, FixedAxisAndRadiusStay) {
  Case c;
  c.keys = {{"FixAxis", true}, {"FixRadius", true}};
  const json result = Measure(c);
  ExpectTruth(c, result, 20e-6, 1e-7);
  EXPECT_EQ(result["Radius"].get<double>(), c.radius);
}

TEST(StudMeasurement, AMovedCentreAsksForAnotherPass) {
  Case c;
  c.nominal_off = Vec3(0.0006, 0.0, 0.0);
  // The measured centre lies 2 mm up the axis from the nominal one, and 0.6 mm beside it.
  c.keys["RescanThreshold"] = 0.00205;
  const std::unique_ptr<Feature> feature(Feature::Create(c.Request().dump()));
  host::SceneDriver driver(c.Scene(), c.seed);
  test::Converse(*feature, driver);
  EXPECT_FALSE(feature->GetIsSuccessful());
  EXPECT_EQ(feature->GetDriveStep(), RESCAN);
  const auto nominal = feature->GetSetting<PointXYZW>(L"NominalCylinderCenter");
  EXPECT_EQ(nominal, feature->GetSetting<PointXYZW>(L"FittedCylinderCenter"));
  EXPECT_EQ(feature->GetSetting<PointXYZW>(L"NominalCylinderAxis"),
            feature->GetSetting<PointXYZW>(L"FittedCylinderAxis"));
  EXPECT_LT((nominal.xyz() - c.at).cross(c.axis()).norm(), 20e-6);
  // The next pass, from there, succeeds.
  const std::unique_ptr<Feature> again(Feature::Create(c.Request().dump()));
  const host::Conversation outcome = test::Converse(*again, driver, 3);
  EXPECT_TRUE(outcome.successful) << outcome.error;
  EXPECT_EQ(outcome.rescans, 1);
}

TEST(StudMeasurement, SamplesBelowTheThresholdAreAllFiltered) {
  Case c;
  c.keys["QualityThreshold"] = 1000.0;
  const json result = Measure(c);
  EXPECT_FALSE(result["Success"].get<bool>());
  EXPECT_EQ(result["ErrorMessage"], "All scanned data was filtered!");
  EXPECT_GT(result["ScanData"]["Count"].get<int>(), 1000);
  EXPECT_FALSE(result.contains("Location"));
}

TEST(StudMeasurement, AMissedStudIsAnErrorText) {
  Case c;
  c.nominal_off = Vec3(0.03, 0.0, 0.0);
  EXPECT_EQ(Measure(c)["ErrorMessage"], "Too few inlier points for cylinder fitting");
}

TEST(StudMeasurement, TheFittersValidationIsAnErrorText) {
  Case c;
  const std::unique_ptr<Feature> feature(Feature::Create(c.Request().dump()));
  host::SceneDriver driver(c.Scene(), c.seed);
  EXPECT_TRUE(test::Converse(*feature, driver).successful);
  feature->SetSetting<double>(L"NominalCylinderBottomOffset", 1.0);
  feature->AnalyzeFeature();
  EXPECT_EQ(feature->GetError(),
            "nominalCylinderBottomOffset must be less than nominalCylinderHeight");
}

TEST(StudMeasurement, TheSameSamplesGiveTheSameBytes) {
  Case c;
  c.thread = Thread::Metric("M10");
  EXPECT_EQ(Measure(c).dump(), Measure(c).dump());
}

TEST(StudMeasurement, ACrestBesideTheTrueOneIsRefused) {
  // A threshold above what most of the wall returns leaves patches of flanks, on which a profile
  // comes to rest in more than one place.
  int refused = 0;
  for (const char* name : {"M4", "M16"}) {
    for (std::uint64_t seed = 12; seed > 12 - test::Draws(12, 2); --seed) {
      Case c;
      c.thread = Thread::Metric(name);
      c.radius = c.thread->major_radius;
      c.size = 5.0 * c.radius;
      c.at = Vec3(-0.35, -1.52, 4.03);
      c.incidence = 1.0 + 0.02 * static_cast<double>(seed);
      c.tolerance = 0.003;
      c.keys["QualityThreshold"] = 80.0;
      c.seed = seed;
      const json result = Measure(c);
      if (!result["Success"].get<bool>()) {
        ++refused;
        continue;
      }
      EXPECT_NEAR(result["Radius"].get<double>(), c.TrueRadius(), 0.2 * c.thread->pitch)
          << name << seed;
    }
  }
  EXPECT_GT(refused, 0);
}

/// A measurement that begins with a search.
json SearchAndMeasure(const Case& c) {
  const std::unique_ptr<Feature> feature(Feature::Create(c.Request().dump()));
  test::WatchedDriver driver(c.Scene(), c.seed);
  EXPECT_TRUE(host::ResetKeepingSettings(*feature, true));
  const host::Conversation outcome = test::Converse(*feature, driver);
  EXPECT_THAT(driver.steps, testing::ElementsAre("SEARCH", "FEATURE_SCAN_PATTERN"));
  return json::parse(outcome.result);
}

TEST(ThreadedHoleMeasurement, OffBySixMillimetresFoundBySearch) {
  Case c;
  c.bore = true;
  c.radius = 0.008;
  c.nominal_off = Vec3(0.005, -0.003, 0.0);
  c.keys["SearchEnabled"] = true;
  const json result = SearchAndMeasure(c);
  ExpectTruth(c, result, 40e-6, 4e-3);
}

TEST(StudMeasurement, OffBySixMillimetresFoundBySearch) {
  Case c;
  c.radius = 0.008;
  c.size = 0.012;
  c.incidence = 0.5;
  c.keys["QualityThreshold"] = 40.0;
  c.beyond = 0.018;  // so that the raster reaches far enough below the foot
  // The gap that the search finds is the stud's foot and its shadow behind it.
  c.tolerance = 0.006;
  c.nominal_off = Vec3(0.005, -0.003, 0.0);
  c.keys["SearchEnabled"] = true;
  const json result = SearchAndMeasure(c);
  ExpectTruth(c, result, 40e-6, 4e-3);
}

}  // namespace
}  // namespace libmfx::features
