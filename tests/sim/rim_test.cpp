// What is at the edge of an opening: a burr, or a rounding.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "sim/scenario.h"

namespace libmfx::sim {
namespace {

using nlohmann::json;

json PlateScene(const json& opening, const json& normal = {0, 0, -1}) {
  return {{"part", {{"type", "plate"}, {"opening", opening}, {"thickness", 0.01}}},
          {"pose", {{"position", {0, 0, 2}}, {"normal", normal}}},
          {"behind", 0.05},
          {"noise", false}};
}

json BoreScene(const json& bore) {
  json scene = PlateScene({});
  scene["part"] = bore;
  scene["part"]["type"] = "bore";
  return scene;
}

struct Met {
  Vec3 place;
  Vec3 normal;
};

/// Where the beam towards a point of the part ends, in its frame.
Met Towards(const Scene& scene, const Vec3& target) {
  const Vec3 direction = scene.pose.Point(target).normalized();
  Hit hit;
  EXPECT_TRUE(Instrument(scene).Cast(direction, hit));
  return {scene.pose.Inverse(hit.t * direction), scene.pose.rotation.transpose() * hit.normal};
}

/// The height of a burr at a distance from the rim.
double Ridge(double beside, double height, double width) {
  return beside < 0.0 || beside > width ? 0.0 : height * (1.0 - beside / width);
}

const std::vector<json> kOpenings = {
    {{"shape", "round"}, {"radius", 0.005}},
    {{"shape", "rectangle"}, {"length", 0.02}, {"width", 0.01}, {"corner_radius", 0.001}},
    {{"shape", "polygon"}, {"sides", 6}, {"radius", 0.006}},
    {{"shape", "obround"}, {"length", 0.02}, {"width", 0.008}}};

const std::vector<Outline> kOutlines = {
    Outline::Circle(0.005), Outline::Rectangle(0.02, 0.01, 0.001),
    Outline::RegularPolygon(6, 0.006), Outline::Obround(0.02, 0.008)};

/// Points about an opening.
std::vector<Vec3> About(double half_width) {
  std::vector<Vec3> points;
  for (int i = -60; i <= 60; ++i) {
    for (int j = -60; j <= 60; ++j) {
      points.emplace_back(half_width * i / 60.0, half_width * j / 60.0, 0.0);
    }
  }
  return points;
}

TEST(Burr, StandsAroundEveryOpening) {
  for (std::size_t k = 0; k < kOpenings.size(); ++k) {
    json opening = kOpenings[k];
    opening["burr"] = {{"height", 0.0002}, {"width", 0.0005}};
    const Scene scene = Scene::FromJson(PlateScene(opening, {0.1, 0.05, -1}));
    int on_ridge = 0;
    for (const Vec3& target : About(0.012)) {
      const Vec3 p = Towards(scene, target).place;
      const double beside = kOutlines[k].SignedDistance(p.head<2>());
      if (p.z() < -0.01) continue;  // what is behind the plate
      if (p.z() < -1e-9) {
        EXPECT_LT(beside, 1e-9);  // on the wall
        continue;
      }
      if (std::fabs(beside) < 1e-9) {
        EXPECT_LE(p.z(), 0.0002 + 1e-9);  // on the ridge's own wall
        continue;
      }
      EXPECT_GT(beside, 0.0);
      EXPECT_NEAR(p.z(), Ridge(beside, 0.0002, 0.0005), 1e-9);
      on_ridge += p.z() > 1e-9;
    }
    EXPECT_GT(on_ridge, 200) << k;
    const Scene plain = Scene::FromJson(PlateScene(kOpenings[k], {0.1, 0.05, -1}));
    EXPECT_EQ(scene.TruthJson(), plain.TruthJson());
  }
}

TEST(Burr, StandsInPatchesAndAroundBoresAndChamfers) {
  const json burr = {{"height", 0.0001}, {"width", 0.0002}, {"patches", 5}, {"share", 0.3}};
  const json chamfered = {
      {"shape", "round"}, {"radius", 0.004}, {"chamfer_depth", 0.001}, {"burr", burr}};
  for (const Scene& scene :
       {Scene::FromJson(PlateScene(chamfered)),
        Scene::FromJson(BoreScene({{"radius", 0.0049}, {"lead", 0.0001}, {"burr", burr}})),
        Scene::FromJson(BoreScene({{"thread", "M8"}, {"lead", 0.001}, {"burr", burr}}))}) {
    int lifted = 0;
    for (int i = 0; i < 1000; ++i) {
      const double turns = (i + 0.5) / 1000.0;
      const auto [s, c] = portable::SinCos(2.0 * kPi * turns);
      const Vec3 p = Towards(scene, Vec3(0.0051 * c, 0.0051 * s, 0.00005)).place;
      const bool burred = 5.0 * turns - std::floor(5.0 * turns) < 0.3;
      EXPECT_NEAR(p.z(), burred ? Ridge(p.head<2>().norm() - 0.005, 0.0001, 0.0002) : 0.0, 1e-9);
      lifted += p.z() > 1e-6;
    }
    EXPECT_EQ(lifted, 300);
  }
}

TEST(RoundedEdge, TouchesFrontAndWallOfEveryOpening) {
  constexpr double kRadius = 0.0005;
  for (std::size_t k = 0; k < kOpenings.size(); ++k) {
    json opening = kOpenings[k];
    opening["edge_radius"] = kRadius;
    const Scene scene = Scene::FromJson(PlateScene(opening, {0.15, 0.05, -1}));
    const Vec3 eye = scene.pose.Inverse(Vec3::Zero());
    int rounded = 0;
    for (const Vec3& target : About(0.012)) {
      const auto [p, normal] = Towards(scene, target);
      const double beside = kOutlines[k].SignedDistance(p.head<2>());
      ASSERT_LE(p.z(), 1e-9);
      if (p.z() < -0.01) continue;  // what is behind the plate
      if (beside > kRadius + 1e-9) {
        ASSERT_NEAR(p.z(), 0.0, 1e-9);
      } else if (p.z() > -kRadius) {
        // On the arc about the middle of the rounding, whose radius stands across the surface.
        const double across = beside - kRadius;
        ASSERT_NEAR(std::hypot(across, p.z() + kRadius), kRadius, 1e-9);
        EXPECT_NEAR(std::fabs(normal.z()), (p.z() + kRadius) / kRadius, 1e-5);
        EXPECT_LT(normal.dot(p - eye), 0.0);
        ++rounded;
      } else {
        ASSERT_LE(beside, 1e-9);
      }
    }
    EXPECT_GT(rounded, 200) << k;
  }
}

TEST(RoundedEdge, WidensTheRimOfHolesAndBores) {
  json opening = kOpenings[0];
  opening["edge_radius"] = 0.0003;
  const json truth = Scene::FromJson(PlateScene(opening)).TruthJson();
  EXPECT_EQ(truth["radius"], 0.005);
  EXPECT_EQ(truth["rim_radius"], 0.0053);
  const Scene bore = Scene::FromJson(BoreScene({{"radius", 0.005}, {"edge_radius", 0.0003}}));
  EXPECT_EQ(bore.TruthJson()["mouth_radius"], 0.0053);
  for (const double r : {0.00501, 0.0051, 0.0052, 0.00529, 0.0054}) {
    const Vec3 p = Towards(bore, Vec3(r, 0.0, 0.0)).place;
    const double across = 0.0053 - p.x();
    const double arc = std::sqrt(std::max(0.0, 0.0003 * 0.0003 - across * across)) - 0.0003;
    EXPECT_NEAR(p.z(), across > 0.0 ? arc : 0.0, 1e-9) << r;
  }
}

std::string RefusalOf(const json& scene) {
  try {
    Scene::FromJson(scene);
  } catch (const SceneError& error) {
    return error.what();
  }
  return "";
}

TEST(Rim, WrongOnesAreRefused) {
  const json burr = {{"height", 1e-4}};
  const auto plate = [](const json& more) {
    json opening = kOpenings[0];
    opening.update(more);
    return RefusalOf(PlateScene(opening));
  };
  EXPECT_EQ(plate({{"edge_radius", 0.01}}), "part.opening.edge_radius: 0.01 leaves no wall");
  EXPECT_EQ(plate({{"edge_radius", 1e-4}, {"chamfer_depth", 1e-3}}),
            "part.opening.edge_radius: 0.0001 stands beside a chamfer");
  EXPECT_EQ(plate({{"burr", {{"width", 1e-4}}}}), "part.opening.burr.height: missing");
  EXPECT_EQ(plate({{"burr", {{"height", 1}}}}),
            "part.opening.burr.height: 1 is not between 1e-06 and 0.01");
  EXPECT_EQ(plate({{"burr", {{"height", 1e-4}, {"patches", 2.5}}}}),
            "part.opening.burr.patches: 2.5 is not a whole number");
  EXPECT_THAT(plate({{"radius", 0.0999}, {"burr", burr}}), testing::HasSubstr("is wider than the"));
  EXPECT_EQ(RefusalOf(BoreScene({{"thread", "M8"}, {"edge_radius", 1e-4}})),
            "part.edge_radius: 0.0001 needs a smooth wall without errors of form");
  EXPECT_EQ(RefusalOf(BoreScene({{"radius", 0.005}, {"lead", 1e-4}, {"edge_radius", 1e-4}})),
            "part.edge_radius: 0.0001 stands beside a lead");
  EXPECT_EQ(RefusalOf(BoreScene({{"radius", 0.005}, {"form", {{"taper", 1e-5}}}, {"burr", burr}})),
            "part.burr: an object stands around a mouth with errors of form");
}

}  // namespace
}  // namespace libmfx::sim
