// Whole measurements of borders with the virtual instrument, against known truth.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <numbers>
#include <tuple>
#include <vector>

#include "measuring.h"
#include "random_cases.h"
#include "sim/rng.h"
#include "sim/scenario.h"

namespace libmfx::features {
namespace {

using nlohmann::json;
using sim::Vec3;
using sim::parts::EdgeSpec;
using test::Triple;

constexpr double kDegree = std::numbers::pi / 180.0;

/// A border that stands somewhere, and how it is asked for.
struct Case {
  EdgeSpec part = {};
  Vec3 at{0.1, 0.05, 2.0};          ///< the theoretical corner
  double incidence = 0.7;           ///< on the surface, seen from the border's outside
  double roll = 0.5;                ///< of the whole about the line of sight
  double lateral = 0.0;             ///< of the nominal edge point from the corner, outwards
  double offset = 0.001;            ///< depth of the nominal edge point
  Vec3 nominal_off = Vec3::Zero();  ///< outwards, along the border, along the normal
  std::optional<double> behind = {};
  json keys = json::object();
  std::uint64_t seed = 1;

  /// Columns: outwards, along, normal.
  Eigen::Matrix3d Axes() const {
    const sim::Pose facing = sim::Pose::Facing(at);
    const Vec3 view = facing.rotation.col(2);
    const Vec3 side =
        std::cos(roll) * facing.rotation.col(0) + std::sin(roll) * facing.rotation.col(1);
    Eigen::Matrix3d axes;
    axes.col(0) = std::sin(incidence) * view + std::cos(incidence) * side;
    axes.col(2) = std::cos(incidence) * view - std::sin(incidence) * side;
    axes.col(1) = axes.col(2).cross(axes.col(0));
    return axes;
  }
  Vec3 TrueEdge() const { return at + Axes() * Vec3(lateral, 0.0, -offset); }
};

json Measure(const Case& c) {
  const Eigen::Matrix3d axes = c.Axes();
  json request = c.keys;
  request["Feature"] = {
      {"$type", "EdgeFeature"},
      {"SurfacePoint", Triple(c.at + axes * (Vec3(-0.007, 0, 0) + c.nominal_off))},
      {"SurfaceNormal", Triple(axes.col(2))},
      {"EdgePoint", Triple(c.TrueEdge() + axes * c.nominal_off)}};
  const sim::Pose pose = sim::Pose::Facing(c.at, axes.col(2), axes.col(0));
  const sim::Scene scene = sim::MakeScene(sim::parts::MakeEdge(c.part), pose, c.behind);
  return test::ResultOf(request.dump(), scene, c.seed);
}

/// How far a success lies from the truth, in the cross section.
double ErrorOf(const Case& c, const json& result) {
  Vec3 error = test::VectorIn(result, "Location") - c.TrueEdge();
  error -= error.dot(c.Axes().col(1)) * c.Axes().col(1);
  return error.norm();
}

void Place(Case& c, sim::Rng& rng, double least, double most) {
  c.at =
      AzElRange(rng.Uniform(-0.5, 0.5), rng.Uniform(-0.4, 0.4), rng.Uniform(1, 5)).ToPoint().xyz();
  c.incidence = rng.Uniform(least, most) * kDegree;
  c.roll = rng.Uniform(0.0, 6.28);
}

constexpr int kRuns = test::Draws(60, 20);

/// Holds many borders to what docs/edge.md promises of sound requests.
/// \param draw the next border
void ExpectAccurate(std::uint64_t seed, bool at_nominal_offset,
                    const std::function<Case(sim::Rng&)>& draw) {
  sim::Rng rng(seed);
  std::vector<double> errors;
  std::string failures;
  for (int run = 0; run < kRuns; ++run) {
    Case c = draw(rng);
    c.seed = static_cast<std::uint64_t>(run) + 1;
    c.keys["UseNominalOffset"] = at_nominal_offset;
    const json result = Measure(c);
    if (result["Success"] == true) {
      errors.push_back(ErrorOf(c, result));
    } else {
      failures += result["ErrorMessage"].dump() + "\n";
    }
  }
  std::sort(errors.begin(), errors.end());
  ASSERT_GE(errors.size(), kRuns * 95U / 100U) << failures;
  EXPECT_LE(test::Percentile95(errors), 1e-4);
  EXPECT_LE(errors.back(), 2e-4);
}

class EdgeConversation : public testing::TestWithParam<bool> {};

TEST_P(EdgeConversation, SharpBordersWithASquareWall) {
  ExpectAccurate(21, GetParam(), [](sim::Rng& rng) {
    Case c;
    Place(c, rng, 30, 55);
    return c;
  });
}

TEST_P(EdgeConversation, SharpBordersWithALeaningWallFromStraightAheadOn) {
  ExpectAccurate(22, GetParam(), [](sim::Rng& rng) {
    Case c;
    Place(c, rng, 0, 55);
    c.part.wall_angle = rng.Uniform(35, 60) * kDegree;
    c.lateral = c.offset * std::tan(c.part.wall_angle);
    return c;
  });
}

TEST_P(EdgeConversation, FilletsAndChamfers) {
  for (const bool fillet : {true, false}) {
    for (const double size : {0.0002, 0.0008, 0.002}) {
      Case c;
      c.keys["UseNominalOffset"] = GetParam();
      (fillet ? c.part.fillet : c.part.chamfer) = size;
      if (c.offset < size) {
        const double below = size - c.offset;
        c.lateral = fillet ? std::sqrt(size * size - below * below) - size : -below;
      }
      const json result = Measure(c);
      ASSERT_EQ(result["Success"], true) << result["ErrorMessage"] << " " << size;
      EXPECT_LT(ErrorOf(c, result), 1.2e-4) << fillet << " " << size;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Modes, EdgeConversation, testing::Bool(), [](const auto& mode) {
  return mode.param ? "AtTheNominalOffset" : "OnTheProfile";
});

TEST(EdgeConversations, AHiddenWallAboveALedgeStillShowsWhereTheSurfaceEnds) {
  Case c;
  c.part.ledge = 0.003;
  c.incidence = 0.0;
  for (std::uint64_t seed = 1; seed <= 10; ++seed) {
    c.seed = seed;
    const json result = Measure(c);
    ASSERT_EQ(result["Success"], true) << result["ErrorMessage"];
    EXPECT_LT(ErrorOf(c, result), 1.5e-4);
  }
}

TEST(EdgeConversations, ASurfaceRightBehindDoesNotDisturb) {
  Case c;
  c.behind = 0.0105;
  const json result = Measure(c);
  ASSERT_EQ(result["Success"], true) << result["ErrorMessage"];
  EXPECT_LT(ErrorOf(c, result), 1e-4);
}

TEST(EdgeConversations, FailuresComeInWords) {
  const std::tuple<Case, std::string> failures[] = {
      {{.incidence = 0.0},  // the wall hides
       "Edge::split_curve(): Unable to split segment due to unexpected curve. Check the scan "
       "data!"},
      {{.incidence = -0.3},  // seen from above the plate
       "The angle of the feature is out of spec!"},
      {{.nominal_off = Vec3(0.0008, 0.0, 0.0)},
       "Edge::Analyze(): The residual distance of the estimated edge exceeded the tolerable "
       "limits."},
      {{.nominal_off = Vec3(0.0, 0.0, 0.03)},
       "Edge::Analyze(): No plane through the samples near the nominal points."}};
  for (const auto& [c, text] : failures) EXPECT_EQ(Measure(c)["ErrorMessage"], text);
}

}  // namespace
}  // namespace libmfx::features
