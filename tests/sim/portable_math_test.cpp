#include "sim/portable_math.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "sim/rng.h"

namespace libmfx::sim {
namespace {

constexpr double kUlp = 2.3e-16;  // spacing of doubles just above 1

TEST(PortableMath, SineAndCosineAgreeWithTheSystem) {
  Rng rng(1);
  for (int i = 0; i < 20000; ++i) {
    const double x = rng.Uniform(-1000.0, 1000.0);
    const auto [s, c] = portable::SinCos(x);
    ASSERT_NEAR(s, std::sin(x), 2 * kUlp) << x;
    ASSERT_NEAR(c, std::cos(x), 2 * kUlp) << x;
  }
  EXPECT_EQ(portable::SinCos(0.0).sine, 0.0);
  EXPECT_EQ(portable::SinCos(0.0).cosine, 1.0);
}

TEST(PortableMath, SmallAnglesKeepTheirRelativePrecision) {
  for (double x = 1e-300; x < 1e-3; x *= 7.0) {
    EXPECT_NEAR(portable::SinCos(x).sine / std::sin(x), 1.0, 2 * kUlp) << x;
    EXPECT_NEAR(portable::Atan2(x, 1.0) / std::atan2(x, 1.0), 1.0, 2 * kUlp) << x;
  }
}

TEST(PortableMath, ArcTangentAgreesWithTheSystemInAllQuadrants) {
  Rng rng(2);
  for (int i = 0; i < 20000; ++i) {
    const double y = rng.Normal();
    const double x = rng.Normal();
    ASSERT_NEAR(portable::Atan2(y, x), std::atan2(y, x), 3 * kUlp * 3.2) << y << " " << x;
  }
}

TEST(PortableMath, ArcTangentOnTheAxes) {
  EXPECT_EQ(portable::Atan2(0.0, 0.0), 0.0);
  EXPECT_EQ(portable::Atan2(0.0, 1.0), 0.0);
  EXPECT_DOUBLE_EQ(portable::Atan2(1.0, 0.0), std::atan2(1.0, 0.0));
  EXPECT_DOUBLE_EQ(portable::Atan2(-1.0, 0.0), std::atan2(-1.0, 0.0));
  EXPECT_DOUBLE_EQ(portable::Atan2(0.0, -1.0), std::atan2(0.0, -1.0));
  EXPECT_DOUBLE_EQ(portable::Atan2(1.0, 1.0), std::atan2(1.0, 1.0));
}

TEST(PortableMath, LogarithmAgreesWithTheSystem) {
  Rng rng(3);
  for (int i = 0; i < 20000; ++i) {
    const double x = std::ldexp(rng.Uniform(0.5, 1.0), static_cast<int>(rng.Uniform(-300, 300)));
    ASSERT_NEAR(portable::Log(x), std::log(x), 2 * kUlp * std::max(1.0, std::fabs(std::log(x))));
  }
  EXPECT_EQ(portable::Log(1.0), 0.0);
  EXPECT_DOUBLE_EQ(portable::Log10(1000.0), 3.0);
}

// Against the library's functions of long double. The angle within its eighth of a turn is off by
// 1.2e-16, the sum of the series by two roundings, the result by one more.
TEST(PortableMath, SineAndCosineOfTurns) {
  for (int i = -40000; i <= 40000; ++i) {
    const double turns = 0.000137 * i;
    const auto rest = static_cast<long double>(turns) - std::floor(static_cast<long double>(turns));
    const long double angle = 2.0L * 3.14159265358979323846264338327950288L * rest;
    const auto [s, c] = portable::SinCosOfTurns(turns);
    ASSERT_NEAR(s, static_cast<double>(std::sin(angle)), 5e-16) << turns;
    ASSERT_NEAR(c, static_cast<double>(std::cos(angle)), 5e-16) << turns;
  }
  EXPECT_EQ(portable::SinCosOfTurns(0.0).sine, 0.0);
  EXPECT_EQ(portable::SinCosOfTurns(-3.75).sine, 1.0);
  EXPECT_EQ(portable::SinCosOfTurns(1e12 + 0.5).cosine, -1.0);
}

TEST(PortableMath, FloorIsTheLibrarys) {
  for (const double x : {0.0, -0.0, 0.5, -0.5, 1.0, -1.0, 2.999, -2.001, 1e15 + 0.5, -1e15 - 0.5}) {
    EXPECT_EQ(static_cast<double>(portable::Floor(x)), std::floor(x)) << x;
  }
}

}  // namespace
}  // namespace libmfx::sim
