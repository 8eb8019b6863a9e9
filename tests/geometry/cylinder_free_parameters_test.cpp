// How many parameters a fit of a cylinder left free, told for the fit that was kept.

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cmath>
#include <numbers>
#include <random>

#include "cylinder_points.h"
#include "geometry/cylinder/seen_profile.h"
#include "geometry/cylinder/thread_model.h"

namespace libmfx::geometry {
namespace {

using Eigen::Vector3d;
using Fitter = ThreadedCylinderFitter;

constexpr double kPitch = 0.001;    // metres
constexpr double kOnProfile = 0.0;  // as a beam width: points on the profile itself
const cylinder::Profile kBoreProfile = cylinder::Profile::Basic(true);

/// A reading on the far wall of a bore, `wall.axis` pointing into it and the instrument in the
/// origin: where the sight line enters the crests at a place around and along the axis, moved on by
/// what a beam of a width in pitches reads there.
Vector3d Reading(const test::CylinderPoints& wall, const Vector3d& out, double turn, double height,
                 double width) {
  const Vector3d entry = wall.point + height * wall.axis + wall.radius * out;
  const double phase = height / kPitch - turn;
  if (width == kOnProfile)
    return entry + kPitch * cylinder::DepthOfProfile(phase, kBoreProfile).depth * out;
  const Vector3d sight = entry.normalized();
  const double along = sight.dot(wall.axis);
  const double run = cylinder::SeenProfile(kBoreProfile, width).Run(phase, sight.dot(out) / along);
  return entry + sight * (kPitch * run / along);
}

std::vector<Vector3d> BorePoints(const test::CylinderPoints& wall, double width) {
  const Vector3d e1 = wall.axis.unitOrthogonal(), e2 = wall.axis.cross(e1);
  std::mt19937 random(7);
  std::normal_distribution<double> noise(0.0, 5e-6);
  std::vector<Vector3d> points;
  for (int i = 0; i < 40; ++i) {
    const double turn = i / 40.0, angle = 2.0 * std::numbers::pi * turn;
    const Vector3d out = std::cos(angle) * e1 + std::sin(angle) * e2;
    if (out.dot(wall.point.normalized()) < 0.1) continue;
    for (int k = 0; k < 200; ++k) {
      const double height = wall.low + (wall.high - wall.low) * k / 199.0;
      points.push_back(Reading(wall, out, turn, height, width) + noise(random) * out);
    }
  }
  return points;
}

TEST(CylinderFreeParameters, AThreadCountsItsPhasePitchAndProfile) {
  test::CylinderPoints wall;
  wall.axis = Vector3d(0.0, 0.8, 0.6);
  const auto points = BorePoints(wall, kOnProfile);
  for (const bool fix_axis : {false, true}) {
    for (const bool fix_radius : {false, true}) {
      Fitter::Statistics statistics;
      Fitter::Fit(points, wall.Nominal(), 0.001, 0.019, 0.002, 0.0005, 0.02, 0.05, fix_axis,
                  fix_radius, &statistics);
      EXPECT_TRUE(statistics.threaded);
      EXPECT_EQ(statistics.free_parameters, 6 + (fix_axis ? 0 : 3) + (fix_radius ? 0 : 1));
    }
  }
}

// Where the beam is a tenth of a pitch wide to one side the profile is fitted along the sight
// lines.
TEST(CylinderFreeParameters, AThreadFittedAlongTheSightLinesCountsTheBeamAsWell) {
  test::CylinderPoints wall;
  wall.axis = Vector3d(0.0, 0.5, 0.87).normalized();
  const auto points = BorePoints(wall, 0.1);
  for (const bool fix_axis : {false, true}) {
    for (const bool fix_radius : {false, true}) {
      Fitter::Statistics statistics;
      const auto fitted = Fitter::Fit(points, wall.Nominal(), 0.001, 0.019, 0.002, 0.0005, 0.02,
                                      0.05, fix_axis, fix_radius, &statistics);
      EXPECT_TRUE(statistics.threaded);
      EXPECT_NEAR(fitted.radius, wall.radius, 2e-5);
      EXPECT_EQ(statistics.free_parameters, 7 + (fix_axis ? 0 : 2) + (fix_radius ? 0 : 1));
    }
  }
}

}  // namespace
}  // namespace libmfx::geometry
