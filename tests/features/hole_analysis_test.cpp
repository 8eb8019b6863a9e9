#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

#include "feature_probe.h"
#include "features/shared/segments.h"
#include "ideal_hole.h"
#include "protected.h"

namespace libmfx::features {
namespace {

using nlohmann::json;
using namespace test;

using Samples = std::vector<RawDataPoint>;

json TiltedRequest(double incidence, double radius = 0.008) {
  json request = HoleRequest(radius);
  request["Feature"]["Normal"] = {-std::sin(incidence), 0.0, -std::cos(incidence)};
  return request;
}

IdealHole Tilted(double incidence, IdealHole hole = {}) {
  hole.normal = {-std::sin(incidence), 0.0, -std::cos(incidence)};
  return hole;
}

/// Samples laid by hand: `count` on each of `lines` half lines of the fast star of an 8 mm hole,
/// from 13 mm inwards, as long as `keep` says so.
template <typename Keep>
Samples HalfLines(int lines, Keep keep) {
  Samples samples;
  for (int i = 0; i < lines; ++i) {
    for (int j = 0; j < 101; ++j) {
      const double r = 0.013 - 0.0001 * j;
      const double turn = 2.0 * std::numbers::pi * i / lines;
      if (!keep(i, r)) continue;
      const AzElRange aer(PointXYZW(r * std::cos(turn), r * std::sin(turn), 2.0));
      samples.emplace_back(aer.azimuth, aer.elevation, aer.range, 80.0, 4 * i + 1);
    }
  }
  return samples;
}

Hole Analysed(const Samples& samples, const json& request = HoleRequest()) {
  Hole hole(request.dump());
  hole.UpdateRawData(samples);
  hole.AnalyzeFeature();
  return hole;
}

TEST(HoleAnalysis, FindsAnIdealHoleFacingTheInstrument) {
  for (const double radius : {0.0025, 0.004, 0.005, 0.008, 0.02}) {
    const Hole hole = Measure(HoleRequest(radius), {.radius = radius});
    ASSERT_TRUE(hole.GetIsSuccessful()) << radius << hole.GetError();
    // Each rim point lies up to a point spacing outside the rim.
    EXPECT_LT((hole.GetSetting<PointXYZW>(L"MeasuredPoint") - PointXYZW(0, 0, 2)).norm(), 5e-5)
        << radius;
    EXPECT_LT((hole.GetSetting<VectorXYZW>(L"MeasuredNormal") - VectorXYZW(0, 0, -1)).norm(), 1e-9);
    EXPECT_EQ(hole.GetSetting<double>(L"Radius"), radius) << "the nominal is repeated";
    EXPECT_GT(hole.GetSetting<double>(L"Quality"), 80.0);
  }
}

TEST(HoleAnalysis, FindsAnIdealHoleAtEveryIncidence) {
  for (const double incidence : {0.1, 0.3, 0.4, 0.6, 0.8, 1.0}) {
    for (const IdealHole& ideal :
         {IdealHole{}, IdealHole{.wall = 0.002}, IdealHole{.wall = 0.02}, IdealHole{.behind = 0.05},
          IdealHole{.wall = 0.01, .behind = 0.03}}) {
      const Hole hole = Measure(TiltedRequest(incidence), Tilted(incidence, ideal));
      ASSERT_TRUE(hole.GetIsSuccessful()) << incidence << hole.GetError();
      EXPECT_LT((hole.GetSetting<PointXYZW>(L"MeasuredPoint") - PointXYZW(0, 0, 2)).norm(), 8e-5)
          << incidence << " wall " << ideal.wall << " behind " << ideal.behind;
      EXPECT_LT(
          (hole.GetSetting<VectorXYZW>(L"MeasuredNormal").xyz() - Tilted(incidence).normal).norm(),
          2e-3);
    }
  }
}

TEST(HoleAnalysis, SamplesBelowTheThresholdFailAtOnce) {
  const Hole hole = Measure(HoleRequest(), {.quality = 49.9});
  EXPECT_FALSE(hole.GetIsSuccessful());
  EXPECT_EQ(hole.GetError(), "Hole::Analyze(): All scanned data was filtered!");
  EXPECT_EQ(PROTECTED(hole, _segments).size(), 0u);
  EXPECT_TRUE(Measure(HoleRequest(), {.quality = 50.0}).GetIsSuccessful());
  EXPECT_EQ(Analysed({}).GetError(), "Hole::Analyze(): All scanned data was filtered!");
}

TEST(HoleAnalysis, SamplesThatAreNotFiniteAreFiltered) {
  const Hole whole = Measure(HoleRequest(), {});
  Samples samples = whole.GetRawData();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (std::size_t i = 0; i < 60; ++i) {
    RawDataPoint bad = samples[i * 7];
    (i % 3 == 0 ? bad.azimuth : i % 3 == 1 ? bad.range : bad.quality) = nan;
    samples.insert(samples.begin() + static_cast<std::ptrdiff_t>(i * 7), bad);
  }
  const Hole hole = Analysed(samples);
  ASSERT_TRUE(hole.GetIsSuccessful()) << hole.GetError();
  EXPECT_EQ(hole.GetSetting<PointXYZW>(L"MeasuredPoint"),
            whole.GetSetting<PointXYZW>(L"MeasuredPoint"));
}

TEST(HoleAnalysis, AnErrorEndsTheAnalysisBeforeItBegins) {
  Hole hole(HoleRequest().dump());
  PROTECTED(hole, SetError)("stop");
  EXPECT_FALSE(PROTECTED(hole, Analyze)());
  EXPECT_EQ(hole.GetError(), "stop");
}

TEST(HoleAnalysis, JumpsAndFarSamplesAreNoSegments) {
  const Hole hole = Measure(HoleRequest(), {});
  const auto& segments = PROTECTED(hole, _segments);
  EXPECT_EQ(segments.size(), 18u);
  for (const PointCloud& segment : segments) {
    EXPECT_EQ(static_cast<int>(segment.data()(4, 0)) % 2, 1);
  }
  EXPECT_EQ(PROTECTED(hole, _segment_point_count), shared::ColumnsOf(segments));
  const Hole plain = Measure(HoleRequest(0.004), {.radius = 0.004});
  EXPECT_EQ(PROTECTED(plain, _segments).size(), 18u);
  for (const PointCloud& segment : PROTECTED(plain, _segments)) {
    EXPECT_NE(static_cast<int>(segment.data()(4, 0)) % 3, 0);
  }
  // Twice the radius and the clearance: 21 mm from the nominal centre.
  Hole far(HoleRequest().dump());
  const auto at = [](double x) {
    return RawDataPoint(AzElRange(PointXYZW(x, 0, 2)).azimuth, 0,
                        AzElRange(PointXYZW(x, 0, 2)).range, 80, 1);
  };
  PROTECTED(far, _scan_cloud) =
      PointCloud({at(0.0209), at(0.0211), at(0.01)}, EMBEDDING_XYZ, 50, true);
  PROTECTED(far, CutIntoSegments)();
  ASSERT_EQ(PROTECTED(far, _segments).size(), 1u);
  EXPECT_EQ(PROTECTED(far, _segments)[0].cols(), 2);
}

TEST(HoleAnalysis, ASecondAnalysisAddsItsPointsToTheCountAndKeepsTheIncidence) {
  Hole hole = Measure(HoleRequest(), {});
  auto& segment_point_count = PROTECTED(hole, _segment_point_count);
  const int count = segment_point_count;
  EXPECT_TRUE(PROTECTED(hole, _low_incidence));
  hole.AnalyzeFeature();
  EXPECT_EQ(segment_point_count, 2 * count);
  hole.Reset(true, false);
  EXPECT_TRUE(PROTECTED(hole, _low_incidence));
  EXPECT_EQ(segment_point_count, 2 * count);
}

TEST(HoleAnalysis, IncidenceAndFarSideFollowTheView) {
  const Hole hole = Measure(TiltedRequest(0.5), Tilted(0.5));
  EXPECT_NEAR(PROTECTED(hole, _incidence_angle), 0.5, 1e-3);
  EXPECT_FALSE(PROTECTED(hole, _low_incidence));
  const Eigen::Vector3d away = 0.008 * Eigen::Vector3d(-std::cos(0.5), 0, std::sin(0.5));
  EXPECT_LT((PROTECTED(hole, _far_side_offset).xyz() - away).norm(), 1e-5);
  EXPECT_TRUE(PROTECTED(Measure(TiltedRequest(0.34), Tilted(0.34)), _low_incidence));
  EXPECT_FALSE(PROTECTED(Measure(TiltedRequest(0.36), Tilted(0.36)), _low_incidence));
}

TEST(HoleAnalysis, FewerThanFourLinesWithAnEdgeFail) {
  const auto surface = [](int, double r) { return r > 0.008; };
  EXPECT_EQ(Analysed(HalfLines(3, surface)).GetError(),
            "Hole::Analyze(): Insufficient number of edge points extracted to fit an initial outer "
            "circle. Check identify edge points using the fit plane center.");
  EXPECT_TRUE(Analysed(HalfLines(4, surface)).GetIsSuccessful());
}

TEST(HoleAnalysis, EdgesThatLieOnNoCircleFail) {
  // Lines that end at random distances: no four of their ends lie near one circle.
  const double ends[] = {0.0055, 0.0125, 0.0095, 0.0122, 0.0062, 0.0118};
  const Hole hole = Analysed(HalfLines(6, [&](int i, double r) { return r > ends[i]; }));
  EXPECT_EQ(hole.GetError(),
            "Hole::Analyze(): Insufficient number of edge points after filter noise points.");
}

TEST(HoleAnalysis, PointsInsideTheHoleReject) {
  Samples samples = HalfLines(18, [](int, double r) { return r > 0.008; });
  const auto inside = [](double x) {
    const AzElRange aer(PointXYZW(x, 0, 2.0));
    return RawDataPoint(aer.azimuth, aer.elevation, aer.range, 80.0, 101);
  };
  // A short streak on a line of its own, too near the middle to be taken for the rim.
  Samples ten = samples;
  for (int i = 0; i < 10; ++i) ten.push_back(inside(0.001 + 0.0001 * i));
  Samples eleven = ten;
  eleven.push_back(inside(0.0021));
  EXPECT_EQ(Analysed(ten).GetError().find("Too many points"), std::string::npos);
  EXPECT_EQ(Analysed(eleven).GetError(),
            "Hole::Analyze(): Fit outer circle is invalid. Too many points inside the hole.");
}

TEST(HoleAnalysis, AFlatSurfaceIsNoHole) {
  const Hole hole = Measure(HoleRequest(), {.radius = 0.0});
  EXPECT_FALSE(hole.GetIsSuccessful());
  EXPECT_NE(hole.GetError(), "");
}

TEST(HoleAnalysis, AHoleOfAnotherSizeFails) {
  for (const double radius : {0.0068, 0.0092}) {
    const Hole hole = Measure(HoleRequest(), {.radius = radius});
    EXPECT_EQ(hole.GetError(),
              "Hole::Analyze(): Final validation: Fit circle size does not match input "
              "specifications. Check the nominal radius!")
        << radius;
    ASSERT_EQ(hole.GetStages().fitted.size(), 1U);
    EXPECT_NEAR(hole.GetStages().fitted[0].value, radius, 1e-4);
  }
  for (const double radius : {0.0072, 0.0088}) {
    EXPECT_TRUE(Measure(HoleRequest(), {.radius = radius}).GetIsSuccessful()) << radius;
  }
}

TEST(HoleAnalysis, TheFinalValidationLooksAtThePointsInside) {
  Hole hole(HoleRequest().dump());
  auto& circle = PROTECTED(hole, _circle);
  circle.Center(PointXYZW(0, 0, 2));
  circle.Normal(VectorXYZW(0, 0, -1));
  circle.Radius(0.008);
  PROTECTED(hole, _edge_points) = PointCloud(Eigen::MatrixXd(4, 0));
  Eigen::MatrixXd points = Eigen::MatrixXd::Zero(6, 11);
  points.row(2).setConstant(2.0);
  EXPECT_TRUE(PROTECTED(hole, Judge)({PointCloud(Eigen::MatrixXd(points.leftCols(10)))}));
  EXPECT_FALSE(PROTECTED(hole, Judge)({PointCloud(points)}));
  EXPECT_EQ(hole.GetError(),
            "Hole::Analyze(): Final validation: The number of points inside the hole exceeded the "
            "points inside threshold.");
}

/// A hole whose circle is fitted, with edge points off the rim by each of `errors`.
Hole Fitted(const std::vector<double>& errors, double radius = 0.008) {
  Hole hole(HoleRequest().dump());
  PROTECTED(hole, _circle).Center(PointXYZW(0, 0, 2));
  PROTECTED(hole, _circle).Normal(VectorXYZW(0, 0, -1));
  PROTECTED(hole, _circle).Radius(radius);
  Eigen::MatrixXd edges = Eigen::MatrixXd::Zero(4, static_cast<Eigen::Index>(errors.size()));
  for (std::size_t i = 0; i < errors.size(); ++i) {
    edges(0, static_cast<Eigen::Index>(i)) = radius + errors[i];
    edges(2, static_cast<Eigen::Index>(i)) = 2.0;
  }
  PROTECTED(hole, _edge_points) = PointCloud(edges);
  return hole;
}

TEST(HoleAnalysis, QualityFollowsTheScatterOfTheRim) {
  const auto quality = [](double deviation) {
    Hole hole = Fitted({0.0, 2.0 * deviation});
    EXPECT_TRUE(PROTECTED(hole, Judge)({})) << hole.GetError();
    return hole.GetSetting<double>(L"Quality");
  };
  // Two values apart by 2 d have a standard deviation of d times the root of 2.
  const double root = std::numbers::sqrt2;
  EXPECT_NEAR(quality(0.0), 100.0, 1e-9);
  EXPECT_NEAR(quality(0.5e-5 / root), 95.0, 1e-6);
  EXPECT_NEAR(quality(5.5e-5 / root), 85.0, 1e-6);
  EXPECT_NEAR(quality(5.5e-4 / root), 65.0, 1e-6);
  EXPECT_NEAR(quality(0.0505 / root), 30.0, 1e-6);
  EXPECT_NEAR(quality(5.05 / root), 5.0, 1e-6);
}

TEST(HoleAnalysis, AScatterOf10AndMoreLeavesTheQualityAsItWas) {
  Hole hole = Fitted({0.0, 20.0});
  EXPECT_TRUE(PROTECTED(hole, Judge)({}));
  EXPECT_EQ(hole.GetSetting<double>(L"Quality"), 0.0) << "on the first pass";
  hole.SetSetting<double>(L"Quality", 42.0);
  EXPECT_TRUE(PROTECTED(hole, Judge)({}));
  EXPECT_EQ(hole.GetSetting<double>(L"Quality"), 42.0);
}

TEST(HoleAnalysis, ADegenerateCircleFails) {
  Hole hole = Fitted({0.0});
  PROTECTED(hole, _circle).Radius(0.0);
  EXPECT_FALSE(PROTECTED(hole, Judge)({}));
  EXPECT_EQ(hole.GetError(), "Hole::Analyze(): Final validation: Fit circle is degenerate.");
}

TEST(HoleAnalysis, ARadiusOffByExactlyAnEighthPasses) {
  Hole passes = Fitted({0.0}, 0.0087890625);
  passes.SetSetting<double>(L"NominalRadius", 0.0078125);
  EXPECT_TRUE(PROTECTED(passes, Judge)({})) << passes.GetError();
  Hole fails = Fitted({0.0}, std::nextafter(0.0087890625, 1.0));
  fails.SetSetting<double>(L"NominalRadius", 0.0078125);
  EXPECT_FALSE(PROTECTED(fails, Judge)({}));
  EXPECT_EQ(fails.GetError(),
            "Hole::Analyze(): Final validation: Fit circle size does not match input "
            "specifications. Check the nominal radius!");
}

TEST(HoleAnalysis, TheNormalIsTurnedToTheOriginOfTheCoordinates) {
  Hole hole = Fitted({0.0});
  PROTECTED(hole, _circle).Normal(VectorXYZW(0, 0, 1));
  PROTECTED(hole, _scan_origin) = PointXYZW(0, 0, 9);
  EXPECT_TRUE(PROTECTED(hole, Report)());
  EXPECT_EQ(hole.GetSetting<VectorXYZW>(L"MeasuredNormal"), VectorXYZW(0, 0, -1))
      << "whatever the scan origin is";
}

TEST(HoleAnalysis, TheReportedRadiusIsTheNominalOfAChamferedHole) {
  Hole hole = Fitted({0.0});
  hole.SetSetting<double>(L"NominalRadius", 0.009);
  EXPECT_TRUE(PROTECTED(hole, Report)());
  EXPECT_EQ(hole.GetSetting<double>(L"Radius"), 0.009);
  PROTECTED(hole, _has_chamfer) = true;
  EXPECT_TRUE(PROTECTED(hole, Report)());
  EXPECT_EQ(hole.GetSetting<double>(L"Radius"), 0.008);
}

TEST(HoleAnalysis, AHoleOffByMoreThanTheThresholdAsksForARescan) {
  json request = HoleRequest();
  request["RescanThreshold"] = 0.0005;
  IdealHole ideal;
  ideal.center = {0.001, 0.0, 2.0};
  Hole hole(request.dump());
  hole.UpdateRawData(ideal.Scan(hole.GetDrivePoints(false)));
  testing::internal::CaptureStdout();
  hole.AnalyzeFeature();
  const std::string trace = testing::internal::GetCapturedStdout();
  EXPECT_FALSE(hole.GetIsSuccessful());
  EXPECT_EQ(hole.GetError(), "");
  EXPECT_EQ(hole.GetDriveStep(), RESCAN);
  EXPECT_EQ(trace.find("Rescan triggered! 0.00"), 0u) << trace;
  EXPECT_NE(trace.find("> 0.0005\n"), std::string::npos) << trace;
  EXPECT_NEAR(hole.GetSetting<PointXYZW>(L"NominalPoint").x(), 0.001, 2e-5);
  EXPECT_EQ(hole.GetSetting<VectorXYZW>(L"NominalNormal"),
            hole.GetSetting<VectorXYZW>(L"MeasuredNormal"));
  hole.UpdateRawData(ideal.Scan(hole.GetDrivePoints(true)));
  hole.AnalyzeFeature();
  EXPECT_TRUE(hole.GetIsSuccessful()) << hole.GetError();
}

TEST(HoleAnalysis, ADistanceEqualToTheThresholdIsNoRescan) {
  Hole hole = Fitted({0.0});
  PROTECTED(hole, _circle).Center(PointXYZW(0.25, 0, 2));
  hole.SetSetting<double>(L"RescanThreshold", 0.25);
  EXPECT_TRUE(PROTECTED(hole, Report)());
  hole.SetSetting<double>(L"RescanThreshold", std::nextafter(0.25, 0.0));
  testing::internal::CaptureStdout();
  EXPECT_FALSE(PROTECTED(hole, Report)());
  testing::internal::GetCapturedStdout();
}

TEST(HoleAnalysis, TheLogTellsItsBeginningAndItsEnd) {
  Hole hole = Measure(HoleRequest(), {});
  const LogCollector log;
  hole.AnalyzeFeature();
  const std::vector<std::wstring> expected{L"Analyze called.", L"Analyze done."};
  EXPECT_EQ(LogCollector::Texts(), expected);
}

TEST(HoleAnalysis, AFailureLeavesTheEarlierResultStanding) {
  Hole hole = Measure(HoleRequest(), {});
  const PointXYZW center = hole.GetSetting<PointXYZW>(L"MeasuredPoint");
  hole.UpdateRawData(HalfLines(3, [](int, double r) { return r > 0.008; }));
  hole.AnalyzeFeature();
  EXPECT_FALSE(hole.GetIsSuccessful());
  EXPECT_EQ(hole.GetSetting<PointXYZW>(L"MeasuredPoint"), center);
}

TEST(HoleAnalysis, StagedDataMakeAWholeConversation) {
  Hole hole(HoleRequest().dump());
  std::queue<Position> next;
  EXPECT_FALSE(hole.SetRawData({}, next));
  EXPECT_EQ(next.size(), 36u);
  EXPECT_EQ(hole.GetDriveStep(), FEATURE_SCAN_PATTERN);
  EXPECT_TRUE(hole.SetRawData(IdealHole{}.Scan(next), next));
  hole.AnalyzeFeature();
  EXPECT_TRUE(hole.GetIsSuccessful());
}

TEST(HoleAnalysis, TheSameSamplesGiveTheSameBytes) {
  const Hole hole = Measure(TiltedRequest(0.6), Tilted(0.6, {.wall = 0.01}));
  const Hole again = Analysed(hole.GetRawData(), TiltedRequest(0.6));
  EXPECT_EQ(hole.GetResult(), again.GetResult());
}

}  // namespace
}  // namespace libmfx::features
