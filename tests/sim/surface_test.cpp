// What surfaces do to an echo belongs to their places, and comes back whenever they are seen.

#include "sim/surface/surface.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "sim/scenario.h"

namespace libmfx::sim {
namespace {

using data_structures::Position;
using data_structures::RawDataPoint;
using nlohmann::json;

json PlaneScene(const json& surface) {
  return {{"part", {{"type", "plane"}}},
          {"pose", {{"position", {0, 0, 2}}}},
          {"noise", false},
          {"surface", surface}};
}

std::vector<RawDataPoint> Scan(const json& scene, const Vec3& from, const Vec3& to, double spacing,
                               std::uint64_t seed = 1) {
  const std::vector<Position> path = {{ToPoint(from), 0.0}, {ToPoint(to), spacing}};
  return Instrument(Scene::FromJson(scene), seed).Drive(path);
}

double Rms(const std::vector<double>& values) {
  double sum = 0.0;
  for (const double value : values) sum += value * value;
  return std::sqrt(sum / static_cast<double>(values.size()));
}

TEST(Lattice, IsTheSameEverywhereAndFollowsItsSeed) {
  const Lattice lattice(0.001, 7);
  const Vec3 place(0.0123, -0.4567, 0.0);
  EXPECT_EQ(lattice.SmoothAt(place), Lattice(0.001, 7).SmoothAt(place));
  EXPECT_NE(lattice.SmoothAt(place), Lattice(0.001, 8).SmoothAt(place));
  // Written down once, for every machine to come to again.
  EXPECT_EQ(lattice.UniformAt(place), 0.17751313550370684);
  EXPECT_EQ(lattice.SmoothAt(place), 0.95852666213590698);
  // Places outside of any part are places all the same.
  EXPECT_TRUE(std::isfinite(Lattice(1e-6, 1).SmoothAt({1000.0, -1000.0, 1e6})));
  for (const double far : {1e14, 1e300, std::numeric_limits<double>::infinity()}) {
    EXPECT_EQ(Lattice(1e-6, 1).SmoothAt({far, 0.0, 0.0}), 0.0);
    EXPECT_EQ(Lattice(1e-6, 1).UniformAt({far, 0.0, 0.0}),
              Lattice(1e-6, 1).UniformAt({1e13, 0.0, 0.0}));
  }
}

// 40,000 cubes' worth of places: the standard deviation is known to 1 %.
TEST(Lattice, IsSmoothWithAStandardDeviationOfOne) {
  const Lattice lattice(0.001, 3);
  std::vector<double> values;
  double steepest = 0.0;
  double product = 0.0;
  double far = 0.0;
  for (int i = 0; i < 40000; ++i) {
    const Vec3 place(0.0017 * i, 0.013 * (i % 7), 0.0);
    values.push_back(lattice.SmoothAt(place));
    const double beside = lattice.SmoothAt(place + Vec3(1e-6, 0.0, 0.0));
    steepest = std::max(steepest, std::fabs(beside - values.back()));
    product += values.back() * lattice.SmoothAt(place + Vec3(0.0002, 0.0, 0.0)) / 40000.0;
    far += values.back() * lattice.SmoothAt(place + Vec3(0.0, 0.0021, 0.0)) / 40000.0;
  }
  EXPECT_NEAR(Rms(values), 1.0, 0.03);
  EXPECT_LT(steepest, 0.03);
  EXPECT_GT(product, 0.8);
  EXPECT_NEAR(far, 0.0, 0.03);
}

TEST(Surface, WhatIsSwitchedOffIsNoSurface) {
  EXPECT_EQ(Scene::FromJson(PlaneScene(json::object())).surface, nullptr);
  EXPECT_EQ(Scene::FromJson(PlaneScene({{"mirror", 0}, {"patches", json::array()}})).surface,
            nullptr);
}

TEST(Surface, RoughnessStaysWhereItIs) {
  const json rough = PlaneScene({{"roughness", {{"range", 4e-6}}}});
  const Vec3 from(-0.1, 0.01, 2.0);
  const Vec3 to(0.1, 0.01, 2.0);
  const auto samples = Scan(rough, from, to, 1e-4);
  const auto again = Scan(rough, from, to, 1e-4, 77);
  const auto exact = Scan(PlaneScene(json::object()), from, to, 1e-4);
  std::vector<double> off;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    off.push_back(samples[i].range - exact[i].range);
    ASSERT_EQ(samples[i].range, again[i].range);
  }
  // 2001 samples, each like its neighbour: some 1000 places, known to 2.3 %.
  EXPECT_NEAR(Rms(off), 4e-6, 0.4e-6);
  // The same spots from another side, the part moved and turned: the same errors, which belong to
  // the places.
  json moved = rough;
  moved["pose"] = {{"position", {0.3, 0.1, 2.2}}, {"normal", {0.1, 0.05, -1}}};
  const Pose pose = Scene::FromJson(moved).pose;
  const Pose first = Scene::FromJson(rough).pose;
  for (int i = -20; i <= 20; ++i) {
    const Vec3 place(0.004 * i, 0.003 * (i % 5), 0.0);
    const auto aside = Scan(moved, pose.Point(place), pose.Point(place), 1.0);
    const auto ahead = Scan(rough, first.Point(place), first.Point(place), 1.0);
    ASSERT_EQ(aside.size(), 1U);
    EXPECT_NEAR(aside[0].range - pose.Point(place).norm(),
                ahead[0].range - first.Point(place).norm(), 1e-10);
  }
  json other = rough;
  other["surface"]["seed"] = 2;
  EXPECT_NE(Scan(other, from, to, 1e-4)[100].range, samples[100].range);
}

TEST(Surface, PatchesTakeTheirShareWithPowerAndRange) {
  const json scene = PlaneScene(
      {{"patches", {{{"share", 0.3}, {"size", 0.002}, {"factor", 0.1}, {"nearer", 2e-5}}}}});
  int dull = 0;
  int all = 0;
  for (int line = -40; line <= 40; ++line) {
    const double y = 0.0025 * line;
    const auto samples = Scan(scene, {-0.2, y, 2.0}, {0.2, y, 2.0}, 0.002);
    for (const RawDataPoint& s : samples) {
      const double depth = SamplePoint(s).z() - 2.0;
      const bool patch = depth < -1e-5;
      // 20 units of quality for a tenth of the power; the rest is the incidence of at most 8
      // degrees.
      ASSERT_NEAR(s.quality, patch ? 70.0 : 90.0, 0.6);
      const double along = SamplePoint(s).norm() / 2.0;
      ASSERT_NEAR(depth, patch ? -2e-5 / along : 0.0, 1e-9);
      dull += patch;
      ++all;
    }
  }
  // 16281 samples in about as many squares: 0.4 %.
  EXPECT_NEAR(static_cast<double>(dull) / all, 0.3, 0.015);
}

/// Quality straight at a plane that is tilted by `incidence` towards -x.
double QualityAt(double incidence, const json& surface) {
  json scene = PlaneScene(surface);
  scene["pose"]["normal"] = {std::sin(incidence), 0, -std::cos(incidence)};
  const auto samples = Scan(scene, {0, 0, 2}, {0, 0, 2}, 1.0);
  return samples.at(0).quality;
}

TEST(Surface, GroovesSendLittleBackAlongThem) {
  for (const double incidence : {0.0, 0.4, 0.9}) {
    const double matte = QualityAt(incidence, json::object());
    const json along = {{"lay", {{"direction", {1, 0, 0}}, {"factor", 0.25}}}};
    const json across = {{"lay", {{"direction", {0, 1, 0}}, {"factor", 0.25}}}};
    EXPECT_NEAR(QualityAt(incidence, across), matte, 1e-9);
    const double share = 1.0 - 0.75 * std::pow(std::sin(incidence), 2);
    EXPECT_NEAR(QualityAt(incidence, along), matte + 20.0 * std::log10(share), 1e-9);
  }
}

TEST(Surface, GlossHasItsPeakAndItsWidth) {
  const json gloss = {{"gloss", {{"factor", 8}, {"width_deg", 6}}}, {"mirror", 0.9}};
  const auto power = [&](double incidence) {
    return std::pow(10.0,
                    (QualityAt(incidence, gloss) - QualityAt(incidence, json::object())) / 20);
  };
  // A tenth of the power is left by the mirror, of lobe and matte surface.
  EXPECT_NEAR(power(0.0), 0.1 * (1.0 + 8.0), 1e-9);
  const double width = 6.0 * kPi / 180.0;
  const double lobe = 1.0 / std::pow(2.0 * std::cos(width), 2) / std::pow(std::cos(width), 2);
  EXPECT_NEAR(power(width), 0.1 * (1.0 + 8.0 * lobe), 1e-9);
  EXPECT_NEAR(lobe, 0.25, 0.006);
  EXPECT_NEAR(power(0.8), 0.1, 0.002);
}

// The wall of a blind square pocket mirrors its floor: under the wall the floor is seen again, as
// far behind the wall as it lies off.
TEST(Surface, AMirrorShowsGhostsInCorners) {
  json scene = PlaneScene({{"mirror", 0.6}});
  scene["part"] = {
      {"type", "plate"},
      {"thickness", 0.02},
      {"opening", {{"shape", "rectangle"}, {"length", 0.02}, {"width", 0.02}, {"depth", 0.01}}}};
  scene["pose"]["normal"] = {-0.3, 0, -1};
  const Pose pose = Scene::FromJson(scene).pose;
  const Vec3 eye = pose.Inverse(Vec3::Zero());
  int ghosts = 0;
  int surfaces = 0;
  for (double depth = 0.001; depth < 0.0095; depth += 0.00025) {
    const double x = eye.x() < 0.0 ? 0.01 : -0.01;  // the wall that faces the instrument
    const Vec3 place = pose.Point({x, 0.001, -depth});
    const auto samples = Scan(scene, place, place, 1.0);
    ASSERT_EQ(samples.size(), 1U);
    const double beyond = samples[0].range - place.norm();
    // The mirrored ray goes on down to the floor.
    const Vec3 d = (Vec3(x, 0.001, -depth) - eye).normalized();
    const double to_floor = (0.01 - depth) / -d.z();
    if (beyond > 1e-9) {
      EXPECT_NEAR(beyond, to_floor, 1e-9);
      ++ghosts;
    } else {
      EXPECT_NEAR(beyond, 0.0, 1e-9);
      ++surfaces;
    }
  }
  // At 73 degrees on the wall and 17 on the floor the ghost's power is 0.36 * 0.4 * 0.91 against
  // 0.4 * 0.09 of the surface: it is read wherever it stands apart.
  EXPECT_GT(ghosts, 30);
  EXPECT_EQ(surfaces, 0);
  // A beam of many rays reads the same ghost with the same quality: that of the floor, less what is
  // lost on both mirrors and what the wall's own echo takes away.
  const Vec3 deep = pose.Point({eye.x() < 0.0 ? 0.01 : -0.01, 0.001, -0.002});
  const RawDataPoint one_ray = Scan(scene, deep, deep, 1.0).at(0);
  json beam = scene;
  beam["noise"] = {{"range", 0},         {"range_per_metre", 0}, {"angle", 0},
                   {"speckle", 0},       {"mixed", 0},           {"stray", 0},
                   {"quality_noise", 0}, {"quality_floor", 0},   {"rays", 101}};
  const RawDataPoint many_rays = Scan(beam, deep, deep, 1.0).at(0);
  EXPECT_NEAR(many_rays.range, one_ray.range, 1e-9);
  EXPECT_NEAR(many_rays.quality, one_ray.quality, 0.2);
  const double floor_cos = std::fabs((deep.normalized()).dot(pose.rotation.col(2)));
  const double wall_cos = std::fabs((deep.normalized()).dot(pose.rotation.col(0)));
  const double ghost = 0.36 * 0.4 * floor_cos * floor_cos;
  const double share = ghost / (ghost + 0.4 * wall_cos * wall_cos);
  const double expected = 90.0 + 107.0 * std::log10(floor_cos) -
                          10.0 * std::log10(one_ray.range / 2.0) +
                          20.0 * std::log10(0.36 * 0.4 * share);
  EXPECT_NEAR(one_ray.quality, expected, 0.01);
  // A weaker mirror leaves the wall the stronger echo.
  scene["surface"]["mirror"] = 0.2;
  const Vec3 place = pose.Point({eye.x() < 0.0 ? 0.01 : -0.01, 0.001, -0.002});
  EXPECT_NEAR(Scan(scene, place, place, 1.0).at(0).range, place.norm(), 1e-9);
}

TEST(Surface, WrongOnesAreRefused) {
  const std::vector<std::pair<json, std::string>> wrong = {
      {"rough", "surface: \"rough\" is not an object"},
      {{{"rough", 1}}, "surface.rough: unknown key with the value 1"},
      {{{"roughness", json::object()}}, "surface.roughness.range: missing"},
      {{{"roughness", {{"range", 1}}}}, "surface.roughness.range: 1 is not between 0 and 0.001"},
      {{{"patches", {{{"share", 2}}}}}, "surface.patches[0].share: 2 is not between 0 and 1"},
      {{{"patches", {{{"share", 0.5}, {"factor", 0}}}}},
       "surface.patches[0].factor: 0 is not between 0.001 and 1000"},
      {{{"patches", std::vector<json>(9, {{"share", 0.5}})}}, "has more than 8 entries"},
      {{{"lay", json::object()}}, "surface.lay.direction: missing"},
      {{{"gloss", {{"width_deg", 0}}}}, "surface.gloss.width_deg: 0 is not between 0.1 and 45"},
      {{{"mirror", 1}}, "surface.mirror: 1 is not between 0 and 0.99"},
      {{{"seed", 0.5}}, "surface.seed: 0.5 is not a whole number"}};
  for (const auto& [surface, text] : wrong) {
    try {
      Scene::FromJson(PlaneScene(surface));
      ADD_FAILURE() << surface;
    } catch (const SceneError& error) {
      EXPECT_THAT(error.what(), testing::HasSubstr(text));
    }
  }
}

}  // namespace
}  // namespace libmfx::sim
