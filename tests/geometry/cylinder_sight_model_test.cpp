#include "geometry/cylinder/sight_model.h"

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cmath>
#include <random>
#include <vector>

namespace libmfx::geometry::cylinder {
namespace {

using Eigen::Vector3d;

SightModel ModelOf(bool bore, double pitch) {
  SightModel model;
  model.thread.cylinder.offset = {0.01, -0.02};
  model.thread.cylinder.direction = Vector3d(0.004, -0.003, 1.0);
  model.thread.pitch = pitch;
  model.thread.phase = 0.3;
  model.thread.profile = Profile::Basic(bore);
  model.thread.profile.crest += 0.08;
  model.thread.profile.root = 0.2;  // in sight
  model.width = 0.05;
  return model;
}

/// Beams from one place, some radii up the axis and aside, that read on the wall they see.
std::vector<SightLine> BeamsOf(bool bore, const SightModel& model) {
  const Vector3d instrument(250.0, 30.0, 300.0);
  const double facing = std::atan2(instrument.y(), instrument.x()) + (bore ? 3.14159 : 0.0);
  std::mt19937 random(3);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  std::vector<SightLine> beams;
  for (int i = 0; i < 400; ++i) {
    const double angle = facing + 1.6 * (unit(random) - 0.5);
    const Vector3d entry(std::cos(angle), std::sin(angle), 3.0 * unit(random));
    const Vector3d sight = (entry - instrument).normalized();
    const NearTurn near(std::cos(angle + 0.05), std::sin(angle + 0.05));
    beams.push_back({entry + 0.2 * std::abs(model.thread.pitch) * sight, sight, near});
  }
  return beams;
}

// Those of the shapes are taken over steps of some cells of their tables, on either side, and
// curve.
TEST(SightEvaluator, TheDerivativeIsThatOfDifferences) {
  for (const bool bore : {false, true}) {
    for (const double pitch : {0.3, -0.3}) {
      const SightModel model = ModelOf(bore, pitch);
      SeenProfiles profiles({0.3, 3.5});
      const auto readings = model.ReadingsOf(profiles);
      const ShapeReadings shapes(model, profiles);
      const SightEvaluator evaluate(model, *readings);
      for (int column = 0; column < kSightColumns; ++column) {
        if (column == kDirectionZ) continue;
        const double step = column >= kCrest ? 1e-2 : 1e-4;
        SightModel moved = model;
        MoveSight(moved, column, step);
        const auto moved_readings = moved.ReadingsOf(profiles);
        const SightEvaluator beside(moved, *moved_readings);
        double off = 0.0, size = 0.0;
        for (const SightLine& beam : BeamsOf(bore, model)) {
          const Sighted here = evaluate(beam);
          const double told = evaluate.Derivative(here, shapes)[column];
          const double seen = (beside.Residual(beside(beam)) - evaluate.Residual(here)) / step;
          off += std::abs(told - seen);
          size += std::abs(seen);
        }
        EXPECT_LT(off, (column >= kCrest ? 0.1 : 0.05) * size)
            << bore << pitch << " column " << column;
        EXPECT_GT(size, 0.0);
      }
    }
  }
}

TEST(SightEvaluator, ABeamThatReadsWhatItShouldHasNoResidual) {
  for (const bool bore : {false, true}) {
    const SightModel model = ModelOf(bore, 0.3);
    SeenProfiles profiles({0.3, 3.5});
    const auto readings = model.ReadingsOf(profiles);
    const SightEvaluator evaluate(model, *readings);
    for (const SightLine& beam : BeamsOf(bore, model)) {
      // A residual is the way that is missing, turned square to the wall.
      SightLine reading = beam;
      for (int round = 0; round < 60; ++round)
        reading.point -= evaluate.Residual(evaluate(reading)) * beam.sight;
      const Vector3d& read = reading.point;
      EXPECT_LT(std::abs(evaluate.Residual(evaluate(reading))), 1e-6);
      const Vector3d axis = model.thread.cylinder.direction.normalized();
      const Vector3d base(model.thread.cylinder.offset.x(), model.thread.cylinder.offset.y(), 0.0);
      const double radius = (read - base).cross(axis).norm();
      const double depth = (bore ? radius - 1.0 : 1.0 - radius) / 0.3;
      EXPECT_GT(depth, -0.05);
      EXPECT_LT(depth, model.thread.profile.Depth() + 0.05);
    }
  }
}

TEST(NearTurn, IsTheTurnOfTheArcTangent) {
  for (int k = -50; k <= 50; ++k) {
    const double angle = 0.06 * k;
    for (const double aside : {0.0, 1e-9, 0.05, -0.0999, 0.1001, 1.5, 3.0, -2.2}) {
      const NearTurn near(std::cos(angle + aside), std::sin(angle + aside));
      const double turns = near.Of(std::cos(angle), std::sin(angle)) - angle / kTurn;
      EXPECT_NEAR(turns - std::round(turns), 0.0, 1e-13) << angle << ' ' << aside;
    }
  }
  EXPECT_TRUE(std::isnan(NearTurn(1.0, 0.0).Of(std::nan(""), 0.0)));
}

}  // namespace
}  // namespace libmfx::geometry::cylinder
