// The form of a smooth wall, and what it leaves open of the fitted cylinder.

#include "geometry/cylinder/form.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include "geometry/cylinder/least_squares.h"
#include "libmfx/geometry/cylinder_fitter.h"
#include "random_cases.h"

namespace libmfx::geometry {
namespace {

using cylinder::EstimateForm;
using cylinder::FormEstimate;
using cylinder::Model;
using cylinder::Points;
using Fitter = ThreadedCylinderFitter;

constexpr double kRadius = 0.005;  // metres
constexpr double kMicrometre = 1e-6 / kRadius;
constexpr double kHalfHeight = 1.5;

/// A wall around z with errors of form, in nominal radii.
struct FormedWall {
  double cosine[9] = {}, sine[9] = {};  ///< of so many lobes
  double taper = 0.0, barrel = 0.0, bend_x = 0.0, bend_y = 0.0;
  double arc = 360.0;  ///< degrees
  double noise = 10.0 * kMicrometre;
  int points = 2000;

  Points Make(std::mt19937_64& random) const {
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    std::normal_distribution<double> normal;
    Points made(points);
    for (int i = 0; i < points; ++i) {
      const double turn = uniform(random) * arc / 360.0 * std::numbers::pi;
      const double t = uniform(random);
      const double bulge = 1.0 / 3.0 - t * t;
      double r = 1.0 + 0.5 * taper * t + noise * normal(random) +
                 bulge * (barrel + bend_x * std::cos(turn) + bend_y * std::sin(turn));
      for (int k = 2; k <= 8; ++k) {
        r += cosine[k] * std::cos(k * turn) + sine[k] * std::sin(k * turn);
      }
      made.set(i, {r * std::cos(turn), r * std::sin(turn), kHalfHeight * t});
    }
    return made;
  }
};

/// A pair of numbers of a length and any direction.
void Turn(double length, std::mt19937_64& random, double& x, double& y) {
  const double turn = std::uniform_real_distribution<double>(0.0, cylinder::kTurn)(random);
  x = length * std::cos(turn);
  y = length * std::sin(turn);
}

/// Waves of 2 to 8 of up to `size`, and taper, barrel and bend of up to twice that.
FormedWall RandomWall(double size, double arc, std::mt19937_64& random) {
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  FormedWall wall;
  wall.arc = arc;
  for (int k = 2; k <= 8; ++k) Turn(size * uniform(random), random, wall.cosine[k], wall.sine[k]);
  wall.taper = 2.0 * size * uniform(random);
  wall.barrel = 2.0 * size * uniform(random);
  Turn(2.0 * size * uniform(random), random, wall.bend_x, wall.bend_y);
  return wall;
}

struct Fit {
  Model model;
  cylinder::Uncertainty by_noise;
  std::optional<FormEstimate> form;

  double Whole(double noise, double of_form) const {
    return form ? std::hypot(std::sqrt(form->noise_share) * noise, of_form) : noise;
  }
  double radius() const { return Whole(by_noise.radius, form ? form->radius : 0.0); }
  double center() const { return Whole(by_noise.center, form ? form->center : 0.0); }
  double axis() const { return Whole(by_noise.axis, form ? form->axis : 0.0); }
};

Fit FitTo(const Points& points, bool fix_axis = false, bool fix_radius = false) {
  Fit fit;
  const cylinder::Outcome outcome = Minimize(points, fit.model, fix_axis, fix_radius);
  EXPECT_TRUE(outcome.converged);
  const auto free = cylinder::ListFreeParameters(fit.model, fix_axis, fix_radius).columns;
  fit.by_noise = Judge(outcome.sums.matrix, outcome.sums.cost, points.size(), fit.model, free);
  fit.form = EstimateForm(points, fit.model, fix_axis, fix_radius);
  return fit;
}

TEST(CylinderForm, OfAWholeWallIsTold) {
  FormedWall wall;
  std::mt19937_64 random(1);
  Turn(20.0 * kMicrometre, random, wall.cosine[3], wall.sine[3]);
  wall.sine[5] = 6.0 * kMicrometre;
  wall.taper = -50.0 * kMicrometre;
  wall.barrel = 30.0 * kMicrometre;
  wall.bend_x = 24.0 * kMicrometre;
  wall.bend_y = 32.0 * kMicrometre;
  const Fit fit = FitTo(wall.Make(random));
  ASSERT_TRUE(fit.form);
  const WallForm& form = fit.form->form;
  EXPECT_EQ(form.lobes, 3);
  // 10 um of noise on 2000 points leave 0.3 um of a cosine, 0.8 um of a taper and of a bulge.
  EXPECT_LT(form.roundness_uncertainty, 1.0 * kMicrometre);
  EXPECT_LT(form.taper_uncertainty, 1.5 * kMicrometre);
  EXPECT_LT(form.barrel_uncertainty, 1.5 * kMicrometre);
  EXPECT_LT(form.bend_uncertainty, 1.5 * kMicrometre);
  EXPECT_NEAR(form.roundness, 40.0 * kMicrometre, 4.0 * form.roundness_uncertainty);
  EXPECT_NEAR(form.taper, -50.0 * kMicrometre, 4.0 * form.taper_uncertainty);
  EXPECT_NEAR(form.barrel, 30.0 * kMicrometre, 4.0 * form.barrel_uncertainty);
  EXPECT_NEAR(form.bend, 40.0 * kMicrometre, 4.0 * form.bend_uncertainty);
  EXPECT_LT(fit.form->noise_share, 0.5);
}

TEST(CylinderForm, AnIdealWallHasNextToNone) {
  std::mt19937_64 random(2);
  for (const int points : {50, 100, 2000}) {
    for (const double arc : {120.0, 180.0, 360.0}) {
      SCOPED_TRACE(std::to_string(points) + " points on " + std::to_string(arc));
      FormedWall wall;
      wall.points = points;
      wall.arc = arc;
      std::vector<double> radius, center, axis, roundness;
      for (int draw = 0; draw < 41; ++draw) {
        const Fit fit = FitTo(wall.Make(random));
        ASSERT_TRUE(fit.form);
        radius.push_back(fit.radius() / fit.by_noise.radius);
        center.push_back(fit.center() / fit.by_noise.center);
        axis.push_back(fit.axis() / fit.by_noise.axis);
        roundness.push_back(fit.form->form.roundness);
      }
      for (std::vector<double>* ratios : {&radius, &center, &axis, &roundness})
        std::sort(ratios->begin(), ratios->end());
      // The half of them between the quarters: what chance makes look like form stays.
      for (const auto* ratios : {&radius, &center, &axis}) {
        EXPECT_NEAR((*ratios)[20], 1.0, 0.06);
        EXPECT_GT((*ratios)[10], 0.97);
        EXPECT_LT((*ratios)[30], 1.15);
      }
      EXPECT_LT(roundness[20], 0.3 * wall.noise);
    }
  }
}

// The truth is the radius, and the axis at mid-height and its direction, of the undeformed wall.
TEST(CylinderForm, TheTruthLiesWithinTwiceTheUncertainty) {
  std::mt19937_64 random(3);
  const int walls = test::Draws(300, 30);
  for (const double size : {20.0, 80.0}) {
    for (const double arc : {120.0, 150.0, 180.0, 240.0, 360.0}) {
      int radius = 0, center = 0, axis = 0;
      for (int draw = 0; draw < walls; ++draw) {
        const Fit fit = FitTo(RandomWall(size * kMicrometre, arc, random).Make(random));
        ASSERT_TRUE(fit.form);
        radius += std::abs(fit.model.radius - 1.0) <= 2.0 * fit.radius();
        center += fit.model.offset.norm() <= 2.0 * fit.center();
        axis += fit.model.direction.normalized().head<2>().norm() <= 2.0 * fit.axis();
      }
      // 95 % but for three deviations of the count of such draws.
      const double fewest = walls * 0.95 - 3.0 * std::sqrt(walls * 0.95 * 0.05);
      EXPECT_GE(radius, fewest) << size << " um on " << arc;
      EXPECT_GE(center, fewest) << size << " um on " << arc;
      EXPECT_GE(axis, fewest) << size << " um on " << arc;
    }
  }
}

// Without the form the same walls are told a hundred times too well.
TEST(CylinderForm, LobesOnHalfAWallOpenItsRadius) {
  FormedWall wall;
  wall.arc = 180.0;
  std::mt19937_64 random(4);
  Turn(80.0 * kMicrometre, random, wall.cosine[3], wall.sine[3]);
  const Fit fit = FitTo(wall.Make(random));
  EXPECT_LT(fit.by_noise.radius, 5.0 * kMicrometre);
  EXPECT_GT(fit.radius(), 40.0 * kMicrometre);
}

TEST(CylinderForm, WavesThatAnArcHardlyShowsStaySmall) {
  FormedWall wall;
  wall.arc = 90.0;
  std::mt19937_64 random(5);
  for (int draw = 0; draw < 20; ++draw) {
    Turn(10.0 * kMicrometre, random, wall.cosine[2], wall.sine[2]);
    const Fit fit = FitTo(wall.Make(random));
    ASSERT_TRUE(fit.form);
    EXPECT_LT(fit.form->form.roundness, 60.0 * kMicrometre);
  }
}

TEST(CylinderForm, AWrongFixedRadiusIsNoForm) {
  FormedWall wall;
  wall.arc = 150.0;
  std::mt19937_64 random(6);
  Points points = wall.Make(random);
  for (Eigen::ArrayXd* column : {&points.x, &points.y}) *column *= 1.01;
  const Fit fit = FitTo(points, false, true);
  ASSERT_TRUE(fit.form);
  EXPECT_LT(fit.form->form.roundness, 5.0 * kMicrometre);
  EXPECT_EQ(fit.form->radius, 0.0);
}

TEST(CylinderForm, IsNotToldOfFewPointsNorOfARing) {
  std::mt19937_64 random(7);
  FormedWall wall;
  wall.points = 49;
  EXPECT_FALSE(EstimateForm(wall.Make(random), Model(), false, false));
  wall.points = 50;
  Points ring = wall.Make(random);
  EXPECT_TRUE(EstimateForm(ring, Model(), false, false));
  ring.z.setConstant(0.5);
  EXPECT_FALSE(EstimateForm(ring, Model(), true, false));
}

/// Line and mean of values over a wall by least squares, from many of its heights.
struct Line {
  double slope, at_zero, mean;

  Line(double low, double high, double (*value)(double)) {
    constexpr int kHeights = 20000;
    double t = 0.0, v = 0.0, tt = 0.0, tv = 0.0;
    for (int i = 0; i < kHeights; ++i) {
      const double at = low + (high - low) * (i + 0.5) / kHeights;
      t += at / kHeights;
      v += value(at) / kHeights;
      tt += at * at / kHeights;
      tv += at * value(at) / kHeights;
    }
    slope = (tv - t * v) / (tt - t * t);
    at_zero = v - slope * t;
    mean = v;
  }
};

double Bulge(double t) { return 1.0 / 3.0 - t * t; }
double HalfTaper(double t) { return 0.5 * t; }

FormEstimate SeenInTheMiddle() {
  FormEstimate seen;
  seen.radius = seen.center = seen.axis = 1e-5;
  seen.middle = 0.2;
  seen.half_height = 0.8;
  seen.taper_square = 1e-6;
  seen.barrel_square = 4e-6;
  seen.bend_square = 9e-6;
  return seen;
}

TEST(CylinderForm, GoesOnWhereTheWallWasNotSeen) {
  // From 1 half height below what was seen to half of one above it.
  FormEstimate whole = SeenInTheMiddle();
  whole.GoOn(0.2 - 0.8 * 2.0, 0.2 + 0.8 * 1.5, false, false);
  const Line bulge(-2.0, 1.5, Bulge), taper(-2.0, 1.5, HalfTaper);
  EXPECT_NEAR(whole.axis, std::hypot(1e-5, 3e-3 * bulge.slope / 0.8), 1e-7);
  EXPECT_NEAR(whole.center, std::hypot(1e-5, 3e-3 * bulge.at_zero), 1e-7);
  EXPECT_NEAR(whole.radius, std::hypot(1e-5, 2e-3 * bulge.mean, 1e-3 * taper.mean), 1e-7);

  FormEstimate same = SeenInTheMiddle();
  same.GoOn(0.2 - 0.8, 0.2 + 0.8, false, false);
  EXPECT_NEAR(same.axis + same.center + same.radius, 3e-5, 1e-12);
  same.GoOn(0.3, 0.4, false, false);  // a window within what was seen
  EXPECT_NEAR(same.axis + same.center + same.radius, 3e-5, 1e-12);
  same.GoOn(-1.0, 1.0, true, true);
  EXPECT_NEAR(same.axis + same.radius, 2e-5, 1e-12);

  // A height that was told far too large is no wall.
  FormEstimate far = SeenInTheMiddle(), farther = SeenInTheMiddle();
  far.GoOn(-2.2, 2.6, false, false);
  farther.GoOn(-1000.0, 1000.0, false, false);
  EXPECT_EQ(far.radius, farther.radius);
  EXPECT_EQ(far.axis, farther.axis);
}

TEST(CylinderForm, IsFiniteWhateverTheNoise) {
  std::mt19937_64 random(8);
  for (const double noise : {0.0, 1e-14, 1e-9, 0.3}) {
    FormedWall wall;
    wall.noise = noise;
    wall.arc = 200.0;
    wall.cosine[2] = 1e-3;
    const std::optional<FormEstimate> estimate =
        EstimateForm(wall.Make(random), Model(), false, false);
    ASSERT_TRUE(estimate) << noise;
    EXPECT_TRUE(std::isfinite(estimate->radius + estimate->center + estimate->axis)) << noise;
    EXPECT_TRUE(std::isfinite(estimate->form.roundness + estimate->form.taper)) << noise;
    EXPECT_GT(estimate->noise_share, 0.0) << noise;
  }
}

TEST(CylinderForm, TheFitterTellsItInMetres) {
  FormedWall wall;
  wall.arc = 180.0;
  wall.sine[3] = 20.0 * kMicrometre;
  wall.taper = 50.0 * kMicrometre;
  std::mt19937_64 random(9);
  const Points local = wall.Make(random);
  std::vector<Eigen::Vector3d> points;
  for (Eigen::Index i = 0; i < local.size(); ++i) {
    points.push_back(kRadius * local.at(i) + Eigen::Vector3d(0.0, 0.0, 2.0));
  }
  Fitter::Cylinder nominal;
  nominal.point = Eigen::Vector3d(0.0, 0.0, 1.99);
  nominal.radius = kRadius;
  Fitter::Statistics statistics;
  const Fitter::Cylinder fitted =
      Fitter::Fit(points, nominal, 0.0, 0.02, 0.001, 0.001, 0.02, 0.05, false, false, &statistics);
  ASSERT_TRUE(statistics.form);
  EXPECT_NEAR(statistics.form->taper, 50e-6, 4.0 * statistics.form->taper_uncertainty);
  EXPECT_LT(statistics.form->taper_uncertainty, 10e-6);
  EXPECT_LT(std::abs(fitted.radius - kRadius), 2.0 * statistics.radius_uncertainty);
  EXPECT_GT(statistics.radius_uncertainty, 5e-6);
  points.resize(49);
  Fitter::Fit(points, nominal, 0.0, 0.02, 0.001, 0.001, 0.02, 0.05, false, false, &statistics);
  EXPECT_FALSE(statistics.form);
}

}  // namespace
}  // namespace libmfx::geometry
