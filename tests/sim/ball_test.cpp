#include <gtest/gtest.h>

#include <cmath>

#include "sim/scenario.h"

namespace libmfx::sim {
namespace {

TEST(Ball, SurfaceIsMetExactlyUpToTheSilhouette) {
  const auto ball = parts::MakeBall({0.0127, 0.004, 0.05});
  Rng rng(3);
  const Vec3 eye(0.5, -0.2, 2.0);
  int seen = 0;
  for (int i = 0; i < 5000; ++i) {
    const Vec3 out = Vec3(rng.Normal(), rng.Normal(), rng.Normal()).normalized();
    const Vec3 p = 0.0127 * out;
    // From grazing angles of 0.1 degree on; below, a ray's rounding alone moves its hit.
    if (out.dot((eye - p).normalized()) < 0.0017) continue;
    Hit hit;
    ASSERT_TRUE(ball->Intersect({eye, (p - eye).normalized()}, hit));
    ASSERT_NEAR(hit.t, (p - eye).norm(), 1e-9);
    ASSERT_LT((hit.normal - out).norm(), 1e-6);
    ++seen;
  }
  EXPECT_GT(seen, 2000);
}

TEST(Ball, ABeamPastTheBallMeetsNothing) {
  const auto ball = parts::MakeBall({0.0127, 0.0, 0.05});
  Hit hit;
  EXPECT_FALSE(ball->Intersect({{0.0127 + 1e-9, 0, 2}, {0, 0, -1}}, hit));
  EXPECT_TRUE(ball->Intersect({{0.0127 - 1e-9, 0, 2}, {0, 0, -1}}, hit));
}

TEST(Ball, StemStandsBehindTheBallAndIsMetExactly) {
  const auto ball = parts::MakeBall({0.0127, 0.004, 0.05});
  const Vec3 eye(2.0, 0.0, -0.01);
  const Vec3 p(0.004, 0.0, -0.03);
  Hit hit;
  ASSERT_TRUE(ball->Intersect({eye, (p - eye).normalized()}, hit));
  EXPECT_NEAR(hit.t, (p - eye).norm(), 1e-9);
  EXPECT_FALSE(ball->HasFront());
}

TEST(Ball, StaysExactFarAway) {
  const auto ball = parts::MakeBall({0.0127, 0.0, 0.05});
  Hit hit;
  ASSERT_TRUE(ball->Intersect({{0, 0, 30}, Vec3(0.0003, 0, -1).normalized()}, hit));
  // Law of cosines: t = b - sqrt(b^2 - 30^2 + r^2), in extended precision.
  const long double cosine = 1.0L / std::sqrt(1.0L + 0.0003L * 0.0003L);
  const long double b = 30.0L * cosine;
  const long double t = b - std::sqrt(b * b - 900.0L + 0.0127L * 0.0127L);
  EXPECT_NEAR(hit.t, static_cast<double>(t), 1e-10);
}

}  // namespace
}  // namespace libmfx::sim
