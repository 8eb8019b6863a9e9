// The signs that the sweep hangs on, fast and exact, and the ordinates of its circle events.

#include "geometry/sweep/predicates.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "delaunay_check.h"

namespace {

using delaunay_check::Random;
using namespace libmfx::geometry::sweep;

/// A point of magnitude up to 1 within some ulps of a lattice: ties, near-ties and neither.
Vec2 NearLattice(Random& random) {
  const auto coordinate = [&random] {
    const double on = (random.Below(9) - 4) / 4.0;
    return on + 0x1p-54 * (random.Below(5) - 2);
  };
  const double x = coordinate();
  return {x, coordinate()};
}

TEST(SweepPredicates, FilteredSignsAreTheExactOnes) {
  Random random(1);
  int zeros = 0;
  for (int i = 0; i < 20000; ++i) {
    const Vec2 a = NearLattice(random), b = NearLattice(random), c = NearLattice(random),
               d = NearLattice(random);
    EXPECT_EQ(Orientation(a, b, c), ExactOrientation(a, b, c));
    EXPECT_EQ(InCircle(a, b, c, d), ExactInCircle(a, b, c, d));
    zeros += ExactInCircle(a, b, c, d) == 0 ? 1 : 0;
  }
  EXPECT_GT(zeros, 100);  // the hard cases were among them
}

TEST(SweepPredicates, SignsFollowTheOrderOfTheirArguments) {
  Random random(2);
  for (int i = 0; i < 5000; ++i) {
    const Vec2 a = NearLattice(random), b = NearLattice(random), c = NearLattice(random),
               d = NearLattice(random);
    EXPECT_EQ(ExactOrientation(a, b, c), ExactOrientation(b, c, a));
    EXPECT_EQ(ExactOrientation(a, b, c), -ExactOrientation(b, a, c));
    EXPECT_EQ(ExactInCircle(a, b, c, d), ExactInCircle(b, c, a, d));
    EXPECT_EQ(ExactInCircle(a, b, c, d), -ExactInCircle(b, a, c, d));
  }
}

TEST(SweepPredicates, OneUlpDecides) {
  const Vec2 a{0.0, 0.0}, b{1.0, 0.0}, c{0.0, 1.0}, on{1.0, 1.0};
  EXPECT_EQ(InCircle(a, b, c, on), 0);
  EXPECT_EQ(InCircle(a, b, c, {1.0, std::nextafter(1.0, 0.0)}), 1);
  EXPECT_EQ(InCircle(a, b, c, {1.0, std::nextafter(1.0, 2.0)}), -1);
  const Vec2 half{0.5, 0.5}, third{1.0 / 3.0, 1.0 / 3.0};
  EXPECT_EQ(Orientation(third, half, on), 0);
  EXPECT_EQ(Orientation(third, half, {1.0, std::nextafter(1.0, 2.0)}), 1);
  EXPECT_EQ(Orientation(third, half, {1.0, std::nextafter(1.0, 0.0)}), -1);
  // Beneath the breakpoint of two sites of equal height counts as left of it.
  const Vec2 left{-1.0, 1.0}, right{1.0, 1.0};
  EXPECT_FALSE(IsRightOfBreakpoint({0.0, 0.0}, left, right));
  EXPECT_TRUE(IsRightOfBreakpoint({0x1p-200, 0.0}, left, right));
}

TEST(SweepPredicates, BreakpointLiesWhereTheParabolasMeet) {
  // Seen from a sweep line at 0, a site at height h above it and at x has the parabola
  // ((p - x)^2 + h^2) / (2 h). At p the lower one of the two is on the beachline.
  Random random(3);
  for (int i = 0; i < 5000; ++i) {
    const Vec2 left{random.Uniform(-1.0, 0.0), random.Uniform(0.1, 1.0)};
    const Vec2 right{random.Uniform(0.0, 1.0), random.Uniform(0.1, 1.0)};
    const double p = random.Uniform(left.x, right.x);  // between the sites the two meet once
    const auto height = [p](const Vec2& s) {
      return ((p - s.x) * (p - s.x) + s.y * s.y) / (2.0 * s.y);
    };
    if (std::abs(height(left) - height(right)) < 1e-12) continue;
    EXPECT_EQ(IsRightOfBreakpoint({p, 0.0}, left, right), height(right) < height(left));
  }
}

TEST(SweepPredicates, BottomsKeepTheirBound) {
  Random random(4);
  int flat = 0;
  for (int i = 0; i < 20000; ++i) {
    Vec2 a{random.Uniform(-1.0, 1.0), random.Uniform(-1.0, 1.0)};
    Vec2 c{random.Uniform(-1.0, 1.0), random.Uniform(-1.0, 1.0)};
    const double t = random.Uniform(), off = std::pow(10.0, random.Uniform(-15.0, 0.0));
    Vec2 b{a.x + t * (c.x - a.x) - off * (c.y - a.y), a.y + t * (c.y - a.y) + off * (c.x - a.x)};
    if (std::abs(b.x) > 1.0 || std::abs(b.y) > 1.0) continue;
    CircleBottom rounded;
    ASSERT_EQ(ConvergingBottom(a, b, c, rounded), ExactOrientation(a, b, c) < 0);
    if (ExactOrientation(a, b, c) >= 0) continue;
    const CircleBottom refined = RefineBottom(a, b, c);
    EXPECT_LE(std::abs(rounded.y - refined.y), kBottomError * (1.0 + std::abs(refined.y)));
    flat += rounded.refined ? 1 : 0;
    double y = 0.0;
    ASSERT_TRUE(ConvergingOrdinate(a, b, c, y));
    EXPECT_EQ(y, rounded.y);
    // The refined bottom against the circle in long double, which has digits enough where the
    // triple is not flat.
    if (off < 0.01) continue;
    const Vec2 centre = CircleCentre(a, b, c);
    const long double dx = static_cast<long double>(b.x) - centre.x,
                      dy = static_cast<long double>(b.y) - centre.y;
    const long double bottom = centre.y - std::sqrt(dx * dx + dy * dy);
    EXPECT_NEAR(static_cast<double>(bottom), refined.y, 1e-12 * (1.0 + std::abs(refined.y)));
  }
  EXPECT_GT(flat, 1000);
}

TEST(SweepPredicates, BottomsOfKnownShapesAreThoseOfEach) {
  Random random(7);
  RefinedBottoms table;
  // Cells of rasters, of far more shapes than the table holds, whose differences are exact or not.
  const auto along = [](int i, int pitch) { return 0.001 * pitch * i / 8.0; };
  int known = 0;
  for (int i = 0; i < 50000; ++i) {
    const int pitch = 1 + random.Below(i % 2 == 0 ? 2 : 90), x = random.Below(80) - 40;
    const int y = random.Below(80) - 40;
    Vec2 corners[4];
    for (int k = 0; k < 4; ++k) {
      corners[k] = {along(x + (k == 1 || k == 2), pitch), along(y + (k >= 2), pitch)};
    }
    const int leave = random.Below(4);  // the other three turn clockwise from the third on
    const Vec2 &a = corners[(leave + 3) % 4], &b = corners[(leave + 2) % 4];
    const Vec2& c = corners[(leave + 1) % 4];
    const CircleBottom one = RefineBottom(a, b, c), other = table.Of(a, b, c);
    ASSERT_EQ(one.y, other.y) << i;
    ASSERT_EQ(one.y_low, other.y_low) << i;
    known += other.refined ? 1 : 0;
  }
  EXPECT_EQ(known, 50000);
}

TEST(SweepPredicates, TwoBottomsAtOnceAreThoseOfEach) {
  Random random(6);
  int converging = 0, refined = 0, apart = 0;
  const auto point = [&]() -> Vec2 {
    if (random.Below(3) == 0) return NearLattice(random);
    const double scale = std::ldexp(1.0, -random.Below(140));
    const double x = random.Uniform(-1.0, 1.0);
    return {random.Below(2) == 0 ? x : x * scale, random.Uniform(-1.0, 1.0) * scale};
  };
  for (int i = 0; i < 50000; ++i) {
    Vec2 sites[2][3];
    for (auto& triple : sites) {
      for (Vec2& site : triple) site = point();
      // Flat ones: the middle is moved onto the line of the others, but for rounding.
      if (random.Below(3) != 0) continue;
      const double t = random.Uniform();
      triple[1] = {triple[0].x + t * (triple[2].x - triple[0].x),
                   triple[0].y + t * (triple[2].y - triple[0].y)};
    }
    double bottoms[2];
    ConvergingBottoms({&sites[0][0], &sites[0][1], &sites[0][2]},
                      {&sites[1][0], &sites[1][1], &sites[1][2]}, bottoms);
    for (int k = 0; k < 2; ++k) {
      CircleBottom one;
      if (ConvergingBottom(sites[k][0], sites[k][1], sites[k][2], one)) {
        ASSERT_EQ(bottoms[k], one.y) << i;
        ++(one.refined ? refined : converging);
      } else {
        ASSERT_EQ(bottoms[k], -std::numeric_limits<double>::infinity()) << i;
        ++apart;
      }
    }
  }
  EXPECT_GT(converging, 10000);
  EXPECT_GT(refined, 1000);
  EXPECT_GT(apart, 10000);
}

}  // namespace
