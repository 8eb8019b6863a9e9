#include <gtest/gtest.h>

#include <cmath>

#include "random_cases.h"
#include "sim/scenario.h"

namespace libmfx::sim {
namespace {

using parts::MakeOpeningPlate;
using parts::MakePlane;

constexpr double kExact = 1e-9;  // metres: what the instrument promises without noise

/// Distance along the beam from `eye` to the first thing that it meets on its way to `target`.
double RangeTowards(const Part& part, const Vec3& eye, const Vec3& target, Vec3* normal = nullptr) {
  Hit hit;
  if (!part.Intersect({eye, (target - eye).normalized()}, hit)) return INFINITY;
  if (normal != nullptr) *normal = hit.normal;
  return hit.t;
}

/// Expects that the beam from `eye` to the visible surface point `p` ends there.
void ExpectMeets(const Part& part, const Vec3& eye, const Vec3& p) {
  EXPECT_NEAR(RangeTowards(part, eye, p), (p - eye).norm(), kExact)
      << "point " << p.transpose() << " from " << eye.transpose();
}

const Vec3 kEye(0.3, -0.4, 2.0);

TEST(Plate, FrontIsMetExactlyOnFacesEdgesAndCorners) {
  const auto part = MakePlane({0.1, 0.06});
  for (const double x : {-0.05, -0.02, 0.0, 0.031, 0.05}) {
    for (const double y : {-0.03, 0.0, 0.007, 0.03}) ExpectMeets(*part, kEye, {x, y, 0.0});
  }
}

TEST(Plate, BesideTheBorderNothingIsMet) {
  const auto part = MakePlane({0.1, 0.06});
  EXPECT_EQ(RangeTowards(*part, kEye, {0.05 + 1e-9, 0.0, 0.0}), INFINITY);
  EXPECT_EQ(RangeTowards(*part, kEye, {0.0, -0.03 - 1e-9, 0.0}), INFINITY);
  EXPECT_EQ(RangeTowards(*part, kEye, {0.05 + 1e-9, 0.03 + 1e-9, 0.0}), INFINITY);
}

TEST(Plate, ABeamAlongTheSurfaceMeetsNothing) {
  const auto part = MakePlane({0.1, 0.06});
  EXPECT_EQ(RangeTowards(*part, {1.0, 0.0, 0.0}, {0.0, 0.0, 0.0}), INFINITY);
}

TEST(Plate, RimOfARoundOpeningIsMetAllAround) {
  const auto part = MakeOpeningPlate(parts::RoundOpening(0.005));
  for (int i = 0; i < 3600; ++i) {
    const double a = 0.1 * i * kPi / 180.0;
    const Vec3 out(std::cos(a), std::sin(a), 0.0);
    ExpectMeets(*part, kEye, 0.005 * out);
    ExpectMeets(*part, kEye, (0.005 + 1e-9) * out);  // on the front
    ExpectMeets(*part, kEye, 0.02 * out);
    // A nanometre inside the rim the beam goes on: to the wall, or through.
    const double inside = RangeTowards(*part, kEye, (0.005 - 1e-8) * out);
    EXPECT_GT(inside, ((0.005 - 1e-8) * out - kEye).norm());
  }
}

TEST(Plate, WallOfARoundOpeningIsMetExactly) {
  const auto part = MakeOpeningPlate(parts::RoundOpening(0.005));
  const Vec3 eye(1.0, 0.0, 1.5);
  int seen = 0;
  for (int i = 0; i < 360; ++i) {
    const double a = i * kPi / 180.0;
    for (const double depth : {0.0, 0.001, 0.004}) {
      const Vec3 p(0.005 * std::cos(a), 0.005 * std::sin(a), -depth);
      // Visible when the beam crosses the mouth inside the rim.
      const Vec3 mouth = eye + (p - eye) * (eye.z() / (eye.z() + depth));
      if (depth > 0.0 && mouth.head<2>().norm() > 0.005 - 1e-6) continue;
      ExpectMeets(*part, eye, p);
      ++seen;
    }
  }
  EXPECT_GT(seen, 500);
}

TEST(Plate, ABeamThroughTheOpeningMeetsNothingAndABlindOneItsFloor) {
  parts::OpeningPlateSpec spec = parts::RoundOpening(0.005);
  EXPECT_EQ(RangeTowards(*MakeOpeningPlate(spec), {0, 0, 2}, {0.001, 0.002, -0.01}), INFINITY);
  spec.depth = 0.004;
  const auto blind = MakeOpeningPlate(spec);
  ExpectMeets(*blind, {0, 0, 2}, {0.001, 0.002, -0.004});
  ExpectMeets(*blind, {0, 0, 2}, {0.0, 0.0, -0.004});
}

TEST(Plate, ChamferIsMetFromRimToBore) {
  parts::OpeningPlateSpec spec = parts::RoundOpening(0.004);
  spec.chamfer_depth = 0.001;
  spec.chamfer_angle = kPi / 6.0;
  const auto part = MakeOpeningPlate(spec);
  const double widening = std::tan(kPi / 6.0);
  for (int i = 0; i < 360; ++i) {
    const double a = i * kPi / 180.0;
    for (const double depth : {0.0, 0.0003, 0.0007, 0.001}) {
      const double r = 0.004 + widening * (0.001 - depth);
      const Vec3 p(r * std::cos(a), r * std::sin(a), -depth);
      ExpectMeets(*part, {0.001, -0.002, 2.0}, p);  // all of it is seen from straight ahead
    }
  }
  EXPECT_NEAR(part->truth().values.at("rim_radius"), 0.004 + 0.001 * widening, 1e-15);
  Vec3 normal;
  RangeTowards(*part, {0, 0, 2}, {0.0043, 0.0, 0.0}, &normal);
  EXPECT_NEAR(std::fabs(normal.z()), std::sin(kPi / 6.0), 1e-9);
}

/// Outlines that every opening test runs over, with points of their curve.
struct Shape {
  const char* name;
  parts::OpeningPlateSpec spec;
};

std::vector<Shape> Shapes() {
  return {{"round", parts::RoundOpening(0.006)},
          {"rectangle", parts::RectangularOpening(0.02, 0.012)},
          {"rounded rectangle", parts::RectangularOpening(0.02, 0.012, 0.002)},
          {"square", parts::RectangularOpening(0.01, 0.01, 0.005)},
          {"hexagon", parts::PolygonalOpening(6, 0.008)},
          {"rounded triangle", parts::PolygonalOpening(3, 0.01, 0.001)},
          {"obround", parts::ObroundOpening(0.025, 0.008)}};
}

/// The point of the outline in the direction `angle` from the centre, by bisection.
Vec2 OnOutline(const Outline& outline, double angle) {
  const Vec2 out(std::cos(angle), std::sin(angle));
  double inside = 0.0;
  double outside = 2.0 * outline.Reach();
  while (outside - inside > 1e-16) {
    const double middle = 0.5 * (inside + outside);
    if (middle == inside || middle == outside) break;
    (outline.SignedDistance(middle * out) <= 0.0 ? inside : outside) = middle;
  }
  return inside * out;
}

TEST(Opening, RimAndWallOfEveryShapeAreMetExactly) {
  for (const Shape& shape : Shapes()) {
    SCOPED_TRACE(shape.name);
    const auto part = MakeOpeningPlate(shape.spec);
    const Vec3 eye(0.9, 0.5, 1.6);
    int walls = 0;
    for (int i = 0; i < 720; ++i) {
      const Vec2 q = OnOutline(shape.spec.opening, i * kPi / 360.0);
      ExpectMeets(*part, eye, {q.x(), q.y(), 0.0});
      const Vec3 p(q.x(), q.y(), -0.0015);
      const Vec3 mouth = eye + (p - eye) * (eye.z() / (eye.z() + 0.0015));
      if (shape.spec.opening.SignedDistance(mouth.head<2>()) > -1e-6) continue;
      ExpectMeets(*part, eye, p);
      ++walls;
    }
    EXPECT_GT(walls, 100);
  }
}

TEST(Opening, SharpCornersAreMetExactly) {
  const auto rectangle = MakeOpeningPlate(parts::RectangularOpening(0.02, 0.012));
  for (const double x : {-0.01, 0.01}) {
    for (const double y : {-0.006, 0.006}) ExpectMeets(*rectangle, kEye, {x, y, 0.0});
  }
  ExpectMeets(*rectangle, {0, 0, 0.1}, {0.01, 0.006, -0.01});
  const auto hexagon = MakeOpeningPlate(parts::PolygonalOpening(6, 0.008));
  for (int i = 0; i < 6; ++i) {
    ExpectMeets(*hexagon, kEye, {0.008 * std::cos(i * kPi / 3), 0.008 * std::sin(i * kPi / 3), 0});
  }
}

TEST(Opening, NoBeamSlipsBetweenTheFacesOfAClosedPlate) {
  for (Shape& shape : Shapes()) {
    SCOPED_TRACE(shape.name);
    shape.spec.depth = 0.004;
    shape.spec.chamfer_depth = 0.001;
    const auto part = MakeOpeningPlate(shape.spec);
    Rng rng(11);
    for (int i = 0; i < test::Draws(20000, 1000); ++i) {
      const Vec3 eye(rng.Uniform(-1, 1), rng.Uniform(-1, 1), rng.Uniform(0.3, 2));
      // Aimed at the rim, the lower end of the chamfer and the floor's corner, where faces meet.
      const double depth = i % 3 == 0 ? 0.0 : i % 3 == 1 ? 0.001 : 0.004;
      const double widening = i % 3 == 0 ? 0.001 : 0.0;
      const Outline at = shape.spec.opening.WithRounding(shape.spec.opening.rounding() + widening);
      const Vec2 q = OnOutline(at, rng.Uniform(0.0, 2.0 * kPi));
      const Vec3 p(q.x(), q.y(), -depth);
      ASSERT_LE(RangeTowards(*part, eye, p), (p - eye).norm() + kExact)
          << p.transpose() << " from " << eye.transpose();
    }
  }
}

TEST(Opening, TruthTellsTheDimensions) {
  EXPECT_EQ(parts::RoundOpening(0.005).truth.values.at("radius"), 0.005);
  EXPECT_EQ(parts::PolygonalOpening(5, 0.01).truth.values.at("sides"), 5);
  const auto slot = MakeOpeningPlate(parts::ObroundOpening(0.025, 0.008));
  EXPECT_EQ(slot->truth().values.at("length"), 0.025);
  EXPECT_EQ(slot->truth().values.at("width"), 0.008);
  EXPECT_EQ(slot->truth().directions.at("tangent"), Vec3::UnitX());
  EXPECT_EQ(slot->truth().points.at("center"), Vec3::Zero());
  EXPECT_EQ(slot->truth().directions.at("normal"), Vec3::UnitZ());
}

TEST(Outline, SignedDistanceOfARoundedRectangle) {
  const Outline outline = Outline::Rectangle(0.02, 0.01, 0.002);
  EXPECT_NEAR(outline.SignedDistance({0.0, 0.0}), -0.005, 1e-16);
  EXPECT_NEAR(outline.SignedDistance({0.012, 0.0}), 0.002, 1e-16);
  EXPECT_NEAR(outline.SignedDistance({0.008, 0.003}), -0.002, 1e-16);
  EXPECT_NEAR(outline.SignedDistance({0.008 + 0.003, 0.003 + 0.004}), 0.003, 1e-16);
  EXPECT_EQ(outline.HalfExtent(), Vec2(0.01, 0.005));
}

}  // namespace
}  // namespace libmfx::sim
