#include "sim/rng.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <string>

namespace libmfx::sim {
namespace {

TEST(Rng, FollowsThePublishedGenerator) {
  // splitmix64 of seed 1234567, then xoshiro256++, computed apart from this code with integers of
  // unlimited size.
  Rng rng(1234567);
  EXPECT_EQ(rng.Next(), 437095814655224680ULL);
  EXPECT_EQ(rng.Next(), 8127161015984454572ULL);
  EXPECT_EQ(rng.Next(), 18128670339019551454ULL);
}

TEST(Rng, TheSameSeedGivesTheSameDraws) {
  Rng a(42);
  Rng b(42);
  Rng c(43);
  int different = 0;
  for (int i = 0; i < 1000; ++i) {
    const double x = a.Normal();
    ASSERT_EQ(x, b.Normal());
    different += x != c.Normal();
  }
  EXPECT_EQ(different, 1000);
}

TEST(Rng, UniformDrawsFillTheUnitInterval) {
  Rng rng(5);
  const int n = 200000;
  double sum = 0.0;
  double low = 1.0;
  double high = 0.0;
  for (int i = 0; i < n; ++i) {
    const double u = rng.Uniform();
    sum += u;
    low = std::min(low, u);
    high = std::max(high, u);
  }
  EXPECT_GE(low, 0.0);
  EXPECT_LT(high, 1.0);
  EXPECT_LT(low, 1e-4);
  EXPECT_GT(high, 1.0 - 1e-4);
  EXPECT_NEAR(sum / n, 0.5, 5.0 * std::sqrt(1.0 / 12.0 / n));  // five sigmas of the mean
}

TEST(Rng, NormalDrawsHaveTheMomentsOfANormal) {
  Rng rng(6);
  const int n = 400000;
  double m1 = 0.0;
  double m2 = 0.0;
  double m4 = 0.0;
  int beyond = 0;
  for (int i = 0; i < n; ++i) {
    const double x = rng.Normal();
    m1 += x;
    m2 += x * x;
    m4 += x * x * x * x;
    beyond += std::fabs(x) > 1.959963984540054;
  }
  // Five sigmas of each estimate: variances 1, 2, 96 and p (1 - p), over n.
  EXPECT_NEAR(m1 / n, 0.0, 5.0 * std::sqrt(1.0 / n));
  EXPECT_NEAR(m2 / n, 1.0, 5.0 * std::sqrt(2.0 / n));
  EXPECT_NEAR(m4 / n, 3.0, 5.0 * std::sqrt(96.0 / n));
  EXPECT_NEAR(static_cast<double>(beyond) / n, 0.05, 5.0 * std::sqrt(0.0475 / n));
}

TEST(Rng, DerivedSeedsDependOnSeedAndIdAlone) {
  EXPECT_EQ(DeriveSeed(1, "job-7"), DeriveSeed(1, "job-7"));
  std::set<std::uint64_t> seeds;
  for (std::uint64_t seed = 0; seed < 20; ++seed) {
    for (int id = 0; id < 100; ++id) seeds.insert(DeriveSeed(seed, std::to_string(id)));
  }
  EXPECT_EQ(seeds.size(), 2000U);
}

// The mean of 200,000 is known to 0.0022, the standard deviation to 0.0013 (its fourth moment
// is 2.7).
TEST(Rng, NearlyNormalDeviatesHaveTheMomentsOfNormalOnes) {
  Rng rng(6);
  double sum = 0.0;
  double squares = 0.0;
  double largest = 0.0;
  constexpr int kDraws = 200000;
  for (int i = 0; i < kDraws; ++i) {
    const double x = NearlyNormal(rng.Next());
    sum += x;
    squares += x * x;
    largest = std::max(largest, std::fabs(x));
  }
  EXPECT_NEAR(sum / kDraws, 0.0, 0.009);
  EXPECT_NEAR(std::sqrt(squares / kDraws), 1.0, 0.006);
  EXPECT_GT(largest, 3.2);
  EXPECT_EQ(NearlyNormal(0), -2.0 * std::sqrt(3.0));
  EXPECT_EQ(NearlyNormal(~std::uint64_t{0}), 2.0 * std::sqrt(3.0));
}

}  // namespace
}  // namespace libmfx::sim
