#include "libmfx/math/gaussian_window.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace libmfx::math {
namespace {

double Density(double x, double sigma) {
  return std::exp(-x * x / (2 * sigma * sigma)) / std::sqrt(2 * std::numbers::pi * sigma * sigma);
}

TEST(GaussianWindow, IsTheDensityDividedByItsLargestValue) {
  for (const double sigma : {0.1, 0.25, 1.0, 17.0}) {
    for (const unsigned n : {1u, 2u, 7u, 64u, 1001u}) {
      const std::vector<double> window = GaussianWindow(n, sigma);
      ASSERT_EQ(window.size(), n);
      EXPECT_EQ(window[0], 1.0);
      for (unsigned i = 0; i < n; ++i) {
        const double expected = Density(double(i) / n, sigma) / Density(0, sigma);
        EXPECT_NEAR(window[i], expected, 4e-16 + 2e-15 * expected);
      }
    }
  }
}

TEST(GaussianWindow, WithSigmaOneTheLastApproachesExpOfMinusOneHalf) {
  EXPECT_NEAR(GaussianWindow(100000, 1.0).back(), std::exp(-0.5), 1e-5);
}

TEST(GaussianWindow, NoElementsGiveAnEmptyWindow) {
  EXPECT_TRUE(GaussianWindow(0, 1.0).empty());
  EXPECT_TRUE(CenteredGaussianWindow(0, 1.0).empty());
}

TEST(GaussianWindow, ANarrowWindowFallsToZero) {
  const std::vector<double> window = GaussianWindow(10, 1e-3);
  EXPECT_EQ(window[0], 1.0);
  EXPECT_EQ(window[1], 0.0);
}

TEST(GaussianWindow, ASigmaOfZeroOrNaNShows) {
  EXPECT_TRUE(std::isnan(GaussianWindow(3, 0.0)[0]));
  EXPECT_TRUE(std::isnan(GaussianWindow(3, std::numeric_limits<double>::quiet_NaN())[2]));
}

TEST(CenteredGaussianWindow, AnOddNumberPeaksOnePlaceBehindTheMiddle) {
  const std::vector<double> window = CenteredGaussianWindow(5, 1.0);
  ASSERT_EQ(window.size(), 5u);
  EXPECT_EQ(window[3], 1.0);
  for (unsigned i = 0; i < 5; ++i) {
    EXPECT_NEAR(window[i], std::exp(-std::pow((i - 3.0) / 5.0, 2) / 2.0), 1e-15);
  }
}

TEST(CenteredGaussianWindow, AnEvenNumberHasTwoPeaks) {
  const std::vector<double> window = CenteredGaussianWindow(4, 0.5);
  EXPECT_EQ(window[2], 1.0);
  EXPECT_EQ(window[3], 1.0);
  EXPECT_NEAR(window[0] / window[1], Density(2.5 / 4, 0.5) / Density(1.5 / 4, 0.5), 1e-15);
}

}  // namespace
}  // namespace libmfx::math
