#include "geometry/squared_limit.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace libmfx::geometry {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(SquaredLimit, IsTheLastSquareWhoseRootIsWithin) {
  std::mt19937_64 draws(5);
  std::uniform_real_distribution<double> exponent(-160.0, 150.0);
  for (int i = 0; i < 100000; ++i) {
    const double limit = std::pow(10.0, exponent(draws));
    const double within = SquareWithin(limit);
    EXPECT_LE(std::sqrt(within), limit);
    EXPECT_GT(std::sqrt(std::nextafter(within, kInfinity)), limit);
    const double below = SquareBelow(limit);
    EXPECT_LT(std::sqrt(below), limit);
    EXPECT_GE(std::sqrt(std::nextafter(below, kInfinity)), limit);
  }
}

TEST(SquaredLimit, HoldsAtTheEnds) {
  EXPECT_EQ(SquareWithin(0.0), 0.0);
  EXPECT_LT(SquareBelow(0.0), 0.0);
  EXPECT_LT(SquareWithin(-1.0), 0.0);
  EXPECT_LT(SquareWithin(std::nan("")), 0.0);
  EXPECT_EQ(SquareWithin(kInfinity), kInfinity);
  EXPECT_EQ(SquareWithin(std::numeric_limits<double>::max()), std::numeric_limits<double>::max());
}

}  // namespace
}  // namespace libmfx::geometry
