// Threads as they come from the workshop: cut to any depth, with flanks of any standard, seen as
// points on the side that an instrument in the origin sees.

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <Eigen/Geometry>
#include <cmath>
#include <functional>
#include <numbers>
#include <random>
#include <stdexcept>
#include <tuple>
#include <vector>

#include "cylinder_points.h"
#include "geometry/cylinder/thread_profile.h"

namespace libmfx::geometry {
namespace {

using Eigen::Vector3d;
using Fitter = ThreadedCylinderFitter;

constexpr double kPitch = 0.001;   // metres
constexpr double kCrests = 0.003;  // radius
constexpr double kNoise = 5e-6;

/// A basic profile cut to a share of its depth: the crests are wider by what is missing.
cylinder::Profile Cut(bool bore, double slope, double share) {
  cylinder::Profile profile = cylinder::Profile::Basic(bore, slope);
  profile.crest += (1.0 - share) * profile.FlankLength();
  return profile;
}

/// How far the wall lies outside of the crests at a phase in turns, metres.
using Shape = std::function<double(double)>;

Shape ShapeOf(const cylinder::Profile& profile) {
  return [profile](double phase) {
    const double depth = kPitch * cylinder::DepthOfProfile(phase, profile).depth;
    return profile.bore ? depth : -depth;
  };
}

struct Screw {
  Vector3d point = Vector3d(0.3, -0.2, 2.0);
  Vector3d axis = Vector3d(0.0, 0.8, -0.6);
  bool bore = false;
  bool whole = false;  ///< points all around, and not of the side that is seen
  double lobes = 0.0;  ///< amplitude of three lobes, metres
};

std::vector<Vector3d> PointsOf(const Screw& screw, const Shape& shape, int around = 60) {
  std::mt19937 random(11);
  std::normal_distribution<double> noise(0.0, kNoise);
  const Vector3d e1 = screw.axis.unitOrthogonal(), e2 = screw.axis.cross(e1);
  std::vector<Vector3d> points;
  for (int i = 0; i < around; ++i) {
    const double turn = static_cast<double>(i) / around, angle = 2.0 * std::numbers::pi * turn;
    const Vector3d out = std::cos(angle) * e1 + std::sin(angle) * e2;
    if (!screw.whole && (out.dot(screw.point) > 0.0) != screw.bore) continue;
    for (int k = 0; k < 120; ++k) {
      const double height = 0.001 + 0.009 * k / 119.0;
      const double lobe = screw.lobes * std::cos(3.0 * angle);
      const double radius = kCrests + lobe + shape(height / kPitch - turn) + noise(random);
      points.push_back(screw.point + height * screw.axis + radius * out);
    }
  }
  return points;
}

Screw Bored() {
  Screw screw;
  screw.axis = Vector3d(0.0, 0.8, 0.6);
  screw.bore = true;
  return screw;
}

struct Fit {
  Fitter::Cylinder cylinder;
  Fitter::Statistics statistics;
};

Fit FitOf(const std::vector<Vector3d>& points, const Screw& screw, bool fix_radius = false) {
  Fitter::Cylinder nominal;
  nominal.point = screw.point;
  nominal.axis = screw.axis;
  nominal.radius = kCrests;
  Fit fit;
  fit.cylinder = Fitter::Fit(points, nominal, 0.0005, 0.0105, 0.0015, 0.0005, 0.02, 0.05, false,
                             fix_radius, &fit.statistics);
  return fit;
}

TEST(WorkshopThreads, TheCrestIsFoundAtAnyDepth) {
  for (const Screw& screw : {Screw(), Bored()}) {
    for (const double share : {1.0, 0.83, 0.6, 0.4, 0.25}) {
      const auto points = PointsOf(screw, ShapeOf(Cut(screw.bore, std::numbers::sqrt3, share)));
      const Fit fit = FitOf(points, screw);
      EXPECT_TRUE(fit.statistics.threaded) << screw.bore << share;
      EXPECT_NEAR(fit.cylinder.radius, kCrests, 5e-6) << screw.bore << share;
      EXPECT_NEAR(std::abs(fit.statistics.pitch), kPitch, 2e-6) << screw.bore << share;
      EXPECT_LT(test::DistanceFromAxis(fit.cylinder.point, screw.point, screw.axis), 1e-5);
    }
  }
}

TEST(WorkshopThreads, AWornRootLeavesTheCrest) {
  for (const Screw& screw : {Screw(), Bored()}) {
    cylinder::Profile profile = cylinder::Profile::Basic(screw.bore);
    profile.root += 0.3 * profile.FlankLength();
    const Fit fit = FitOf(PointsOf(screw, ShapeOf(profile)), screw);
    EXPECT_NEAR(fit.cylinder.radius, kCrests, 5e-6) << screw.bore;
  }
}

TEST(WorkshopThreads, TheFlankAngleIsFound) {
  for (const Screw& screw : {Screw(), Bored()}) {
    for (const double slope : cylinder::kFlankSlopes) {
      for (const double share : {1.0, 0.7}) {
        const Fit fit = FitOf(PointsOf(screw, ShapeOf(Cut(screw.bore, slope, share))), screw);
        EXPECT_NEAR(fit.cylinder.radius, kCrests, 1e-5) << screw.bore << slope << share;
      }
    }
  }
}

TEST(WorkshopThreads, PointsFromAllAroundAreReadBesideTheNominalCrests) {
  for (Screw screw : {Screw(), Bored()}) {
    screw.whole = true;
    for (const double share : {1.0, 0.8, 0.6}) {
      const auto points = PointsOf(screw, ShapeOf(Cut(screw.bore, std::numbers::sqrt3, share)));
      EXPECT_NEAR(FitOf(points, screw).cylinder.radius, kCrests, 5e-6) << screw.bore << share;
    }
  }
}

TEST(WorkshopThreads, ErrorsOfFormAreToldBesideTheThread) {
  for (Screw screw : {Screw(), Bored()}) {
    screw.whole = true;
    for (const double lobes : {0.0, 20e-6}) {
      screw.lobes = lobes;
      const auto points = PointsOf(screw, ShapeOf(Cut(screw.bore, std::numbers::sqrt3, 0.8)));
      const Fitter::Statistics told = FitOf(points, screw).statistics;
      ASSERT_TRUE(told.threaded && told.form) << screw.bore << lobes;
      EXPECT_TRUE(told.form->threaded);
      EXPECT_NEAR(told.form->roundness, 2.0 * lobes, 3e-6) << screw.bore;
      EXPECT_LT(told.form->roundness_uncertainty, 8e-6) << screw.bore << lobes;
      EXPECT_NEAR(told.form->taper, 0.0, 3e-6) << screw.bore << lobes;
      if (lobes > 0.0) {
        EXPECT_EQ(told.form->lobes, 3) << screw.bore;
      }
    }
  }
}

// As of a smooth wall: what the lobes hide of the radius is told by its uncertainty.
TEST(WorkshopThreads, LobesSeenFromOneSideLeaveTheRadiusOpen) {
  for (Screw screw : {Screw(), Bored()}) {
    const Shape shape = ShapeOf(Cut(screw.bore, std::numbers::sqrt3, 0.8));
    const Fit round = FitOf(PointsOf(screw, shape), screw);
    EXPECT_LT(round.statistics.radius_uncertainty, 5e-6) << screw.bore;
    screw.lobes = 20e-6;
    const Fit lobed = FitOf(PointsOf(screw, shape), screw);
    const double off = std::abs(lobed.cylinder.radius - kCrests);
    EXPECT_GT(off, 2.0 * round.statistics.radius_uncertainty) << screw.bore;
    EXPECT_LT(off, 2.0 * lobed.statistics.radius_uncertainty) << screw.bore;
  }
}

TEST(WorkshopThreads, AHelixOfNoStandardGivesTheEnvelopeOfItsCrests) {
  constexpr double kAmplitude = 75e-6;
  for (const Screw& screw : {Screw(), Bored()}) {
    const double side = screw.bore ? 1.0 : -1.0;
    const Shape sine = [&](double phase) {
      return side * kAmplitude * (1.0 - std::cos(2.0 * std::numbers::pi * phase));
    };
    const Fit free = FitOf(PointsOf(screw, sine), screw);
    // A sine may be a profile that a beam blurred: what that leaves open is told.
    EXPECT_LT(std::abs(free.cylinder.radius - kCrests), 2.0 * free.statistics.radius_uncertainty);
    EXPECT_LT(free.statistics.radius_uncertainty, 1e-4) << screw.bore;
    EXPECT_LT(test::DistanceFromAxis(free.cylinder.point, screw.point, screw.axis), 2e-5);
    const Fit fixed = FitOf(PointsOf(screw, sine), screw, true);
    EXPECT_EQ(fixed.cylinder.radius, kCrests) << screw.bore;
    EXPECT_LT(test::DistanceFromAxis(fixed.cylinder.point, screw.point, screw.axis), 3e-5);
  }
}

/// The fit of points, turned and scaled about the instrument, from a nominal turned and scaled
/// alike.
Fitter::Cylinder FitMoved(std::vector<Vector3d> points, const Screw& screw,
                          const Eigen::AngleAxisd& turn, double scale) {
  for (Vector3d& p : points) p = scale * (turn * p);
  Fitter::Cylinder nominal;
  nominal.point = scale * (turn * screw.point);
  nominal.axis = turn * screw.axis;
  nominal.radius = scale * kCrests;
  return Fitter::Fit(points, nominal, scale * 0.0005, scale * 0.0105, scale * 0.0015,
                     scale * 0.0005, 0.02, 0.05, false, false, nullptr);
}

// The frame of a fit turns with the nominal but for a turn about its axis: so descents differ by
// rounding and by where they end.
TEST(WorkshopThreads, TurningAndScalingGoThroughTheFit) {
  for (const Screw& screw : {Screw(), Bored()}) {
    const auto points = PointsOf(screw, ShapeOf(Cut(screw.bore, std::numbers::sqrt3, 0.8)), 40);
    const Fit before = FitOf(points, screw);
    for (const auto& [angle, direction, scale] :
         {std::tuple(0.7, Vector3d(1.0, -2.0, 0.5), 3.0), {2.9, Vector3d(0.2, 0.1, 1.0), 0.04}}) {
      const Eigen::AngleAxisd turn(angle, direction.normalized());
      const auto after = FitMoved(points, screw, turn, scale);
      EXPECT_NEAR(after.radius / scale, before.cylinder.radius, 1e-6) << screw.bore << scale;
      EXPECT_LT((turn.inverse() * after.point / scale - before.cylinder.point).norm(), 2e-6);
      EXPECT_LT(test::AxisAngle(turn.inverse() * after.axis, before.cylinder.axis), 5e-4);
    }
  }
}

RC_GTEST_PROP(WorkshopWalls, TurningShiftingAndScalingGoThroughTheFit, ()) {
  const auto draw = [](double low, double high) {
    return low + (high - low) * *rc::gen::inRange(0, 1000001) / 1e6;
  };
  const Screw screw = *rc::gen::arbitrary<bool>() ? Screw() : Bored();
  const double lobe = draw(0.0, 20e-6);
  std::vector<Vector3d> points = PointsOf(
      screw, [lobe](double phase) { return lobe * std::cos(6.0 * std::numbers::pi * phase); }, 20);
  const Fit before = FitOf(points, screw);
  RC_PRE(!before.statistics.threaded);
  const Vector3d direction(draw(-1.0, 1.0), draw(-1.0, 1.0), draw(-1.0, 1.0));
  RC_PRE(direction.norm() > 0.1);
  const Eigen::AngleAxisd turn(draw(0.0, 3.0), direction.normalized());
  const double scale = std::exp(draw(-3.0, 3.0));
  const auto after = FitMoved(points, screw, turn, scale);
  RC_ASSERT(std::abs(after.radius / scale - before.cylinder.radius) < 1e-10);
  RC_ASSERT((turn.inverse() * after.point / scale - before.cylinder.point).norm() < 1e-9);
  RC_ASSERT(test::AxisAngle(turn.inverse() * after.axis, before.cylinder.axis) < 1e-7);
}

TEST(WorkshopWalls, AnEvenScanOfAThreadShowsItsOwnPitch) {
  // 80 um between samples, of which every fifth would show 1 mm as another pitch.
  const Screw screw;
  std::vector<Vector3d> points;
  const Shape shape = ShapeOf(cylinder::Profile::Basic(false));
  const Vector3d e1 = screw.axis.unitOrthogonal(), e2 = screw.axis.cross(e1);
  for (int i = 0; i < 160; ++i) {
    const double turn = i / 160.0, angle = 2.0 * std::numbers::pi * turn;
    const Vector3d out = std::cos(angle) * e1 + std::sin(angle) * e2;
    if (out.dot(screw.point) > 0.0) continue;
    for (int k = 0; k < 125; ++k) {
      const double height = 0.0008 + 80e-6 * k;
      points.push_back(screw.point + height * screw.axis +
                       (kCrests + shape(height / kPitch - turn)) * out);
    }
  }
  const Fit fit = FitOf(points, screw);
  EXPECT_NEAR(std::abs(fit.statistics.pitch), kPitch, 1e-6);
  EXPECT_NEAR(fit.cylinder.radius, kCrests, 2e-6);
}

}  // namespace
}  // namespace libmfx::geometry
