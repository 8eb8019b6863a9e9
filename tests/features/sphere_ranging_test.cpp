// How SetRawData leads from the ranging stroke to the samples of the pattern.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

#include "ball_scene.h"
#include "paths.h"
#include "protected.h"

namespace libmfx::features {
namespace {

using test::PlaceOf;
using test::PointsOf;

const PointXYZW kNominal(0.4, 0.3, 2.5);

SphereFit At(const PointXYZW& nominal, double radius = 0.0127) {
  SphereFit s;
  s.SetSetting<PointXYZW>(L"NominalPoint", nominal);
  s.SetSetting<double>(L"NominalRadius", radius);
  return s;
}

/// A feature whose ranging stroke is out.
SphereFit Ranging(const PointXYZW& nominal = kNominal, double radius = 0.0127) {
  SphereFit s = At(nominal, radius);
  s.GetDrivePoints(false);
  EXPECT_EQ(s.GetDriveStep(), SURFACE_RANGE);
  return s;
}

/// A sample that lies off the direction of the nominal by angles in radians.
RawDataPoint Off(double azimuth, double elevation, double range, double quality = 80.0) {
  const AzElRange aer(kNominal);
  return {aer.azimuth + azimuth, aer.elevation + elevation, range, quality, 1};
}

TEST(SphereSetRawData, HeldSamplesAreKeptWhateverComes) {
  for (const DRIVE_STEP step : {INITIAL, SURFACE_RANGE, FEATURE_SCAN_PATTERN, SEARCH, RESCAN}) {
    SphereFit s = At(kNominal);
    PROTECTED(s, _raw_data) = {Off(0, 0, 2.0)};
    PROTECTED(s, _drive_step) = step;
    for (const std::vector<RawDataPoint>& samples :
         {std::vector<RawDataPoint>{}, std::vector<RawDataPoint>{Off(0, 0, 3.0)}}) {
      std::queue<Position> next;
      next.emplace(1.0, 2.0, 3.0, 4.0);
      EXPECT_TRUE(s.SetRawData(samples, next));
      EXPECT_EQ(next.size(), 1u);
      EXPECT_EQ(s.GetDriveStep(), step);
      EXPECT_EQ(s.GetRawData(), (std::vector<RawDataPoint>{Off(0, 0, 2.0)}));
    }
  }
}

TEST(SphereSetRawData, InitialHandsOutTheStrokeWithAndWithoutSamples) {
  for (const std::vector<RawDataPoint>& samples :
       {std::vector<RawDataPoint>{}, std::vector<RawDataPoint>{Off(0, 0, 3.0)}}) {
    SphereFit s = At(kNominal);
    std::queue<Position> next;
    EXPECT_FALSE(s.SetRawData(samples, next));
    EXPECT_EQ(next.size(), 2u);
    EXPECT_EQ(s.GetDriveStep(), SURFACE_RANGE);
    EXPECT_TRUE(s.GetRawData().empty());
  }
}

TEST(SphereSetRawData, AStrokeWithoutSamplesEntersThePatternStepWithNothingToDrive) {
  SphereFit s = Ranging();
  std::queue<Position> next;
  next.emplace(1.0, 2.0, 3.0, 4.0);
  testing::internal::CaptureStdout();
  EXPECT_FALSE(s.SetRawData({}, next));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Surface Measurement returned 0 points.\n");
  EXPECT_TRUE(next.empty());
  EXPECT_EQ(s.GetDriveStep(), FEATURE_SCAN_PATTERN);
  EXPECT_EQ(s.GetError(), "");
}

TEST(SphereSetRawData, AStrokeWithSamplesHandsOutThePattern) {
  SphereFit s = Ranging();
  std::queue<Position> next;
  EXPECT_FALSE(s.SetRawData({Off(0, 0, 2.55)}, next));
  EXPECT_EQ(next.size(), 18u);
  EXPECT_EQ(PointsOf(next), PointsOf(s.GetLastDrivePoints()));
  EXPECT_EQ(s.GetDriveStep(), FEATURE_SCAN_PATTERN);
  EXPECT_TRUE(s.GetRawData().empty());

  SphereFit w = Ranging();
  w.SetSetting<bool>(L"StarScanPattern", false);
  EXPECT_FALSE(w.SetRawData({Off(0, 0, 2.55)}, next));
  EXPECT_EQ(next.size(), 10u);
}

TEST(SphereSetRawData, LaterStepsStoreSamplesAndStartAgainWithoutAny) {
  for (const DRIVE_STEP step : {FEATURE_SCAN_PATTERN, SEARCH, RESCAN}) {
    SphereFit s = At(kNominal);
    PROTECTED(s, _drive_step) = step;
    std::queue<Position> next;
    EXPECT_FALSE(s.SetRawData({}, next));
    EXPECT_EQ(next.size(), 2u);
    EXPECT_EQ(s.GetDriveStep(), SURFACE_RANGE);

    PROTECTED(s, _drive_step) = step;
    next = {};
    EXPECT_TRUE(s.SetRawData({Off(0, 0, 2.0), Off(0, 0, 3.0)}, next));
    EXPECT_TRUE(next.empty());
    EXPECT_EQ(s.GetRawData().size(), 2u);
    EXPECT_EQ(s.GetDriveStep(), step);
  }
}

TEST(SphereSetRawData, TheRangeIsThatOfTheSampleNearestInDirectionAndTheFirstOfEquals) {
  SphereFit s = Ranging();
  std::queue<Position> next;
  s.SetRawData({Off(0.002, 0, 2.1), Off(0, -0.001, 2.2), Off(0, 0.001, 2.3), Off(0.003, 0, 2.4)},
               next);
  const AzElRange before(kNominal);
  const AzElRange after(s.GetSetting<PointXYZW>(L"NominalPoint"));
  EXPECT_NEAR(after.range, 2.2, 1e-14);
  EXPECT_NEAR(after.azimuth, before.azimuth, 1e-15) << "only the distance changes";
  EXPECT_NEAR(after.elevation, before.elevation, 1e-15);
}

TEST(SphereSetRawData, QualityPlaysNoPartInTheChoiceOfTheRange) {
  SphereFit s = Ranging();
  std::queue<Position> next;
  s.SetRawData({Off(0.001, 0, 2.1, 90.0), Off(0, 0, 2.2, -5.0)}, next);
  EXPECT_NEAR(AzElRange(s.GetSetting<PointXYZW>(L"NominalPoint")).range, 2.2, 1e-14);
}

TEST(SphereSetRawData, AnglesAreComparedWithoutATurn) {
  // A turn away is far away, though it is the same direction.
  SphereFit s = Ranging();
  std::queue<Position> next;
  s.SetRawData({Off(2 * std::numbers::pi, 0, 2.1), Off(1.0, 0, 2.2)}, next);
  EXPECT_NEAR(AzElRange(s.GetSetting<PointXYZW>(L"NominalPoint")).range, 2.2, 1e-14);
}

TEST(SphereSetRawData, SamplesThatAreNotFiniteAreNoSamples) {
  const double nan = std::nan("");
  const double infinity = std::numeric_limits<double>::infinity();
  const std::vector<RawDataPoint> lost = {Off(nan, 0, 2.0), Off(0, infinity, 2.0), Off(0, 0, nan),
                                          Off(0, 0, infinity)};
  SphereFit s = Ranging();
  std::queue<Position> next;
  std::vector<RawDataPoint> some = lost;
  some.push_back(Off(0.01, 0.01, 2.3));
  EXPECT_FALSE(s.SetRawData(some, next));
  EXPECT_NEAR(AzElRange(s.GetSetting<PointXYZW>(L"NominalPoint")).range, 2.3, 1e-14);
  EXPECT_EQ(next.size(), 18u);

  SphereFit none = Ranging();
  EXPECT_FALSE(none.SetRawData(lost, next));
  EXPECT_TRUE(next.empty());
  EXPECT_EQ(none.GetDriveStep(), FEATURE_SCAN_PATTERN);
  EXPECT_EQ(none.GetSetting<PointXYZW>(L"NominalPoint"), kNominal);
}

TEST(SphereSetRawData, ARangeThatIsNotPositiveIsALostReturn) {
  for (const double range : {0.0, -1.0}) {
    SphereFit s = Ranging();
    std::queue<Position> next;
    EXPECT_FALSE(s.SetRawData({Off(0, 0, range), Off(0.001, 0, 2.4), Off(0, 0, range)}, next));
    EXPECT_NEAR(AzElRange(s.GetSetting<PointXYZW>(L"NominalPoint")).range, 2.4, 1e-14);
    SphereFit none = Ranging();
    EXPECT_FALSE(none.SetRawData({Off(0, 0, range)}, next));
    EXPECT_TRUE(next.empty());
    EXPECT_EQ(none.GetSetting<PointXYZW>(L"NominalPoint"), kNominal);
  }
}

TEST(SphereSetRawData, AnEmptyBoxIsAnError) {
  for (const double radius : {0.0, -0.01, std::nan("")}) {
    SphereFit s = Ranging(kNominal, radius);
    std::queue<Position> next;
    next.emplace(1.0, 2.0, 3.0, 4.0);
    EXPECT_TRUE(s.SetRawData({Off(0, 0, 2.2)}, next));
    EXPECT_EQ(s.GetError(), "Box scan dimension less than or equal to 0");
    EXPECT_EQ(s.GetDriveStep(), SURFACE_RANGE);
    EXPECT_EQ(next.size(), 1u);
    EXPECT_NEAR(AzElRange(s.GetSetting<PointXYZW>(L"NominalPoint")).range, 2.2, 1e-14);
    s.AnalyzeFeature();
    EXPECT_EQ(s.GetError(), "Box scan dimension less than or equal to 0");
  }
}

TEST(SphereSetRawData, ARequestWithoutARadiusScansNothing) {
  SphereFit s(std::string(R"({"Feature":{"Location":[0,0,2]}})"));
  std::queue<Position> next = s.GetDrivePoints(false);
  EXPECT_EQ(next.size(), 2u);
  EXPECT_TRUE(s.SetRawData({{0, 0, 2, 80, 1}}, next));
  EXPECT_EQ(s.GetError(), "Box scan dimension less than or equal to 0");
}

TEST(SphereSetRawData, APlanThatIsRefusedLeavesNothingToDrive) {
  SphereFit s = Ranging();
  s.SetSetting<int>(L"ScanLines", 2'000'000'000);
  std::queue<Position> next;
  EXPECT_TRUE(s.SetRawData({Off(0, 0, 2.2)}, next));
  EXPECT_TRUE(next.empty());
  EXPECT_NE(s.GetError().find("ScanLines asks for a plan of"), std::string::npos);

  SphereFit giant = Ranging(kNominal, 1e300);
  EXPECT_TRUE(giant.SetRawData({Off(0, 0, 2.2)}, next));
  EXPECT_NE(giant.GetError().find("not finite"), std::string::npos);
}

TEST(SphereSetRawData, AcrossTheSeamThePatternStaysInOneBranch) {
  for (const double side : {-1.0, 1.0}) {
    const PointXYZW behind(-side * 1e-4, 0.2, -2.0);
    SphereFit s = Ranging(behind);
    const AzElRange aer(behind);
    std::queue<Position> next;
    EXPECT_FALSE(s.SetRawData({{aer.azimuth, aer.elevation, 2.0, 80, 1}}, next));
    ASSERT_EQ(next.size(), 18u);
    double low = 10.0, high = -10.0;
    for (const Position& p : PointsOf(next)) {
      low = std::min(low, p.azimuth);
      high = std::max(high, p.azimuth);
    }
    EXPECT_LT(high - low, 0.02);
    EXPECT_GT(side * low, 3.0);
    EXPECT_GT(std::max(std::abs(low), std::abs(high)), std::numbers::pi) << "it does cross";
  }
}

TEST(SphereSetRawData, ThePatternLiesAroundTheMovedNominal) {
  SphereFit s = Ranging();
  std::queue<Position> next;
  s.SetRawData({Off(0, 0, 2.2)}, next);
  Eigen::Vector3d sum = Eigen::Vector3d::Zero();
  for (const Position& p : PointsOf(next)) sum += PlaceOf(p).xyz();
  EXPECT_LT((sum / 18 - s.GetSetting<PointXYZW>(L"NominalPoint").xyz()).norm(), 1e-14);
  const double box = 2 * 0.0127 * 0.75;
  EXPECT_NEAR(Distance(PlaceOf(next.front()), s.GetSetting<PointXYZW>(L"NominalPoint")), box / 2,
              1e-14);
}

}  // namespace
}  // namespace libmfx::features
