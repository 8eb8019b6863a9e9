#include "sim/instrument.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "random_cases.h"
#include "sim/scenario.h"

namespace libmfx::sim {
namespace {

using data_structures::Position;
using data_structures::RawDataPoint;

std::queue<Position> Line(const Vec3& from, const Vec3& to, double spacing) {
  std::queue<Position> path;
  path.emplace(ToPoint(from), 0.0);
  path.emplace(ToPoint(to), spacing);
  return path;
}

Scene HoleScene(const Noise& noise) {
  const Pose pose = TiltedPose(Vec3(0.4, -0.3, 2.0), 0.3);
  return MakeScene(parts::MakeOpeningPlate(parts::RoundOpening(0.005)), pose, 0.05, noise);
}

std::queue<Position> AcrossTheHole(const Scene& scene, double spacing = 1e-4) {
  return Line(scene.pose.Point({-0.012, 0.0005, 0}), scene.pose.Point({0.012, 0.0005, 0}), spacing);
}

TEST(Instrument, IsExactWithTheNoiseOff) {
  const Scene scene = HoleScene(Noise::Off());
  Instrument instrument(scene, 1);
  const auto samples = instrument.Drive(AcrossTheHole(scene));
  ASSERT_EQ(samples.size(), 241U);
  int front = 0;
  int wall = 0;
  int behind = 0;
  for (const RawDataPoint& sample : samples) {
    const Vec3 p = scene.pose.Inverse(SamplePoint(sample));
    const double r = p.head<2>().norm();
    if (std::fabs(p.z()) <= 1e-9) {
      ASSERT_GE(r, 0.005 - 1e-9);
      ++front;
    } else if (p.z() > -0.01) {
      ASSERT_NEAR(r, 0.005, 1e-9);
      ++wall;
    } else {
      ASSERT_NEAR(p.z(), -0.05, 1e-9);
      ++behind;
    }
  }
  EXPECT_GT(front, 130);
  EXPECT_GT(wall, 10);
  EXPECT_GT(behind, 30);
}

TEST(Instrument, TheSameSeedGivesTheSameBytesAndAnotherSeedOthers) {
  const Scene scene = HoleScene(Noise());
  const auto scan = [&](std::uint64_t seed) {
    Instrument instrument(scene, seed);
    auto first = instrument.Drive(AcrossTheHole(scene));
    const auto second = instrument.Drive(AcrossTheHole(scene));
    EXPECT_NE(first[0].range, second[0].range);
    first.insert(first.end(), second.begin(), second.end());
    return first;
  };
  const auto a = scan(5);
  const auto b = scan(5);
  ASSERT_EQ(a.size(), b.size());
  EXPECT_EQ(std::memcmp(a.data(), b.data(), a.size() * sizeof(RawDataPoint)), 0);
  EXPECT_NE(a[0].range, scan(6)[0].range);
}

TEST(Instrument, AngleAndRangeNoiseHaveTheirSigmas) {
  Noise noise;
  noise.stray = 0.0;
  const Scene scene = MakeScene(parts::MakePlane({}), Pose::Facing({0, 0, 3}), {}, noise);
  Instrument noisy(scene, 2);
  Instrument exact(MakeScene(scene.part, scene.pose, {}, Noise::Off()), 2);
  const auto path = Line({-0.1, 0, 3}, {0.1, 0, 3}, 1e-5);
  const auto a = noisy.Drive(path);
  const auto b = exact.Drive(path);
  ASSERT_EQ(a.size(), b.size());
  double range = 0.0;
  double azimuth = 0.0;
  double elevation = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    range += std::pow(a[i].range - b[i].range, 2);
    azimuth += std::pow(a[i].azimuth - b[i].azimuth, 2);
    elevation += std::pow(a[i].elevation - b[i].elevation, 2);
  }
  const auto n = static_cast<double>(a.size());
  const double expected = std::sqrt(std::pow(8e-6, 2) + std::pow(7.5e-6, 2));
  EXPECT_NEAR(std::sqrt(range / n) / expected, 1.0, 0.03);
  EXPECT_NEAR(std::sqrt(azimuth / n) / 2.5e-6, 1.0, 0.03);
  EXPECT_NEAR(std::sqrt(elevation / n) / 2.5e-6, 1.0, 0.03);
}

TEST(Instrument, SurfacesAtSixtyDegreesPassTheUsualThreshold) {
  for (const double degrees : {0.0, 30.0, 60.0, 75.0}) {
    const Pose pose = TiltedPose({0, 0, 2}, degrees * kPi / 180.0);
    Instrument instrument(MakeScene(parts::MakePlane({}), pose), 3);
    const auto samples =
        instrument.Drive(Line(pose.Point({-0.02, 0, 0}), pose.Point({0.02, 0, 0}), 1e-4));
    double passed = 0.0;
    for (const RawDataPoint& s : samples) passed += s.quality >= 50.0;
    passed /= 401.0;
    if (degrees <= 60.0) {
      EXPECT_GT(passed, 0.98) << degrees;
    } else {
      EXPECT_LT(passed, 0.02) << degrees;
    }
  }
}

TEST(Instrument, FootprintBlursTheRimByItsOwnSize) {
  Noise noise = Noise::Off();
  noise.footprint = 0.00015;
  noise.rays = 101;
  noise.mixed = 1.0;
  const Scene scene = MakeScene(parts::MakeOpeningPlate(parts::RoundOpening(0.005)),
                                Pose::Facing({0, 0, 2}), 0.05, noise);
  Instrument instrument(scene, 4);
  int between = 0;
  // Samples a micrometre apart, and coarser ones under the sanitizers.
  const int coarser = test::Draws(1, 10);
  for (const RawDataPoint& s : instrument.Drive(AcrossTheHole(scene, 1e-6 * coarser))) {
    const Vec3 p = scene.pose.Inverse(SamplePoint(s));
    if (p.z() > -1e-6 || p.z() < -0.05 + 1e-6) continue;
    // Only a beam that touches the rim can read in between: farther off, less than 1e-4 of its
    // power crosses, which none of the rays stands for.
    ++between;
    EXPECT_LT(std::fabs((p * 2.0 / (2.0 - p.z())).head<2>().norm() - 0.005), 2e-4);
  }
  EXPECT_GT(between, 50 / coarser);
}

TEST(Instrument, WhatMeetsNothingIsLostInTheWayThatWasAskedFor) {
  Scene scene = HoleScene(Noise());
  scene.behind.reset();
  const auto path = AcrossTheHole(scene);
  const auto dropped = Instrument(scene, 1).Drive(path);
  EXPECT_LT(dropped.size(), 200U);
  scene.noise.lost = LostReturn::kZero;
  const auto zero = Instrument(scene, 1).Drive(path);
  ASSERT_EQ(zero.size(), 241U);
  int lost = 0;
  for (const RawDataPoint& s : zero) {
    if (s.range != 0.0) continue;
    EXPECT_EQ(s.quality, 0.0);
    ++lost;
  }
  EXPECT_EQ(zero.size() - dropped.size(), static_cast<std::size_t>(lost));
  scene.noise.lost = LostReturn::kNan;
  const auto nan = Instrument(scene, 1).Drive(path);
  ASSERT_EQ(nan.size(), 241U);
  EXPECT_TRUE(std::isnan(nan[120].range));
}

TEST(Instrument, StrayPointsComeInTheirShare) {
  Scene scene = MakeScene(parts::MakePlane({}), Pose::Facing({0, 0, 2}));
  scene.noise.stray = 0.1;
  int strays = 0;
  const auto samples = Instrument(scene, 8).Drive(Line({-0.1, 0, 2}, {0.1, 0, 2}, 1e-5));
  for (const RawDataPoint& s : samples) strays += std::fabs(SamplePoint(s).z() - 2.0) > 1e-4;
  EXPECT_NEAR(strays / static_cast<double>(samples.size()), 0.1, 0.012);
}

TEST(Instrument, AnswersInTheBranchOfTheDrivePoints) {
  Scene scene = MakeScene(parts::MakePlane({}), Pose::Facing({0, 0, -2}), {}, Noise::Off());
  const auto samples =
      Instrument(scene, 1).Drive({{kPi - 0.01, 0, 2, 0}, {kPi + 0.01, 0, 2, 0.001}});
  ASSERT_EQ(samples.size(), 40U);
  EXPECT_NEAR(samples.back().azimuth, kPi + 0.01, 0.0006);
  for (const RawDataPoint& s : samples) EXPECT_NEAR(SamplePoint(s).z(), -2.0, 1e-9);
}

TEST(Instrument, LooksAtTheNearerOfPartAndBackground) {
  const Scene scene = HoleScene(Noise::Off());
  Hit hit;
  ASSERT_TRUE(Instrument(scene, 1).Cast(scene.pose.position.normalized(), hit));
  EXPECT_NEAR(scene.pose.Inverse(hit.t * scene.pose.position.normalized()).z(), -0.05, 1e-9);
  EXPECT_NEAR(std::fabs(hit.normal.dot(scene.pose.rotation.col(2))), 1.0, 1e-12);
}

TEST(Pose, FacingPutsTheAxesWhereTheyWereAsked) {
  const Pose pose = Pose::Facing({0.1, 0.2, 2}, {0, 0.5, -1}, {1, 0.3, 0.2});
  EXPECT_LT((pose.rotation * pose.rotation.transpose() - Mat3::Identity()).norm(), 1e-15);
  EXPECT_NEAR(pose.rotation.determinant(), 1.0, 1e-15);
  EXPECT_LT((pose.rotation.col(2) - Vec3(0, 0.5, -1).normalized()).norm(), 1e-15);
  EXPECT_GT(pose.rotation.col(0).dot(Vec3(1, 0.3, 0.2)), 0.0);
  EXPECT_LT((pose.Inverse(pose.Point({1, 2, 3})) - Vec3(1, 2, 3)).norm(), 1e-14);
  // Straight up and straight down the default tangent still exists.
  EXPECT_NEAR(Pose::Facing({0, 2, 0}).rotation.determinant(), 1.0, 1e-15);
  EXPECT_NEAR(Pose::Facing({0, -2, 0}).rotation.col(0).norm(), 1.0, 1e-15);
}

}  // namespace
}  // namespace libmfx::sim
