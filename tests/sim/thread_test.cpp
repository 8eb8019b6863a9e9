#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

#include "random_cases.h"
#include "sim/faces/thread_face.h"
#include "sim/scenario.h"

namespace libmfx::sim {
namespace {

const Thread kM8 = *Thread::Metric("M8");
const ThreadProfile kM8Profile(kM8, WallKind::kStud);

TEST(Thread, BasicProfileOfM8) {
  // ISO 724: M8 x 1.25 has a pitch diameter of 7.188 mm and a minor diameter of 6.647 mm.
  EXPECT_NEAR(2e3 * kM8Profile.PitchRadius(), 7.188, 0.0005);
  EXPECT_NEAR(2e3 * kM8.MinorRadius(), 6.647, 0.0005);
  EXPECT_EQ(kM8Profile.RadiusAt(0.0), 0.004);
  EXPECT_EQ(kM8Profile.RadiusAt(0.5), kM8.MinorRadius());
  EXPECT_NEAR(kM8Profile.RadiusAt(0.25), kM8Profile.PitchRadius(), 1e-18);
  EXPECT_NEAR(kM8Profile.RadiusAt(-3.25), kM8Profile.PitchRadius(), 1e-17);
  // The flank has no steps.
  EXPECT_NEAR(kM8Profile.RadiusAt(1.0 / 16 + 1e-12), 0.004, 1e-14);
  EXPECT_NEAR(kM8Profile.RadiusAt(6.0 / 16 - 1e-12), kM8.MinorRadius(), 1e-14);
}

TEST(Thread, CoarsePitchesByName) {
  EXPECT_EQ(Thread::Metric("M4")->pitch, 0.0007);
  EXPECT_EQ(Thread::Metric("M20")->pitch, 0.0025);
  EXPECT_EQ(Thread::Metric("M20")->major_radius, 0.01);
  EXPECT_FALSE(Thread::Metric("M3"));
  EXPECT_FALSE(Thread::Metric("M8x1"));
}

/// A point of the thread's surface, well away from its ends.
Vec3 OnThread(const ThreadProfile& thread, double angle, double z) {
  const double r = thread.RadiusAt(z / thread.Pitch() - angle / (2.0 * kPi));
  return {r * std::cos(angle), r * std::sin(angle), z};
}

/// Whether the open way from `eye` to `p` stays on the free side of the thread: the slow check
/// that the fast one is held against.
bool IsVisible(const ThreadProfile& thread, const Vec3& eye, const Vec3& p, bool stud,
               double bottom, double top) {
  const Vec3 d = p - eye;
  const double length = d.norm();
  for (double s = 1e-6; s < 0.05; s += 2e-6) {
    const Vec3 q = p - d * (s / length);
    if (q.z() < bottom || q.z() > top) break;
    const double r = q.head<2>().norm();
    const double angle = std::atan2(q.y(), q.x());
    const double surface = thread.RadiusAt(q.z() / thread.Pitch() - angle / (2.0 * kPi));
    if (stud ? r <= surface : r >= surface) return false;
  }
  return true;
}

/// Looks at points of a thread that `eye` sees: the part is met there and nowhere else.
/// \param draw a point of the thread, or one that is not finite for a draw that counts for nothing
/// \returns how many points were met
int MeetThread(const parts::PartPtr& part, const Vec3& eye, const std::function<Vec3()>& draw) {
  int met = 0;
  for (int i = 0; i < test::Draws(1500, 150); ++i) {
    const Vec3 p = draw();
    if (!p.allFinite()) continue;
    Hit hit;
    EXPECT_TRUE(part->Intersect({eye, (p - eye).normalized()}, hit));
    EXPECT_NEAR(hit.t, (p - eye).norm(), 1e-9) << p.transpose();
    EXPECT_NEAR(hit.normal.norm(), 1.0, 1e-12);
    ++met;
  }
  return met;
}

const Vec3 kHidden = Vec3::Constant(std::numeric_limits<double>::quiet_NaN());

TEST(Thread, StudIsMetExactlyOnCrestsFlanksAndRoots) {
  parts::StudSpec spec;
  spec.thread = kM8;
  const Vec3 eye(1.5, 0.2, 1.0);
  Rng rng(21);
  const int met = MeetThread(parts::MakeStud(spec), eye, [&] {
    const double z = rng.Uniform(0.003, 0.018);
    const Vec3 p = OnThread(kM8Profile, rng.Uniform(-1.0, 1.2), z);
    return IsVisible(kM8Profile, eye, p, true, 0.0, 0.0195) ? p : kHidden;
  });
  EXPECT_GT(met, test::Draws(700, 70));
}

TEST(Thread, BoreIsMetExactlyOnCrestsFlanksAndRoots) {
  parts::BoreSpec spec;
  spec.thread = kM8;
  const Vec3 eye(0.9, -0.3, 1.7);
  Rng rng(22);
  const int met = MeetThread(parts::MakeBore(spec), eye, [&] {
    const double z = rng.Uniform(-0.008, -0.0012);
    const Vec3 p = OnThread(kM8Profile, rng.Uniform(2.0, 4.0), z);
    const Vec3 mouth = eye + (p - eye) * (eye.z() / (eye.z() - z));
    if (mouth.head<2>().norm() > kM8.major_radius) return kHidden;
    return IsVisible(kM8Profile, eye, p, false, -0.016, 0.0) ? p : kHidden;
  });
  EXPECT_GT(met, test::Draws(300, 30));
}

TEST(Thread, NormalsAreThoseOfTheSurface) {
  parts::StudSpec spec;
  spec.thread = kM8;
  const auto stud = parts::MakeStud(spec);
  const Vec3 eye(1.5, 0.2, 0.5);
  Rng rng(23);
  int checked = 0;
  for (int i = 0; i < test::Draws(300, 60); ++i) {
    const double angle = rng.Uniform(-0.8, 0.8);
    const double z = rng.Uniform(0.004, 0.016);
    const double u = z / kM8.pitch - angle / (2.0 * kPi);
    if (kM8Profile.SlopeAt(u - 1e-3) != kM8Profile.SlopeAt(u + 1e-3)) continue;
    const Vec3 p = OnThread(kM8Profile, angle, z);
    if (!IsVisible(kM8Profile, eye, p, true, 0.0, 0.0195)) continue;
    Hit hit;
    ASSERT_TRUE(stud->Intersect({eye, (p - eye).normalized()}, hit));
    // Central differences of the surface along angle and height.
    const Vec3 along =
        OnThread(kM8Profile, angle + 1e-6, z) - OnThread(kM8Profile, angle - 1e-6, z);
    const Vec3 up = OnThread(kM8Profile, angle, z + 1e-8) - OnThread(kM8Profile, angle, z - 1e-8);
    EXPECT_NEAR(hit.normal.dot(along.normalized()), 0.0, 1e-6);
    EXPECT_NEAR(hit.normal.dot(up.normalized()), 0.0, 1e-6);
    ++checked;
  }
  EXPECT_GT(checked, test::Draws(100, 20));
}

TEST(Thread, NoBeamSlipsThroughAThreadedStudOrABlindBore) {
  parts::StudSpec stud_spec;
  stud_spec.thread = Thread::Metric("M5");
  const auto stud = parts::MakeStud(stud_spec);
  parts::BoreSpec bore_spec;
  bore_spec.thread = Thread::Metric("M5");
  const auto bore = parts::MakeBore(bore_spec);
  Rng rng(24);
  for (int i = 0; i < test::Draws(5000, 500); ++i) {
    const Vec3 eye(rng.Uniform(-1, 1), rng.Uniform(-1, 1), rng.Uniform(0.3, 2));
    // Through the stud's axis: met before it is reached.
    const Vec3 inside(0, 0, rng.Uniform(0.0005, 0.0195));
    Hit hit;
    ASSERT_TRUE(stud->Intersect({eye, (inside - eye).normalized()}, hit));
    ASSERT_LT(hit.t, (inside - eye).norm());
    // Into the bore: met before the plate's material has been entered.
    const double angle = rng.Uniform(0, 2 * kPi);
    const double z = rng.Uniform(-0.01, 0.0);
    const Vec3 beyond(0.0029 * std::cos(angle), 0.0029 * std::sin(angle), z);
    Hit bore_hit;
    ASSERT_TRUE(bore->Intersect({eye, (beyond - eye).normalized()}, bore_hit));
    ASSERT_LT(bore_hit.t, (beyond - eye).norm() + 1e-9) << i;
  }
}

TEST(Thread, ARayThatSkimsAlongTheCrestsEnds) {
  parts::StudSpec spec;
  spec.thread = kM8;
  spec.height = 1.2;  // most of a thousand turns
  const auto stud = parts::MakeStud(spec);
  for (const double gap : {-1e-13, 0.0, 1e-13, 1e-9}) {
    Hit hit;
    EXPECT_TRUE(stud->Intersect({{0.004 + gap, 0, 2.5}, {0, 0, -1}}, hit));
    EXPECT_GT(hit.t, 1.3);  // somewhere on the stud, or the base plate at 2.5
    EXPECT_LE(hit.t, 2.5 + 1e-9);
  }
}

TEST(Thread, LeadOfAStudIsItsCone) {
  parts::StudSpec spec;
  spec.thread = kM8;
  const auto stud = parts::MakeStud(spec);
  const double end = kM8.MinorRadius() - spec.lead;
  for (const double r : {end, end + 0.0002, 0.999 * kM8.MinorRadius()}) {
    const Vec3 p(r, 0.0, spec.height - (r - end));
    Hit hit;
    ASSERT_TRUE(stud->Intersect({{0.5, 0, 2}, (p - Vec3(0.5, 0, 2)).normalized()}, hit));
    EXPECT_NEAR(hit.t, (p - Vec3(0.5, 0, 2)).norm(), 1e-9);
  }
}

TEST(SmoothStud, SideLeadEndAndBaseAreMetExactly) {
  const parts::StudSpec spec;
  const auto stud = parts::MakeStud(spec);
  const Vec3 eye(1.2, 0.0, 1.4);
  const auto meets = [&](const Vec3& p) {
    Hit hit;
    ASSERT_TRUE(stud->Intersect({eye, (p - eye).normalized()}, hit));
    EXPECT_NEAR(hit.t, (p - eye).norm(), 1e-9) << p.transpose();
  };
  for (const double a : {-1.2, -0.4, 0.0, 0.7, 1.3}) {
    const Vec3 out(std::cos(a), std::sin(a), 0.0);
    meets(0.004 * out + Vec3(0, 0, 0.01));
    meets(0.004 * out);
    meets(0.004 * out + Vec3(0, 0, spec.height - spec.lead));
    meets((0.004 - spec.lead) * out + Vec3(0, 0, spec.height));
  }
  meets({0, 0, spec.height});
  meets({0.05, 0.02, 0});
  EXPECT_EQ(stud->truth().values.at("radius"), 0.004);
}

TEST(SmoothBore, WallCountersinkAndFloorAreMetExactly) {
  const parts::BoreSpec spec;
  const auto bore = parts::MakeBore(spec);
  const auto meets = [&](const Vec3& eye, const Vec3& p) {
    Hit hit;
    ASSERT_TRUE(bore->Intersect({eye, (p - eye).normalized()}, hit));
    EXPECT_NEAR(hit.t, (p - eye).norm(), 1e-9) << p.transpose();
  };
  meets({0, 0, 2}, {0.001, 0.002, -spec.depth});
  meets({0, 0, 2}, {0.0041, 0, -0.0001});
  meets({1, 0, 1.5}, {-0.004, 0, -0.003});
  meets({1, 0, 1.5}, {-0.0042, 0, 0});
  EXPECT_EQ(bore->truth().directions.at("axis"), Vec3(-Vec3::UnitZ()));
  EXPECT_EQ(bore->truth().values.at("radius"), 0.004);
}

}  // namespace
}  // namespace libmfx::sim
