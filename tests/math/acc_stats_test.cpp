#include "libmfx/math/acc_stats.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace libmfx::math {
namespace {

/// What an accumulator holds.
struct Held {
  double sum = 0.0;
  double sum_of_squares = 0.0;
  double product = 0.0;
  double min = 0.0;
  double max = 0.0;
  int count = 0;
};

void ExpectHeld(const AccStats& stats, const Held& held) {
  EXPECT_EQ(stats.sum, held.sum);
  EXPECT_EQ(stats.sum_of_squares, held.sum_of_squares);
  EXPECT_EQ(stats.product, held.product);
  EXPECT_EQ(stats.min, held.min);
  EXPECT_EQ(stats.max, held.max);
  EXPECT_EQ(stats.count, held.count);
}

TEST(AccStats, StartsAtZero) { ExpectHeld(AccStats(), {}); }

TEST(AccStats, TheFirstValueSetsProductAndExtremes) {
  AccStats stats;
  stats.Add(-3.0);
  ExpectHeld(stats, {-3.0, 9.0, -3.0, -3.0, -3.0, 1});
  stats.Add(2.0);
  stats.Add(-4.0);
  ExpectHeld(stats, {-5.0, 29.0, 24.0, -4.0, 2.0, 3});
}

TEST(AccStats, RemovingFromAnEmptyAccumulatorLeavesItEmpty) {
  AccStats stats;
  EXPECT_EQ(stats.Remove(7.0), 0u);
  EXPECT_EQ(stats.count, 0);
  EXPECT_EQ(stats.sum, 0.0);
  EXPECT_EQ(stats.sum_of_squares, 0.0);
}

TEST(AccStats, RemovingTheLargestValueDoesNotLowerMax) {
  AccStats stats;
  stats.Add(1.0);
  stats.Add(5.0);
  EXPECT_EQ(stats.Remove(5.0), 1u);
  ExpectHeld(stats, {1.0, 1.0, 5.0, 1.0, 5.0, 1});
}

TEST(AccStats, ResetKeepsOnlyTheProductUntilTheNextAdd) {
  AccStats stats;
  stats.Add(2.0);
  stats.Add(3.0);
  stats.Reset();
  ExpectHeld(stats, {.product = 6.0});
  stats.Add(9.0);
  EXPECT_EQ(stats.product, 9.0);
  EXPECT_EQ(stats.min, 9.0);
}

TEST(AccStats, StandardDeviationIsTheSampleForm) {
  AccStats stats;
  EXPECT_EQ(StandardDeviation(stats), 0.0);
  stats.Add(4.0);
  EXPECT_EQ(StandardDeviation(stats), 0.0);
  for (const double v : {2.0, 4.0, 4.0, 5.0, 5.0, 7.0, 9.0}) stats.Add(v);
  EXPECT_NEAR(StandardDeviation(stats), std::sqrt(32.0 / 7.0), 1e-15);
}

TEST(AccStats, StandardDeviationOfEqualValuesIsZeroAndOfNaNIsNaN) {
  AccStats stats;
  for (int i = 0; i < 7; ++i) stats.Add(0.1);
  EXPECT_NEAR(StandardDeviation(stats), 0.0, 1e-8);
  stats.Add(std::numeric_limits<double>::quiet_NaN());
  EXPECT_TRUE(std::isnan(StandardDeviation(stats)));
}

}  // namespace
}  // namespace libmfx::math
