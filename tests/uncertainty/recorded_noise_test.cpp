// What a recording tells of its instrument, against instruments whose figures are known.

#include "uncertainty/recorded_noise.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <tuple>

#include "recorded_scan.h"

namespace libmfx::test {
namespace {

using uncertainty::InstrumentModel;

/// Sigmas that an estimate may be off: one of 15,000 is farther off by chance.
constexpr double kSigmas = 4.0;

/// Where a part stands.
struct Stand {
  std::string type;
  double distance;   ///< metres
  double incidence;  ///< degrees
};

void PrintTo(const Stand& stand, std::ostream* out) {
  *out << stand.type << " at " << stand.distance << " m, " << stand.incidence << " degrees";
}

class RecordedNoiseTest : public testing::TestWithParam<Stand> {
 protected:
  Subject Placed() const {
    const auto& [type, distance, incidence] = GetParam();
    return SubjectOf(type, distance, incidence * sim::kPi / 180.0);
  }
  RecordedScan Recorded(const sim::Noise& noise, const sim::BurstsSpec& bursts = {}) const {
    RecordedScan scan = Record(Placed(), noise, bursts, 7);
    EXPECT_TRUE(scan.told.successful) << scan.told.error;
    return scan;
  }
  InstrumentModel Estimated(const RecordedScan& scan) const {
    return scan.Estimate(Placed().scene);
  }
  bool IsBent() const { return GetParam().type == "ball" || GetParam().type == "stud"; }

  /// Sigma of the range at the incidence that most of the samples have, 45 degrees of a bent face.
  double RangeSigma(const sim::Noise& noise) const {
    const auto& [type, distance, incidence] = GetParam();
    const double depth = IsBent() || incidence > 0.0 ? 0.5 * noise.footprint * distance : 0.0;
    return std::sqrt(std::pow(noise.range, 2) + std::pow(noise.range_per_metre * distance, 2) +
                     std::pow(noise.speckle * depth, 2));
  }
  /// How far the logarithm of a sigma may be off: that of n independent samples is off by
  /// 1 / sqrt(2 n), the second differences hold as much as half of them, and at least a third of a
  /// scan lies on plain surfaces. On a bent face the range terms and the speckle are told from each
  /// other, which doubles it. The noise of the angles adds to the samples' scatter, not to what is
  /// told.
  double RangeTolerance(const RecordedScan& scan, const sim::Noise& truth) const {
    const auto& [type, distance, incidence] = GetParam();
    const double independent = static_cast<double>(scan.exchange.samples.size()) / 6.0;
    const double slope = IsBent() ? 1.0 : std::tan(incidence * sim::kPi / 180.0);
    const double by_angles = std::pow(truth.angle * distance * slope / RangeSigma(truth), 2);
    return kSigmas * (IsBent() ? 2.0 : 1.0) * (1.0 + by_angles) / std::sqrt(2.0 * independent);
  }
  void ExpectRange(const sim::Noise& truth) const {
    const RecordedScan scan = Recorded(truth);
    const InstrumentModel found = Estimated(scan);
    EXPECT_NEAR(std::log(RangeSigma(found.noise) / RangeSigma(truth)), 0.0,
                RangeTolerance(scan, truth));
  }
};

sim::Noise RangeTimes(double factor) {
  sim::Noise noise;
  noise.range *= factor;
  noise.range_per_metre *= factor;
  noise.speckle *= factor;
  return noise;
}

sim::Noise FootprintTimes(double factor) {
  sim::Noise noise;
  noise.footprint *= factor;
  return noise;
}

// ---- range noise

TEST_P(RecordedNoiseTest, TheDefaultNoiseIsFound) { ExpectRange({}); }
TEST_P(RecordedNoiseTest, TwiceTheRangeNoiseIsFound) { ExpectRange(RangeTimes(2.0)); }
TEST_P(RecordedNoiseTest, HalfTheRangeNoiseIsFound) { ExpectRange(RangeTimes(0.5)); }

TEST_P(RecordedNoiseTest, WhatTheScanDoesNotShowStays) {
  const InstrumentModel found = Estimated(Recorded(RangeTimes(2.0)));
  const sim::Noise given;
  EXPECT_EQ(found.noise.angle, given.angle);
  EXPECT_EQ(found.noise.rays, given.rays);
  EXPECT_EQ(found.noise.resolution, given.resolution);
  EXPECT_EQ(found.noise.quality_floor, given.quality_floor);
  EXPECT_EQ(found.noise.stray_span, given.stray_span);
  if (GetParam().incidence == 0.0 && !IsBent()) {
    // Straight ahead the beam has no depth for the speckle to work on.
    EXPECT_NEAR(found.noise.speckle, given.speckle, 0.02 * given.speckle);
  }
}

// ---- quality

TEST_P(RecordedNoiseTest, QualityOfAWorseEchoIsFound) {
  sim::Noise truth;
  truth.quality_peak = 84.0;
  truth.quality_noise = 3.5;
  const RecordedScan scan = Recorded(truth);
  const InstrumentModel found = Estimated(scan);
  const double samples = static_cast<double>(scan.exchange.samples.size()) / 3.0;
  const double cosine = std::cos(GetParam().incidence * sim::kPi / 180.0);
  // At the incidence that the scan has; what lies elsewhere the model keeps. The mean of a patch
  // that is seen at several incidences rests on the slope, which is told no better than the mean.
  const double level = found.noise.quality_peak - truth.quality_peak +
                       (found.noise.quality_incidence - truth.quality_incidence) *
                           std::log10(IsBent() ? std::sqrt(0.5) : cosine);
  EXPECT_NEAR(level, 0.0, 2.0 * kSigmas * truth.quality_noise / std::sqrt(samples));
  EXPECT_NEAR(found.noise.quality_noise / truth.quality_noise, 1.0,
              kSigmas / std::sqrt(2.0 * samples));
}

// ---- lost and stray samples

TEST_P(RecordedNoiseTest, SamplesLostSinglyAreFound) {
  sim::BurstsSpec truth;
  truth.share = 0.05;
  truth.length = 1.0 / (1.0 - truth.share);  // the next one is lost with the same chance
  const RecordedScan scan = Recorded({}, truth);
  const InstrumentModel found = Estimated(scan);
  const double asked = static_cast<double>(scan.exchange.samples.size()) / 3.0;
  const double sigma = std::sqrt(truth.share * (1.0 - truth.share) / asked);
  EXPECT_NEAR(found.errors.bursts.share, truth.share, kSigmas * sigma);
  EXPECT_NEAR(found.errors.bursts.length, truth.length,
              kSigmas * std::sqrt(truth.share / (asked * truth.share)));
}

TEST_P(RecordedNoiseTest, SamplesLostInBurstsAreFound) {
  sim::BurstsSpec truth;
  truth.share = 0.05;
  truth.length = 8.0;
  const RecordedScan scan = Recorded({}, truth);
  const InstrumentModel found = Estimated(scan);
  // Only bursts are independent of each other, and their lengths are spread as much as they are
  // long: twice the variance of a number of bursts.
  const double asked = static_cast<double>(scan.exchange.samples.size()) / 3.0;
  const double bursts = asked * truth.share / truth.length;
  EXPECT_NEAR(found.errors.bursts.share / truth.share, 1.0, kSigmas * std::sqrt(2.0 / bursts));
  EXPECT_NEAR(std::log(found.errors.bursts.length / truth.length), 0.0,
              kSigmas / std::sqrt(bursts));
}

TEST_P(RecordedNoiseTest, StraySamplesAreFoundAndSpoilNoOtherNumber) {
  sim::Noise truth;
  truth.stray = 0.02;
  truth.stray_span = 0.03;
  const RecordedScan scan = Recorded(truth);
  const InstrumentModel found = Estimated(scan);
  const double judged = static_cast<double>(scan.exchange.samples.size()) / 3.0;
  EXPECT_NEAR(found.noise.stray, truth.stray, kSigmas * std::sqrt(truth.stray / judged));
  if (judged > 1000.0) {
    EXPECT_NEAR(found.noise.stray_span / truth.stray_span, 1.0,
                kSigmas * 0.45 / std::sqrt(judged * truth.stray));
  }
  EXPECT_NEAR(std::log(RangeSigma(found.noise) / RangeSigma(truth)), 0.0,
              RangeTolerance(scan, truth));
}

TEST_P(RecordedNoiseTest, NoSampleIsMissedThatCame) {
  const RecordedScan scan = Recorded({});
  const InstrumentModel found = Estimated(scan);
  EXPECT_EQ(found.errors.bursts.share, 0.0);
  EXPECT_LE(found.noise.stray, 0.003);
}

INSTANTIATE_TEST_SUITE_P(
    Stands, RecordedNoiseTest,
    testing::Values(Stand{"hole", 1, 0}, Stand{"hole", 3, 0}, Stand{"hole", 5, 0},
                    Stand{"hole", 1, 45}, Stand{"hole", 3, 45}, Stand{"hole", 5, 45},
                    Stand{"rectangle", 1, 0}, Stand{"rectangle", 3, 0}, Stand{"rectangle", 5, 0},
                    Stand{"rectangle", 1, 45}, Stand{"rectangle", 3, 45}, Stand{"rectangle", 5, 45},
                    Stand{"face", 1, 0}, Stand{"face", 3, 0}, Stand{"face", 5, 0},
                    Stand{"face", 1, 45}, Stand{"face", 3, 45}, Stand{"face", 5, 45},
                    Stand{"ball", 1, 0}, Stand{"ball", 3, 0}, Stand{"ball", 5, 0},
                    Stand{"stud", 1, 45}, Stand{"stud", 3, 45}, Stand{"stud", 5, 45}));

// ---- footprint

/// The mean of the logarithm over several recordings, and the farthest of them from the truth.
struct Footprints {
  double mean = 0.0;
  double farthest = 0.0;
};

constexpr int kRecordings = 8;

Footprints FoundFootprints(const Subject& subject, const sim::Scene& twin, double factor) {
  const sim::Noise truth = FootprintTimes(factor);
  Footprints found;
  for (std::uint64_t seed = 1; seed <= kRecordings; ++seed) {
    const InstrumentModel model = Record(subject, truth, {}, seed).Estimate(twin);
    const double off = std::log(model.noise.footprint / truth.footprint);
    found.mean += off / kRecordings;
    found.farthest = std::max(found.farthest, std::fabs(off));
  }
  return found;
}

class FootprintTest : public testing::TestWithParam<std::tuple<Stand, double>> {};

TEST_P(FootprintTest, IsFoundWhereTheLinesCrossEnoughOfTheEdge) {
  const auto& [stand, factor] = GetParam();
  const Subject subject = SubjectOf(stand.type, stand.distance, stand.incidence * sim::kPi / 180.0);
  const Footprints found = FoundFootprints(subject, subject.scene, factor);
  // An edge passes through the beam for one to five samples. Where they happen to lie and the noise
  // of their quality leave the width of one recording open to this sigma of its logarithm; of a
  // slanted opening the wall is seen at half of the edges, and those are of no use.
  const double sigma = stand.incidence > 0.0 ? 0.25 : 0.15;
  EXPECT_LT(std::fabs(found.mean), kSigmas * sigma / std::sqrt(kRecordings));
  EXPECT_LT(found.farthest, kSigmas * sigma);
}

INSTANTIATE_TEST_SUITE_P(
    Edges, FootprintTest,
    testing::Combine(testing::Values(Stand{"hole", 3, 0}, Stand{"hole", 5, 0}, Stand{"hole", 5, 45},
                                     Stand{"rectangle", 3, 0}, Stand{"rectangle", 5, 0},
                                     Stand{"stud", 5, 45}),
                     testing::Values(0.6, 1.0, 1.6)));

TEST(FootprintTest, OfAHoleFarOffIsFoundToATenth) {
  // At 5 m the beam is 0.4 mm wide and the samples lie 0.1 mm apart: 200 samples at edges.
  const Subject subject = SubjectOf("hole", 5.0, 0.0);
  for (const double factor : {0.6, 1.0, 1.6}) {
    const Footprints found = FoundFootprints(subject, subject.scene, factor);
    EXPECT_LT(std::fabs(found.mean), 0.05) << factor;
    EXPECT_LT(found.farthest, 0.2) << factor;
  }
}

TEST(FootprintTest, DoesNotMindATwinThatIsOffByItsMeasurement) {
  const Subject subject = SubjectOf("hole", 5.0, 0.0);
  sim::Scene twin = subject.scene;
  twin.part = sim::parts::MakeOpeningPlate(sim::parts::RoundOpening(0.00602));
  twin.pose.position += sim::Vec3(2e-5, -1e-5, 1e-5);
  for (const double factor : {0.6, 1.6}) {
    const Footprints found = FoundFootprints(subject, twin, factor);
    EXPECT_LT(std::fabs(found.mean), 0.1) << factor;
    EXPECT_LT(found.farthest, 0.25) << factor;
  }
}

TEST(FootprintTest, IsTheModelsWhereThereIsNoEdge) {
  for (const std::string type : {"face", "ball"}) {
    const Subject subject = SubjectOf(type, 3.0, 0.0);
    const InstrumentModel found =
        Record(subject, FootprintTimes(1.6), {}, 1).Estimate(subject.scene);
    EXPECT_EQ(found.noise.footprint, sim::Noise().footprint) << type;
  }
}

TEST(FootprintTest, IsTheModelsWhereTheTwinIsNotWhatWasScanned) {
  // A wall close behind the plate that the twin knows nothing of.
  const Subject subject = SubjectOf("hole", 3.0, 0.0, 0.015);
  sim::Scene twin = subject.scene;
  twin.behind.reset();
  const InstrumentModel found = Record(subject, {}, {}, 1).Estimate(twin);
  EXPECT_EQ(found.noise.footprint, sim::Noise().footprint);
}

}  // namespace
}  // namespace libmfx::test
