#include "sim/echo.h"

#include <gtest/gtest.h>

#include <cmath>

namespace libmfx::sim {
namespace {

/// No random errors, but the footprint's echoes melt and mix as always.
Noise Quiet() {
  Noise n = Noise::Off();
  n.rays = 10;
  return n;
}

std::vector<RayEcho> TwoEchoes(int near_rays, int far_rays, double near, double far) {
  std::vector<RayEcho> echoes;
  for (int i = 0; i < far_rays; ++i) echoes.push_back({far, 1.0});
  for (int i = 0; i < near_rays; ++i) echoes.push_back({near, 1.0});
  return echoes;
}

TEST(Footprint, RaysLieInOppositePairsWithTheBeamsPower) {
  const auto rays = FootprintRays(101);
  ASSERT_EQ(rays.size(), 101U);
  Vec2 sum = Vec2::Zero();
  double squares = 0.0;
  int within = 0;
  for (const Vec2& ray : rays) {
    sum += ray;
    squares += ray.squaredNorm();
    within += ray.norm() <= 1.0;
  }
  EXPECT_LT(sum.norm(), 1e-12);
  // A Gaussian beam of 1/e^2 radius 1: mean square radius 1/2, and 1 - e^-2 of the power within 1.
  EXPECT_NEAR(squares / 101, 0.5, 0.03);
  EXPECT_NEAR(within / 101.0, 1.0 - std::exp(-2.0), 0.02);
  EXPECT_EQ(FootprintRays(1), std::vector<Vec2>{Vec2::Zero()});
}

TEST(Echo, NothingMetIsLost) {
  Rng rng(1);
  EXPECT_TRUE(FormEcho({}, 13, Noise(), rng).lost);
}

TEST(Echo, EchoesWithinTheResolutionMeltIntoTheirMean) {
  Rng rng(1);
  auto echoes = TwoEchoes(5, 5, 2.0, 2.0004);
  const Echo echo = FormEcho(echoes, 10, Quiet(), rng);
  EXPECT_NEAR(echo.range, 2.0002, 1e-12);
  EXPECT_NEAR(echo.quality, 90.0, 1e-3);  // all of the power is there
}

TEST(Echo, OfEchoesApartTheStrongerOneIsRead) {
  Noise noise = Quiet();
  noise.mixed = 0.0;
  Rng rng(1);
  auto echoes = TwoEchoes(6, 4, 2.0, 2.01);
  Echo echo = FormEcho(echoes, 10, noise, rng);
  EXPECT_NEAR(echo.range, 2.0, 1e-12);
  EXPECT_NEAR(echo.quality, 90.0 + 20.0 * std::log10(0.6), 1e-9);
  echoes = TwoEchoes(3, 7, 2.0, 2.01);
  EXPECT_NEAR(FormEcho(echoes, 10, noise, rng).range, 2.01, 1e-12);
}

TEST(Echo, RaysThatMissCostQuality) {
  Rng rng(1);
  auto echoes = TwoEchoes(5, 0, 2.0, 0.0);
  EXPECT_NEAR(FormEcho(echoes, 10, Quiet(), rng).quality, 90.0 + 20.0 * std::log10(0.5), 1e-9);
}

TEST(Echo, MixedReturnsLieInBetweenWithLowerQuality) {
  Noise noise;
  Rng rng(4);
  int between = 0;
  int good = 0;
  for (int i = 0; i < 4000; ++i) {
    auto echoes = TwoEchoes(7, 6, 2.0, 2.01);
    const Echo echo = FormEcho(echoes, 13, noise, rng);
    ASSERT_FALSE(echo.lost);
    ASSERT_GT(echo.range, 1.9998);
    ASSERT_LT(echo.range, 2.0102);
    if (std::fabs(echo.range - 2.0) < 1e-4 || std::fabs(echo.range - 2.01) < 1e-4) continue;
    ++between;
    EXPECT_LT(echo.quality, 60.0);
    good += echo.quality >= 50.0;
  }
  // About half of the evenly split echoes mix; a few of them pass a threshold of 50 all the same.
  EXPECT_NEAR(between / 4000.0, 0.5, 0.05);
  EXPECT_GT(good, 0);
  EXPECT_LT(good, between / 20);
}

TEST(Echo, QualityFallsWithIncidenceAndRange) {
  const Noise noise;
  const auto at = [&](double degrees, double range) {
    return ExpectedQuality(std::cos(degrees * M_PI / 180.0), range, noise);
  };
  EXPECT_EQ(at(0, 2.0), 90.0);
  EXPECT_GT(at(60, 2.0), 55.0);
  EXPECT_NEAR(at(65, 2.0), 50.0, 0.5);  // where the extractors' usual threshold cuts
  EXPECT_LT(at(70, 2.0), 45.0);
  EXPECT_NEAR(at(0, 20.0), 80.0, 1e-12);
  EXPECT_TRUE(std::isfinite(at(90, 2.0)));
}

TEST(Echo, RangeNoiseGrowsWithRangeAndIncidence) {
  const auto sigma = [](double range, double cosine) {
    Noise noise;
    noise.max_range = 100;
    noise.quality_floor = 0.0;
    Rng rng(9);
    double sum = 0.0;
    const int n = 20000;
    for (int i = 0; i < n; ++i) {
      RayEcho ray{range, cosine};
      const double e = FormEcho({&ray, 1}, 1, noise, rng).range - range;
      sum += e * e;
    }
    return std::sqrt(sum / n);
  };
  // sqrt((8 um)^2 + (2.5 um/m * R)^2 + (0.05 * footprint's depth)^2), estimated to 0.5 % (1 sigma).
  EXPECT_NEAR(sigma(2.0, 1.0), 9.43e-6, 0.25e-6);
  EXPECT_NEAR(sigma(20.0, 1.0), 50.6e-6, 1.3e-6);
  EXPECT_NEAR(sigma(2.0, 0.5), 16.04e-6, 0.4e-6);
}

TEST(Echo, WhatIsTooFarOrTooFaintIsLost) {
  Rng rng(1);
  RayEcho far{61.0, 1.0};
  EXPECT_TRUE(FormEcho({&far, 1}, 1, Noise(), rng).lost);
  RayEcho grazing{2.0, 0.01};
  EXPECT_TRUE(FormEcho({&grazing, 1}, 1, Noise(), rng).lost);
  EXPECT_FALSE(FormEcho({&grazing, 1}, 1, Noise::Off(), rng).lost);
}

}  // namespace
}  // namespace libmfx::sim
