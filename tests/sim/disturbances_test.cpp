// What spoils the instrument's samples is what was asked for, by its formula; and what is not asked
// for changes nothing.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "sim/scenario.h"

namespace libmfx::sim {
namespace {

using data_structures::Position;
using data_structures::RawDataPoint;
using nlohmann::json;

/// A plane across the line of sight at 2 m, or one that is told.
json PlaneScene(const json& instrument, const json& noise = false) {
  return {{"part", {{"type", "plane"}}},
          {"pose", {{"position", {0, 0, 2}}}},
          {"noise", noise},
          {"instrument", instrument}};
}

Instrument Made(const json& scene, std::uint64_t seed = 1) {
  return Instrument(Scene::FromJson(scene), seed);
}

/// Two lines over the plane, 101 samples each.
std::vector<Position> TwoLines() {
  std::vector<Position> path;
  for (const double y : {-0.01, 0.02}) {
    path.emplace_back(ToPoint({-0.1, y, 2.0}), 0.0);
    path.emplace_back(ToPoint({0.1, y, 2.0}), 0.002);
  }
  return path;
}

/// The time of sample `i` of two drives along both lines, by the default pace.
double TimeOf(std::size_t i) {
  const std::size_t jumps = 1 + i / 101;
  return 0.1 * static_cast<double>(jumps) + 0.001 * static_cast<double>(i);
}

/// Both drives' samples, one after the other.
std::vector<RawDataPoint> TwoDrives(Instrument instrument) {
  std::vector<RawDataPoint> samples = instrument.Drive(TwoLines());
  const auto more = instrument.Drive(TwoLines());
  samples.insert(samples.end(), more.begin(), more.end());
  return samples;
}

bool SameBytes(const std::vector<RawDataPoint>& a, const std::vector<RawDataPoint>& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof a[0]) == 0;
}

TEST(Disturbances, WhatIsSwitchedOffChangesNothing) {
  const json zeros = {{"points_per_second", 500},
                      {"settling", 0.3},
                      {"drift", {{"range_um_per_s", 0}, {"angle_walk_urad", 0}}},
                      {"vibration", {{"amplitude", 0}}},
                      {"range_offset", 0},
                      {"angle_scale_ppm", 0},
                      {"azimuth_encoder", {{"first_deg", 20}}},
                      {"bursts", {{"share", 0}}}};
  json scene = PlaneScene(zeros, true);
  const auto with = TwoDrives(Made(scene));
  scene.erase("instrument");
  EXPECT_EQ(with.size(), 404U);
  EXPECT_TRUE(SameBytes(with, TwoDrives(Made(scene))));
}

// Each range is off by the rate times the sample's own time, over both drives.
TEST(Disturbances, DriftGrowsWithTheTimeOfTheMeasurement) {
  const json drift = {{"range_um_per_s", 20}, {"azimuth_urad_per_s", -7}};
  const auto samples = TwoDrives(Made(PlaneScene({{"drift", drift}})));
  ASSERT_EQ(samples.size(), 404U);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    // The azimuth is read 7 urad a second too low: the beam is farther towards -x.
    const double azimuth = samples[i].azimuth + 7e-6 * TimeOf(i);
    const double range = 2.0 / (std::cos(azimuth) * std::cos(samples[i].elevation));
    ASSERT_NEAR(samples[i].range, range + 20e-6 * TimeOf(i), 1e-9) << i;
  }
  EXPECT_NEAR(TimeOf(403), 0.803, 1e-12);
}

TEST(Disturbances, PaceSetsTheTime) {
  const json drift = {{"range_um_per_s", 100}};
  const json instrument = {{"drift", drift}, {"points_per_second", 50}, {"settling", 2}};
  const auto samples = TwoDrives(Made(PlaneScene(instrument)));
  const auto exact = TwoDrives(Made(PlaneScene(json::object())));
  for (const std::size_t i : {0U, 100U, 101U, 202U, 403U}) {
    const double time = 2.0 * static_cast<double>(1 + i / 101) + 0.02 * static_cast<double>(i);
    EXPECT_NEAR(samples[i].range - exact[i].range, 100e-6 * time, 1e-9) << i;
  }
}

// The spread of many walks after a time is the told one times its root. 400 walks: the standard
// deviation is known to 3.5 %, of which 4 are allowed.
TEST(Disturbances, RandomWalkGrowsWithTheRootOfTheTime) {
  const json scene = PlaneScene({{"drift", {{"range_walk_um", 5}, {"angle_walk_urad", 3}}}});
  const auto exact = TwoDrives(Made(PlaneScene(json::object())));
  double early = 0.0;
  double late = 0.0;
  constexpr int kWalks = 400;
  for (int seed = 1; seed <= kWalks; ++seed) {
    const auto samples = TwoDrives(Made(scene, static_cast<std::uint64_t>(seed)));
    early += std::pow(samples[0].range - exact[0].range, 2);
    late += std::pow(samples[403].range - exact[403].range, 2);
  }
  // The angles' walk of 3 urad moves the range of this plane by 0.15 um at its ends.
  EXPECT_NEAR(std::sqrt(early / kWalks) / (5e-6 * std::sqrt(TimeOf(0))), 1.0, 0.14);
  EXPECT_NEAR(std::sqrt(late / kWalks) / (5e-6 * std::sqrt(TimeOf(403))), 1.0, 0.14);
}

TEST(Disturbances, VibrationSwingsAboutThePlaceOfTheBeginning) {
  const json vibration = {{"amplitude", 1e-5}, {"frequency", 20}, {"direction", {0, 0, 3}}};
  const auto samples = TwoDrives(Made(PlaneScene({{"vibration", vibration}}), 3));
  // Where the phase starts is free: the swing is told by a fit of sine and cosine, and is 0 at the
  // beginning. Shifts along z are -shift * cos of both angles in the range.
  double cc = 0.0;
  double ss = 0.0;
  double cs = 0.0;
  double cy = 0.0;
  double sy = 0.0;
  std::vector<double> shifts;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const double cosines = std::cos(samples[i].azimuth) * std::cos(samples[i].elevation);
    const double shift = 2.0 - samples[i].range * cosines;
    shifts.push_back(shift);
    const double phase = 2.0 * kPi * 20.0 * TimeOf(i);
    const double c = std::cos(phase) - 1.0;  // with the condition that the shift of time 0 is 0
    const double s = std::sin(phase);
    cc += c * c;
    ss += s * s;
    cs += c * s;
    cy += c * shift;
    sy += s * shift;
  }
  const double det = cc * ss - cs * cs;
  const double a = (cy * ss - sy * cs) / det;
  const double b = (sy * cc - cy * cs) / det;
  EXPECT_NEAR(std::hypot(a, b), 1e-5, 1e-10);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const double phase = 2.0 * kPi * 20.0 * TimeOf(i);
    EXPECT_NEAR(shifts[i], a * (std::cos(phase) - 1.0) + b * std::sin(phase), 1e-9) << i;
  }
  // Another seed has another phase, all three axes phases of their own.
  const auto other = TwoDrives(Made(PlaneScene({{"vibration", vibration}}), 4));
  EXPECT_FALSE(SameBytes(samples, other));
  Vibration all({1e-5, 20.0, std::nullopt}, 5);
  double farthest = 0.0;
  for (int i = 0; i < 1000; ++i) {
    Shot shot;
    shot.time = 0.0007 * i;
    all.Disturb(shot);
    if (i == 0) {
      EXPECT_EQ(shot.shift, Vec3(Vec3::Zero()));
    }
    farthest = std::max(farthest, shot.shift.cwiseAbs().minCoeff());
  }
  EXPECT_GT(farthest, 5e-6);
  EXPECT_LE(farthest, 2e-5);
}

TEST(Disturbances, RangesAreReadWithOffsetAndScale) {
  const auto samples =
      TwoDrives(Made(PlaneScene({{"range_offset", -3e-5}, {"range_scale_ppm", 12}})));
  const auto exact = TwoDrives(Made(PlaneScene(json::object())));
  for (std::size_t i = 0; i < samples.size(); ++i) {
    ASSERT_NEAR(samples[i].range, exact[i].range * (1.0 + 12e-6) - 3e-5, 1e-12);
  }
}

/// The middle of the gap that a line over a hole of 10 mm leaves, as azimuth. The hole lies 2 m
/// off, at an azimuth of 30 degrees, and faces the instrument.
double AzimuthOfTheHole(const json& instrument) {
  const double x = -2.0 * std::sin(kPi / 6.0);
  const double z = 2.0 * std::cos(kPi / 6.0);
  json scene = PlaneScene(instrument);
  scene["part"] = {
      {"type", "plate"}, {"thickness", 1e-4}, {"opening", {{"shape", "round"}, {"radius", 0.005}}}};
  scene["pose"] = {{"position", {x, 0, z}}, {"normal", {-x, 0, -z}}};
  const Vec3 along(0.5 * z, 0.0, -0.5 * x);
  const auto at = [&](double side) { return ToPoint(Vec3(x, 0.0, z) + 0.02 * side * along); };
  const auto samples = Made(scene).Drive({{at(-1.0), 0.0}, {at(1.0), 1e-5}});
  std::size_t gap = 1;
  const auto width = [&](std::size_t i) {
    return std::fabs(samples[i].azimuth - samples[i - 1].azimuth);
  };
  for (std::size_t i = 1; i < samples.size(); ++i) {
    if (width(i) > width(gap)) gap = i;
  }
  EXPECT_NEAR(width(gap), 0.005, 2e-5);  // a sample at either border, and its scale
  return 0.5 * (samples[gap].azimuth + samples[gap - 1].azimuth);
}

// What stands at 30 degrees is read (1 + scale) times as far from straight ahead, and its range is
// that of where it stands.
TEST(Disturbances, AnglesAreReadWithTheirScale) {
  const json scale = {{"angle_scale_ppm", 2000}};
  // 1e-5 m at 2 m are 5e-6 rad, of which each border may be half off.
  EXPECT_NEAR(AzimuthOfTheHole(json::object()), kPi / 6.0, 5e-6);
  EXPECT_NEAR(AzimuthOfTheHole(scale), 1.002 * kPi / 6.0, 5e-6);

  json scene = PlaneScene(scale);
  const std::vector<Position> aside = {{ToPoint({-1.3, 0.6, 2.0}), 0.0},
                                       {ToPoint({-1.0, 0.7, 2.0}), 0.002}};
  scene["part"] = {{"type", "plane"}, {"length", 10}, {"width", 10}};
  const auto samples = Made(scene).Drive(aside);
  ASSERT_GT(samples.size(), 100U);
  for (const RawDataPoint& sample : samples) {
    EXPECT_NEAR(sample.azimuth, kPi / 6.0, 0.07);
    const double range =
        2.0 / (std::cos(sample.azimuth / 1.002) * std::cos(sample.elevation / 1.002));
    ASSERT_NEAR(sample.range, range, 1e-9);
  }
}

/// Where the beam of a reading goes, told as what the angles are read too large by.
struct Misreading {
  double azimuth;
  double elevation;
};
Misreading MisreadingOf(const AlignmentSpec& spec, double azimuth, double elevation) {
  Alignment alignment(spec);
  Shot shot;
  shot.azimuth = azimuth;
  shot.elevation = elevation;
  alignment.Disturb(shot);
  const Vec3 d = BeamDirection(shot);
  EXPECT_NEAR(d.norm(), 1.0, 1e-15);
  const double true_azimuth = std::atan2(-d.x(), d.z());
  return {azimuth - true_azimuth, elevation - std::asin(d.y())};
}

// To the first order, by the formulas of the books; what is left is of the second order.
TEST(Disturbances, AxesOutOfAdjustmentMoveTheAnglesByTheBooks) {
  for (const double azimuth : {-2.0, -0.4, 0.0, 1.1}) {
    for (const double elevation : {-1.2, -0.3, 0.0, 0.6, 1.3}) {
      AlignmentSpec collimation;
      collimation.collimation = 5e-6;
      Misreading read = MisreadingOf(collimation, azimuth, elevation);
      EXPECT_NEAR(read.azimuth, 5e-6 / std::cos(elevation), 1e-9);
      EXPECT_NEAR(read.elevation, 0.0, 1e-9);
      AlignmentSpec tilt;
      tilt.axis_tilt = 5e-6;
      read = MisreadingOf(tilt, azimuth, elevation);
      EXPECT_NEAR(read.azimuth, 5e-6 * std::tan(elevation), 1e-9);
      EXPECT_NEAR(read.elevation, 0.0, 1e-9);
      AlignmentSpec encoders;
      encoders.azimuth = {4e-6, 0.3, 2e-6, -1.0};
      encoders.elevation = {0.0, 0.0, 3e-6, 0.5};
      read = MisreadingOf(encoders, azimuth, elevation);
      EXPECT_NEAR(read.azimuth,
                  4e-6 * std::sin(azimuth + 0.3) + 2e-6 * std::sin(2.0 * azimuth - 1.0), 1e-14);
      EXPECT_NEAR(read.elevation, 3e-6 * std::sin(2.0 * elevation + 0.5), 1e-14);
      AlignmentSpec scale;
      scale.angle_scale = -4e-6;
      read = MisreadingOf(scale, azimuth, elevation);
      EXPECT_NEAR(read.azimuth, azimuth - azimuth / (1.0 - 4e-6), 1e-14);
      EXPECT_NEAR(read.elevation, elevation - elevation / (1.0 - 4e-6), 1e-14);
    }
  }
  // Straight up nothing grows beyond bounds.
  Shot up;
  up.elevation = 0.5 * kPi;
  up.collimation = 5e-6;
  EXPECT_NEAR(BeamDirection(up).x(), 5e-6, 1e-12);
}

// The angles that a sample tells are those of the path; what it saw lies where the beam went.
TEST(Disturbances, ABeamOutOfAdjustmentSeesWhatLiesBesideThePath) {
  json scene = PlaneScene({{"collimation_urad", 1000}});
  scene["part"] = {{"type", "plate"}, {"opening", {{"shape", "round"}, {"radius", 0.005}}}};
  Instrument off = Made(scene);
  scene.erase("instrument");
  Instrument sound = Made(scene);
  const auto rims = [](Instrument& instrument) {
    // Straight ahead at 2 m, 1000 urad are 2 mm.
    std::vector<Position> path = {{ToPoint({-0.02, 0.0, 2.0}), 0.0},
                                  {ToPoint({0.02, 0.0, 2.0}), 1e-5}};
    std::vector<double> on_front;
    for (const RawDataPoint& s : instrument.Drive(path)) {
      const Vec3 p = SamplePoint(s);
      if (std::fabs(p.z() - 2.0) < 1e-4) on_front.push_back(p.x());
    }
    std::size_t gap = 1;
    for (std::size_t i = 1; i < on_front.size(); ++i) {
      if (on_front[i] - on_front[i - 1] > on_front[gap] - on_front[gap - 1]) gap = i;
    }
    return 0.5 * (on_front[gap] + on_front[gap - 1]);
  };
  EXPECT_NEAR(rims(sound), 0.0, 1.1e-5);
  // The beam is 2 mm farther towards +x than the angles tell.
  EXPECT_NEAR(rims(off), -0.002, 1.1e-5);
}

TEST(Focus, WidensTheSpotBeforeAndBehindTheWaist) {
  const FocusSpec focus{2.0, 0.01};
  EXPECT_EQ(SpotDiameter(focus, 0.00015, 2.0), 0.00015);
  EXPECT_NEAR(SpotDiameter(focus, 0.0, 2.1), 0.0005, 1e-15);
  EXPECT_NEAR(SpotDiameter(focus, 0.0003, 1.92), 0.0005, 1e-15);
  EXPECT_NEAR(SpotDiameter(focus, 0.0, 0.0), 0.01, 1e-15);
}

// A wide spot reads rims over a wide strip, and a tilted plane with more speckle.
TEST(Focus, ABeamOutOfFocusBlursTheRim) {
  const auto blurred = [](const json& instrument) {
    json scene = PlaneScene(instrument, {{"stray", 0}, {"mixed", 1}});
    scene["part"] = {{"type", "plate"}, {"opening", {{"shape", "round"}, {"radius", 0.005}}}};
    scene["behind"] = 0.05;
    int between = 0;
    const std::vector<Position> over_the_rim = {{ToPoint({0.004, 0.0, 2.0}), 0.0},
                                                {ToPoint({0.006, 0.0, 2.0}), 1e-6}};
    for (const RawDataPoint& s : Made(scene).Drive(over_the_rim)) {
      between += std::fabs(SamplePoint(s).z() - 2.01) < 0.009;
    }
    return between;
  };
  const int sharp = blurred(json::object());
  EXPECT_NEAR(blurred({{"focus", {{"distance", 2}}}}), sharp, 0.5 * sharp);
  EXPECT_GT(blurred({{"focus", {{"distance", 1.8}}}}), 3 * sharp);
  EXPECT_GT(sharp, 15);
}

TEST(Bursts, ComeInTheirShareAndLength) {
  json scene = PlaneScene({{"bursts", {{"share", 0.2}, {"length", 25}}}}, {{"lost", "zero"}});
  const std::vector<Position> path = {{ToPoint({-0.2, 0.0, 2.0}), 0.0},
                                      {ToPoint({0.2, 0.0, 2.0}), 2e-6}};
  const auto samples = Made(scene, 9).Drive(path);
  ASSERT_EQ(samples.size(), 200001U);
  double lost = 0.0;
  double bursts = 0.0;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    if (samples[i].quality != 0.0) continue;
    ++lost;
    bursts += i == 0 || samples[i - 1].quality != 0.0;
  }
  // About 1600 bursts of a length whose standard deviation is its mean: 2.5 % each.
  EXPECT_NEAR(lost / 200001.0, 0.2, 0.02);
  EXPECT_NEAR(lost / bursts, 25.0, 2.5);
  // What was not lost is as it would have been.
  scene.erase("instrument");
  const auto whole = Made(scene, 9).Drive(path);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    if (samples[i].quality == 0.0) continue;
    ASSERT_EQ(samples[i].range, whole[i].range) << i;
    ASSERT_EQ(samples[i].azimuth, whole[i].azimuth) << i;
  }
}

TEST(Disturbances, WrongOnesAreRefused) {
  const std::vector<std::pair<json, std::string>> wrong = {
      {5, "instrument: 5 is not an object"},
      {{{"settling", -1}}, "instrument.settling: -1 is not between 0 and 1000"},
      {{{"points_per_second", 0}}, "instrument.points_per_second: 0 is not between 0.1 and 1e+07"},
      {{{"drift", {{"range", 1}}}}, "instrument.drift.range: unknown key with the value 1"},
      {{{"drift", {{"range_um_per_s", "slow"}}}},
       "instrument.drift.range_um_per_s: \"slow\" is not a number"},
      {{{"vibration", json::object()}}, "instrument.vibration.amplitude: missing"},
      {{{"vibration", {{"amplitude", 1e-6}, {"direction", {0, 0, 0}}}}},
       "instrument.vibration.direction: [0, 0, 0] has no direction"},
      {{{"angle_scale_ppm", 10001}},
       "instrument.angle_scale_ppm: 10001 is not between -10000 and 10000"},
      {{{"azimuth_encoder", {{"first_urad", -1}}}},
       "instrument.azimuth_encoder.first_urad: -1 is not between 0 and 10000"},
      {{{"focus", {{"distance", 0}}}}, "instrument.focus.distance: 0 is not between 0.01 and 1000"},
      {{{"bursts", {{"share", 0.9}, {"length", 2}}}},
       "instrument.bursts.share: 0.9 is more than bursts of 2 samples can reach"}};
  for (const auto& [instrument, text] : wrong) {
    try {
      Scene::FromJson(PlaneScene(instrument));
      ADD_FAILURE() << instrument;
    } catch (const SceneError& error) {
      EXPECT_THAT(error.what(), testing::StartsWith(text));
    }
  }
}

}  // namespace
}  // namespace libmfx::sim
