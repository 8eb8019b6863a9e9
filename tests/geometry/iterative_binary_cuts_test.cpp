#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "binary_cuts.h"
#include "libmfx/data_structures/records.h"
#include "libmfx/math/gaussian_window.h"

namespace libmfx::geometry {
namespace {

using data_structures::AzElRange;
using data_structures::EMBEDDING_AER;
using data_structures::EMBEDDING_XYZ;
using data_structures::PointCloud;
using data_structures::PointXYZW;
using data_structures::VectorXYZW;
using Eigen::Index;
using Eigen::Vector3d;

/// Five rows with quality 90 and the segment number 7.
PointCloud ScanLine(const std::vector<Vector3d>& points, double quality = 90.0) {
  Eigen::MatrixXd data(5, static_cast<Index>(points.size()));
  for (std::size_t i = 0; i < points.size(); ++i) {
    data.col(static_cast<Index>(i)) << points[i], quality, 7.0;
  }
  return PointCloud(data, {{EMBEDDING_XYZ, {0}}});
}

/// `n` points along x at the given y, in the plane z = 0.
PointCloud FlatLine(int n, double y, double quality = 90.0) {
  std::vector<Vector3d> points;
  for (int i = 0; i < n; ++i) points.emplace_back(i, y, 0.0);
  return ScanLine(points, quality);
}

struct Call : CutArguments {
  Call() {
    max_distance = 100.0;
    tolerance = 1e-6;
  }
  Plane plane;
  Bins selected;

  bool Run(const Bins& bins) { return Cut(plane, bins, selected, *this); }
  Eigen::RowVectorXd Weights(std::size_t bin, std::size_t line) const {
    const Eigen::MatrixXd& data = selected.at(bin).at(line).data();
    return data.row(data.rows() - 1);
  }
};

void ExpectWindow(const Eigen::RowVectorXd& weights, double sigma) {
  const std::vector<double> window =
      math::GaussianWindow(static_cast<unsigned>(weights.size()), sigma);
  for (Index i = 0; i < weights.size(); ++i) {
    EXPECT_EQ(weights[i], window[static_cast<std::size_t>(i)]);
  }
}

TEST(BinaryCuts, OnAPerfectPlaneTheFirstFitStands) {
  Call call;
  call.first_sigma = 0.3;
  ASSERT_TRUE(call.Run({{FlatLine(5, 0), FlatLine(4, 1)}, {FlatLine(3, 2)}}));
  EXPECT_NEAR(std::abs(call.plane.Normal().z()), 1.0, 1e-15);
  ASSERT_EQ(call.selected.size(), 2u);
  ASSERT_EQ(call.selected[0].size(), 2u);
  ASSERT_EQ(call.selected[1].size(), 1u);
  EXPECT_EQ(call.selected[0][0].rows(), 6);
  EXPECT_EQ(call.selected[0][0].cols(), 5);
  EXPECT_EQ(call.selected[0][0].data()(4, 2), 7.0);
  // The weights are still those of the first fit.
  ExpectWindow(call.Weights(0, 0), 0.3);
  ExpectWindow(call.Weights(0, 1), 0.3);
  ExpectWindow(call.Weights(1, 0), 0.3);
}

TEST(BinaryCuts, AFarOutlierIsCutAway) {
  Bins bins{{FlatLine(9, 0), FlatLine(9, 2), FlatLine(9, 4)}};
  bins[0][1].data()(2, 4) = 0.5;
  Call call;
  call.cut_sigma = 2.0;
  ASSERT_TRUE(call.Run(bins));
  EXPECT_NEAR(std::abs(call.plane.Normal().z()), 1.0, 1e-15);
  EXPECT_NEAR(call.plane.Point().z(), 0.0, 1e-15);
  ASSERT_EQ(call.selected[0][1].cols(), 8);
  EXPECT_EQ(call.selected[0][1].data()(0, 4), 5.0);
  ExpectWindow(call.Weights(0, 1), 2.0);
}

/// Four posts of samples at the given heights above and below z = 0: by symmetry, and with weights
/// that are all 1, every fit is z = 0 exactly.
PointCloud FourPosts(const std::vector<double>& heights) {
  std::vector<Vector3d> points;
  for (const double x : {-3.0, 3.0}) {
    for (const double y : {-3.0, 3.0}) {
      for (const double z : heights) {
        points.emplace_back(x, y, z);
        points.emplace_back(x, y, -z);
      }
    }
  }
  return ScanLine(points);
}

TEST(BinaryCuts, AToleranceOfZeroRunsAllRounds) {
  // Heights 1, 1/2, 1/4, ...: each cut at half of the worst removes one of the 15 heights.
  std::vector<double> heights;
  for (int k = 0; k < 15; ++k) heights.push_back(std::exp2(-k));
  Call call;
  call.first_sigma = call.cut_sigma = 1e9;
  call.tolerance = 0.0;
  ASSERT_TRUE(call.Run({{FourPosts(heights)}}));
  EXPECT_EQ(call.selected[0][0].cols(), 8 * 5);
  call.tolerance = std::exp2(-4);  // not below it: cut; strictly below it: stop
  ASSERT_TRUE(call.Run({{FourPosts(heights)}}));
  EXPECT_EQ(call.selected[0][0].cols(), 8 * 10);
  call.tolerance = 1.5;
  ASSERT_TRUE(call.Run({{FourPosts(heights)}}));
  EXPECT_EQ(call.selected[0][0].cols(), 8 * 15);
}

TEST(BinaryCuts, ASampleAtHalfOfTheWorstIsKept) {
  Call call;
  call.first_sigma = call.cut_sigma = 1e9;
  call.tolerance = 0.6;
  ASSERT_TRUE(call.Run({{FourPosts({1.0, 0.5, std::nextafter(0.5, 1.0)})}}));
  EXPECT_NEAR(std::abs(call.plane.Normal().z()), 1.0, 1e-15);
  ASSERT_EQ(call.selected[0][0].cols(), 8);
  for (Index i = 0; i < 8; ++i) EXPECT_EQ(std::abs(call.selected[0][0].data()(2, i)), 0.5);
}

TEST(BinaryCuts, ASampleWithoutWeightCanComeBack) {
  // A cut looks at every sample: one that was no candidate is in use after it.
  Bins bins{{FlatLine(9, 0), FlatLine(9, 2), FlatLine(9, 4)}};
  bins[0][0].data()(3, 3) = 10.0;
  Call call;
  ASSERT_TRUE(call.Run(bins));
  EXPECT_EQ(call.selected[0][0].cols(), 8);
  bins[0][1].data()(2, 4) = 0.5;
  ASSERT_TRUE(call.Run(bins));
  EXPECT_EQ(call.selected[0][0].cols(), 9);
  EXPECT_EQ(call.selected[0][1].cols(), 8);
}

TEST(BinaryCuts, TheDistanceIntervalIsClosedAndTheQualityOpen) {
  // Distances 0, 1, ... along one line from the centre.
  Bins bins{{FlatLine(8, 0), FlatLine(8, 1e-9), ScanLine({{2, 3, 0}, {3, 3, 0}, {2, 4, 0}})}};
  bins[0][0].data()(3, 4) = 50.0;     // equal to the threshold: no candidate
  bins[0][0].data()(3, 5) = 50.0001;  // just above: a candidate
  Call call;
  call.min_distance = 2.0;
  call.max_distance = 6.0;
  ASSERT_TRUE(call.Run(bins));
  const Eigen::MatrixXd& kept = call.selected[0][0].data();
  ASSERT_EQ(kept.cols(), 4);
  EXPECT_EQ(kept.row(0), Eigen::RowVector4d(2, 3, 5, 6));
}

TEST(BinaryCuts, ARejectedNeighbourComesBackWithWeightZero) {
  Bins bins{{FlatLine(8, 0), FlatLine(8, 1), FlatLine(8, 2)}};
  for (const int i : {0, 4, 5, 6}) bins[0][1].data()(3, i) = 10.0;
  Call call;
  call.keep_neighbours = true;
  ASSERT_TRUE(call.Run(bins));
  const Eigen::MatrixXd& kept = call.selected[0][1].data();
  ASSERT_EQ(kept.cols(), 7);  // column 5 has no neighbour of weight
  EXPECT_EQ(kept.row(0), (Eigen::RowVectorXd(7) << 0, 1, 2, 3, 4, 6, 7).finished());
  for (const int i : {0, 4, 5}) EXPECT_EQ(kept(5, i), 0.0);
  for (const int i : {1, 2, 3, 6}) EXPECT_GT(kept(5, i), 0.0);
  call.keep_neighbours = false;
  ASSERT_TRUE(call.Run(bins));
  EXPECT_EQ(call.selected[0][1].cols(), 4);
}

TEST(BinaryCuts, TheFirstColumnLooksOnlyAtTheNextAndAtItself) {
  Bins bins{{FlatLine(8, 0), FlatLine(8, 1), FlatLine(8, 2)}};
  bins[0][1].data()(3, 0) = bins[0][1].data()(3, 1) = 10.0;
  bins[0][1].data()(3, 6) = bins[0][1].data()(3, 7) = 10.0;
  Call call;
  call.keep_neighbours = true;
  ASSERT_TRUE(call.Run(bins));
  EXPECT_EQ(call.selected[0][1].data().row(0),
            (Eigen::RowVectorXd(6) << 1, 2, 3, 4, 5, 6).finished());
}

TEST(BinaryCuts, ALineInWhichNothingSurvivesKeepsItsPlace) {
  Bins bins{{}, {}};
  for (int y = 0; y < 6; ++y) bins[0].push_back(FlatLine(9, y));
  bins[0].push_back(FlatLine(9, 2.5));
  bins[0].back().data().row(2).setConstant(2.0);
  bins[0].push_back(ScanLine({}));
  Call call;
  ASSERT_TRUE(call.Run(bins));
  ASSERT_EQ(call.selected.size(), 2u);
  ASSERT_EQ(call.selected[0].size(), 8u);
  EXPECT_EQ(call.selected[0][5].cols(), 9);
  EXPECT_EQ(call.selected[0][6].cols(), 0);
  EXPECT_EQ(call.selected[0][6].rows(), 6);
  EXPECT_EQ(call.selected[0][7].cols(), 0);
  EXPECT_TRUE(call.selected[1].empty());
}

TEST(BinaryCuts, AfterALineWithoutCandidateTheWeightsLag) {
  // The first line has no candidate; the second line's weights land on the first one's columns and
  // are read there by the result, which finds the end of the second line without weight.
  Bins bins{{FlatLine(4, 0, 10.0), FlatLine(6, 1)}};
  Call call;
  call.tolerance = 1.0;  // the first fit stands
  ASSERT_TRUE(call.Run(bins));
  // Work columns 0 to 5 hold the weights: all of line 0, and the first two of line 1.
  EXPECT_EQ(call.selected[0][0].cols(), 4);
  ASSERT_EQ(call.selected[0][1].cols(), 2);
  const std::vector<double> window = math::GaussianWindow(6, 1.0);
  for (Index i = 0; i < 4; ++i) EXPECT_EQ(call.Weights(0, 0)[i], window[std::size_t(i)]);
  EXPECT_EQ(call.Weights(0, 1)[0], window[4]);
  EXPECT_EQ(call.Weights(0, 1)[1], window[5]);
}

TEST(BinaryCuts, TheDistanceIsTestedAtTheLaggingColumns) {
  // With the lag the second line is tested at the first line's coordinates: those are too far.
  Bins bins{{FlatLine(4, 90, 10.0), FlatLine(4, 1), FlatLine(4, 2)}};
  Call call;
  call.max_distance = 20.0;
  EXPECT_FALSE(call.Run(bins));
}

TEST(BinaryCuts, ACutThatEmptiesALineLagsToo) {
  // The first line lies above the others and is cut away in full. From then on the place does not
  // advance: every line looks at the first one's columns, and no window is ever applied.
  Bins bins{{FlatLine(5, 1.5), FlatLine(5, 0), FlatLine(5, 1), FlatLine(5, 2), FlatLine(5, 3)}};
  bins[0][0].data().row(2).setConstant(0.5);
  Call call;
  call.cut_sigma = 0.5;
  call.first_sigma = 1e6;
  ASSERT_TRUE(call.Run(bins));
  EXPECT_EQ(call.selected[0][0].cols(), 0);
  for (const std::size_t line : {1u, 2u, 3u, 4u}) {
    ASSERT_EQ(call.selected[0][line].cols(), 5);
    EXPECT_EQ(call.Weights(0, line), Eigen::RowVectorXd::Ones(5));
  }
}

TEST(BinaryCuts, NoCandidateIsFalseAndWritesNothing) {
  Call call;
  call.min_quality = 95.0;
  call.plane = Plane({1, 2, 3}, {0, 1, 0});
  call.selected.resize(7);
  for (const double tolerance : {1e-6, 0.0, std::numeric_limits<double>::quiet_NaN()}) {
    call.tolerance = tolerance;
    EXPECT_FALSE(call.Run({{FlatLine(9, 0), FlatLine(9, 1)}}));
  }
  EXPECT_EQ(call.plane.Point(), PointXYZW(1, 2, 3));
  EXPECT_EQ(call.plane.Normal(), VectorXYZW(0, 1, 0));
  EXPECT_EQ(call.selected.size(), 7u);
}

TEST(BinaryCuts, OneCandidateDeterminesNoPlane) {
  Call call;
  call.max_distance = 0.5;
  EXPECT_FALSE(call.Run({{FlatLine(9, 0), FlatLine(9, 1)}}));
}

TEST(BinaryCuts, FewerThanThreeSamplesAndUnreadableLinesAreFalse) {
  Call call;
  EXPECT_FALSE(call.Run({}));
  EXPECT_FALSE(call.Run({{}, {}}));
  EXPECT_FALSE(call.Run({{FlatLine(2, 0)}}));
  EXPECT_FALSE(call.Run({{FlatLine(9, 0), PointCloud(Eigen::MatrixXd::Ones(3, 4))}}));
  EXPECT_FALSE(call.Run({{FlatLine(9, 0), PointCloud(Eigen::MatrixXd::Ones(2, 4))}}));
  EXPECT_TRUE(call.Run({{FlatLine(9, 0), FlatLine(9, 1), PointCloud(Eigen::MatrixXd(3, 0))}}));
}

TEST(BinaryCuts, FourAndSixRowsAreRead) {
  for (const Index rows : {4, 6}) {
    Bins bins{{FlatLine(9, 0), FlatLine(9, 1)}};
    for (PointCloud& line : bins[0]) line.data().conservativeResize(rows, 9);
    if (rows == 6) bins[0][0].data().row(5).setConstant(42.0);
    Call call;
    ASSERT_TRUE(call.Run(bins));
    EXPECT_EQ(call.selected[0][0].rows(), rows + 1);
    if (rows == 6) {
      EXPECT_EQ(call.selected[0][0].data()(5, 3), 42.0);
    }
  }
}

TEST(BinaryCuts, SphericalLinesAreConvertedAndTheCallersStay) {
  Bins bins{{FlatLine(6, 0.2), FlatLine(6, 0.4)}};
  for (PointCloud& line : bins[0]) {
    line.data().row(2).setConstant(3.0);
    line.Convert(EMBEDDING_AER);
  }
  const Bins before = bins;
  Call call;
  ASSERT_TRUE(call.Run(bins));
  EXPECT_EQ(bins[0][1].data(), before[0][1].data());
  EXPECT_NEAR(std::abs(call.plane.Normal().z()), 1.0, 1e-12);
  EXPECT_NEAR(call.selected[0][1].data()(0, 5), 5.0, 1e-12);
  EXPECT_TRUE(call.selected[0][1].embeddings().contains(EMBEDDING_XYZ));
}

TEST(BinaryCuts, ASampleThatIsNotFiniteNeverReachesTheFit) {
  Bins bins{{FlatLine(9, 0), FlatLine(9, 2), FlatLine(9, 4)}};
  bins[0][1].data()(2, 4) = std::numeric_limits<double>::quiet_NaN();
  bins[0][0].data()(3, 2) = std::numeric_limits<double>::quiet_NaN();
  bins[0][1].data()(2, 7) = 0.5;  // so that cuts are made
  Call call;
  ASSERT_TRUE(call.Run(bins));
  EXPECT_NEAR(std::abs(call.plane.Normal().z()), 1.0, 1e-12);
  EXPECT_EQ(call.selected[0][1].cols(), 7);
  EXPECT_EQ(call.selected[0][0].cols(), 9);
}

TEST(BinaryCuts, ASigmaOfZeroIsFalse) {
  Call call;
  call.first_sigma = 0.0;
  EXPECT_FALSE(call.Run({{FlatLine(9, 0), FlatLine(9, 1)}}));
}

}  // namespace
}  // namespace libmfx::geometry
