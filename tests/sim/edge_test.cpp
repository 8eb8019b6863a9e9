#include <gtest/gtest.h>

#include <cmath>

#include "sim/scenario.h"

namespace libmfx::sim {
namespace {

/// Expects that the beam from `eye` to the visible surface point `p` ends there.
void ExpectMeets(const Part& part, const Vec3& eye, const Vec3& p) {
  Hit hit;
  ASSERT_TRUE(part.Intersect({eye, (p - eye).normalized()}, hit)) << p.transpose();
  EXPECT_NEAR(hit.t, (p - eye).norm(), 1e-9) << p.transpose();
}

const Vec3 kEye(0.6, 0.1, 1.8);  // sees a perpendicular wall

TEST(Edge, SharpEdgeFrontAndWallAreMetExactly) {
  const auto edge = parts::MakeEdge({});
  for (const double y : {-0.1, -0.01, 0.0, 0.04, 0.1}) {
    ExpectMeets(*edge, kEye, {0, y, 0});
    ExpectMeets(*edge, kEye, {-0.02, y, 0});
    ExpectMeets(*edge, kEye, {-0.1, y, 0});
    ExpectMeets(*edge, kEye, {0, y, -0.004});
    ExpectMeets(*edge, kEye, {0, y, -0.01});
  }
  Hit hit;
  EXPECT_FALSE(edge->Intersect({kEye, (Vec3(1e-9, 0, 0) - kEye).normalized()}, hit) &&
               hit.t < (Vec3(0, 0, -0.001) - kEye).norm() - 1e-3);
}

TEST(Edge, FilletTouchesFrontAndWallAndIsMetExactly) {
  for (const double lean : {-0.3, 0.0, 0.4}) {
    parts::EdgeSpec spec;
    spec.fillet = 0.002;
    spec.wall_angle = lean;
    const auto edge = parts::MakeEdge(spec);
    const Truth& truth = edge->truth();
    const Vec3 start = truth.points.at("front_end");
    const Vec3 end = truth.points.at("wall_start");
    const Vec3 center = start - Vec3(0, 0, 0.002);
    // The tangent points are one radius from the centre, and as far from the corner as each other.
    EXPECT_NEAR((end - center).norm(), 0.002, 1e-15);
    EXPECT_NEAR(start.norm(), end.norm(), 1e-15);
    const Vec3 eye(1.6, 0.1, 1.2);
    for (double a = 0.0; a <= 1.0; a += 0.05) {
      // Normals from straight up to the wall's.
      const double angle = kPi / 2 - a * (kPi / 2 - lean);
      const Vec3 p = center + 0.002 * Vec3(std::cos(angle), 0.0, std::sin(angle));
      if ((p - center).dot(eye - p) <= 0.0) continue;
      ExpectMeets(*edge, eye, p + Vec3(0, 0.01, 0));
    }
    ExpectMeets(*edge, eye, start);
  }
}

TEST(Edge, ChamferIsMetFromEndToEnd) {
  parts::EdgeSpec spec;
  spec.chamfer = 0.001;
  const auto edge = parts::MakeEdge(spec);
  for (double a = 0.0; a <= 1.0; a += 0.1) {
    ExpectMeets(*edge, kEye, {-0.001 * (1 - a), 0.02, -0.001 * a});
  }
  EXPECT_EQ(edge->truth().points.at("front_end"), Vec3(-0.001, 0, 0));
}

TEST(Edge, LedgeBeginsWhereTheWallEnds) {
  parts::EdgeSpec spec;
  spec.ledge = 0.003;
  spec.wall_angle = 0.2;
  const auto edge = parts::MakeEdge(spec);
  const double foot = 0.003 * std::tan(0.2);
  ExpectMeets(*edge, {0, 0, 2}, {foot, 0, -0.003});
  ExpectMeets(*edge, {0, 0, 2}, {foot + 0.01, 0, -0.003});
  ExpectMeets(*edge, {0, 0, 2}, {0.5 * foot, 0, -0.0015});
}

TEST(Edge, AnUndercutWallIsHidden) {
  parts::EdgeSpec spec;
  spec.wall_angle = -0.5;
  const auto edge = parts::MakeEdge(spec);
  Hit hit;
  EXPECT_FALSE(edge->Intersect({{0.0001, 0, 2}, {0, 0, -1}}, hit));
  EXPECT_TRUE(edge->Intersect({{-0.0001, 0, 2}, {0, 0, -1}}, hit));
  EXPECT_NEAR(hit.t, 2.0, 1e-12);
}

}  // namespace
}  // namespace libmfx::sim
