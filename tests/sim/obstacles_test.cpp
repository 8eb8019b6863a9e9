// Cables, clamps and dust are met where they are told to be, whichever way the part stands.

#include "sim/obstacles/obstacles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "sim/obstacles/dust.h"
#include "sim/scenario.h"

namespace libmfx::sim {
namespace {

using data_structures::Position;
using nlohmann::json;

json SceneWith(const json& obstacles, const json& pose) {
  return {
      {"part", {{"type", "plane"}}}, {"pose", pose}, {"noise", false}, {"obstacles", obstacles}};
}

const std::vector<json> kPoses = {
    {{"position", {0, 0, 2}}},
    {{"position", {0.7, -0.4, 2.5}}, {"normal", {0.3, 0.2, -1}}, {"tangent", {1, 0.4, 0}}}};

/// Where the beam towards a point of the part's frame ends, in this frame.
Vec3 Seen(const Scene& scene, const Vec3& towards) {
  const Vec3 direction = scene.pose.Point(towards).normalized();
  Hit hit;
  EXPECT_TRUE(Instrument(scene).Cast(direction, hit));
  EXPECT_NEAR(hit.normal.norm(), 1.0, 1e-9);
  return scene.pose.Inverse(hit.t * direction);
}

TEST(Obstacles, ACylinderHidesWhatLiesBehindIt) {
  const Vec3 from(-0.05, 0.01, 0.03);
  const Vec3 to(0.08, -0.02, 0.05);
  const Vec3 along = (to - from).normalized();
  for (const json& pose : kPoses) {
    const Scene scene = Scene::FromJson(SceneWith({{{"type", "cylinder"},
                                                    {"from", {-0.05, 0.01, 0.03}},
                                                    {"to", {0.08, -0.02, 0.05}},
                                                    {"radius", 0.002}}},
                                                  pose));
    const Vec3 eye = scene.pose.Inverse(Vec3::Zero());
    for (int i = 1; i < 20; ++i) {
      const Vec3 on_axis = from + 0.05 * i * (to - from);
      const Vec3 met = Seen(scene, on_axis);
      const Vec3 off = met - on_axis - (met - on_axis).dot(along) * along;
      EXPECT_NEAR(off.norm(), 0.002, 1e-9);
      EXPECT_LT((met - eye).norm(), (on_axis - eye).norm());
      // Beside it and beyond its ends the plane is seen.
      const Vec3 beside = (on_axis - eye).cross(along).normalized() * 0.00201;
      EXPECT_NEAR(Seen(scene, on_axis + beside).z(), 0.0, 1e-9);
    }
    EXPECT_NEAR(Seen(scene, to + 0.003 * along).z(), 0.0, 1e-9);
  }
}

TEST(Obstacles, ABoxHasItsSizeAndItsTurn) {
  for (const json& pose : kPoses) {
    // 30 degrees about z, 0.1 mm thick: a label on the plane.
    const Scene scene = Scene::FromJson(SceneWith({{{"type", "box"},
                                                    {"center", {0.01, 0.02, 5e-5}},
                                                    {"length", 0.02},
                                                    {"width", 0.006},
                                                    {"height", 1e-4},
                                                    {"direction", {std::sqrt(3.0), 1, 0}}}},
                                                  pose));
    const Vec3 along(0.5 * std::sqrt(3.0), 0.5, 0.0);
    const Vec3 across(-0.5, 0.5 * std::sqrt(3.0), 0.0);
    const Vec3 center(0.01, 0.02, 1e-4);
    int on_label = 0;
    for (int i = -12; i <= 12; ++i) {
      for (int j = -12; j <= 12; ++j) {
        const double x = 0.00101 * i;
        const double y = 0.00031 * j;
        const Vec3 met = Seen(scene, center + x * along + y * across);
        const bool within = std::fabs(x) < 0.01 && std::fabs(y) < 0.003;
        // A slanting beam meets the rim's wall a little beside the border.
        if (std::fabs(std::fabs(x) - 0.01) < 1e-4 || std::fabs(std::fabs(y) - 0.003) < 1e-4)
          continue;
        EXPECT_NEAR(met.z(), within ? 1e-4 : 0.0, 1e-9) << x << " " << y;
        on_label += within;
      }
    }
    EXPECT_EQ(on_label, 19 * 19);
  }
}

/// Grain by grain, without a tree.
bool MeetsSlowly(const std::vector<Vec3>& grains, double radius, const Ray& ray, Hit& hit) {
  bool met = false;
  for (const Vec3& grain : grains) {
    const Vec3 to = grain - ray.origin;
    const double middle = to.dot(ray.direction);
    const double off_squared = to.squaredNorm() - middle * middle;
    if (off_squared > radius * radius) continue;
    const double t = middle - std::sqrt(radius * radius - off_squared);
    if (t <= ray.t_min || t >= hit.t) continue;
    hit.t = t;
    met = true;
  }
  return met;
}

// The tree finds the grain that all grains one by one give. A cloud of one grain tells where it is;
// clouds of the same seed begin with the same grains.
TEST(Obstacles, DustIsMetGrainByGrain) {
  constexpr double kGrain = 0.0004;
  DustSpec spec;
  spec.center = Vec3(0.01, -0.02, 0.003);
  spec.reach = 0.01;
  spec.count = 500;
  spec.grain = kGrain;
  spec.seed = 3;
  Rng rng(spec.seed);
  std::vector<Vec3> grains;
  while (grains.size() < 500) {
    Vec3 p;
    do {
      for (double& x : p) x = rng.Uniform(-1.0, 1.0);
    } while (p.squaredNorm() > 1.0);
    grains.emplace_back(spec.center + spec.reach * p);
  }
  const Dust dust(spec);
  Rng aim(9);
  int met = 0;
  for (int i = 0; i < 2000; ++i) {
    const Vec3 origin(aim.Uniform(-0.1, 0.1), aim.Uniform(-0.1, 0.1), 0.5);
    const Vec3 towards =
        spec.center + Vec3(aim.Uniform(-0.012, 0.012), aim.Uniform(-0.012, 0.012), 0);
    const Ray ray{origin, (towards - origin).normalized()};
    Hit fast;
    Hit slow;
    ASSERT_EQ(dust.Intersect(ray, fast), MeetsSlowly(grains, kGrain, ray, slow));
    if (!std::isfinite(slow.t)) continue;
    std::vector<const Face*> near;
    dust.Gather({origin, (ray.direction + Vec3(1e-4, 0, 0)).normalized()}, 1e-4, near);
    Hit gathered;
    for (const Face* grain : near) grain->Intersect(ray, gathered);
    EXPECT_EQ(gathered.t, fast.t);
    EXPECT_LT(near.size(), 100U);
    EXPECT_NEAR(fast.t, slow.t, 1e-9);  // what is promised for all hits
    EXPECT_LT(fast.normal.dot(ray.direction), 0.0);
    ++met;
  }
  EXPECT_GT(met, 300);
  EXPECT_LT(met, 1700);
}

// The drops of a weld are half balls on the plate: they stand as high as their radius, on as much
// of the disc as their circles cover.
TEST(Obstacles, SpatterStandsOnTheSurface) {
  const Scene scene = Scene::FromJson(SceneWith(
      {{{"type", "spatter"}, {"center", {0, 0, 0}}, {"count", 30}, {"grain", 0.001}}}, kPoses[0]));
  double highest = 0.0;
  int on_drops = 0;
  int all = 0;
  for (int i = -100; i <= 100; ++i) {
    for (int j = -100; j <= 100; ++j) {
      const Vec3 towards(0.00023 * i, 0.00023 * j, 0.0);
      const Vec3 met = Seen(scene, towards);
      highest = std::max(highest, met.z());
      EXPECT_GE(met.z(), -1e-9);
      if (met.z() > 1e-9) {
        EXPECT_LT(towards.norm(), 0.0211);
      }
      if (towards.norm() > 0.02) continue;
      on_drops += met.z() > 1e-9;
      ++all;
    }
  }
  EXPECT_LE(highest, 0.001 + 1e-9);
  EXPECT_GT(highest, 0.00098);
  // 30 circles of 1 mm on one of 20 mm cover 7.5 %, less where they overlap or reach over its rim.
  EXPECT_NEAR(static_cast<double>(on_drops) / all, 0.07, 0.008);
}

// What is left out of a beam's way is never met by one of its rays.
TEST(Obstacles, ABeamPassesByWhatNoneOfItsRaysMeets) {
  Rng rng(5);
  int met = 0;
  int passed_by = 0;
  for (int i = 0; i < 20000; ++i) {
    const auto point = [&](double size) {
      return Vec3(rng.Uniform(-size, size), rng.Uniform(-size, size), rng.Uniform(-size, size));
    };
    const auto bar = MakeCylinder(point(0.05), point(0.05), 0.01);
    const Vec3 origin = point(0.3);
    const Ray middle{origin, (point(0.05) - origin).normalized()};
    const double spread = 0.1;
    const Vec3 across = middle.direction.cross(point(1.0)).normalized();
    const Vec3 ray = (middle.direction + spread * across).normalized();
    Hit hit;
    const bool is_met = bar->Intersect({middle.origin, ray}, hit);
    std::vector<const Face*> near;
    bar->Gather(middle, spread, near);
    const bool is_near = !near.empty();
    ASSERT_TRUE(is_near || !is_met) << i;
    met += is_met;
    passed_by += !is_near;
  }
  EXPECT_GT(met, 300);
  EXPECT_GT(passed_by, 1000);
}

TEST(Obstacles, WrongOnesAreRefused) {
  const json point = {0, 0, 0};
  const std::vector<std::pair<json, std::string>> wrong = {
      {{{"type", "box"}}, "obstacles: an object is not an array"},
      {{{{"type", "cable"}}},
       "obstacles[0].type: \"cable\" is not one of: cylinder, box, dust, spatter"},
      {{{{"type", "cylinder"}, {"from", point}, {"to", point}, {"radius", 0.1}}},
       "obstacles[0].to: [0, 0, 0] is where it begins"},
      {{{{"type", "cylinder"}, {"from", point}, {"to", {0, 0, 1}}, {"radius", 0}}},
       "obstacles[0].radius: 0 is not between 1e-06 and 1000"},
      {{{{"type", "box"}, {"center", point}}}, "obstacles[0].length: missing"},
      {{{{"type", "box"},
         {"center", point},
         {"length", 1},
         {"width", 1},
         {"height", 1},
         {"up", {-2, 0, 0}}}},
       "obstacles[0].up: [-2, 0, 0] leaves length and height in one direction"},
      {{{{"type", "dust"}, {"center", point}, {"count", 1000000}}},
       "obstacles[0].count: 1000000 is not between 1 and 1e+05"},
      {{{{"type", "dust"}, {"center", point}, {"size", 1}}},
       "obstacles[0].size: unknown key with the value 1"}};
  for (const auto& [obstacles, text] : wrong) {
    try {
      Scene::FromJson(SceneWith(obstacles, kPoses[0]));
      ADD_FAILURE() << obstacles;
    } catch (const SceneError& error) {
      EXPECT_THAT(error.what(), testing::HasSubstr(text));
    }
  }
}

}  // namespace
}  // namespace libmfx::sim
