// Walls of studs and bores with errors of form: where rays meet them, and what stays where it was.

#include "sim/faces/formed_wall.h"

#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <optional>

#include "random_cases.h"
#include "sim/faces/thread_face.h"
#include "sim/scenario.h"

namespace libmfx::sim {
namespace {

constexpr double kRadius = 0.004;
constexpr double kHeight = 0.02;

WallForm EverythingAtOnce() {
  WallForm form;
  form.lobes = {{3, 0.00008, 0.4}, {7, 0.00003, -1.1}};
  form.taper = 0.0001;
  form.barrel = -0.00006;
  form.bend = 0.00012;
  form.bend_direction = 2.1;
  return form;
}

/// The radius that a smooth wall has to have, from the point's place about the bent axis.
struct Wanted {
  double away;    ///< of the point from the axis
  double radius;  ///< of the wall there
};
Wanted WantedAt(const WallForm& form, const Vec3& p, double bottom, double top) {
  const double h = std::clamp((2.0 * p.z() - bottom - top) / (top - bottom), -1.0, 1.0);
  const double parabola = 1.0 / 3.0 - h * h;
  const double x = p.x() - form.bend * parabola * std::cos(form.bend_direction);
  const double y = p.y() - form.bend * parabola * std::sin(form.bend_direction);
  double radius = kRadius + 0.5 * form.taper * h + form.barrel * parabola;
  for (const WallForm::Lobes& some : form.lobes) {
    radius += some.amplitude * std::cos(some.count * (std::atan2(y, x) - some.crest));
  }
  return {std::hypot(x, y), radius};
}

double Outside(const WallForm& form, const Vec3& p) {
  const Wanted wanted = WantedAt(form, p, 0.0, kHeight);
  return wanted.away - wanted.radius;
}

FormedWall SmoothWall(const WallForm& form, WallKind kind = WallKind::kStud) {
  return {{kind, kRadius, std::nullopt, 0.0, kHeight, std::nullopt}, {form, 0.0, kHeight}};
}

/// Rays from outside and from inside meet the wall on its formula's surface, and none passes it:
/// marched in strides of a micrometre, nothing is found before.
void ExpectMetAsMarched(const WallForm& form, int draws) {
  const FormedWall wall = SmoothWall(form);
  Rng rng(41);
  int met = 0;
  for (int i = 0; i < draws; ++i) {
    const bool inside = i % 2 == 0;
    const double a = rng.Uniform(0.0, 2.0 * kPi);
    const double from = inside ? rng.Uniform(0.0, 0.5) * kRadius : 1.5 * kRadius;
    const Vec3 eye(from * std::cos(a), from * std::sin(a), rng.Uniform(0.004, 0.016));
    const double b = rng.Uniform(0.0, 2.0 * kPi);
    const double to = rng.Uniform(0.7, 1.05) * kRadius;
    const Vec3 target(to * std::cos(b), to * std::sin(b), rng.Uniform(0.0, kHeight));
    const Ray ray{eye, (target - eye).normalized()};
    Hit hit;
    hit.t = 0.03;
    const bool found = wall.Intersect(ray, hit);
    const double end = found ? hit.t - 1e-9 : 0.03;
    for (double t = 0.0; t < end; t += 1e-6) {
      const Vec3 p = ray.At(t);
      if (p.z() < 0.0 || p.z() > kHeight) break;
      ASSERT_EQ(Outside(form, p) < 0.0, inside) << i << " at " << t << " of " << end;
    }
    if (!found) continue;
    ++met;
    ASSERT_NEAR(Outside(form, ray.At(hit.t)), 0.0, 1e-12) << i;
    EXPECT_NEAR(hit.normal.norm(), 1.0, 1e-12);
  }
  EXPECT_GT(met, draws / 2);
}

TEST(FormedWall, RaysMeetItWhereAMarchFindsIt) {
  const int draws = test::Draws(600, 40);
  ExpectMetAsMarched(EverythingAtOnce(), draws);
  WallForm lobes;
  lobes.lobes = {{2, 0.05 * kRadius, 0.3}};
  ExpectMetAsMarched(lobes, draws);
  WallForm gear;
  gear.lobes = {{100, 0.05 * kRadius, 0.0}};
  ExpectMetAsMarched(gear, draws);
  WallForm taper;
  taper.taper = -0.05 * kRadius;
  ExpectMetAsMarched(taper, draws);
  WallForm barrel;
  barrel.barrel = 0.05 * kRadius;
  ExpectMetAsMarched(barrel, draws);
  WallForm bend;
  bend.bend = 0.05 * kRadius;
  ExpectMetAsMarched(bend, draws);
}

// Each error by itself, in figures that need no formula of the program.
TEST(FormedWall, EachErrorIsWhatItsNameSays) {
  const auto radius_of = [](const WallForm& form, double angle, double z) {
    const Vec3 out(std::cos(angle), std::sin(angle), 0.0);
    Hit hit;
    EXPECT_TRUE(SmoothWall(form).Intersect({0.01 * out + z * Vec3::UnitZ(), -out}, hit));
    return 0.01 - hit.t;
  };
  constexpr double kMiddle = 0.5 * kHeight;
  WallForm oval;
  oval.lobes = {{2, 0.0001, 0.5}};
  EXPECT_NEAR(radius_of(oval, 0.5, 0.003), kRadius + 0.0001, 1e-12);
  EXPECT_NEAR(radius_of(oval, 0.5 + kPi, 0.013), kRadius + 0.0001, 1e-12);
  EXPECT_NEAR(radius_of(oval, 0.5 + 0.5 * kPi, 0.003), kRadius - 0.0001, 1e-12);
  EXPECT_NEAR(radius_of(oval, 0.5 + 0.25 * kPi, 0.003), kRadius, 1e-12);
  WallForm taper;
  taper.taper = 0.0001;
  EXPECT_NEAR(radius_of(taper, 1.0, kHeight) - radius_of(taper, 1.0, 0.0), 0.0001, 1e-12);
  EXPECT_NEAR(radius_of(taper, 1.0, kMiddle), kRadius, 1e-12);
  WallForm barrel;
  barrel.barrel = 0.0001;
  EXPECT_NEAR(radius_of(barrel, 1.0, kMiddle) - radius_of(barrel, 1.0, 0.0), 0.0001, 1e-12);
  EXPECT_NEAR(radius_of(barrel, 1.0, kHeight), radius_of(barrel, 1.0, 0.0), 1e-12);
  // The middle of the axis is off the line of its ends, in its direction.
  WallForm bend;
  bend.bend = 0.0001;
  bend.bend_direction = 0.7;
  const auto axis_at = [&](double z) {
    return 0.5 * (radius_of(bend, 0.7, z) - radius_of(bend, 0.7 + kPi, z));
  };
  EXPECT_NEAR(axis_at(kMiddle) - 0.5 * (axis_at(0.0) + axis_at(kHeight)), 0.0001, 1e-12);
  EXPECT_NEAR(radius_of(bend, 0.7, 0.0) + radius_of(bend, 0.7 + kPi, 0.0), 2.0 * kRadius, 1e-12);
}

/// How far the section of lobes alone reaches in a direction.
double ReachOf(const WallForm::Lobes& lobes, double direction) {
  const auto reach_at = [&](double angle) {
    return (kRadius + lobes.amplitude * std::cos(lobes.count * (angle - lobes.crest))) *
           std::cos(angle - direction);
  };
  double best = direction;
  for (double a = direction - 1.5; a < direction + 1.5; a += 1e-3) {
    if (reach_at(a) > reach_at(best)) best = a;
  }
  double step = 1e-3;
  for (int i = 0; i < 200; ++i) {
    if (reach_at(best + step) > reach_at(best)) {
      best += step;
    } else if (reach_at(best - step) > reach_at(best)) {
      best -= step;
    } else {
      step *= 0.5;
    }
  }
  return reach_at(best);
}

// A ray that grazes the limb a picometre within meets the wall, one as far beside it does not.
TEST(FormedWall, NothingIsMissedAtTheLimb) {
  const WallForm::Lobes lobes{5, 0.00004, 0.2};
  WallForm form;
  form.lobes = {lobes};
  const FormedWall wall = SmoothWall(form);
  for (int i = 0; i < test::Draws(100, 20); ++i) {
    const double direction = 0.0629 * i;
    const Vec3 out(std::cos(direction), std::sin(direction), 0.0);
    const Vec3 along(-out.y(), out.x(), 0.0);
    const double reach = ReachOf(lobes, direction);
    for (const double gap : {1e-12, 1e-11, 1e-9, 1e-7}) {
      for (const double side : {-1.0, 1.0}) {
        const Vec3 eye = (reach + side * gap) * out - 0.02 * along + 0.01 * Vec3::UnitZ();
        Hit hit;
        EXPECT_EQ(wall.Intersect({eye, along}, hit), side < 0.0) << direction << " " << side * gap;
      }
    }
  }
}

TEST(FormedWall, NormalsAreThoseOfTheSurface) {
  const WallForm form = EverythingAtOnce();
  const FormedWall wall = SmoothWall(form);
  Rng rng(42);
  for (int i = 0; i < 200; ++i) {
    const double angle = rng.Uniform(-kPi, kPi);
    const double z = rng.Uniform(0.001, 0.019);
    const Vec3 out(std::cos(angle), std::sin(angle), 0.0);
    Hit hit;
    ASSERT_TRUE(wall.Intersect({0.006 * out + z * Vec3::UnitZ(), -out}, hit));
    const Vec3 p = (0.006 - hit.t) * out + z * Vec3::UnitZ();
    // Central differences of the distance from the surface.
    Vec3 gradient;
    for (int k = 0; k < 3; ++k) {
      const Vec3 d = 1e-7 * Vec3::Unit(k);
      gradient[k] = Outside(form, p + d) - Outside(form, p - d);
    }
    EXPECT_NEAR((hit.normal - gradient.normalized()).norm(), 0.0, 1e-7);
  }
}

// Radius, place and lean of the cylinder that fits the wall best are those of the ideal one to the
// first order. The bent axis is off by up to e = 80 um, which widens a section by e^2 / (4 radii) =
// 0.4 um; the sum over 60 heights is off the integral by 1e-4 of an error.
TEST(FormedWall, MeanRadiusAndLeastSquaresAxisStay) {
  for (const double size : {1.0, 0.1}) {
    WallForm form = EverythingAtOnce();
    for (WallForm::Lobes& some : form.lobes) some.amplitude *= size;
    form.taper *= size;
    form.barrel *= size;
    form.bend *= size;
    const FormedWall wall = SmoothWall(form);
    Eigen::Matrix<double, 5, 5> normal = Eigen::Matrix<double, 5, 5>::Zero();
    Eigen::Matrix<double, 5, 1> right = Eigen::Matrix<double, 5, 1>::Zero();
    for (int i = 0; i < 60; ++i) {
      for (int k = 0; k < 120; ++k) {
        const double angle = 2.0 * kPi * k / 120.0;
        const double h = (i + 0.5) / 30.0 - 1.0;
        const Vec3 out(std::cos(angle), std::sin(angle), 0.0);
        Hit hit;
        ASSERT_TRUE(wall.Intersect({0.5 * kHeight * (1.0 + h) * Vec3::UnitZ(), out}, hit));
        Eigen::Matrix<double, 5, 1> row;
        row << 1.0, out.x(), out.y(), h * out.x(), h * out.y();
        normal += row * row.transpose();
        right += row * (hit.t - kRadius);
      }
    }
    const Eigen::Matrix<double, 5, 1> moved = normal.ldlt().solve(right);
    EXPECT_LT(moved.cwiseAbs().maxCoeff(), 0.4e-6 * size * size + 2e-8 * size) << moved.transpose();
  }
}

// A form that is all but none gives what the faces of ideal walls give.
TEST(FormedWall, WithHardlyAnErrorItIsTheIdealWall) {
  WallForm hardly;
  hardly.lobes = {{2, 1e-15, 0.0}};
  for (const bool threaded : {false, true}) {
    parts::StudSpec stud;
    parts::BoreSpec bore;
    if (threaded) {
      stud.thread = bore.thread = Thread::Metric("M8");
      stud.thread->left_handed = true;
    }
    const auto ideal_stud = parts::MakeStud(stud);
    const auto ideal_bore = parts::MakeBore(bore);
    stud.form = bore.form = hardly;
    const auto formed_stud = parts::MakeStud(stud);
    const auto formed_bore = parts::MakeBore(bore);
    Rng rng(43);
    int other_side = 0;
    for (int i = 0; i < test::Draws(4000, 400); ++i) {
      const Vec3 eye(rng.Uniform(-1, 1), rng.Uniform(-1, 1), rng.Uniform(0.5, 2));
      const Vec3 near(rng.Uniform(-0.006, 0.006), rng.Uniform(-0.006, 0.006),
                      rng.Uniform(-0.01, 0.02));
      const Ray ray{eye, (near - eye).normalized()};
      for (const auto& [ideal, formed] :
           {std::pair(ideal_stud, formed_stud), std::pair(ideal_bore, formed_bore)}) {
        Hit a;
        Hit b;
        ASSERT_EQ(ideal->Intersect(ray, a), formed->Intersect(ray, b)) << i;
        // A ray may pass one crest or rim that another one touches.
        if (std::fabs(a.t - b.t) > 1e-10) {
          ++other_side;
          continue;
        }
        EXPECT_NEAR(a.CosIncidence(ray.direction), b.CosIncidence(ray.direction), 1e-6);
      }
    }
    EXPECT_LE(other_side, 1);
  }
}

TEST(FormedWall, NoBeamSlipsThroughAStudOrABlindBore) {
  for (const double lead : {0.0, 0.0002}) {
    for (const bool threaded : {false, true}) {
      parts::StudSpec stud_spec;
      parts::BoreSpec bore_spec;
      if (threaded) stud_spec.thread = bore_spec.thread = Thread::Metric("M8");
      stud_spec.lead = bore_spec.lead = lead;
      stud_spec.form = bore_spec.form = EverythingAtOnce();
      const auto stud = parts::MakeStud(stud_spec);
      const auto bore = parts::MakeBore(bore_spec);
      Rng rng(44);
      for (int i = 0; i < test::Draws(2000, 200); ++i) {
        const Vec3 eye(rng.Uniform(-1, 1), rng.Uniform(-1, 1), rng.Uniform(0.3, 2));
        // Through the middle of the stud: met before it is reached.
        const Vec3 inside(0, 0, rng.Uniform(0.0005, 0.0195));
        Hit hit;
        ASSERT_TRUE(stud->Intersect({eye, (inside - eye).normalized()}, hit));
        ASSERT_LT(hit.t, (inside - eye).norm());
        // Into the bore: met before the plate's material has been entered.
        const double angle = rng.Uniform(0, 2 * kPi);
        const Vec3 beyond(0.0047 * std::cos(angle), 0.0047 * std::sin(angle),
                          rng.Uniform(-0.016, 0.0));
        Hit bore_hit;
        ASSERT_TRUE(bore->Intersect({eye, (beyond - eye).normalized()}, bore_hit));
        ASSERT_LT(bore_hit.t, (beyond - eye).norm() + 1e-9) << i;
      }
    }
  }
}

// End and mouth follow the wall: what the wall leaves of the end is met at the end, what it leaves
// of the front at the front.
TEST(FormedWall, EndAndMouthEndAtTheWall) {
  WallForm form;
  form.lobes = {{3, 0.0001, 0.0}};
  parts::StudSpec stud_spec;
  parts::BoreSpec bore_spec;
  stud_spec.lead = bore_spec.lead = 0.0;
  stud_spec.form = bore_spec.form = form;
  const auto stud = parts::MakeStud(stud_spec);
  const auto bore = parts::MakeBore(bore_spec);
  for (int i = 0; i < 360; ++i) {
    const double angle = i * kPi / 180.0;
    const double rim = kRadius + 0.0001 * std::cos(3.0 * angle);
    const Vec3 out(std::cos(angle), std::sin(angle), 0.0);
    for (const double gap : {-1e-9, 1e-9}) {
      Hit hit;
      ASSERT_TRUE(stud->Intersect({(rim + gap) * out + Vec3::UnitZ(), -Vec3::UnitZ()}, hit));
      EXPECT_NEAR(hit.t, gap < 0.0 ? 1.0 - stud_spec.height : 1.0, 1e-12);
      Hit bore_hit;
      ASSERT_TRUE(bore->Intersect({(rim + gap) * out + Vec3::UnitZ(), -Vec3::UnitZ()}, bore_hit));
      EXPECT_NEAR(bore_hit.t, gap < 0.0 ? 1.0 + bore_spec.depth : 1.0, 1e-12);
    }
  }
}

// A thread moves in and out as the smooth wall would.
TEST(FormedWall, AThreadMovesWithTheWall) {
  const WallForm form = EverythingAtOnce();
  const Thread thread = *Thread::Metric("M8");
  const ThreadProfile profile(thread, WallKind::kStud);
  const FormedWall wall({WallKind::kStud, 0.0, thread, 0.0, kHeight, std::nullopt},
                        {form, 0.0, kHeight});
  Rng rng(45);
  int met = 0;
  for (int i = 0; i < test::Draws(1000, 100); ++i) {
    const double a = rng.Uniform(-kPi, kPi);
    const Vec3 eye(0.008 * std::cos(a), 0.008 * std::sin(a), rng.Uniform(0.0, kHeight));
    const double b = a + rng.Uniform(-1.0, 1.0);
    const Vec3 target(0.0035 * std::cos(b), 0.0035 * std::sin(b), rng.Uniform(0.004, 0.016));
    const Ray ray{eye, (target - eye).normalized()};
    Hit hit;
    if (!wall.Intersect(ray, hit)) continue;
    ++met;
    const auto outside = [&](double t) {
      const Vec3 p = ray.At(t);
      const Wanted wanted = WantedAt(form, p, 0.0, kHeight);
      const double h = 2.0 * p.z() / kHeight - 1.0;
      const double offset = form.bend * (1.0 / 3.0 - h * h);
      const double angle = std::atan2(p.y() - offset * std::sin(form.bend_direction),
                                      p.x() - offset * std::cos(form.bend_direction));
      const double turns = p.z() / thread.pitch - angle / (2.0 * kPi);
      return wanted.away - (wanted.radius - kRadius + profile.RadiusAt(turns));
    };
    ASSERT_NEAR(outside(hit.t), 0.0, 1e-12);
    for (double t = 0.0; t < hit.t - 1e-9; t += 1e-6) ASSERT_GT(outside(t), 0.0);
  }
  EXPECT_GT(met, test::Draws(900, 90));
}

TEST(FormedWall, ARayAlongTheWallEnds) {
  for (const double height : {0.02, 2.0, 1000.0}) {
    parts::StudSpec spec;
    spec.height = height;
    spec.form.barrel = 1e-5;
    spec.form.lobes = {{3, 1e-5, 0.0}};
    const auto stud = parts::MakeStud(spec);
    for (const double gap : {-1e-9, -1e-13, 0.0, 1e-13, 1e-9}) {
      // Along the crest of a lobe, past the widest place half way.
      Hit hit;
      const double widest = kRadius + 1e-5 + 1e-5 / 3.0;
      ASSERT_TRUE(stud->Intersect({{widest + gap, 0.0, height + 1.0}, {0.0, 0.0, -1.0}}, hit));
      EXPECT_LE(hit.t, height + 1.0 + 1e-9);
    }
  }
}

TEST(FormedWall, TheTruthIsThatOfTheIdealWall) {
  parts::StudSpec spec;
  const Truth ideal = parts::MakeStud(spec)->truth();
  spec.form = EverythingAtOnce();
  const Truth formed = parts::MakeStud(spec)->truth();
  EXPECT_EQ(formed.values, ideal.values);
  EXPECT_EQ(formed.points.at("center"), ideal.points.at("center"));
  EXPECT_EQ(formed.directions.at("axis"), ideal.directions.at("axis"));
}

}  // namespace
}  // namespace libmfx::sim
