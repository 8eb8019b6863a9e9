#include "sim/mesh/mesh_part.h"

#include <gtest/gtest.h>

#include <cmath>

#include "random_cases.h"
#include "sim/mesh/mesh_shapes.h"
#include "sim/rng.h"
#include "sim/scenario.h"

namespace libmfx::sim {
namespace {

constexpr double kExact = 1e-9;

double RangeTowards(const Part& part, const Vec3& eye, const Vec3& target) {
  Hit hit;
  return part.Intersect({eye, (target - eye).normalized()}, hit) ? hit.t : INFINITY;
}

Vec3 RandomDirection(Rng& rng) {
  return Vec3(rng.Normal(), rng.Normal(), rng.Normal()).normalized();
}

/// Points of every triangle of a convex mesh that faces the eye: inside, on an edge, a corner.
void ExpectConvexMeshIsExact(const TriangleMesh& mesh, const Vec3& eye, int at_least) {
  const MeshPart part(mesh);
  Rng rng(31);
  int met = 0;
  for (const auto& t : mesh.triangles) {
    const Vec3& a = mesh.vertices[t[0]];
    const Vec3& b = mesh.vertices[t[1]];
    const Vec3& c = mesh.vertices[t[2]];
    const Vec3 normal = (b - a).cross(c - a).normalized();
    if (normal.dot((eye - a).normalized()) < 1e-3) continue;
    const double u = rng.Uniform();
    const double v = rng.Uniform() * (1.0 - u);
    for (const Vec3& p : {Vec3(a + u * (b - a) + v * (c - a)), Vec3(a + u * (b - a)),
                          Vec3(0.5 * (b + c)), a, b, c}) {
      ASSERT_NEAR(RangeTowards(part, eye, p), (p - eye).norm(), kExact) << p.transpose();
      ++met;
    }
  }
  EXPECT_GE(met, at_least);
}

TEST(MeshPart, BoxIsExactOnFacesEdgesAndVertices) {
  ExpectConvexMeshIsExact(mesh_shapes::Box({0.1, 0.06, 0.02}), {0.4, 0.3, 2.0}, 36);
  ExpectConvexMeshIsExact(mesh_shapes::Box({0.1, 0.06, 0.02}), {-3.0, 10.0, 7.0}, 36);
}

TEST(MeshPart, FineSphereIsExactOnFacesEdgesAndVertices) {
  ExpectConvexMeshIsExact(mesh_shapes::Sphere(0.0127, 5), {0.4, 0.3, 2.0}, 20000);
  ExpectConvexMeshIsExact(mesh_shapes::Sphere(0.5, 5), {10.0, -20.0, 5.0}, 20000);
}

TEST(MeshPart, PartFarFromItsOwnOriginIsExact) {
  TriangleMesh mesh = mesh_shapes::Sphere(0.0127, 3);
  for (Vec3& v : mesh.vertices) v += Vec3(5.0, -3.0, 8.0);
  ExpectConvexMeshIsExact(mesh, {0.4, 0.3, 2.0}, 1000);
}

TEST(MeshPart, SilhouetteIsExact) {
  const MeshPart box(mesh_shapes::Box({0.1, 0.06, 0.02}));
  const Vec3 eye(0.0, 0.0, 2.0);
  for (const double side : {-1.0, 1.0}) {
    EXPECT_NEAR(RangeTowards(box, eye, {side * (0.05 - kExact), 0.01, 0.01}), 1.99062, 1e-4);
    EXPECT_EQ(RangeTowards(box, eye, {side * (0.05 + kExact), 0.01, 0.01}), INFINITY);
    EXPECT_EQ(RangeTowards(box, eye, {0.01, side * (0.03 + kExact), 0.01}), INFINITY);
    EXPECT_NE(RangeTowards(box, eye, {0.01, side * (0.03 - kExact), 0.01}), INFINITY);
  }
}

TEST(MeshPart, NoRaySlipsBetweenTwoTriangles) {
  const TriangleMesh mesh = mesh_shapes::Sphere(0.02, 4);
  const MeshPart part(mesh);
  Rng rng(32);
  int aimed = 0;
  for (const auto& t : mesh.triangles) {
    const Vec3 eye = rng.Uniform(0.1, 3.0) * RandomDirection(rng);
    for (std::size_t i = 0; i < 3; ++i) {
      const Vec3& a = mesh.vertices[t[i]];
      const Vec3& b = mesh.vertices[t[(i + 1) % 3]];
      // At a vertex, and at a point of an edge that is rounded to whatever side.
      for (const Vec3& p : {a, Vec3(a + rng.Uniform() * (b - a))}) {
        // Not within a hair of the silhouette, where passing by is right.
        if (std::fabs(p.normalized().dot((eye - p).normalized())) < 0.02) continue;
        ASSERT_LE(RangeTowards(part, eye, p), (p - eye).norm() + kExact);
        ++aimed;
      }
    }
  }
  EXPECT_GT(aimed, 10000);
}

TEST(MeshPart, EveryRayThroughAClosedPartMeetsIt) {
  const MeshPart part(mesh_shapes::WavyBlock(0.1, 0.004, 40));
  Rng rng(33);
  for (int i = 0; i < test::Draws(20000, 2000); ++i) {
    const Vec3 eye = rng.Uniform(0.3, 5.0) * RandomDirection(rng);
    const Vec3 inside(rng.Uniform(-0.02, 0.02), rng.Uniform(-0.02, 0.02), -0.02);
    ASSERT_LT(RangeTowards(part, eye, inside), (inside - eye).norm());
  }
}

/// The nearest hit by trying every triangle.
double BruteForce(const TriangleMesh& mesh, const Ray& ray) {
  double nearest = INFINITY;
  for (const auto& t : mesh.triangles) {
    const Vec3& a = mesh.vertices[t[0]];
    const Vec3 e1 = mesh.vertices[t[1]] - a;
    const Vec3 e2 = mesh.vertices[t[2]] - a;
    const Vec3 n = e1.cross(e2);
    const double d = ray.direction.dot(n);
    if (d == 0.0) continue;
    const double s = (a - ray.origin).dot(n) / d;
    const Vec3 p = ray.At(s) - a;
    const double u = p.cross(e2).dot(n) / n.squaredNorm();
    const double v = e1.cross(p).dot(n) / n.squaredNorm();
    if (s > 0.0 && u >= 0.0 && v >= 0.0 && u + v <= 1.0) nearest = std::min(nearest, s);
  }
  return nearest;
}

TEST(MeshPart, AgreesWithTryingEveryTriangle) {
  const TriangleMesh mesh = mesh_shapes::PlateWithHole(0.005, 0.05, 0.01, 32);
  const MeshPart part(mesh);
  Rng rng(34);
  int met = 0;
  for (int i = 0; i < test::Draws(5000, 500); ++i) {
    const Vec3 eye = Vec3(rng.Uniform(-1, 1), rng.Uniform(-1, 1), rng.Uniform(-2, 2));
    const Vec3 target(rng.Uniform(-0.03, 0.03), rng.Uniform(-0.03, 0.03), rng.Uniform(-0.01, 0));
    const Ray ray{eye, (target - eye).normalized()};
    const double expected = BruteForce(mesh, ray);
    const double t = RangeTowards(part, eye, target);
    if (std::isinf(expected)) {
      ASSERT_EQ(t, INFINITY);
    } else {
      ASSERT_NEAR(t, expected, kExact);
      ++met;
    }
  }
  EXPECT_GT(met, test::Draws(2000, 200));
}

TEST(MeshPart, AFineMeshComesCloseToTheFormula) {
  // The same hole as formula and as mesh: they agree to the chord height of the mesh,
  // 0.005 * (1 - cos(pi / 512)) = 0.094 um, over the cosine of the incidence.
  const double chord = 0.005 * (1.0 - std::cos(kPi / 512));
  const MeshPart mesh(mesh_shapes::PlateWithHole(0.005, 0.2, 0.01, 512));
  const auto formula = parts::MakeOpeningPlate(parts::RoundOpening(0.005));
  const Vec3 eye(0.8, 0.3, 1.5);
  int compared = 0;
  for (double x = -0.01; x <= 0.01; x += 0.00037) {
    for (double y = -0.01; y <= 0.01; y += 0.00041) {
      if (std::fabs(std::hypot(x, y) - 0.005) < 1e-6) continue;  // the rim itself
      const Vec3 direction = (Vec3(x, y, 0) - eye).normalized();
      Hit exact;
      Hit meshed;
      ASSERT_EQ(formula->Intersect({eye, direction}, exact),
                mesh.Intersect({eye, direction}, meshed));
      if (std::isinf(exact.t)) continue;
      const double bound = 1.1 * chord / exact.CosIncidence(direction) + kExact;
      ASSERT_NEAR(meshed.t, exact.t, bound) << x << " " << y;
      ++compared;
    }
  }
  EXPECT_GT(compared, 2000);
}

TEST(MeshPart, HitsLieWithinTheRay) {
  const MeshPart part(mesh_shapes::Box({0.1, 0.1, 0.1}));
  Hit hit;
  EXPECT_FALSE(part.Intersect({{0, 0, 2}, {0, 0, 1}}, hit));             // behind the eye
  EXPECT_FALSE(part.Intersect({{0, 0, 2}, {0, 0, -1}, 0.0, 1.9}, hit));  // beyond the ray's end
  ASSERT_TRUE(part.Intersect({{0, 0, 2}, {0, 0, -1}, 2.0}, hit));        // the far side
  EXPECT_NEAR(hit.t, 2.05, kExact);
  hit.t = 1.0;
  EXPECT_FALSE(part.Intersect({{0, 0, 2}, {0, 0, -1}}, hit));  // something nearer is known
  EXPECT_EQ(hit.t, 1.0);
}

TEST(MeshPart, AMeshOnAnAxisOfTheRayIsMet) {
  const MeshPart part(mesh_shapes::Box({0.1, 0.1, 0.1}));
  EXPECT_NEAR(RangeTowards(part, {2, 0, 0}, {0, 0, 0}), 1.95, kExact);
  EXPECT_NEAR(RangeTowards(part, {0, -2, 0}, {0, 0, 0}), 1.95, kExact);
  EXPECT_NEAR(RangeTowards(part, {0, 0, 2}, {0.05, 0.05, 0.05}), Vec3(0.05, 0.05, -1.95).norm(),
              kExact);
}

}  // namespace
}  // namespace libmfx::sim
