#include "features/shared/search.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

#include "features/shared/segments.h"
#include "libmfx/data_structures/point_cloud.h"

namespace libmfx::features::shared {
namespace {

using data_structures::AzElRange;
using data_structures::PointXYZW;
using data_structures::RawDataPoint;
using data_structures::VectorXYZW;

const PointXYZW kSurface(0.1, -0.05, 2.0);
const VectorXYZW kNormal = VectorXYZW(0.2, 0.3, -1.0).normalized();
const VectorXYZW kAlong = kNormal.cross({1, 0, 0}).normalized();
const VectorXYZW kAcross = kNormal.cross(kAlong);

PointXYZW OnSurface(double x, double y) { return kSurface + kAlong * x + kAcross * y; }

RawDataPoint SampleOf(const PointXYZW& p, double quality = 80.0) {
  const AzElRange aer(p);
  return {aer.azimuth, aer.elevation, aer.range, quality, 1};
}

/// A square of samples 1 mm apart, 41 by 41, without those that `open` tells; slightly off the
/// grid, so that no four of them lie on a circle.
std::vector<RawDataPoint> Sheet(const std::function<bool(double, double)>& open) {
  std::vector<RawDataPoint> samples;
  for (int i = -20; i <= 20; ++i) {
    for (int j = -20; j <= 20; ++j) {
      const double x = 0.001 * i + 1e-5 * std::sin(7.0 * i + 3.0 * j);
      const double y = 0.001 * j + 1e-5 * std::cos(5.0 * i - 2.0 * j);
      if (!open(x, y)) samples.push_back(SampleOf(OnSurface(x, y)));
    }
  }
  return samples;
}

bool Round(double x, double y, double cx, double cy, double r) {
  return std::hypot(x - cx, y - cy) < r;
}

/// The loop of a gap follows the samples around it, and cuts off where shorter edges span it: the
/// search finds a centre to about its point spacing.
constexpr double kFound = 0.001;

SearchRules Rules() {
  return {.boundary_limit = 0.006,
          .max_distance = 0.05,
          .quality_threshold = 50.0,
          .point_spacing = 0.001,
          .scan_origin = {}};
}

/// What a search does to a nominal in the middle of the sheet.
struct Outcome {
  PointXYZW center = kSurface;
  VectorXYZW normal{0, 0, 1};
  std::string error;
  std::string trace;
};

Outcome Searched(const std::vector<RawDataPoint>& samples, const SearchRules& rules = Rules()) {
  Outcome outcome;
  testing::internal::CaptureStdout();
  outcome.error = MoveNominal(samples, rules, outcome.center, outcome.normal);
  outcome.trace = testing::internal::GetCapturedStdout();
  return outcome;
}

/// Whether the lines stand in the trace, whole or as their beginning, in this order.
bool TellsInOrder(const std::string& trace, const std::vector<std::string>& lines) {
  std::size_t at = 0;
  for (const std::string& line : lines) {
    at = ("\n" + trace).find("\n" + line, at);
    if (at == std::string::npos) return false;
    at += 1;
  }
  return true;
}

TEST(SearchChain, MovesTheCentreToTheGapAndTheNormalToTheSurface) {
  const Outcome found =
      Searched(Sheet([](double x, double y) { return Round(x, y, 0.008, -0.006, 0.004); }));
  EXPECT_EQ(found.error, "");
  EXPECT_LT((found.center - OnSurface(0.008, -0.006)).norm(), kFound);
  EXPECT_LT((found.normal - kNormal).norm(), 1e-6) << "faces the instrument";
}

TEST(SearchChain, TellsItsProgressOnStandardOutput) {
  const Outcome found =
      Searched(Sheet([](double x, double y) { return Round(x, y, 0.008, -0.006, 0.004); }));
  const std::vector<std::string> lines{"search_data.cols(): ",
                                       "Setup search data bins..\n",
                                       "search_data IterativeBinaryCuts succeeded!\n",
                                       "in_plane pointcloud count: ",
                                       "Voronoi graph created!\n",
                                       "Interior boundaries found!\n",
                                       "Nearest centroids sorted..\n",
                                       "Original _input_center_pt: (0.1, -0.05, 2, 1)\n",
                                       "Input center updated..\n",
                                       "Original _input_normal: (0, 0, 1, 0)\n",
                                       "Input normal updated..\n",
                                       "Updated _input_center_pt: (",
                                       "Updated _input_normal: ("};
  EXPECT_TRUE(TellsInOrder(found.trace, lines)) << found.trace;
  EXPECT_EQ(std::count(found.trace.begin(), found.trace.end(), '\n'),
            static_cast<std::ptrdiff_t>(lines.size()));
}

TEST(SearchChain, WordsAreTheClassesOwn) {
  SearchRules rules = Rules();
  rules.words = {"Original _input_center: ", "Original _input_normal: ",
                 "Updated _input_location: ", "Updated _input_normal: "};
  const Outcome found =
      Searched(Sheet([](double x, double y) { return Round(x, y, 0.0, 0.0, 0.004); }), rules);
  EXPECT_TRUE(TellsInOrder(found.trace, {"Original _input_center: ", "Original _input_normal: ",
                                         "Updated _input_location: ", "Updated _input_normal: "}));
  EXPECT_EQ(found.trace.find("_input_center_pt"), std::string::npos);
}

TEST(SearchChain, TheNearestGapWinsNotTheLargest) {
  const Outcome found = Searched(Sheet([](double x, double y) {
    return Round(x, y, -0.012, 0.0, 0.006) || Round(x, y, 0.008, 0.0, 0.004);
  }));
  EXPECT_LT((found.center - OnSurface(0.008, 0.0)).norm(), kFound);
}

TEST(SearchChain, WhatLiesBehindTheOpeningIsNoSurface) {
  std::vector<RawDataPoint> samples =
      Sheet([](double x, double y) { return Round(x, y, 0.008, -0.006, 0.004); });
  for (int i = -3; i <= 3; ++i) {
    for (int j = -3; j <= 3; ++j) {
      samples.push_back(
          SampleOf(OnSurface(0.008 + 0.001 * i, -0.006 + 0.001 * j) - kNormal * 0.03));
    }
  }
  const Outcome found = Searched(samples);
  EXPECT_LT((found.center - OnSurface(0.008, -0.006)).norm(), kFound);
  EXPECT_LT((found.normal - kNormal).norm(), 1e-6);
}

TEST(SearchChain, WithoutAGapOnlyTheNormalMoves) {
  const Outcome whole = Searched(Sheet([](double, double) { return false; }));
  EXPECT_EQ(whole.center, kSurface);
  EXPECT_LT((whole.normal - kNormal).norm(), 1e-6);
  EXPECT_TRUE(
      TellsInOrder(whole.trace, {"Voronoi graph created!\n", "Interior boundaries not found!\n",
                                 "Original _input_normal: ", "Input normal updated..\n",
                                 "Updated _input_center_pt: ", "Updated _input_normal: "}))
      << whole.trace;
  EXPECT_EQ(whole.error, "");
}

TEST(SearchChain, TheNormalOfABorePointsAway) {
  SearchRules rules = Rules();
  rules.points_away = true;
  const Outcome found = Searched(Sheet([](double, double) { return false; }), rules);
  EXPECT_LT((found.normal + kNormal).norm(), 1e-6);
}

TEST(SearchChain, ThreeSamplesAreTooFewToSeeASurface) {
  for (const std::size_t count : {0u, 1u, 2u}) {
    std::vector<RawDataPoint> samples = Sheet([](double, double) { return false; });
    samples.resize(count);
    const Outcome none = Searched(samples);
    EXPECT_EQ(none.center, kSurface);
    EXPECT_EQ(none.normal, VectorXYZW(0, 0, 1));
    EXPECT_EQ(none.error, "");
    EXPECT_EQ(none.trace, "search_data.cols(): " + std::to_string(count) +
                              "\nInsufficient raw data search points!\nSetup search data bins..\n"
                              "search_data IterativeBinaryCuts failed! (0, 0, 0, 1)\n");
  }
}

TEST(SearchChain, SamplesBelowTheThresholdAndOutOfReachDoNotCount) {
  std::vector<RawDataPoint> weak = Sheet([](double, double) { return false; });
  for (RawDataPoint& sample : weak) sample.quality = 49.9;
  EXPECT_TRUE(TellsInOrder(Searched(weak).trace, {"search_data.cols(): 0\n"}));
  SearchRules rules = Rules();
  rules.max_distance = 0.0001;
  const Outcome far =
      Searched(Sheet([](double x, double y) { return Round(x, y, 0, 0, 0.004); }), rules);
  EXPECT_EQ(far.normal, VectorXYZW(0, 0, 1));
  EXPECT_TRUE(TellsInOrder(far.trace, {"search_data IterativeBinaryCuts failed! "}));
}

TEST(SearchChain, HostileSamplesNeitherCrashNorMoveTheNominalToNowhere) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  std::vector<RawDataPoint> samples(500, SampleOf(kSurface));
  samples[7].range = nan;
  samples[8].azimuth = std::numeric_limits<double>::infinity();
  Outcome same = Searched(samples);
  EXPECT_TRUE(same.center.eigen().allFinite());
  EXPECT_TRUE(same.normal.eigen().allFinite());
  samples.clear();
  for (int i = 0; i < 300; ++i) samples.push_back(SampleOf(OnSurface(0.0001 * i, 0.0)));
  same = Searched(samples);
  EXPECT_TRUE(same.center.eigen().allFinite());
  EXPECT_TRUE(same.normal.eigen().allFinite());
}

TEST(CutIntoLines, TheColumnWhoseNumberRisesBeginsTheNextLine) {
  Eigen::MatrixXd data = Eigen::MatrixXd::Zero(5, 7);
  data.row(4) << 1, 1, 2, 2, 1, 5, 5;
  const auto lines =
      CutIntoLines(data_structures::PointCloud(data), [](Eigen::Index, int) { return true; });
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0], (std::vector<Eigen::Index>{0, 1}));
  // A number that falls does not end a line.
  EXPECT_EQ(lines[1], (std::vector<Eigen::Index>{2, 3, 4}));
  EXPECT_EQ(lines[2], (std::vector<Eigen::Index>{5, 6}));
}

TEST(CutIntoLines, TheLastLineIsThereEvenEmpty) {
  Eigen::MatrixXd data = Eigen::MatrixXd::Ones(5, 3);
  const data_structures::PointCloud cloud(data);
  const auto none = CutIntoLines(cloud, [](Eigen::Index, int) { return false; });
  ASSERT_EQ(none.size(), 1u);
  EXPECT_EQ(Columns(cloud, none[0]).cols(), 0);
  EXPECT_EQ(Columns(cloud, none[0]).rows(), 5);
  const auto first = CutIntoLines(cloud, [](Eigen::Index i, int) { return i == 0; });
  ASSERT_EQ(first.size(), 1u);
  EXPECT_EQ(Columns(cloud, first[0]).cols(), 1);
}

}  // namespace
}  // namespace libmfx::features::shared
