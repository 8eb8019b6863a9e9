// Faces that are off their nominal shape are met where the formula puts them.

#include "sim/relief/relief_part.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "sim/relief/marks.h"
#include "sim/scenario.h"

namespace libmfx::sim {
namespace {

using nlohmann::json;

json SceneWith(const json& relief) {
  return {{"part", {{"type", "plane"}}},
          {"pose", {{"position", {0.2, -0.1, 2}}, {"normal", {0.5, 0.3, -1}}}},
          {"noise", false},
          {"relief", relief}};
}

/// Where beams over the part end, in its frame, each with the normal that it meets there.
struct Met {
  Vec3 place;
  Vec3 normal;
};
std::vector<Met> MetBy(const Scene& scene, const std::vector<Vec3>& targets) {
  std::vector<Met> all;
  const Instrument instrument(scene);
  for (const Vec3& target : targets) {
    const Vec3 direction = scene.pose.Point(target).normalized();
    Hit hit;
    EXPECT_TRUE(instrument.Cast(direction, hit));
    const Vec3 normal = scene.pose.rotation.transpose() * hit.normal;
    all.push_back({scene.pose.Inverse(hit.t * direction), normal});
  }
  return all;
}

std::vector<Vec3> OverThePlane() {
  std::vector<Vec3> targets;
  for (int i = -20; i <= 20; ++i) {
    for (int j = -20; j <= 20; ++j) targets.emplace_back(0.00473 * i, 0.00391 * j, 0.0);
  }
  return targets;
}

TEST(Relief, WavesLieWhereTheirFormulaPutsThem) {
  const json waves = {
      {{"amplitude", 2e-5}, {"wavelength", 0.003}, {"direction", {3, 4, 0}}},
      {{"amplitude", 1e-5}, {"wavelength", 0.01}, {"direction", {0, 1, 0}}, {"phase_deg", 90}}};
  const auto height = [](const Vec3& p) {
    return 2e-5 * std::sin(2.0 * kPi * (0.6 * p.x() + 0.8 * p.y()) / 0.003) +
           1e-5 * std::cos(2.0 * kPi * p.y() / 0.01);
  };
  double highest = 0.0;
  for (const auto& [p, normal] :
       MetBy(Scene::FromJson(SceneWith({{"waves", waves}})), OverThePlane())) {
    ASSERT_NEAR(p.z(), height(p), 1e-9);
    highest = std::max(highest, std::fabs(p.z()));
    const double e = 1e-7;
    const Vec3 slope((height(p + Vec3(e, 0, 0)) - height(p - Vec3(e, 0, 0))) / (2.0 * e),
                     (height(p + Vec3(0, e, 0)) - height(p - Vec3(0, e, 0))) / (2.0 * e), -1.0);
    // A normal is told of a place that is off by what curves a height away by 2e-10 m: with
    // curvatures of 88 and 4 per metre it is off by the root of 2 * 92 * 2e-10.
    EXPECT_LT((normal.cross(slope.normalized())).norm(), 2e-4);
  }
  EXPECT_GT(highest, 2.8e-5);
}

TEST(Relief, APlateIsDishedAndTwisted) {
  const json flatness = {{"dish", 4e-5}, {"twist", -2e-5}, {"span", 0.1}};
  for (const auto& [p, normal] :
       MetBy(Scene::FromJson(SceneWith({{"flatness", flatness}})), OverThePlane())) {
    const double expected =
        (4e-5 * (p.x() * p.x() + p.y() * p.y()) - 2e-5 * p.x() * p.y()) / 0.0025;
    ASSERT_NEAR(p.z(), expected, 1e-9);
  }
}

TEST(Relief, MarksAreDeepWideAndApartAsTold) {
  const Marks marks({1e-5, 0.0002, 0.002, Vec3::UnitX(), 4});
  int within = 0;
  int grooves = 0;
  bool before = false;
  double deepest = 0.0;
  constexpr int kSteps = 400000;
  for (int i = 0; i < kSteps; ++i) {  // over 200 strips
    Lift lift;
    marks.Add({1e-6 * i, 0.1, -0.2}, Vec3::UnitZ(), lift);
    EXPECT_LE(lift.height, 0.0);
    deepest = std::min(deepest, lift.height);
    const bool now = lift.height < 0.0;
    within += now;
    grooves += now && !before;
    before = now;
    EXPECT_LE(lift.slope.norm(), marks.Steepest() * (1.0 + 1e-12));
  }
  EXPECT_EQ(grooves, 200);
  EXPECT_NEAR(within / static_cast<double>(kSteps), 0.1, 0.001);
  EXPECT_LT(deepest, -0.97e-5);
  EXPECT_GE(deepest, -1e-5);
}

// The wall of a bore is waved towards its axis; what a lift of 10 um moves the foot of a beam at
// 60 degrees is nothing against the radius.
TEST(Relief, WavesStandOnCurvedWallsToo) {
  json scene = SceneWith(
      {{"waves", {{{"amplitude", 1e-5}, {"wavelength", 0.002}, {"direction", {0, 0, 1}}}}}});
  scene["part"] = {{"type", "bore"}, {"radius", 0.01}, {"depth", 0.03}, {"lead", 0}};
  const Scene waved = Scene::FromJson(scene);
  std::vector<Vec3> on_the_wall;
  const Vec3 eye = waved.pose.Inverse(Vec3::Zero());
  const Vec2 away = -eye.head<2>().normalized();
  for (int i = 1; i < 40; ++i) {
    on_the_wall.emplace_back(0.01 * away.x(), 0.01 * away.y(), -0.0003 * i);
  }
  int seen = 0;
  for (const auto& [p, normal] : MetBy(waved, on_the_wall)) {
    if (p.z() > -1e-4) continue;
    EXPECT_NEAR(p.head<2>().norm(), 0.01 - 1e-5 * std::sin(2.0 * kPi * p.z() / 0.002), 2e-8);
    ++seen;
  }
  EXPECT_GT(seen, 30);
  EXPECT_EQ(waved.part->truth().values.at("radius"), 0.01);
}

TEST(Relief, HitsKeepToTheEndsOfTheRay) {
  const Scene scene = Scene::FromJson(SceneWith(
      {{"waves", {{{"amplitude", 2e-5}, {"wavelength", 0.01}, {"direction", {1, 0, 0}}}}}}));
  // Down into a valley: beneath the nominal surface.
  Ray in{Vec3(-0.0025, 0, 0.1), Vec3(0, 0, -1)};
  Hit hit;
  ASSERT_TRUE(scene.part->Intersect(in, hit));
  EXPECT_NEAR(hit.t, 0.1 + 2e-5, 1e-12);
  // A hit that is nearer stays, and so does the end of the ray, though the nominal surface is
  // before.
  Hit nearer;
  nearer.t = 0.1 + 1e-5;
  EXPECT_FALSE(scene.part->Intersect(in, nearer));
  in.t_max = 0.1 + 1e-5;
  hit = Hit();
  EXPECT_FALSE(scene.part->Intersect(in, hit));
  // Up on a crest the surface comes first, though the ray ends before the nominal one.
  Ray down{Vec3(0.0025, 0, 0.1), Vec3(0, 0, -1)};
  down.t_max = 0.1 - 1e-5;
  ASSERT_TRUE(scene.part->Intersect(down, hit));
  EXPECT_NEAR(hit.t, 0.1 - 2e-5, 1e-12);
  // A mirrored ray leaves a valley as it leaves a crest.
  const Ray out{Vec3(-0.0025, 0, -2e-5), Vec3(0.1, 0.2, 1).normalized(), 1e-4};
  hit = Hit();
  EXPECT_FALSE(scene.part->Intersect(out, hit));
}

TEST(Relief, NoReliefIsTheSamePart) {
  const json none = {{"waves", {{{"amplitude", 0}, {"wavelength", 1}, {"direction", {1, 0, 0}}}}},
                     {"flatness", {{"span", 1}}}};
  EXPECT_EQ(dynamic_cast<const ReliefPart*>(Scene::FromJson(SceneWith(none)).part.get()), nullptr);
}

TEST(Relief, WrongOnesAreRefused) {
  const std::vector<std::pair<json, std::string>> wrong = {
      {1, "relief: 1 is not an object"},
      {{{"waves", 1}}, "relief.waves: 1 is not an array"},
      {{{"waves", {{{"amplitude", 1e-5}}}}}, "relief.waves[0].wavelength: missing"},
      {{{"waves", {{{"amplitude", 1e-4}, {"wavelength", 1e-3}, {"direction", {1, 0, 0}}}}}},
       "relief: an object has slopes that add up to 0.628"},
      {{{"flatness", {{"dish", 0.1}}}},
       "relief.flatness.dish: 0.1 is not between -0.001 and 0.001"},
      {{{"marks", {{"depth", 1e-6}, {"across", {0, 0, 0}}}}},
       "relief.marks.across: [0, 0, 0] has no direction"},
      {{{"marks", {{"depth", 1e-6}, {"across", {1, 0, 0}}, {"spacing", 1e-5}}}},
       "relief.marks.spacing: 1e-05 is below the width of a mark"}};
  for (const auto& [relief, text] : wrong) {
    try {
      Scene::FromJson(SceneWith(relief));
      ADD_FAILURE() << relief;
    } catch (const SceneError& error) {
      EXPECT_THAT(error.what(), testing::StartsWith(text));
    }
  }
}

}  // namespace
}  // namespace libmfx::sim
