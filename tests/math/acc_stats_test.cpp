#include "libmfx/math/acc_stats.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace libmfx::math {
namespace {

TEST(AccStats, StartsAtZero) {
  const AccStats stats;
  EXPECT_EQ(stats.sum, 0.0);
  EXPECT_EQ(stats.product, 0.0);
  EXPECT_EQ(stats.sum_of_squares, 0.0);
  EXPECT_EQ(stats.count, 0);
  EXPECT_EQ(stats.min, 0.0);
  EXPECT_EQ(stats.max, 0.0);
}

TEST(AccStats, TheFirstValueSetsProductAndExtremes) {
  AccStats stats;
  stats.Add(-3.0);
  EXPECT_EQ(stats.product, -3.0);
  EXPECT_EQ(stats.min, -3.0);
  EXPECT_EQ(stats.max, -3.0);
  stats.Add(2.0);
  stats.Add(-4.0);
  EXPECT_EQ(stats.count, 3);
  EXPECT_EQ(stats.sum, -5.0);
  EXPECT_EQ(stats.sum_of_squares, 29.0);
  EXPECT_EQ(stats.product, 24.0);
  EXPECT_EQ(stats.min, -4.0);
  EXPECT_EQ(stats.max, 2.0);
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
  EXPECT_EQ(stats.max, 5.0);
  EXPECT_EQ(stats.min, 1.0);
  EXPECT_EQ(stats.product, 5.0);
  EXPECT_EQ(stats.sum, 1.0);
  EXPECT_EQ(stats.sum_of_squares, 1.0);
}

TEST(AccStats, ResetKeepsOnlyTheProductUntilTheNextAdd) {
  AccStats stats;
  stats.Add(2.0);
  stats.Add(3.0);
  stats.Reset();
  EXPECT_EQ(stats.product, 6.0);
  EXPECT_EQ(stats.sum, 0.0);
  EXPECT_EQ(stats.sum_of_squares, 0.0);
  EXPECT_EQ(stats.count, 0);
  EXPECT_EQ(stats.min, 0.0);
  EXPECT_EQ(stats.max, 0.0);
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
