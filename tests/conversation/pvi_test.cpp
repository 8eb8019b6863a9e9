// Whole measurements of surface points with the virtual instrument, against known truth.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <nlohmann/json.hpp>
#include <numbers>

#include "measuring.h"
#include "random_cases.h"
#include "sim/rng.h"
#include "sim/scenario.h"

namespace libmfx::features {
namespace {

using nlohmann::json;
using sim::Vec3;
using test::DistanceFrom;
using test::Triple;
using test::VectorIn;

/// A surface seen under `incidence`, whose nominal stands `depth` in front of it along the beam.
struct Case {
  Vec3 at{0.2, 0.1, 2.0};
  double incidence = 0.3;
  double roll = 0.0;
  double depth = 0.0;
  std::uint64_t seed = 1;
  sim::parts::PlaneSpec plane;
  json request = json::object();

  sim::Pose pose() const { return sim::TiltedPose(at, incidence, roll); }
};

json Measure(const Case& c) {
  json request = c.request;
  const sim::Pose pose = c.pose();
  const Vec3 nominal = c.at * (1.0 - c.depth / c.at.norm());
  json& feature = request["Feature"];
  feature["$type"] = "SurfaceNormalFeature";
  feature["Location"] = Triple(nominal);
  if (!feature.contains("Normal")) feature["Normal"] = Triple(pose.rotation.col(2));
  const sim::Scene scene = sim::MakeScene(sim::parts::MakePlane(c.plane), pose, 0.05);
  return test::ResultOf(request.dump(), scene, c.seed);
}

TEST(PviConversation, PointsAndNormalsOverRangesAndIncidences) {
  sim::Rng rng(7);
  int point_good = 0;
  int normal_good = 0;
  double worst = 0.0;
  constexpr int kRuns = test::Draws(100, 40);
  for (int run = 0; run < kRuns; ++run) {
    Case c;
    c.at = AzElRange(rng.Uniform(-1, 1), rng.Uniform(-0.5, 0.5), rng.Uniform(1, 5)).ToPoint().xyz();
    c.incidence = rng.Uniform(0.0, std::numbers::pi / 3);
    c.roll = rng.Uniform(0.0, 6.28);
    c.seed = static_cast<std::uint64_t>(run) + 1;
    c.request = {{"BoxDimension", 0.004}, {"NumberOfPoints", 36}};
    const json result = Measure(c);
    ASSERT_TRUE(result["Success"].get<bool>()) << run << " " << result["ErrorMessage"];
    const double off = DistanceFrom(c.at, result);
    const double cosine = VectorIn(result, "Normal").dot(c.pose().rotation.col(2));
    point_good += off <= 15e-6 ? 1 : 0;
    normal_good += std::acos(std::min(1.0, cosine)) <= 0.010 ? 1 : 0;
    worst = std::max(worst, off);
  }
  EXPECT_GE(point_good, kRuns * 95 / 100);
  EXPECT_GE(normal_good, kRuns * 95 / 100);
  EXPECT_LT(worst, 1e-4);
}

void ExpectFound(const Case& c) {
  const json result = Measure(c);
  ASSERT_TRUE(result["Success"].get<bool>()) << result["ErrorMessage"];
  EXPECT_LT(DistanceFrom(c.at, result), 3e-5);
}

TEST(PviConversation, LineOfSightAlongTheNormal) {
  Case c;
  c.at = Vec3(0, 0, 2);
  c.incidence = 0.0;
  ExpectFound(c);
}

TEST(PviConversation, ASurfaceBehindItsNominalIsFoundOnTheLineOfSight) {
  Case c;
  c.depth = 0.004;
  ExpectFound(c);
}

TEST(PviConversation, NormalThatFacesAway) {
  Case c;
  c.request["Feature"]["Normal"] = Triple(c.at.normalized());
  EXPECT_EQ(Measure(c)["ErrorMessage"], "ERROR_PVI_NORMAL_DIR");
}

TEST(PviConversation, ABoxOverTheEdgeOfAPlateEndsInAnErrorOrNearTheTruth) {
  // The plane ends within the box; what lies behind it returns from 50 mm deeper.
  int failures = 0;
  for (int i = 0; i <= 10; ++i) {
    Case c;
    c.plane.length = 0.003 * 0.1 * i;
    c.seed = static_cast<std::uint64_t>(i) + 1;
    c.plane.length = std::max(c.plane.length, 1e-4);
    const json result = Measure(c);
    if (!result["Success"].get<bool>()) {
      ++failures;
      continue;
    }
    // A success stands on one of the two surfaces, never between them.
    const Vec3 normal = c.pose().rotation.col(2);
    const double height = (VectorIn(result, "Location") - c.at).dot(normal);
    EXPECT_LT(std::min(std::abs(height), std::abs(height + 0.05)), 1e-4) << i;
  }
  EXPECT_GT(failures, 0);
}

}  // namespace
}  // namespace libmfx::features
