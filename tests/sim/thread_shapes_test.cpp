// Threads of any depth, flank angle and hand: their dimensions, and where rays meet them.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>

#include "random_cases.h"
#include "sim/faces/thread_face.h"
#include "sim/scenario.h"

namespace libmfx::sim {
namespace {

Thread M8Of(double depth, double degrees = 60.0, bool left_handed = false) {
  Thread thread = *Thread::Metric("M8");
  thread.depth = depth;
  thread.flank_angle = degrees * kPi / 180.0;
  thread.left_handed = left_handed;
  return thread;
}

// Figures of the basic profiles in pitches: H1 = 0.541266 of ISO 68-1, 0.640327 of ISO 228-1, 0.5
// of ISO 2904.
TEST(ThreadShapes, DepthsOfTheBasicProfiles) {
  EXPECT_NEAR(M8Of(1.0).Depth() / 0.00125, 0.541266, 1e-6);
  EXPECT_NEAR(M8Of(1.0, 55.0).Depth() / 0.00125, 0.640327, 1e-6);
  EXPECT_NEAR(M8Of(1.0, 30.0).Depth() / 0.00125, 0.5, 1e-15);
  EXPECT_NEAR(M8Of(1.0, 90.0).Depth() / 0.00125, 0.3125, 1e-15);
  EXPECT_NEAR(M8Of(0.8, 30.0).Depth() / 0.00125, 0.4, 1e-15);
  EXPECT_NEAR(M8Of(0.8).MinorRadius(), 0.004 - 0.8 * 0.541266 * 0.00125, 1e-9);
}

/// Half of the widths of the flats on major and minor radius, in pitches, found on the profile.
struct Flats {
  double major;
  double minor;
};
Flats FlatsOf(const Thread& thread, WallKind kind) {
  const ThreadProfile profile(thread, kind);
  const auto end_of = [&](double start, double towards, double radius) {
    double inside = start;
    double outside = towards;
    for (int i = 0; i < 60; ++i) {
      const double middle = 0.5 * (inside + outside);
      (profile.RadiusAt(middle) == radius ? inside : outside) = middle;
    }
    return std::fabs(inside - start);
  };
  return {end_of(0.0, 0.25, thread.major_radius), end_of(0.5, 0.25, thread.MinorRadius())};
}

// A stud cut less deep keeps the flats of its roots, a bore those on its major radius; of each
// flank 0.2 * 0.541266 / tan 60 degrees = 1/16 of a pitch is not cut.
TEST(ThreadShapes, WhatIsNotCutWidensTheCrests) {
  const Flats stud = FlatsOf(M8Of(0.8), WallKind::kStud);
  EXPECT_NEAR(stud.minor, 1.0 / 8.0, 1e-12);
  EXPECT_NEAR(stud.major, 1.0 / 16.0 + 1.0 / 16.0, 1e-12);
  const Flats bore = FlatsOf(M8Of(0.8), WallKind::kBore);
  EXPECT_NEAR(bore.major, 1.0 / 16.0, 1e-12);
  EXPECT_NEAR(bore.minor, 1.0 / 8.0 + 1.0 / 16.0, 1e-12);
  const Flats deep = FlatsOf(M8Of(1.05), WallKind::kStud);
  EXPECT_NEAR(deep.major, 1.0 / 16.0 - 1.0 / 64.0, 1e-12);
  // Trapezoids: 0.366 P of ISO 2904 on both radii; 55 degrees: P / 6.
  const Flats trapezoid = FlatsOf(M8Of(1.0, 30.0), WallKind::kBore);
  EXPECT_NEAR(2.0 * trapezoid.major, 0.366, 1e-4);
  EXPECT_NEAR(2.0 * trapezoid.minor, 0.366, 1e-4);
  const Flats whitworth = FlatsOf(M8Of(1.0, 55.0), WallKind::kStud);
  EXPECT_NEAR(2.0 * whitworth.major, 1.0 / 6.0, 1e-12);
  EXPECT_NEAR(2.0 * whitworth.minor, 1.0 / 6.0, 1e-12);
}

TEST(ThreadShapes, PitchRadiusIsWhereThreadAndGapAreEquallyWide) {
  for (const WallKind kind : {WallKind::kStud, WallKind::kBore}) {
    for (const double degrees : {20.0, 30.0, 55.0, 60.0, 90.0}) {
      for (const double depth : {0.8, 1.0, 1.05}) {
        const ThreadProfile profile(M8Of(depth, degrees), kind);
        EXPECT_NEAR(profile.RadiusAt(0.25), profile.PitchRadius(), 1e-16)
            << degrees << " " << depth;
      }
    }
  }
  // The flanks of a thread that is hardly cut end before: a stud's is beyond its crests.
  EXPECT_GT(ThreadProfile(M8Of(0.2), WallKind::kStud).PitchRadius(), 0.004);
  EXPECT_LT(ThreadProfile(M8Of(0.2), WallKind::kBore).PitchRadius(), M8Of(0.2).MinorRadius());
}

/// The surface of a thread as the tool leaves it: a groove with the flat of the basic profile at
/// its bottom, flanks that rise from there, up to the crests.
double CutRadius(const Thread& thread, WallKind kind, const Vec3& p) {
  const double degrees = thread.flank_angle * 180.0 / kPi;
  const double hand = thread.left_handed ? -1.0 : 1.0;
  const double angle = std::atan2(p.y(), p.x());
  double turns = p.z() / thread.pitch - hand * angle / (2.0 * kPi);
  const bool stud = kind == WallKind::kStud;
  if (stud) turns -= 0.5;  // from the middle of a root
  const double away = std::fabs(turns - std::round(turns)) * thread.pitch;
  double flat = stud ? 0.25 : 0.125;
  if (std::fabs(degrees - 55.0) < 1e-6) flat = 1.0 / 6.0;
  if (std::fabs(degrees - 30.0) < 1e-6) flat = 0.5 - 0.5 * std::tan(kPi / 12.0);
  const double rise = (away - 0.5 * flat * thread.pitch) / std::tan(0.5 * thread.flank_angle);
  if (stud)
    return std::clamp(thread.MinorRadius() + rise, thread.MinorRadius(), thread.major_radius);
  return std::clamp(thread.major_radius - rise, thread.MinorRadius(), thread.major_radius);
}

double Outside(const Thread& thread, WallKind kind, const Vec3& p) {
  return p.head<2>().norm() - CutRadius(thread, kind, p);
}

constexpr double kBottom = -0.008;
constexpr double kTop = 0.008;

/// Whether a ray crosses the thread before `end`, in strides of half a micrometre.
bool CrossesBefore(const Thread& thread, WallKind kind, const Ray& ray, double end) {
  std::optional<bool> first;
  for (double t = 0.0; t < end; t += 5e-7) {
    const Vec3 p = ray.At(t);
    if (p.z() < kBottom || p.z() > kTop) continue;
    if (p.head<2>().norm() > thread.major_radius + 1e-6) {
      if (first) return false;  // it has left
      continue;
    }
    const bool outside = Outside(thread, kind, p) > 0.0;
    if (!first) first = outside;
    if (outside != *first) return true;
  }
  return false;
}

/// Rays from around a stud, or from within a bore, meet its thread on its surface and never behind
/// what a march along them finds.
void ExpectMetAsMarched(const Thread& thread, WallKind kind) {
  // A cone that cuts nothing off.
  const bool stud = kind == WallKind::kStud;
  const ThreadFace face(thread, kind, kBottom, kTop, stud ? 1.0 : 0.0);
  Rng rng(31);
  int met = 0;
  int missed = 0;
  for (int i = 0; i < test::Draws(120, 12); ++i) {
    const double a = rng.Uniform(0.0, 2.0 * kPi);
    const double from = (stud ? 1.5 : 0.3) * thread.major_radius;
    const Vec3 eye(from * std::cos(a), from * std::sin(a), rng.Uniform(-0.004, 0.004));
    const double b = rng.Uniform(0.0, 2.0 * kPi);
    const double to = rng.Uniform(0.9, 1.02) * thread.major_radius;
    const Vec3 target(to * std::cos(b), to * std::sin(b), rng.Uniform(-0.007, 0.007));
    const Ray ray{eye, (target - eye).normalized()};
    Hit hit;
    hit.t = 0.03;
    const bool found = face.Intersect(ray, hit);
    ASSERT_FALSE(CrossesBefore(thread, kind, ray, found ? hit.t - 1e-9 : 0.03)) << i;
    ++(found ? met : missed);
    if (!found) continue;
    ASSERT_NEAR(Outside(thread, kind, ray.At(hit.t)), 0.0, 1e-12) << i;
    EXPECT_NEAR(hit.normal.norm(), 1.0, 1e-12);
  }
  EXPECT_GT(met, test::Draws(60, 6));
  EXPECT_EQ(missed > 0, stud);
}

TEST(ThreadShapes, RaysMeetStudsWhereAMarchFindsThem) {
  for (const double degrees : {20.0, 30.0, 55.0, 60.0, 90.0}) {
    for (const double depth : {0.2, 0.8, 1.05}) {
      SCOPED_TRACE(std::to_string(degrees) + " " + std::to_string(depth));
      ExpectMetAsMarched(M8Of(depth, degrees, depth == 0.8), WallKind::kStud);
    }
  }
}

TEST(ThreadShapes, RaysMeetBoresWhereAMarchFindsThem) {
  for (const double degrees : {20.0, 30.0, 55.0, 60.0, 90.0}) {
    for (const double depth : {0.2, 0.8, 1.05}) {
      SCOPED_TRACE(std::to_string(degrees) + " " + std::to_string(depth));
      ExpectMetAsMarched(M8Of(depth, degrees, depth == 0.8), WallKind::kBore);
    }
  }
}

// Differences of the surface along angle and height are at right angles to the normal; a flank that
// falls to the right falls to the left on a left-handed thread.
TEST(ThreadShapes, NormalsFollowFlankAngleAndHand) {
  for (const bool left_handed : {false, true}) {
    const Thread thread = M8Of(0.7, 40.0, left_handed);
    const ThreadFace face(thread, WallKind::kStud, kBottom, kTop, 1.0);
    const auto on = [&](double angle, double z) {
      const double r = CutRadius(thread, WallKind::kStud, {std::cos(angle), std::sin(angle), z});
      return Vec3(r * std::cos(angle), r * std::sin(angle), z);
    };
    Rng rng(32);
    int flanks = 0;
    for (int i = 0; i < 200; ++i) {
      const double angle = rng.Uniform(-2.0, 2.0);
      const double z = rng.Uniform(-0.006, 0.006);
      const Vec3 p = on(angle, z);
      const Vec3 around = on(angle + 1e-6, z) - on(angle - 1e-6, z);
      const Vec3 up = on(angle, z + 1e-7) - p;
      const Vec3 down = p - on(angle, z - 1e-7);
      if (up.head<2>().norm() < 1e-12 || (up - down).norm() > 1e-12) continue;  // flat or edge
      const Vec3 out = Vec3(p.x(), p.y(), 0.0).normalized();
      Hit hit;
      ASSERT_TRUE(face.Intersect({p + 1e-6 * out, -out}, hit));
      EXPECT_NEAR(hit.t, 1e-6, 1e-15);
      EXPECT_NEAR(hit.normal.dot(around.normalized()), 0.0, 1e-5);
      EXPECT_NEAR(hit.normal.dot(up.normalized()), 0.0, 1e-5);
      ++flanks;
    }
    EXPECT_GT(flanks, 20);
  }
}

// A left-handed thread is the right-handed one in a mirror.
TEST(ThreadShapes, LeftIsTheMirrorOfRight) {
  parts::BoreSpec spec;
  spec.thread = M8Of(0.75);
  const auto right = parts::MakeBore(spec);
  spec.thread->left_handed = true;
  const auto left = parts::MakeBore(spec);
  Rng rng(33);
  int apart = 0;
  for (int i = 0; i < test::Draws(2000, 200); ++i) {
    const Vec3 eye(rng.Uniform(-0.8, 0.8), rng.Uniform(-0.8, 0.8), 1.0);
    const double a = rng.Uniform(0.0, 2.0 * kPi);
    const Vec3 target(0.004 * std::cos(a), 0.004 * std::sin(a), rng.Uniform(-0.006, 0.0));
    const auto mirrored = [](const Vec3& v) { return Vec3(v.x(), -v.y(), v.z()); };
    Hit by_right;
    Hit by_left;
    Hit unmirrored;
    ASSERT_TRUE(right->Intersect({eye, (target - eye).normalized()}, by_right));
    ASSERT_TRUE(left->Intersect({mirrored(eye), mirrored(target - eye).normalized()}, by_left));
    EXPECT_NEAR(by_left.t, by_right.t, 1e-12);
    EXPECT_NEAR((by_left.normal - mirrored(by_right.normal)).norm(), 0.0, 1e-6);
    ASSERT_TRUE(left->Intersect({eye, (target - eye).normalized()}, unmirrored));
    apart += std::fabs(unmirrored.t - by_right.t) > 1e-5;
  }
  EXPECT_GT(apart, test::Draws(100, 10));
}

TEST(ThreadShapes, TruthTellsTheThreadThatIsCut) {
  parts::StudSpec stud;
  stud.thread = M8Of(0.8);
  const Truth right = parts::MakeStud(stud)->truth();
  EXPECT_EQ(right.values.at("major_radius"), 0.004);
  EXPECT_NEAR(right.values.at("minor_radius"), 0.004 - 0.8 * 0.541266 * 0.00125, 1e-9);
  // The flanks begin at the roots, 1/8 pitch from their middle, and are a quarter wide half way.
  EXPECT_NEAR(right.values.at("pitch_radius"),
              right.values.at("minor_radius") + 0.125 * 0.00125 * std::sqrt(3.0), 1e-12);
  EXPECT_FALSE(right.flags.contains("left_handed"));
  parts::BoreSpec bore;
  bore.thread = M8Of(0.8, 60.0, true);
  const Truth left = parts::MakeBore(bore)->truth();
  EXPECT_NEAR(left.values.at("pitch_radius"), 0.003594, 1e-6);  // as of the full depth
  EXPECT_EQ(left.values.at("pitch"), 0.00125);
  EXPECT_TRUE(left.flags.at("left_handed"));
}

}  // namespace
}  // namespace libmfx::sim
