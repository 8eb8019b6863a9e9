// Recordings that no instrument in order takes, and models that are not the default one.

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "recorded_scan.h"
#include "sim/path_walk.h"
#include "sim/surface/surface.h"

namespace libmfx::test {
namespace {

using uncertainty::AsRecorded;
using uncertainty::InstrumentModel;

void ExpectGiven(const InstrumentModel& found) {
  const InstrumentModel given;
  EXPECT_EQ(found.noise.range, given.noise.range);
  EXPECT_EQ(found.noise.range_per_metre, given.noise.range_per_metre);
  EXPECT_EQ(found.noise.speckle, given.noise.speckle);
  EXPECT_EQ(found.noise.footprint, given.noise.footprint);
  EXPECT_EQ(found.noise.stray, given.noise.stray);
  EXPECT_EQ(found.noise.quality_peak, given.noise.quality_peak);
  EXPECT_EQ(found.noise.quality_noise, given.noise.quality_noise);
  EXPECT_EQ(found.errors.bursts.share, given.errors.bursts.share);
}

void ExpectSound(const InstrumentModel& found) {
  for (const double number :
       {found.noise.range, found.noise.range_per_metre, found.noise.speckle, found.noise.footprint,
        found.noise.stray, found.noise.stray_span, found.noise.quality_peak,
        found.noise.quality_incidence, found.noise.quality_noise, found.errors.bursts.share}) {
    EXPECT_TRUE(std::isfinite(number) && number >= 0.0) << number;
  }
  EXPECT_LE(found.noise.range, 0.01);
  EXPECT_LE(found.noise.stray, 0.5);
  EXPECT_LE(found.errors.bursts.share, 0.5);
  EXPECT_GE(found.errors.bursts.length, 1.0);
  EXPECT_LE(found.errors.bursts.length, 1000.0);
}

/// A hole that was measured, to be spoilt.
struct Hole {
  Subject subject = SubjectOf("hole", 3.0, 0.0);
  RecordedScan scan = Record(subject, {}, {}, 1);

  InstrumentModel Estimate() const { return scan.Estimate(subject.scene); }
  std::vector<host::RawDataPoint>& samples() { return scan.exchange.samples; }
};

TEST(HostileRecordingTest, NoSampleGivesTheModelBack) {
  Hole hole;
  hole.samples().clear();
  ExpectGiven(hole.Estimate());
  hole.scan.exchange.points.clear();
  ExpectGiven(hole.Estimate());
}

TEST(HostileRecordingTest, SamplesWithoutAPathGiveTheModelBack) {
  Hole hole;
  hole.scan.exchange.points.clear();
  ExpectGiven(hole.Estimate());
}

TEST(HostileRecordingTest, APathThatNobodyCanDriveGivesTheModelBack) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const host::Position bad :
       {host::Position(nan, 0.0, 2.0, 0.0001), host::Position(0.0, 0.0, 1e6, 1e-9),
        host::Position(0.0, 0.0, 2.0, -1.0)}) {
    Hole hole;
    hole.scan.exchange.points.push_back(bad);
    ExpectGiven(hole.Estimate());
  }
}

TEST(HostileRecordingTest, NumbersThatAreNoneGiveTheModelBack) {
  for (const double bad : {std::numeric_limits<double>::quiet_NaN(),
                           std::numeric_limits<double>::infinity(), -1.0, 0.0}) {
    Hole hole;
    for (auto& sample : hole.samples()) sample.range = bad;
    ExpectGiven(hole.Estimate());
    Hole other;
    for (auto& sample : other.samples()) sample.quality = bad;
    if (!std::isfinite(bad) || bad <= 0.0) ExpectGiven(other.Estimate());
  }
}

TEST(HostileRecordingTest, SegmentsThatNobodyDroveGiveTheModelBack) {
  for (const std::int32_t status : {-1, 100'000, std::numeric_limits<std::int32_t>::min(),
                                    std::numeric_limits<std::int32_t>::max()}) {
    Hole hole;
    for (auto& sample : hole.samples()) sample.status = status;
    ExpectGiven(hole.Estimate());
  }
}

TEST(HostileRecordingTest, ATwinWithoutAPartGivesTheModelBack) {
  Hole hole;
  hole.subject.scene.part = nullptr;
  ExpectGiven(hole.Estimate());
}

TEST(HostileRecordingTest, ATwinThatStandsElsewhereLeavesTheNoiseAlone) {
  Hole hole;
  hole.subject.scene.pose.position += sim::Vec3(1.0, 0.0, 0.0);
  ExpectGiven(hole.Estimate());
}

TEST(HostileRecordingTest, OneQualityHasNoNoiseAndIsTheLevel) {
  Hole hole;
  for (auto& sample : hole.samples()) sample.quality = 70.0;
  const InstrumentModel found = hole.Estimate();
  ExpectSound(found);
  EXPECT_LT(found.noise.quality_noise, 0.1);
  // 3 m off the echo is 1.8 fainter than at 2 m.
  EXPECT_NEAR(found.noise.quality_peak, 70.0 + 10.0 * std::log10(1.5), 0.1);
}

TEST(HostileRecordingTest, AQualityFarBelowTheFloorLosesNoSampleOfTheTrials) {
  Hole hole;
  for (auto& sample : hole.samples()) sample.quality *= 0.01;
  hole.scan.told.stages.fates.clear();
  const InstrumentModel found = hole.Estimate();
  ExpectSound(found);
  EXPECT_LT(found.noise.quality_floor, 1.0);
  EXPECT_EQ(found.errors.bursts.share, 0.0);
}

TEST(HostileRecordingTest, OneRangeForAllIsSound) {
  Hole hole;
  for (auto& sample : hole.samples()) sample.range = 3.0;
  ExpectSound(hole.Estimate());
}

TEST(HostileRecordingTest, RangesWithoutSenseAreCapped) {
  Hole hole;
  sim::Rng rng(5);
  for (auto& sample : hole.samples()) sample.range = rng.Uniform(0.1, 50.0);
  ExpectSound(hole.Estimate());
}

TEST(HostileRecordingTest, AnExactInstrumentHasHardlyAnyNoise) {
  const Subject subject = SubjectOf("hole", 3.0, 0.0);
  sim::Noise exact = sim::Noise::Off();
  exact.lost = sim::LostReturn::kZero;
  const InstrumentModel found = Record(subject, exact, {}, 1).Estimate(subject.scene);
  ExpectSound(found);
  EXPECT_LT(found.noise.range, 0.02 * sim::Noise().range);
}

TEST(HostileRecordingTest, SamplesOutOfOrderAndTwiceAreSound) {
  Hole hole;
  std::reverse(hole.samples().begin(), hole.samples().end());
  ExpectSound(hole.Estimate());
  Hole twice;
  const auto once = twice.samples();
  for (const auto& sample : once) twice.samples().push_back(sample);
  ExpectSound(twice.Estimate());
}

TEST(HostileRecordingTest, ASampleWithQualityZeroCountsAsLost) {
  Hole hole;
  for (std::size_t i = 0; i < hole.samples().size(); i += 10) hole.samples()[i].quality = 0.0;
  const InstrumentModel found = hole.Estimate();
  EXPECT_NEAR(found.errors.bursts.share, 0.1, 0.01);
  EXPECT_NEAR(found.errors.bursts.length, 1.0, 0.05);
}

TEST(HostileRecordingTest, WithoutFatesTheTwinDecides) {
  Hole hole;
  const InstrumentModel judged = hole.Estimate();
  hole.scan.told.stages = {};
  const InstrumentModel found = hole.Estimate();
  // More samples count, those far from the feature too.
  EXPECT_NEAR(found.noise.range / judged.noise.range, 1.0, 0.1);
  EXPECT_NEAR(found.noise.footprint / judged.noise.footprint, 1.0, 0.1);
}

TEST(HostileRecordingTest, ALongScanTakesBoundedTime) {
  // A line of a million samples on a plate, all of one range and half of them beside the line.
  const Subject subject = SubjectOf("face", 3.0, 0.0);
  RecordedScan scan;
  scan.exchange.points = {host::Position(-0.05, 0.0, 3.0, 0.0),
                          host::Position(0.05, 0.0, 3.0, 3e-7)};
  sim::PathWalk(scan.exchange.points).Visit([&](const sim::Aim& aim) {
    const double aside = scan.exchange.samples.size() % 2 == 0 ? 0.0 : 1e-3;
    scan.exchange.samples.emplace_back(aim.azimuth, aim.elevation + aside, aim.range, 80.0,
                                       aim.status);
  });
  ASSERT_GT(scan.exchange.samples.size(), 900'000U);
  const auto start = std::chrono::steady_clock::now();
  ExpectSound(scan.Estimate(subject.scene));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
}

// ---- models

TEST(RecordedModelTest, TheSameSeedGivesTheSameModel) {
  const Hole hole;
  const InstrumentModel one = hole.Estimate();
  const InstrumentModel two = hole.Estimate();
  EXPECT_EQ(one.noise.footprint, two.noise.footprint);
  EXPECT_EQ(one.noise.range, two.noise.range);
}

TEST(RecordedModelTest, AModelWithoutNoiseGetsThatOfTheScan) {
  const Hole hole;
  InstrumentModel exact;
  exact.noise = sim::Noise::Off();
  const InstrumentModel found =
      AsRecorded(exact, hole.subject.scene, hole.scan.exchange, hole.scan.told.stages, 1);
  // 8 um and 2.5 um/m at 3 m, to what some 400 samples on the surface tell.
  EXPECT_NEAR(found.noise.range, std::hypot(8e-6, 7.5e-6), 1.5e-6);
  EXPECT_NEAR(found.noise.quality_noise, 2.0, 0.3);
}

TEST(RecordedModelTest, WhatTheSurfaceDoesIsNotTakenForNoise) {
  Subject subject = SubjectOf("face", 2.0, 0.0);
  sim::SurfaceSpec rough;
  rough.roughness = sim::SurfaceSpec::Roughness{12e-6, 0.00015};
  auto surface = std::make_shared<const sim::Surface>(rough);
  subject.scene.surface = surface;
  const RecordedScan scan = Record(subject, {}, {}, 3);
  subject.scene.surface = nullptr;
  const InstrumentModel unknowing = scan.Estimate(subject.scene);
  // Samples 1 mm apart lie on grains of their own: 15 um together.
  EXPECT_NEAR(unknowing.noise.range / 8e-6, std::hypot(12.0, 9.4) / 9.4, 0.3);
  rough.seed = 99;  // how rough it is is known, not what lies where
  InstrumentModel knowing;
  knowing.surface = std::make_shared<const sim::Surface>(rough);
  const InstrumentModel found =
      AsRecorded(knowing, subject.scene, scan.exchange, scan.told.stages, 1);
  EXPECT_NEAR(found.noise.range / 8e-6, 1.0, 0.4);
}

TEST(RecordedModelTest, AThreadIsNotTakenForNoise) {
  Subject subject = SubjectOf("stud", 2.0, 45.0 * sim::kPi / 180.0);
  sim::parts::StudSpec spec;
  spec.thread = sim::Thread::Metric("M10");
  spec.height = 0.025;
  subject.scene.part = sim::parts::MakeStud(spec);
  const RecordedScan scan = Record(subject, {}, {}, 3);
  ASSERT_TRUE(scan.told.successful) << scan.told.error;
  // The twin's thread begins elsewhere, as nobody measures where it does.
  sim::Scene twin = subject.scene;
  const Eigen::AngleAxisd turn(2.0, sim::Vec3::UnitZ());
  twin.pose.rotation = twin.pose.rotation * turn.toRotationMatrix();
  const InstrumentModel found = scan.Estimate(twin);
  const sim::Noise truth;
  const auto sigma = [](const sim::Noise& n) {
    return std::hypot(n.range, 2.0 * n.range_per_metre, n.speckle * n.footprint);
  };
  EXPECT_NEAR(sigma(found.noise) / sigma(truth), 1.0, 0.2);
  EXPECT_LT(found.noise.stray, 0.01);
}

}  // namespace
}  // namespace libmfx::test
