// The stations of an edge's analysis, each by itself: smoothing, split, frame.

#include <gtest/gtest.h>

#include <cmath>

#include "edge_profile.h"
#include "libmfx/geometry/line.h"
#include "protected.h"

namespace libmfx::features {
namespace {

using data_structures::Distance;
using test::BorderProfile;
using test::CloudOf;
using test::EdgeRequest;
using test::Place;

Edge Probe() { return Edge(EdgeRequest().dump()); }

/// Columns whose x is i squared.
PointCloud Squares(int n) {
  std::vector<Place> places;
  for (int i = 0; i < n; ++i) places.push_back({static_cast<double>(i * i), 0.0});
  return CloudOf(places);
}

TEST(EdgeSmoothing, ASpanLargerThanTheCloudFails) {
  Edge edge = Probe();
  PointCloud out;
  EXPECT_FALSE(PROTECTED(edge, smooth_sliding_window)(Squares(5), 7, out));
  EXPECT_EQ(edge.GetError(),
            "Edge::smooth_sliding_window(): Error - The span is greater than the scan_segment.");
  EXPECT_EQ(out.cols(), 0);
}

TEST(EdgeSmoothing, AnEvenSpanFails) {
  for (const long long span : {4LL, 0LL, -1LL, -2LL}) {
    Edge edge = Probe();
    PointCloud out;
    EXPECT_FALSE(PROTECTED(edge, smooth_sliding_window)(Squares(5), span, out)) << span;
    EXPECT_EQ(edge.GetError(), "Edge::smooth_sliding_window(): Error - The span must be odd.");
  }
}

TEST(EdgeSmoothing, TheWindowStopsOneColumnShortAndNarrowsTowardsTheEnds) {
  Edge edge = Probe();
  const PointCloud in = Squares(11);
  PointCloud out;
  ASSERT_TRUE(PROTECTED(edge, smooth_sliding_window)(in, 5, out));
  const auto mean = [](int from, int to) {  // `to` left out
    double sum = 0.0;
    for (int i = from; i < to; ++i) sum += i * i;
    return sum / (to - from);
  };
  const double expected[] = {0.0,         mean(0, 2), mean(0, 4), mean(1, 5),
                             mean(2, 6),  mean(3, 7), mean(4, 8), mean(5, 9),
                             mean(6, 10), 81.0,       100.0};
  for (int i = 0; i < 11; ++i) EXPECT_NEAR(out.data()(0, i), expected[i], 1e-12) << i;
  // Column 9 is the one where the half-width has shrunk to 0.
  EXPECT_EQ(out.data().bottomRows(2), in.data().bottomRows(2));
}

TEST(EdgeSmoothing, NearTheEndTheHalfWidthIsWhatIsLeft) {
  Edge edge = Probe();
  PointCloud out;
  ASSERT_TRUE(PROTECTED(edge, smooth_sliding_window)(Squares(11), 9, out));
  // Column 7 with 2 to either side: 5, 6, 7, 8.
  EXPECT_NEAR(out.data()(0, 7), (25.0 + 36.0 + 49.0 + 64.0) / 4.0, 1e-12);
}

TEST(EdgeSmoothing, ASpanOfOneCopies) {
  Edge edge = Probe();
  PointCloud out;
  ASSERT_TRUE(PROTECTED(edge, smooth_sliding_window)(Squares(6), 1, out));
  EXPECT_EQ(out.data(), Squares(6).data());
}

struct Split {
  bool done;
  std::string error;
  PointCloud straight;
  PointCloud curved;
  long long index = -1;
};

Split SplitOf(const PointCloud& in, double clearance = 0.005, double spacing = 0.0001) {
  Edge edge = Probe();
  edge.SetSetting<double>(L"ClearanceZone", clearance);
  edge.SetSetting<double>(L"PointSpacing", spacing);
  Split split;
  split.done = PROTECTED(edge, split_curve)(in, split.straight, split.curved, split.index);
  split.error = edge.GetError();
  return split;
}

TEST(EdgeSplit, AClearanceOfOneAndAQuarterSpacingsIsTooShort) {
  const Split split = SplitOf(CloudOf(BorderProfile()), 1.25 * 0.0001);
  EXPECT_FALSE(split.done);
  EXPECT_EQ(split.error, "Edge::split_curve(): Too few points in the clearance zone.");
  for (const double clearance : {0.0, -1.0, std::nan("")}) {
    EXPECT_EQ(SplitOf(CloudOf(BorderProfile()), clearance).error, split.error);
  }
}

TEST(EdgeSplit, AProfileShorterThanTheClearanceIsNotSplit) {
  const PointCloud cloud = CloudOf(BorderProfile());
  const auto longer = static_cast<double>(cloud.cols() + 1) * 0.0001 / 0.8;
  EXPECT_EQ(SplitOf(cloud, longer * 1.0001).error,
            "Edge::split_curve(): Not enough points to split curve");
  EXPECT_EQ(SplitOf(cloud, 1e300, 1e-300).error,
            "Edge::split_curve(): Not enough points to split curve");
}

TEST(EdgeSplit, AStraightProfileHasAnUnexpectedCurve) {
  const Split split = SplitOf(CloudOf(BorderProfile(0.006, 0.5, 0.0)));
  EXPECT_FALSE(split.done);
  EXPECT_EQ(split.error,
            "Edge::split_curve(): Unable to split segment due to unexpected curve. Check the scan "
            "data!");
  EXPECT_EQ(split.index, 111);
}

TEST(EdgeSplit, TheStraightRunIsTheLongestPrefixInStepsOfFiveAlongTheReference) {
  const PointCloud cloud = CloudOf(BorderProfile());
  const Split split = SplitOf(cloud);
  ASSERT_TRUE(split.done) << split.error;
  EXPECT_EQ((cloud.cols() - split.index) % 5, 0);
  EXPECT_EQ(split.straight.cols(), split.index + 1);
  EXPECT_EQ(split.curved.cols(), cloud.cols() - split.index);
  EXPECT_EQ(split.straight.data().rightCols(1), split.curved.data().leftCols(1));
  // The line through all of them is within a degree of the surface, the one through five more not.
  const auto slope = [&](long long n) {
    geometry::Line line;
    line.LeastSquares(PointCloud(Eigen::MatrixXd(cloud.data().topRows(3).leftCols(n))));
    return std::abs(std::atan2(line.Vector().z(), line.Vector().x()) - 0.0);
  };
  const double degree = std::acos(-1.0) / 180.0;
  EXPECT_LT(std::min(slope(split.index), std::acos(-1.0) - slope(split.index)), degree);
  EXPECT_GT(std::min(slope(split.index + 5), std::acos(-1.0) - slope(split.index + 5)), degree);
}

TEST(EdgeSplit, TooFewColumnsBehindTheClearanceCannotRefineTheReference) {
  // n of 4 columns and 9 more: a step of 0, which would never end.
  std::vector<Place> places = BorderProfile(-0.0045, 0.5, 0.001);
  places.resize(13);
  EXPECT_EQ(SplitOf(CloudOf(places), 0.0005).error,
            "Edge::split_curve(): Failed to find the split index while refining the reference "
            "vector.");
  // 19 more: steps of 1, of which there would be 18.
  places = BorderProfile(-0.0045, 0.5, 0.01);
  places.resize(23);
  EXPECT_EQ(SplitOf(CloudOf(places), 0.0005).error,
            "Edge::split_curve(): Failed to find the split index while refining the reference "
            "vector.");
  // 11 more: steps of 1, ten of them.
  places.resize(15);
  EXPECT_TRUE(SplitOf(CloudOf(places), 0.0005).done);
}

TEST(EdgeSplit, AProfileThatNeverLiesAlongItsStartCannotBeCut) {
  // A quarter circle bends from its first column on.
  std::vector<Place> places;
  for (int i = 0; i < 30; ++i) {
    const double a = i * 0.05;
    places.push_back({0.002 * std::sin(a), 0.002 * (1.0 - std::cos(a))});
  }
  EXPECT_EQ(SplitOf(CloudOf(places), 0.0025).error,
            "Edge::split_curve(): Can't split curve as failed to find the cut point.");
}

TEST(EdgeSplit, TheWayInWhichALineIsScannedDoesNotTurnTheReference) {
  // The profile mirrored, and the nominal with it: the same columns are cut.
  std::vector<Place> places = BorderProfile();
  const Split right = SplitOf(CloudOf(places));
  for (Place& place : places) place.x = -place.x;
  Edge edge = Probe();
  edge.SetSetting<PointXYZW>(L"NominalEdgePoint", PointXYZW(-0.006, 0.0, 2.001));
  PointCloud straight, curved;
  long long index = -1;
  ASSERT_TRUE(PROTECTED(edge, split_curve)(CloudOf(places), straight, curved, index))
      << edge.GetError();
  EXPECT_EQ(index, right.index);
}

TEST(EdgeFrame, APointIsProjectedShiftedAndMultipliedByTheFrame) {
  Edge edge = Probe();
  geometry::Plane plane(PointXYZW(0.3, -0.2, 2.0), VectorXYZW(0.2, -0.5, 1.0));
  const Eigen::Vector3d translation(0.1, 0.2, 1.5);
  const PointXYZW p(0.4, 0.7, 1.1);
  const PointXYZW carried = PROTECTED(edge, transformPt)(p, plane, translation);
  const Eigen::Vector3d expected = plane.TBN() * (plane.Project(p).xyz() - translation);
  EXPECT_LT((carried.xyz() - expected).norm(), 1e-15);
  EXPECT_EQ(carried.w(), 1.0);
  const PointCloud cloud = CloudOf({{0.1, 0.2}, {-0.3, 0.4}});
  const PointCloud moved = PROTECTED(edge, transform)(cloud, plane, translation);
  ASSERT_EQ(moved.cols(), 2);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(moved.point(i), PROTECTED(edge, transformPt)(cloud.point(i), plane, translation));
    EXPECT_EQ(moved.data().col(i).tail(2), cloud.data().col(i).tail(2));
  }
}

}  // namespace
}  // namespace libmfx::features
