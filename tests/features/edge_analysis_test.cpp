// The analysis of an edge on profiles without noise: where it finds the edge, and each failure.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "edge_profile.h"
#include "protected.h"

namespace libmfx::features {
namespace {

using data_structures::Distance;
using nlohmann::json;
using test::Analyzed;
using test::BorderProfile;
using test::EdgeRequest;
using test::Place;
using test::SamplesOf;

double DepthOf(const PointXYZW& p) { return p.z() - 2.0; }

/// The request for a border whose flank leaves the surface at x = 0.006 with the slope `lateral`.
json OnFlank(double offset, bool use_nominal_offset, double lateral = 0.5) {
  json request = EdgeRequest(offset, use_nominal_offset);
  request["Feature"]["EdgePoint"] = {0.006 + lateral * offset, 0.0, 2.0 + offset};
  return request;
}

TEST(EdgeAnalysis, TheProfileGivesThePointAtTheNominalDepth) {
  for (const double offset : {0.0003, 0.0005, 0.001, 0.002}) {
    for (const double lateral : {0.0, 0.5, 1.5}) {
      const auto edge = Analyzed(OnFlank(offset, false, lateral),
                                 SamplesOf(BorderProfile(0.006, lateral, 0.004)));
      ASSERT_TRUE(edge->GetIsSuccessful()) << edge->GetError() << " " << offset << " " << lateral;
      EXPECT_LT(Distance(edge->GetSetting<PointXYZW>(L"MeasuredPoint"),
                         edge->GetSetting<PointXYZW>(L"NominalEdgePoint")),
                1.5e-5)
          << offset << " " << lateral;
      EXPECT_NEAR(DepthOf(edge->GetSetting<PointXYZW>(L"MeasuredPoint")), offset, 1e-6);
      EXPECT_GT(edge->GetSetting<double>(L"Quality"), 99.0);
    }
  }
}

TEST(EdgeAnalysis, TheNominalOffsetGivesTheSampleNearestToThatDepth) {
  for (const double offset : {0.001, 0.00126, 0.002}) {
    const auto places = BorderProfile();
    const auto edge = Analyzed(OnFlank(offset, true), SamplesOf(places));
    ASSERT_TRUE(edge->GetIsSuccessful()) << edge->GetError();
    double nearest = 1.0;
    Place expected{};
    for (const Place& place : places) {
      if (std::abs(place.depth - offset) < nearest) {
        nearest = std::abs(place.depth - offset);
        expected = place;
      }
    }
    EXPECT_LT(Distance(edge->GetSetting<PointXYZW>(L"MeasuredPoint"), expected.point()), 1e-9)
        << offset;
  }
}

TEST(EdgeAnalysis, TheDepthCountsFromTheMeasuredSurface) {
  // The part stands 0.2 mm farther away than its nominal, and so does the edge found on it.
  for (const bool use_nominal_offset : {false, true}) {
    std::vector<Place> places = BorderProfile();
    for (Place& place : places) place.depth += 0.0002;
    const auto edge = Analyzed(OnFlank(0.001, use_nominal_offset), SamplesOf(places));
    ASSERT_TRUE(edge->GetIsSuccessful()) << edge->GetError();
    EXPECT_NEAR(DepthOf(edge->GetSetting<PointXYZW>(L"MeasuredPoint")), 0.0012,
                use_nominal_offset ? 5e-5 : 1e-6);
  }
}

TEST(EdgeAnalysis, ADisplacedBorderIsOffByItsDisplacement) {
  for (const double moved : {-0.0004, 0.0003}) {
    const auto edge = Analyzed(OnFlank(0.001, false), SamplesOf(BorderProfile(0.006 + moved)));
    ASSERT_TRUE(edge->GetIsSuccessful()) << edge->GetError();
    EXPECT_NEAR(edge->GetSetting<PointXYZW>(L"MeasuredPoint").x() -
                    edge->GetSetting<PointXYZW>(L"NominalEdgePoint").x(),
                moved, 2e-5);
  }
}

/// A surface that ends in a quarter circle, and the wall below it.
std::vector<Place> Rounded(double radius) {
  std::vector<Place> places;
  for (int i = 0; - 0.005 + i * 0.0001 < 0.006 - radius; ++i) {
    places.push_back({-0.005 + i * 0.0001, 0.0});
  }
  const int steps = static_cast<int>(std::ceil(radius * std::acos(-1.0) / 2.0 / 0.0001));
  for (int i = 0; i <= steps; ++i) {
    const double a = i * std::acos(-1.0) / 2.0 / steps;
    places.push_back({0.006 - radius + radius * std::sin(a), radius * (1.0 - std::cos(a))});
  }
  for (int i = 1; i < 40; ++i) places.push_back({0.006, radius + i * 0.0001});
  return places;
}

TEST(EdgeAnalysis, OnARoundingTheEdgeLiesAtTheNominalDepth) {
  const double depth = 0.0006;
  for (const double radius : {0.0005, 0.001, 0.002}) {
    const double x =
        depth < radius
            ? 0.006 - radius + std::sqrt(radius * radius - (radius - depth) * (radius - depth))
            : 0.006;
    json request = EdgeRequest(depth);
    request["Feature"]["EdgePoint"] = {x, 0.0, 2.0 + depth};
    const auto edge = Analyzed(request, SamplesOf(Rounded(radius)));
    ASSERT_TRUE(edge->GetIsSuccessful()) << edge->GetError() << " " << radius;
    EXPECT_LT(Distance(edge->GetSetting<PointXYZW>(L"MeasuredPoint"),
                       edge->GetSetting<PointXYZW>(L"NominalEdgePoint")),
              2e-5)
        << radius;
  }
}

TEST(EdgeAnalysis, AStraySampleDoesNotMoveTheEdge) {
  std::vector<Place> places = BorderProfile();
  places[20].depth = 0.003;
  places[70].depth = 0.002;
  const auto edge = Analyzed(OnFlank(0.001, false), SamplesOf(places));
  ASSERT_TRUE(edge->GetIsSuccessful()) << edge->GetError();
  EXPECT_LT(Distance(edge->GetSetting<PointXYZW>(L"MeasuredPoint"),
                     edge->GetSetting<PointXYZW>(L"NominalEdgePoint")),
            3e-5);
}

TEST(EdgeAnalysis, WhatLiesBehindAGapIsNotPartOfTheTailAtTheOffset) {
  // A flank of 2.7 mm, then something 2.5 mm farther on that lies nearer the nominal depth.
  std::vector<Place> places = BorderProfile(0.006, 0.5, 0.0027);
  const double end = places.back().x;
  for (int i = 0; i < 20; ++i) places.push_back({end + 0.0025 + i * 0.0001, 0.0031});
  const auto edge = Analyzed(OnFlank(0.003, true), SamplesOf(places));
  ASSERT_TRUE(edge->GetIsSuccessful()) << edge->GetError();
  EXPECT_NEAR(DepthOf(edge->GetSetting<PointXYZW>(L"MeasuredPoint")), 0.0027, 1e-4);
}

/// A step down to a second surface, without a sample on its wall, and with noise on both.
std::vector<Place> Step(double depth, double gap, double noise) {
  std::vector<Place> places = BorderProfile(0.006, 0.0, 0.0);
  for (int i = 0; i < 40; ++i) places.push_back({0.006 + gap + i * 0.0001, depth});
  for (std::size_t i = 0; i < places.size(); ++i) places[i].depth += (i % 2 == 0 ? 1 : -1) * noise;
  return places;
}

TEST(EdgeAnalysis, ASecondSurfaceAtTheNominalDepthIsReachedAtItsBeginning) {
  for (const double noise : {0.0, 1e-5}) {
    const auto edge = Analyzed(EdgeRequest(0.001), SamplesOf(Step(0.001, 0.0001, noise)));
    ASSERT_TRUE(edge->GetIsSuccessful()) << edge->GetError();
    EXPECT_NEAR(edge->GetSetting<PointXYZW>(L"MeasuredPoint").x(), 0.006, 3e-4) << noise;
  }
  // At the nominal offset any of its samples could be the nearest. Without noise it is the first
  // that is exactly as deep; with noise nothing tells, and the result says so.
  const auto exact = Analyzed(EdgeRequest(0.001, true), SamplesOf(Step(0.001, 0.0001, 0.0)));
  EXPECT_TRUE(exact->GetIsSuccessful());
  EXPECT_THAT(exact->GetWarnings(), testing::IsEmpty());
  std::vector<Place> places = Step(0.0019, 0.0001, 1e-5);
  const auto second =
      std::find_if(places.begin(), places.end(), [](const Place& p) { return p.depth > 0.001; });
  second->depth = 0.0019;  // the nearest, at its beginning
  const auto noisy = Analyzed(EdgeRequest(0.0019, true), SamplesOf(places));
  EXPECT_TRUE(noisy->GetIsSuccessful()) << noisy->GetError();
  EXPECT_THAT(noisy->GetWarnings(),
              testing::ElementsAre(testing::StartsWith("The line shows the depth asked for in ")));
}

TEST(EdgeAnalysis, AHiddenWallShowsTheEdgeOnlyIfTheGapIsShort) {
  EXPECT_TRUE(Analyzed(EdgeRequest(0.002), SamplesOf(Step(0.003, 0.0004, 0.0)))->GetIsSuccessful());
  EXPECT_EQ(Analyzed(EdgeRequest(0.002), SamplesOf(Step(0.003, 0.0006, 0.0)))->GetError(),
            "Edge::Analyze(): Could not estimate the z-component of the edge.");
}

TEST(EdgeAnalysis, AProfileThatPassesTheDepthSeveralTimesHasNoEdgeThere) {
  std::vector<Place> places = Step(0.003, 0.0001, 0.0);
  // Waves that reach from 1 to 3 mm of depth.
  for (std::size_t i = 111; i < places.size(); ++i) {
    places[i].depth = 0.002 + 0.001 * std::sin(static_cast<double>(i - 111) * 0.5);
  }
  EXPECT_EQ(Analyzed(EdgeRequest(0.002), SamplesOf(places))->GetError(),
            "Edge::Analyze(): Could not estimate the z-component of the edge.");
}

TEST(EdgeAnalysis, TheNearestSampleIsTakenAtTheOffsetHoweverFarOffItIs) {
  // A second surface 0.6 mm deeper than the nominal edge, and no sample on the wall between.
  std::vector<Place> places = Step(0.0019, 0.0001, 0.0);
  for (Place& p : places) p.depth += p.depth > 0.0 ? 0.02 * (p.x - 0.0061) : 0.0;
  const auto near = Analyzed(EdgeRequest(0.0013, true), SamplesOf(places));
  EXPECT_TRUE(near->GetIsSuccessful()) << near->GetError();
  EXPECT_NEAR(DepthOf(near->GetSetting<PointXYZW>(L"MeasuredPoint")), 0.0019, 1e-5);
  EXPECT_THAT(near->GetWarnings(), testing::ElementsAre(testing::StartsWith(
                                       "The sample taken for the edge lies 0.6 mm above or below "
                                       "the depth asked for")));
  // Farther than half the offset from the nominal, the residual judges it.
  EXPECT_EQ(Analyzed(EdgeRequest(0.0011, true), SamplesOf(places))->GetError(),
            "Edge::Analyze(): The residual distance of the estimated edge exceeded the tolerable "
            "limits.");
}

TEST(EdgeAnalysis, ASpacingFarBelowTheNoiseTakesNoLongerThanItsSamples) {
  // 31,000 samples: the split fits a line to every fifth prefix of them.
  json request = OnFlank(0.001, false);
  request["PointSpacing"] = 5e-7;
  const auto edge = Analyzed(request, SamplesOf(BorderProfile(0.006, 0.5, 0.004, 5e-7)));
  ASSERT_TRUE(edge->GetIsSuccessful()) << edge->GetError();
  EXPECT_LT(Distance(edge->GetSetting<PointXYZW>(L"MeasuredPoint"),
                     edge->GetSetting<PointXYZW>(L"NominalEdgePoint")),
            1e-6);
}

TEST(EdgeAnalysis, AnInclinedCrossSectionShowsTheSameDepth) {
  // The beam comes from the side: the profile lies in a plane 10 degrees off the normal.
  const double incline = 10.0 * std::acos(-1.0) / 180.0;
  std::vector<RawDataPoint> samples = SamplesOf(BorderProfile());
  const auto places = BorderProfile();
  for (std::size_t i = 0; i < places.size(); ++i) {
    const AzElRange aer(
        PointXYZW(places[i].x, places[i].depth * std::tan(incline), 2.0 + places[i].depth));
    samples[i].azimuth = aer.azimuth;
    samples[i].elevation = aer.elevation;
    samples[i].range = aer.range;
  }
  const auto edge = Analyzed(OnFlank(0.002, false), samples);
  ASSERT_TRUE(edge->GetIsSuccessful()) << edge->GetError();
  EXPECT_NEAR(DepthOf(edge->GetSetting<PointXYZW>(L"MeasuredPoint")), 0.002, 2e-6);
}

TEST(EdgeAnalysis, TheMoveToTheStartIsNotTheLine) {
  std::vector<RawDataPoint> samples = SamplesOf({{-0.0053, 0.0}, {-0.005, 0.0}}, 0);
  const auto line = SamplesOf(BorderProfile());
  samples.insert(samples.end(), line.begin(), line.end());
  const auto edge = Analyzed(OnFlank(0.001, false), samples);
  EXPECT_TRUE(edge->GetIsSuccessful()) << edge->GetError();
  EXPECT_EQ(PROTECTED(*edge, _profile).selected.cols(), static_cast<Eigen::Index>(line.size()));
  // A host that numbers nothing sends one line.
  EXPECT_TRUE(Analyzed(OnFlank(0.001, false), SamplesOf(BorderProfile(), 0))->GetIsSuccessful());
}

TEST(EdgeAnalysis, OfSeveralLinesTheFirstIsMeasured) {
  std::vector<RawDataPoint> samples = SamplesOf(BorderProfile());
  const auto second = SamplesOf(BorderProfile(0.0065), 3);
  samples.insert(samples.end(), second.begin(), second.end());
  const auto edge = Analyzed(OnFlank(0.001, false), samples);
  ASSERT_TRUE(edge->GetIsSuccessful()) << edge->GetError();
  EXPECT_LT(Distance(edge->GetSetting<PointXYZW>(L"MeasuredPoint"),
                     edge->GetSetting<PointXYZW>(L"NominalEdgePoint")),
            2e-5);
}

// ---- failures

std::string ErrorOf(const json& request, const std::vector<RawDataPoint>& samples) {
  const auto edge = Analyzed(request, samples);
  EXPECT_FALSE(edge->GetIsSuccessful());
  EXPECT_EQ(edge->GetSetting<PointXYZW>(L"MeasuredPoint"), PointXYZW());
  return edge->GetError();
}

TEST(EdgeFailure, NoSamplePasses) {
  EXPECT_EQ(ErrorOf(EdgeRequest(), {}), "Edge::Analyze(): All scanned data was filtered!");
  EXPECT_EQ(ErrorOf(EdgeRequest(), SamplesOf(BorderProfile(), 1, 49.9)),
            "Edge::Analyze(): All scanned data was filtered!");
}

TEST(EdgeFailure, SamplesThatAreNotFiniteDoNotPass) {
  std::vector<RawDataPoint> samples = SamplesOf(BorderProfile());
  for (RawDataPoint& sample : samples) sample.range = std::nan("");
  EXPECT_EQ(ErrorOf(EdgeRequest(), samples), "Edge::Analyze(): All scanned data was filtered!");
}

TEST(EdgeFailure, NothingNearTheNominal) {
  std::vector<Place> places = BorderProfile();
  for (Place& place : places) place.depth += 0.1;
  EXPECT_EQ(ErrorOf(EdgeRequest(), SamplesOf(places)),
            "Edge::Analyze(): No plane through the samples near the nominal points.");
}

TEST(EdgeFailure, ASelectedCloudOfThreeColumnsHasNoSpanAndOneOfFourASpanOfOne) {
  const auto few = [](int n) {
    std::vector<Place> places = BorderProfile();
    places.resize(static_cast<std::size_t>(n));
    return ErrorOf(EdgeRequest(), SamplesOf(places));
  };
  EXPECT_EQ(few(3), "Edge::smooth_sliding_window(): Error - The span must be odd.");
  EXPECT_EQ(few(4), "Edge::split_curve(): Not enough points to split curve");
}

TEST(EdgeFailure, AProfileThatIsStraightFromEndToEnd) {
  EXPECT_EQ(ErrorOf(EdgeRequest(), SamplesOf(BorderProfile(0.008, 0.5, 0.0))),
            "Edge::split_curve(): Unable to split segment due to unexpected curve. Check the scan "
            "data!");
}

TEST(EdgeFailure, AClearanceZoneOfOneAndAQuarterSpacings) {
  json request = EdgeRequest();
  request["PointSpacing"] = 0.004;
  EXPECT_EQ(ErrorOf(request, SamplesOf(BorderProfile())),
            "Edge::split_curve(): Too few points in the clearance zone.");
}

TEST(EdgeFailure, ACrossSectionThatLeansTooFarFromTheNormal) {
  json request = OnFlank(0.001, false);
  const double lean = 20.0 * std::acos(-1.0) / 180.0;
  request["Feature"]["SurfaceNormal"] = {0.0, std::sin(lean), -std::cos(lean)};
  request["ScanOrigin"] = {0.5, 0.0, 0.0};
  EXPECT_EQ(ErrorOf(request, SamplesOf(BorderProfile())),
            "Edge::Analyze(): The bi-tangent of the cross section plane exceeds the angle to "
            "nominal rejection threshold.");
}

TEST(EdgeFailure, AProfileThatEndsAboveTheNominalDepth) {
  json request = OnFlank(0.003, false);
  EXPECT_EQ(ErrorOf(request, SamplesOf(BorderProfile(0.006, 0.5, 0.0025))),
            "Edge::Analyze(): Failed to find the r_idx for the translated vector.");
}

TEST(EdgeFailure, ABorderFartherFromItsNominalThanHalfTheOffset) {
  for (const bool use_nominal_offset : {false, true}) {
    EXPECT_EQ(ErrorOf(OnFlank(0.001, use_nominal_offset), SamplesOf(BorderProfile(0.0066))),
              "Edge::Analyze(): The residual distance of the estimated edge exceeded the tolerable "
              "limits.");
  }
  EXPECT_EQ(ErrorOf(EdgeRequest(0.0), SamplesOf(BorderProfile())),
            "Edge::Analyze(): The residual distance of the estimated edge exceeded the tolerable "
            "limits.");
}

TEST(EdgeFailure, AFailureKeepsTheLastMeasuredPoint) {
  auto edge = Analyzed(OnFlank(0.001, false), SamplesOf(BorderProfile()));
  const PointXYZW measured = edge->GetSetting<PointXYZW>(L"MeasuredPoint");
  const double quality = edge->GetSetting<double>(L"Quality");
  ASSERT_TRUE(edge->GetIsSuccessful());
  edge->UpdateRawData(SamplesOf(BorderProfile(0.0066)));
  edge->AnalyzeFeature();
  EXPECT_FALSE(edge->GetIsSuccessful());
  EXPECT_EQ(edge->GetSetting<PointXYZW>(L"MeasuredPoint"), measured);
  EXPECT_EQ(edge->GetSetting<double>(L"Quality"), quality);
  const json result = json::parse(edge->GetResult());
  EXPECT_FALSE(result.contains("Location"));
  EXPECT_EQ(result["Success"], false);
}

// ---- re-scan, quality, result, dump

TEST(EdgeRescan, MovesBothPointsAndTakesTheNormalOfTheCrossSection) {
  Edge edge(OnFlank(0.001, false).dump());
  edge.SetSetting(L"RescanThreshold", 0.0002);
  edge.UpdateRawData(SamplesOf(BorderProfile(0.0063)));
  testing::internal::CaptureStdout();
  edge.AnalyzeFeature();
  const std::string told = testing::internal::GetCapturedStdout();
  EXPECT_EQ(told.substr(0, 18), "Rescan triggered! ");
  EXPECT_NE(told.find("> 0.0002\n"), std::string::npos);
  EXPECT_FALSE(edge.GetIsSuccessful());
  EXPECT_EQ(edge.GetError(), "");
  EXPECT_EQ(edge.GetDriveStep(), RESCAN);
  EXPECT_EQ(edge.GetSetting<PointXYZW>(L"NominalEdgePoint"),
            edge.GetSetting<PointXYZW>(L"MeasuredPoint"));
  const PointXYZW nominal(0.0065, 0.0, 2.001);
  EXPECT_LT(Distance(edge.GetSetting<PointXYZW>(L"NominalSurfacePoint"),
                     PointXYZW() + (edge.GetSetting<PointXYZW>(L"MeasuredPoint") - nominal) +
                         VectorXYZW(0.0, 0.0, 2.0)),
            1e-15);
  // The cross section of these samples is y = 0.
  EXPECT_NEAR(std::abs(edge.GetSetting<VectorXYZW>(L"NominalSurfaceNormal").y()), 1.0, 1e-9);
  EXPECT_EQ(edge.GetSetting<VectorXYZW>(L"NominalSurfaceNormal"),
            PROTECTED(edge, _profile).cross_section.Normal());
}

TEST(EdgeRescan, AtTheThresholdNoneIsAskedFor) {
  Edge edge(OnFlank(0.001, true).dump());
  edge.UpdateRawData(SamplesOf(BorderProfile(0.0063)));
  edge.AnalyzeFeature();
  ASSERT_TRUE(edge.GetIsSuccessful()) << edge.GetError();
  const double distance = Distance(edge.GetSetting<PointXYZW>(L"MeasuredPoint"),
                                   edge.GetSetting<PointXYZW>(L"NominalEdgePoint"));
  edge.SetSetting(L"RescanThreshold", distance);
  edge.AnalyzeFeature();
  EXPECT_TRUE(edge.GetIsSuccessful());
}

TEST(EdgeResult, TheQualityFollowsTheScatterOfTheSurface) {
  for (const double scatter : {2e-6, 2e-5}) {
    std::vector<Place> places = BorderProfile();
    for (std::size_t i = 0; i < places.size(); ++i) {
      if (places[i].depth == 0.0) places[i].depth = i % 2 == 0 ? scatter : -scatter;
    }
    const auto edge = Analyzed(OnFlank(0.001, false), SamplesOf(places));
    ASSERT_TRUE(edge->GetIsSuccessful()) << edge->GetError();
    EXPECT_NEAR(PROTECTED(*edge, _profile).surface_scatter, scatter, 0.1 * scatter);
    EXPECT_NEAR(edge->GetSetting<double>(L"Quality"), scatter < 1e-5 ? 98.0 : 88.9, 0.5);
  }
}

TEST(EdgeResult, KeysInOrder) {
  json request = OnFlank(0.001, false);
  request["Feature"]["Name"] = "hem";
  const auto edge = Analyzed(request, SamplesOf(BorderProfile()));
  const std::string text = edge->GetResult();
  EXPECT_EQ(text.find("{\"$type\":\"EdgeTargetResult\",\"Location\":["), 0U) << text;
  EXPECT_NE(
      text.find("],\"ScanData\":{\"$type\":\"ScanData\",\"DataFormat\":\"LR_XYZ\",\"Data\":[["),
      std::string::npos);
  EXPECT_NE(text.find("},\"Success\":true,\"Target\":\"E1\",\"Name\":\"hem\"}"), std::string::npos);
  const json result = json::parse(text);
  EXPECT_EQ(result["ScanData"]["Count"], PROTECTED(*edge, _scan_cloud).cols());
  EXPECT_EQ(result["ScanData"]["Data"][0][4], 1);
  EXPECT_NEAR(result["Location"][0].get<double>(),
              edge->GetSetting<PointXYZW>(L"MeasuredPoint").x(), 1e-8);
  EXPECT_FALSE(result.contains("Quality"));
  const Edge failed("[]");
  EXPECT_EQ(failed.GetResult().find(
                "{\"$type\":\"EdgeTargetResult\",\"ErrorMessage\":\"Unable to parse JSON "
                "message!\",\"ScanData\":{"),
            0U);
}

TEST(EdgeDump, WritesAScriptThatBeginsWithItsFiveLines) {
  const auto edge = Analyzed(OnFlank(0.001, false), SamplesOf(BorderProfile()));
  const std::string path = (std::filesystem::temp_directory_path() / "libmfx_edge_dump.m").string();
  EdgeAccess::Dump(*edge, path, PROTECTED(*edge, _profile).selected, geometry::Plane(),
                   PROTECTED(*edge, _profile).cross_section,
                   edge->GetSetting<PointXYZW>(L"MeasuredPoint"),
                   PROTECTED(*edge, _profile).smoothed);
  std::stringstream text;
  text << std::ifstream(path).rdbuf();
  std::filesystem::remove(path);
  EXPECT_EQ(
      text.str().find("close all;\nclear all;\nfigure;\naxis equal;\ntitle('XYZ Plot - Edge');\n"),
      0U);
  EXPECT_NE(text.str().find("edge_point = ["), std::string::npos);
}

TEST(EdgeDump, TellsWhenItsFileIsNotOpen) {
  const Edge edge(EdgeRequest().dump());
  testing::internal::CaptureStdout();
  EdgeAccess::Dump(edge, std::string("/no/such/folder/dump.m"), PointCloud(), geometry::Plane(),
                   geometry::Plane(), PointXYZW());
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "No dumps as file is not open.\n");
}

}  // namespace
}  // namespace libmfx::features
