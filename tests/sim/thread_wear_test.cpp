// Threads with more than one start, with worn crests, and with a run-out.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "random_cases.h"
#include "sim/faces/formed_wall.h"
#include "sim/faces/thread_face.h"
#include "sim/scenario.h"

namespace libmfx::sim {
namespace {

using nlohmann::json;

Thread M8() { return *Thread::Metric("M8"); }

TEST(ThreadStarts, ATurnClimbsAsManyPitches) {
  for (const bool left : {false, true}) {
    Thread thread = M8();
    thread.starts = 3;
    thread.left_handed = left;
    const ThreadProfile profile(thread, WallKind::kStud);
    const double hand = left ? -1.0 : 1.0;
    for (const double angle : {-2.0, 0.4, 3.0}) {
      for (const double z : {0.0, 0.0003, 0.0021}) {
        const double level = z - hand * 3.0 * 0.00125 * angle / (2.0 * kPi);
        EXPECT_NEAR(profile.RadiusAt(profile.Turns(z, angle)),
                    profile.RadiusAt(profile.Turns(level, 0.0)), 1e-12);
      }
    }
    EXPECT_NEAR(profile.LeadAt(0.004), hand * 3.0 * 0.00125 / (2.0 * kPi * 0.004), 1e-15);
  }
  EXPECT_EQ(M8().Lead(), 0.00125);
}

// The arc touches both flanks, with their slope, and lies nowhere farther out than the flat.
TEST(WornCrests, AreArcsThatTouchBothFlanks) {
  for (const WallKind kind : {WallKind::kStud, WallKind::kBore}) {
    const double outwards = kind == WallKind::kStud ? 1.0 : -1.0;
    const double middle = kind == WallKind::kStud ? 0.0 : 0.5;
    for (const double depth : {1.0, 0.8}) {
      Thread thread = M8();
      thread.depth = depth;
      const ThreadProfile sharp(thread, kind);
      for (const double share : {0.0, 0.5, 1.0}) {
        thread.crest_radius = (1.0 - share) * thread.SmallestCrestRadius(kind) +
                              share * thread.LargestCrestRadius(kind);
        const ThreadProfile worn(thread, kind);
        const double rho = thread.crest_radius;
        const double half = rho * 0.5 * std::sqrt(3.0);  // where the slope is that of 60 degrees
        const double top = worn.RadiusAt(middle);
        EXPECT_NEAR(top, worn.CrestRadius(), 1e-15);
        EXPECT_LE(outwards * top, outwards * sharp.CrestRadius() + 1e-12);
        for (int i = -100; i <= 100; ++i) {
          const double x = 0.0099 * i * half;
          const double turns = middle + x / thread.pitch;
          const double across = worn.RadiusAt(turns) - (top - outwards * rho);
          EXPECT_NEAR(std::hypot(x, across), rho, 1e-12);
          EXPECT_NEAR(worn.SlopeAt(turns), -x / across, 1e-9);
        }
        // Just off the arc the flank goes on as it was, from the arc's own radius.
        const double beyond = middle + 1.0000001 * half / thread.pitch;
        EXPECT_NEAR(worn.RadiusAt(beyond), sharp.RadiusAt(beyond), 1e-15);
        EXPECT_NEAR(worn.RadiusAt(beyond), top - outwards * 0.5 * rho, 1e-9);
      }
      // The smallest radius is where the top comes to the flat.
      thread.crest_radius = thread.SmallestCrestRadius(kind);
      EXPECT_NEAR(ThreadProfile(thread, kind).CrestRadius(), sharp.CrestRadius(), 1e-12);
    }
  }
  // H/6 is more than the smallest, H/8, of a stud with flats of P/8.
  EXPECT_NEAR(M8().SmallestCrestRadius(WallKind::kStud), 0.00125 * std::sqrt(3.0) / 16.0, 1e-12);
}

TEST(RunOut, GetsShallowTowardsTheEnd) {
  for (const WallKind kind : {WallKind::kStud, WallKind::kBore}) {
    Thread thread = M8();
    thread.run_out = 0.004;
    const ThreadProfile profile(thread, kind, -0.01);
    const double crest = kind == WallKind::kStud ? 0.004 : thread.MinorRadius();
    for (int i = 0; i <= 20; ++i) {
      const double turns = 0.05 * i;
      const double whole = profile.RadiusAt(turns);
      EXPECT_EQ(profile.RadiusAt(turns, -0.01), crest);
      EXPECT_NEAR(profile.RadiusAt(turns, -0.009), crest + 0.25 * (whole - crest), 1e-15);
      EXPECT_NEAR(profile.RadiusAt(turns, -0.006), whole, 1e-15);
      EXPECT_NEAR(profile.RadiusAt(turns, 0.0), whole, 1e-15);
      EXPECT_NEAR(profile.RunOutSlopeAt(turns, -0.009), (whole - crest) / 0.004, 1e-12);
      EXPECT_EQ(profile.RunOutSlopeAt(turns, -0.005), 0.0);
    }
  }
}

/// The first place along a ray where it changes sides, found by looking everywhere.
double FirstCrossing(const SteppedFace& face, const Ray& ray, double from, double to) {
  constexpr double kStep = 4e-6;
  double t = from;
  bool outside = face.Outside(ray.At(t)) > 0.0;
  while (t < to) {
    const double next = t + kStep;
    if ((face.Outside(ray.At(next)) > 0.0) != outside) return next;
    t = next;
  }
  return to;
}

/// The worst of threads: steep, worn and shallow at the end.
Thread Worst() {
  Thread thread = M8();
  thread.starts = 4;
  thread.crest_radius = 0.0003;
  thread.run_out = 0.003;
  return thread;
}

/// Rays into a bore, and at a stud from all sides, against the search for the first crossing; and
/// the normal against the surface's own differences.
void ExpectFirstHits(const SteppedFace& face, bool bore, double bottom, double top) {
  Rng rng(17);
  int met = 0;
  const int rays = test::Draws(400, 40);
  for (int i = 0; i < rays; ++i) {
    const double angle = rng.Uniform(0.0, 2.0 * kPi);
    const Vec3 target(0.0038 * std::cos(angle), 0.0038 * std::sin(angle), rng.Uniform(bottom, top));
    const Vec3 origin =
        bore ? Vec3(rng.Uniform(-0.002, 0.002), rng.Uniform(-0.002, 0.002), top + 0.001)
             : Vec3(0.01 * std::cos(angle), 0.01 * std::sin(angle), rng.Uniform(bottom, 0.02));
    const Ray ray{origin, (target - origin).normalized()};
    Hit hit;
    if (!face.Intersect(ray, hit)) continue;
    const Vec3 p = ray.At(hit.t);
    ASSERT_NEAR(face.Outside(p), 0.0, 1e-9);
    ASSERT_GE(p.z(), bottom - 1e-9);
    // Within the tube only: beyond its ends the formula goes on.
    double enters = 0.0;
    const double z_out = origin.z() > top ? top : origin.z();
    if (origin.z() > top) enters = (z_out - origin.z()) / ray.direction.z() + 1e-9;
    const double first = FirstCrossing(face, ray, enters, hit.t + 1e-5);
    EXPECT_NEAR(first, hit.t, 5e-6) << i;
    Vec3 gradient;
    for (int k = 0; k < 3; ++k) {
      const Vec3 step = 1e-8 * Vec3::Unit(k);
      gradient[k] = (face.Outside(p + step) - face.Outside(p - step)) / 2e-8;
    }
    // At the seams between arc, flank and root a difference sees both sides.
    met += gradient.normalized().cross(hit.normal).norm() < 1e-4;
  }
  EXPECT_GT(met, rays * 3 / 4);
}

TEST(WornThreads, RaysMeetThemWhereTheyCrossFirst) {
  const Thread thread = Worst();
  ExpectFirstHits(ThreadFace(thread, WallKind::kBore, -0.012, 0.0, 0.0041), true, -0.012, 0.0);
  ExpectFirstHits(ThreadFace(thread, WallKind::kStud, 0.0, 0.016, 0.003), false, 0.0, 0.016);
  WallForm form;
  form.lobes = {{3, 2e-5, 0.2}};
  form.taper = 3e-5;
  form.bend = 2e-5;
  const FormedWallSpec bore{WallKind::kBore, 0.004, thread, -0.012, 0.0, 0.0041};
  ExpectFirstHits(FormedWall(bore, WallShape(form, -0.012, -0.001)), true, -0.012, 0.0);
  const FormedWallSpec stud{WallKind::kStud, 0.004, thread, 0.0, 0.016, 0.003};
  ExpectFirstHits(FormedWall(stud, WallShape(form, 0.0, 0.015)), false, 0.0, 0.016);
}

Scene SceneOf(const json& part) {
  return Scene::FromJson({{"part", part}, {"pose", {{"position", {0, 0, 2}}}}, {"noise", false}});
}

TEST(WornThreads, TruthTellsCrestsAndStarts) {
  const json thread = {{"name", "M8"}, {"starts", 2}, {"crest_radius", 0.0003}};
  // The apex lies H/8 beyond the flat of a stud, and H/4 beyond that of a bore; the arc's top lies
  // its own radius below.
  const double h = 0.00125 * 0.5 * std::sqrt(3.0);
  const json stud = SceneOf({{"type", "stud"}, {"thread", thread}}).TruthJson();
  EXPECT_NEAR(stud["major_radius"].get<double>(), 0.004 + h / 8.0 - 0.0003, 1e-12);
  EXPECT_NEAR(stud["minor_radius"].get<double>(), M8().MinorRadius(), 1e-15);
  EXPECT_EQ(stud["starts"], 2);
  EXPECT_EQ(stud["pitch"], 0.00125);
  const json bore = SceneOf({{"type", "bore"}, {"thread", thread}}).TruthJson();
  EXPECT_NEAR(bore["major_radius"].get<double>(), 0.004, 1e-15);
  EXPECT_NEAR(bore["minor_radius"].get<double>(), M8().MinorRadius() - h / 4.0 + 0.0003, 1e-12);
  const json plain = SceneOf({{"type", "bore"}, {"thread", "M8"}}).TruthJson();
  EXPECT_EQ(bore["pitch_radius"], plain["pitch_radius"]);
  EXPECT_FALSE(plain.contains("starts"));
}

TEST(WornThreads, WrongOnesAreRefused) {
  const std::vector<std::pair<json, std::string>> wrong = {
      {{{"starts", 0}}, "part.thread.starts: 0 is not between 1 and 8"},
      {{{"starts", 7}}, "part.thread.starts: 7 makes a turn climb more than the diameter"},
      {{{"run_out", 0.02}}, "part.height: 0.02 is no more than the thread's run-out"},
      {{{"crest_radius", 0.0001}}, "part.thread.crest_radius: 0.0001 is not between 0.000135"},
      {{{"crest_radius", 0.001}}, "part.thread.crest_radius: 0.001 is not between 0.000135"}};
  for (const auto& [more, text] : wrong) {
    json part = {{"type", "stud"}, {"thread", {{"name", "M8"}}}, {"height", 0.02}};
    part["thread"].update(more);
    try {
      SceneOf(part);
      ADD_FAILURE() << more;
    } catch (const SceneError& error) {
      EXPECT_THAT(error.what(), testing::StartsWith(text));
    }
  }
}

}  // namespace
}  // namespace libmfx::sim
