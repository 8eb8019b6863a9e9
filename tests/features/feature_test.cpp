#include "libmfx/features/feature.h"

#include <gtest/gtest.h>

#include <limits>
#include <numbers>

#include "feature_probe.h"
#include "libmfx/features/hole.h"
#include "paths.h"
#include "protected.h"

namespace libmfx::features {
namespace {

using test::FeatureProbe;
using test::LogCollector;
using test::PointsOf;
using test::QueueOf;
using Texts = std::vector<std::wstring>;

constexpr double kPi = std::numbers::pi;
const std::vector<RawDataPoint> kOne{{0.1, 0.2, 3.0, 60.0, 1}};
const std::vector<RawDataPoint> kTwo{{0.1, 0.2, 3.0, 60.0, 1}, {0.2, 0.2, 3.0, 60.0, 1}};

TEST(Feature, Defaults) {
  FeatureProbe probe;
  EXPECT_EQ(probe.GetDriveStep(), INITIAL);
  EXPECT_FALSE(probe.GetIsSuccessful());
  EXPECT_EQ(probe.GetError(), "");
  EXPECT_EQ(probe.GetUuid(), "");
  EXPECT_EQ(probe.QualityThreshold(), 0.0);
  EXPECT_TRUE(probe.GetHighSpeedAllowed());
  EXPECT_FALSE(probe.OutputDataBySegment());
  EXPECT_EQ(PROTECTED(probe, _rescan_threshold), std::numeric_limits<double>::max());
  EXPECT_EQ(probe.GetResult(), "<<Automated result string generation coming soon...>>");
  EXPECT_TRUE(probe.GetLastDrivePoints().empty());
}

TEST(Feature, DrivePointsAreGeneratedOnceUnlessForced) {
  FeatureProbe probe;
  EXPECT_EQ(PointsOf(probe.GetDrivePoints(false)), PointsOf(probe.GetDrivePoints(false)));
  EXPECT_EQ(probe.generated, 1);
  EXPECT_EQ(probe.GetDrivePoints(true).front().azimuth, 2.0);
  EXPECT_EQ(probe.GetLastDrivePoints().front().azimuth, 2.0);
}

TEST(Feature, BaseSetRawDataStoresAlsoWhenAnErrorIsSet) {
  FeatureProbe probe;
  PROTECTED(probe, SetError)("broken");
  std::queue<Position> next;
  EXPECT_TRUE(probe.SetRawData(kOne, next));
  EXPECT_TRUE(probe.SetRawData(kTwo, next));
  EXPECT_EQ(probe.GetRawData(), kTwo);
  EXPECT_TRUE(next.empty());
  EXPECT_EQ(probe.GetDriveStep(), INITIAL);
}

TEST(Feature, StagedSetRawDataOpensAPassWithoutSamples) {
  FeatureProbe probe;
  probe.staged = true;
  std::queue<Position> next;
  EXPECT_FALSE(probe.SetRawData({}, next));
  EXPECT_EQ(next.size(), 1U);
  EXPECT_EQ(probe.GetDriveStep(), FEATURE_SCAN_PATTERN);
  EXPECT_TRUE(probe.SetRawData(kOne, next));
  EXPECT_EQ(probe.GetDriveStep(), INITIAL);
  EXPECT_EQ(probe.GetRawData(), kOne);
}

TEST(Feature, StagedSetRawDataKeepsHeldDataWhileUpdateReplacesIt) {
  FeatureProbe probe;
  probe.staged = true;
  std::queue<Position> next;
  EXPECT_TRUE(probe.SetRawData(kOne, next));
  EXPECT_TRUE(probe.SetRawData(kTwo, next));
  EXPECT_EQ(probe.GetRawData(), kOne);
  probe.UpdateRawData(kTwo);
  EXPECT_EQ(probe.GetRawData(), kTwo);
}

TEST(Feature, StagedSetRawDataDropsSamplesWhenAnErrorIsSet) {
  FeatureProbe probe;
  probe.staged = true;
  PROTECTED(probe, SetError)("broken");
  std::queue<Position> next;
  EXPECT_TRUE(probe.SetRawData(kOne, next));
  EXPECT_TRUE(probe.GetRawData().empty());
}

TEST(Feature, StagedSetRawDataTakesNoSamplesInOtherSteps) {
  FeatureProbe probe;
  probe.staged = true;
  for (const DRIVE_STEP step : {SURFACE_RANGE, FEATURE_SCAN_PATTERN, RESCAN}) {
    PROTECTED(probe, _drive_step) = step;
    std::queue<Position> next;
    EXPECT_TRUE(probe.SetRawData({}, next));
    EXPECT_EQ(probe.GetDriveStep(), INITIAL);
    EXPECT_TRUE(next.empty());
  }
}

TEST(Feature, SearchSamplesMoveTheNominalAndAreNotStored) {
  FeatureProbe probe;
  probe.staged = true;
  PROTECTED(probe, _search_enabled) = true;
  EXPECT_TRUE(probe.Reset(false, true));
  probe.GetDrivePoints(true);
  EXPECT_EQ(probe.GetDriveStep(), SEARCH);
  EXPECT_TRUE(probe.GetLastDrivePoints().empty());
  std::queue<Position> next;
  EXPECT_FALSE(probe.SetRawData(kTwo, next));
  EXPECT_EQ(probe.search_samples, kTwo);
  EXPECT_TRUE(probe.GetRawData().empty());
  EXPECT_EQ(next.size(), 1U);
  EXPECT_EQ(probe.GetDriveStep(), FEATURE_SCAN_PATTERN);
  EXPECT_EQ(probe.GetLastDrivePoints().size(), 1U);
}

TEST(Feature, SearchThatLeavesInvalidNominalsHandsOutNothing) {
  FeatureProbe probe;
  probe.staged = true;
  PROTECTED(probe, _drive_step) = SEARCH;
  PROTECTED(probe, _nominals_valid) = false;
  std::queue<Position> next;
  EXPECT_TRUE(probe.SetRawData({}, next));
  EXPECT_TRUE(next.empty());
  EXPECT_EQ(probe.GetDriveStep(), FEATURE_SCAN_PATTERN);
}

TEST(Feature, ResetWithoutSearchEnabledRetries) {
  FeatureProbe probe;
  probe.UpdateRawData(kOne);
  PROTECTED(probe, SetError)("broken");
  probe.AnalyzeFeature();
  const LogCollector collector;
  EXPECT_FALSE(probe.Reset(false, true));
  EXPECT_EQ(collector.Texts(),
            (Texts{L"Restart! Retrying from same nominal..", L"Nominals are valid."}));
  EXPECT_TRUE(probe.GetRawData().empty());
  EXPECT_EQ(probe.GetError(), "");
  EXPECT_FALSE(probe.GetIsSuccessful());
  EXPECT_EQ(probe.resets, 1);
}

TEST(Feature, APendingRescanBeatsASearch) {
  FeatureProbe probe;
  PROTECTED(probe, _search_enabled) = true;
  PROTECTED(probe, _drive_step) = RESCAN;
  const LogCollector collector;
  EXPECT_FALSE(probe.Reset(false, true));
  EXPECT_FALSE(PROTECTED(probe, _search));
  EXPECT_EQ(probe.GetDriveStep(), INITIAL);
  EXPECT_EQ(collector.Texts(),
            (Texts{L"Restart! Rescanning from updated nominal..", L"Nominals are valid."}));
}

TEST(Feature, ResetWithoutTheSearchArgumentSaysSearchingAndDoesNot) {
  FeatureProbe probe;
  PROTECTED(probe, _search_enabled) = true;
  const LogCollector collector;
  EXPECT_FALSE(probe.Reset(false, false));
  EXPECT_EQ(collector.Texts(), (Texts{L"Searching!", L"Nominals are valid."}));
  EXPECT_TRUE(probe.Reset(false, true));
}

TEST(Feature, ReanalyseIgnoresTheSecondArgument) {
  FeatureProbe probe;
  PROTECTED(probe, _search_enabled) = true;
  PROTECTED(probe, _drive_step) = FEATURE_SCAN_PATTERN;
  probe.UpdateRawData(kOne);
  const LogCollector collector;
  EXPECT_FALSE(probe.Reset(true, true));
  EXPECT_EQ(collector.Texts(), (Texts{L"Re-analyze!", L"Nominals are valid."}));
  EXPECT_EQ(probe.GetRawData(), kOne);
  EXPECT_EQ(probe.GetDriveStep(), FEATURE_SCAN_PATTERN);
  EXPECT_EQ(probe.resets, 0);
  PROTECTED(probe, _search) = true;
  EXPECT_TRUE(probe.Reset(true, false));
}

TEST(Feature, ResetOfInvalidNominals) {
  FeatureProbe probe;
  PROTECTED(probe, _nominals_valid) = false;
  PROTECTED(probe, SetError)("bad request");
  const LogCollector collector;
  EXPECT_FALSE(probe.Reset(false, false));
  EXPECT_EQ(collector.Texts().back(), L"Invalid nominals!");
  EXPECT_EQ(probe.GetError(), "");
  EXPECT_EQ(probe.GetDriveStep(), INITIAL);
}

TEST(Feature, ResetTracesItsHeadWithoutALineEnd) {
  FeatureProbe probe;
  testing::internal::CaptureStdout();
  probe.Reset(true, false);
  probe.Reset(false, false);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "FeatureReset(true): FeatureReset(false): ");
}

TEST(Feature, ErrorsAreLoggedAtLevelThree) {
  FeatureProbe probe;
  const LogCollector collector;
  PROTECTED(probe, SetError)("broken");
  ASSERT_FALSE(collector.Lines().empty());
  EXPECT_EQ(collector.Lines().front(), (test::LogLine{L"Probe", 3, L"broken\n"}));
  EXPECT_EQ(probe.GetError(), "broken");
  PROTECTED(probe, SetError)("");
  EXPECT_EQ(probe.GetError(), "");
  EXPECT_EQ(collector.Texts().size(), 1U);
}

TEST(Feature, RescanFiresStrictlyAboveTheThreshold) {
  FeatureProbe probe;
  PROTECTED(probe, _rescan_threshold) = 0.5;
  EXPECT_FALSE(PROTECTED(probe, TriggerRescan)(0.5));
  EXPECT_EQ(probe.GetDriveStep(), INITIAL);
  testing::internal::CaptureStdout();
  EXPECT_TRUE(PROTECTED(probe, TriggerRescan)(0.75));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Rescan triggered! 0.75> 0.5\n");
  EXPECT_EQ(probe.GetDriveStep(), RESCAN);
}

TEST(Feature, ACopyLogsUnderItsSource) {
  FeatureProbe source;
  FeatureProbe copy(source);
  const LogCollector collector;
  PROTECTED(copy, SetError)("from the copy");
  EXPECT_EQ(collector.Lines().front().name, L"Probe");
}

struct NamedProbe : FeatureProbe {
  const std::string& FeatureName() override {
    static const std::string name = "Named";
    return name;
  }
};

std::wstring NameOfLineFrom(FeatureProbe& probe) {
  const LogCollector collector;
  PROTECTED(probe, SetError)("line");
  return LogCollector::Lines().back().name;  // the one before ends first
}

TEST(Feature, ACopyLogsUnderItsSourceWhileThatExistsAndUnderItselfAfterwards) {
  auto source = std::make_unique<NamedProbe>();
  FeatureProbe copy(*source);
  FeatureProbe assigned;
  assigned = *source;
  FeatureProbe copy_of_copy(copy);
  EXPECT_EQ(NameOfLineFrom(copy), L"Named");
  EXPECT_EQ(NameOfLineFrom(assigned), L"Named");
  EXPECT_EQ(NameOfLineFrom(copy_of_copy), L"Named");
  source.reset();
  EXPECT_EQ(NameOfLineFrom(copy), L"Probe");
  EXPECT_EQ(NameOfLineFrom(assigned), L"Probe");
  EXPECT_EQ(NameOfLineFrom(copy_of_copy), L"Probe");
  const FeatureProbe late(copy);
  EXPECT_EQ(NameOfLineFrom(copy), L"Probe");
}

TEST(Feature, AVectorOfFeaturesGrows) {
  std::vector<Hole> holes;
  for (int i = 0; i < 3; ++i) holes.emplace_back();
  const LogCollector collector;
  holes[0].Reset(false, false);
  EXPECT_EQ(LogCollector::Lines().front().name, L"RobustHole");
}

TEST(Feature, WarningsBelongToTheLastAnalysis) {
  FeatureProbe probe;
  EXPECT_TRUE(probe.GetWarnings().empty());
  probe.doubts = {"one", "two"};
  const LogCollector collector;
  probe.AnalyzeFeature();
  EXPECT_TRUE(probe.GetIsSuccessful());
  EXPECT_EQ(probe.GetWarnings(), (std::vector<std::string>{"one", "two"}));
  EXPECT_EQ(LogCollector::Texts(), (Texts{L"one", L"two"}));
  EXPECT_EQ(LogCollector::Lines().front().level, 2);
  probe.AnalyzeFeature();
  EXPECT_EQ(probe.GetWarnings().size(), 2U) << "the second analysis begins without the first's";
  EXPECT_EQ(FeatureProbe(probe).GetWarnings().size(), 2U);
  probe.Reset(true, false);
  EXPECT_TRUE(probe.GetWarnings().empty());
  probe.AnalyzeFeature();
  probe.Reset(false, false);
  EXPECT_TRUE(probe.GetWarnings().empty());
}

TEST(Constrain, HalfTurn) {
  FeatureProbe probe;
  EXPECT_EQ(PROTECTED(probe, Constrain180)(-kPi), kPi);
  EXPECT_EQ(PROTECTED(probe, Constrain180)(kPi), kPi);
  EXPECT_EQ(PROTECTED(probe, Constrain180)(4.0), 4.0 - 2 * kPi);
  EXPECT_EQ(PROTECTED(probe, Constrain180)(0.5), 0.5);
  // At most one turn.
  EXPECT_EQ(PROTECTED(probe, Constrain180)(10.0), 10.0 - 2 * kPi);
}

TEST(Constrain, FullTurn) {
  FeatureProbe probe;
  EXPECT_EQ(PROTECTED(probe, Constrain360)(7.0), 7.0);
  EXPECT_EQ(PROTECTED(probe, Constrain360)(-1.0), -1.0 + 2 * kPi);
  EXPECT_EQ(PROTECTED(probe, Constrain360)(0.0), 0.0);
}

std::vector<double> UnwrappedAzimuths(std::vector<double> azimuths, int direction, bool flip) {
  FeatureProbe probe;
  std::queue<Position> queue;
  for (const double az : azimuths) queue.emplace(az, 0.1, 2.0, 0.001);
  std::vector<double> result;
  for (const Position& p : PointsOf(PROTECTED(probe, UnwrapDrivePoints)(queue, direction, flip))) {
    EXPECT_EQ(p.range, 2.0);
    EXPECT_EQ(p.point_spacing, 0.001);
    result.push_back(p.azimuth);
  }
  EXPECT_TRUE(queue.empty());
  return result;
}

TEST(Unwrap, EmptyAndSinglePoint) {
  FeatureProbe probe;
  std::queue<Position> empty;
  EXPECT_TRUE(PROTECTED(probe, UnwrapDrivePoints)(empty, 0, true).empty());
  EXPECT_EQ(UnwrappedAzimuths({-3.1}, 1, false), (std::vector<double>{-3.1}));
}

TEST(Unwrap, PathAwayFromTheSeamIsUntouched) {
  EXPECT_EQ(UnwrappedAzimuths({-1.0, 0.0, 1.0}, -1, false), (std::vector<double>{-1.0, 0.0, 1.0}));
}

TEST(Unwrap, DirectionRaisesTheOtherSign) {
  EXPECT_EQ(UnwrappedAzimuths({3.0, -3.0}, 1, false), (std::vector<double>{3.0, -3.0 + 2 * kPi}));
  EXPECT_EQ(UnwrappedAzimuths({3.0, -3.0}, -1, false), (std::vector<double>{3.0 - 2 * kPi, -3.0}));
}

TEST(Unwrap, DirectionZeroFollowsTheFirstAzimuth) {
  EXPECT_EQ(UnwrappedAzimuths({3.0, -3.0, -3.0}, 0, false),
            (std::vector<double>{3.0, -3.0 + 2 * kPi, -3.0 + 2 * kPi}));
  EXPECT_EQ(UnwrappedAzimuths({-3.0, 3.0, 3.0}, 0, false),
            (std::vector<double>{-3.0, 3.0 - 2 * kPi, 3.0 - 2 * kPi}));
}

TEST(Unwrap, AzimuthZeroOnASeamPathIsMovedByATurn) {
  EXPECT_EQ(UnwrappedAzimuths({3.0, -3.0, 0.0}, 1, false),
            (std::vector<double>{3.0, -3.0 + 2 * kPi, 2 * kPi}));
}

TEST(Unwrap, SeamOnceSeenStaysSeen) {
  EXPECT_EQ(UnwrappedAzimuths({3.0, -3.0, -1.0, -0.5}, 1, false),
            (std::vector<double>{3.0, -3.0 + 2 * kPi, -1.0 + 2 * kPi, -0.5 + 2 * kPi}));
}

TEST(Unwrap, PointsInBothRearBandsAreFlippedOverTheTop) {
  FeatureProbe probe;
  auto queue = QueueOf({{3.0, 0.1, 2.0, 0.0}, {-3.0, 0.2, 2.0, 0.5}, {0.0, 0.3, 2.0, 0.5}});
  const auto points = PointsOf(PROTECTED(probe, UnwrapDrivePoints)(queue, 0, true));
  EXPECT_EQ(points[0], Position(3.0 - kPi, -0.1 - kPi, 2.0, 0.0));
  EXPECT_EQ(points[1], Position(-3.0 + kPi, -0.2 - kPi, 2.0, 0.5));
  EXPECT_EQ(points[2], Position(kPi, -0.3 - kPi, 2.0, 0.5));
}

TEST(Unwrap, BandsEndFiveDegreesShortOfTheSeam) {
  constexpr double kBandEnd = 3.0543261909900767;
  // On the end of a band is outside of it: no flip, the seam is unwrapped instead.
  EXPECT_EQ(UnwrappedAzimuths({kBandEnd, -3.0}, 1, true),
            (std::vector<double>{kBandEnd, -3.0 + 2 * kPi}));
  EXPECT_EQ(UnwrappedAzimuths({kPi / 2, -3.0}, 1, true),
            (std::vector<double>{kPi / 2, -3.0 + 2 * kPi}));
  EXPECT_EQ(UnwrappedAzimuths({3.0, -kPi / 2 - 0.1}, 1, true),
            (std::vector<double>{3.0 - kPi, -kPi / 2 - 0.1 + kPi}));
}

}  // namespace
}  // namespace libmfx::features
