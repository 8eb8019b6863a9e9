#include "features/shared/crossing_lines.h"

#include <gtest/gtest.h>

#include "feature_probe.h"
#include "features/shared/outline_fit.h"
#include "features/shared/quality.h"
#include "features/shared/segments.h"
#include "paths.h"

namespace libmfx::features::shared {
namespace {

using test::PointsOf;

PointXYZW At(const Position& p) { return test::PlaceOf(p); }

void ExpectPoint(const PointXYZW& actual, double x, double y, double z) {
  EXPECT_NEAR(actual.x(), x, 1e-12);
  EXPECT_NEAR(actual.y(), y, 1e-12);
  EXPECT_NEAR(actual.z(), z, 1e-12);
}

TEST(CrossingLines, LinesAlternateAndCarryTheirSigns) {
  CrossingLines lines(0.005, 0.0001);
  lines.AddSide(PointXYZW(0.02, -0.01, 2), VectorXYZW(0, 1, 0), 0.02, 3, VectorXYZW(1, 0, 0), 0.02);
  const auto points = PointsOf(lines.queue());
  ASSERT_EQ(points.size(), 6U);
  ExpectPoint(At(points[0]), 0.025, -0.005, 2);
  ExpectPoint(At(points[1]), 0.015, -0.005, 2);
  ExpectPoint(At(points[2]), 0.015, 0.0, 2);
  ExpectPoint(At(points[3]), 0.025, 0.0, 2);
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(points[static_cast<std::size_t>(i)].point_spacing, i % 2 == 0 ? 0.00035 : 0.0001);
    EXPECT_EQ(lines.signs().at(i), i / 2 == 1 ? -1.0 : 1.0);
  }
}

TEST(CrossingLines, InASmallOpeningALineStopsInTheMiddle) {
  CrossingLines lines(0.005, 0.0001);
  lines.Add(PointXYZW(0.002, 0, 2), VectorXYZW(1, 0, 0), 0.002);
  lines.Add(PointXYZW(0.002, 0, 2), VectorXYZW(1, 0, 0), 0.002);
  const auto points = PointsOf(lines.queue());
  ExpectPoint(At(points[0]), 0.007, 0, 2);
  ExpectPoint(At(points[1]), 0, 0, 2);
  ExpectPoint(At(points[2]), 0, 0, 2);
  ExpectPoint(At(points[3]), 0.007, 0, 2);
}

/// A scan whose column i has x = i and the segment number given for it.
PointCloud ScanOf(const std::vector<int>& segments) {
  Eigen::MatrixXd data = Eigen::MatrixXd::Zero(5, static_cast<Eigen::Index>(segments.size()));
  for (std::size_t i = 0; i < segments.size(); ++i) {
    data(0, static_cast<Eigen::Index>(i)) = static_cast<double>(i);
    data(4, static_cast<Eigen::Index>(i)) = segments[i];
  }
  return PointCloud(data);
}

std::vector<double> Xs(const PointCloud& line) {
  return {line.data().row(0).begin(), line.data().row(0).end()};
}
using Doubles = std::vector<double>;

/// The samples of sorted lines.
LineBins SamplesOf(const PointCloud& scan, const SideLines& lines) {
  LineBins bins(lines.size());
  for (std::size_t side = 0; side < lines.size(); ++side) {
    for (const ScanLine& line : lines[side]) bins[side].push_back(Columns(scan, line.columns));
  }
  return bins;
}

LineBins BinCrossingLines(const PointCloud& scan, unsigned int sides, unsigned int lines_per_side,
                          const LineSigns& signs, std::int64_t last_line = 1 << 30) {
  const auto layout = ScanLayout::Crossing(sides, lines_per_side, signs, last_line);
  return SamplesOf(scan, SortIntoLines(scan, layout));
}

TEST(LineBins, LinesGoToTheirSides) {
  const LineBins bins = BinCrossingLines(ScanOf({1, 1, 3, 2, 5, 7, 7, 9, 11, 11}), 2, 2, {});
  ASSERT_EQ(bins.size(), 2U);
  ASSERT_EQ(bins[0].size(), 2U);
  EXPECT_EQ(Xs(bins[0][0]), (Doubles{0, 1}));
  EXPECT_EQ(Xs(bins[0][1]), (Doubles{2}));
  ASSERT_EQ(bins[1].size(), 2U);
  EXPECT_EQ(Xs(bins[1][1]), (Doubles{5, 6}));
}

TEST(LineBins, TheLastColumnBelongsToNoRun) {
  EXPECT_EQ(Xs(BinCrossingLines(ScanOf({1, 1, 1}), 1, 1, {})[0].at(0)), (Doubles{0, 1}));
  EXPECT_TRUE(BinCrossingLines(ScanOf({1}), 1, 1, {})[0].empty());
  EXPECT_TRUE(BinCrossingLines(ScanOf({}), 1, 1, {})[0].empty());
}

TEST(LineBins, AnInterruptedLineStaysOne) {
  const LineBins bins = BinCrossingLines(ScanOf({1, 2, 1, 3, 1, 0}), 1, 2, {});
  ASSERT_EQ(bins[0].size(), 2U);
  EXPECT_EQ(Xs(bins[0][0]), (Doubles{0, 2, 4}));
  EXPECT_EQ(Xs(bins[0][1]), (Doubles{3}));
}

TEST(LineBins, LinesOfNegativeSignAreReversed) {
  const LineBins bins = BinCrossingLines(ScanOf({1, 1, 3, 3, 3, 0}), 1, 2, {{1, 1.0}, {3, -1.0}});
  EXPECT_EQ(Xs(bins[0][0]), (Doubles{0, 1}));
  EXPECT_EQ(Xs(bins[0][1]), (Doubles{4, 3, 2}));
}

TEST(LineBins, NumbersOutsideThePlanAreLeftOut) {
  const LineBins bins =
      BinCrossingLines(ScanOf({-1, -3, 101, 2147483647, -2147483647, 1, 0}), 2, 1, {});
  ASSERT_EQ(bins[0].size(), 1U);
  EXPECT_TRUE(bins[1].empty());
  EXPECT_TRUE(BinCrossingLines(ScanOf({1, 1}), 2, 0, {})[0].empty());
}

TEST(LineBins, TheWalkStopsAtTheFirstNumberAboveTheLast) {
  const LineBins bins = BinCrossingLines(ScanOf({1, 1, 5, 3, 3, 0}), 2, 1, {}, 1);
  EXPECT_EQ(bins[0].size(), 1U);
  EXPECT_TRUE(bins[1].empty());
}

/// A line along x from 0.010 inwards in steps of 0.1 mm, in z = 0.
PointCloud LineTo(double last_x, double y = 0.0) {
  std::vector<double> xs;
  for (double x = 0.010; x >= last_x - 1e-9; x -= 1e-4) xs.push_back(x);
  Eigen::MatrixXd data = Eigen::MatrixXd::Zero(6, static_cast<Eigen::Index>(xs.size()));
  for (std::size_t i = 0; i < xs.size(); ++i) {
    data.col(static_cast<Eigen::Index>(i)) << xs[i], y, 0.0, 80.0, 7.0, 1.0;
  }
  return PointCloud(data);
}

const geometry::Plane kFlat(PointXYZW(0, 0, 0), VectorXYZW(0, 0, 1));
const EdgeRules kRules{.raise = 0.01, .limit = 0.05, .point_spacing = 1e-4};

TEST(EdgePoints, TheInnermostSampleWithNeighboursIsTheEdge) {
  PointCloud line = LineTo(0.004);
  // A stray far inside has no neighbours.
  line.data().col(10) << 0.001, 0.0, 0.0, 80.0, 7.0, 1.0;
  const PointCloud edges = EdgePoints({line, LineTo(0.005, 0.002)}, PointXYZW(), kFlat, kRules);
  ASSERT_EQ(edges.cols(), 2);
  ASSERT_EQ(edges.rows(), 6);
  EXPECT_NEAR(edges.data()(0, 0), 0.004, 1e-12);
  EXPECT_EQ(edges.data()(4, 0), 7.0);
  EXPECT_NEAR(edges.data()(0, 1), 0.005, 1e-12);
}

TEST(EdgePoints, PointsAboveTheSurfaceCountAtTheirFoot) {
  PointCloud line = LineTo(0.004);
  // The last sample but one stands 0.05 mm above the surface: as it stands it would be nearer to
  // the raised point than the last, at its foot it is not.
  line.data()(2, line.cols() - 2) = 5e-5;
  const PointCloud edges = EdgePoints({line}, PointXYZW(), kFlat, kRules);
  ASSERT_EQ(edges.cols(), 1);
  EXPECT_NEAR(edges.data()(0, 0), 0.004, 1e-12);
  EXPECT_EQ(edges.data()(2, 0), 0.0);
}

TEST(EdgePoints, LinesWithoutAnEdgeAreSkipped) {
  Eigen::MatrixXd sparse = Eigen::MatrixXd::Zero(6, 3);
  sparse.row(0) << 0.010, 0.008, 0.006;
  EXPECT_EQ(EdgePoints({PointCloud(sparse)}, PointXYZW(), kFlat, kRules).cols(), 0);
  EXPECT_EQ(EdgePoints({}, PointXYZW(), kFlat, kRules).cols(), 0);
  const EdgeRules near{.raise = 0.01, .limit = 0.0107, .point_spacing = 1e-4};
  EXPECT_EQ(EdgePoints({LineTo(0.004)}, PointXYZW(), kFlat, near).cols(), 0);
}

/// Two edge points on a side of the square of half width 1 about (0, 0, 5).
Side SideOf(const VectorXYZW& outward, const VectorXYZW& along) {
  Eigen::MatrixXd data = Eigen::MatrixXd::Zero(6, 3);
  for (int i = 0; i < 3; ++i) {
    const PointXYZW p = PointXYZW(0, 0, 5) + outward + along * (0.5 * (i - 1));
    data.col(i).head<3>() = p.xyz();
  }
  return SideThrough(PointCloud(data));
}

TEST(Corners, ASquareHasItsFourInOrder) {
  const VectorXYZW x(1, 0, 0);
  const VectorXYZW y(0, 1, 0);
  const geometry::Plane plane(PointXYZW(0, 0, 5), VectorXYZW(0, 0, 1));
  const auto corners = Corners({SideOf(x, y), SideOf(y, -x), SideOf(-x, -y), SideOf(-y, x)}, plane);
  ASSERT_TRUE(corners.has_value());
  ExpectPoint((*corners)[0], 1, 1, 5);
  ExpectPoint((*corners)[1], -1, 1, 5);
  ExpectPoint((*corners)[2], -1, -1, 5);
  ExpectPoint((*corners)[3], 1, -1, 5);
  ExpectPoint(MeanOf({SideOf(x, y), SideOf(-x, -y)}, *corners), 0, 0, 5);
}

TEST(Corners, ParallelNeighboursHaveNone) {
  const VectorXYZW x(1, 0, 0);
  const VectorXYZW y(0, 1, 0);
  const geometry::Plane plane(PointXYZW(0, 0, 5), VectorXYZW(0, 0, 1));
  EXPECT_FALSE(Corners({SideOf(x, y), SideOf(-x, y)}, plane).has_value());
}

TEST(CenterShift, GoesToTheLastPointsButOneWithinTheSurface) {
  // The lines' last points but one lie on a square ring about (0.1, 0, 5).
  LineBins selected(1);
  for (const auto& [x, y] : {std::pair{1.1, 0.0}, {0.1, 1.0}, {-0.9, 0.0}, {0.1, -1.0}}) {
    Eigen::MatrixXd line = Eigen::MatrixXd::Zero(6, 3);
    line.col(1).head<3>() << x, y, 5.0;
    selected[0].push_back(PointCloud(line));
  }
  const VectorXYZW normal(0, 0, -1);
  const PointXYZW center(0, 0, 5.001);
  // Farther than three spacings: all the way, but not along the normal.
  ExpectPoint(CenterShiftedBySpacing(selected, center, normal, PointXYZW(), 0.01), 0.1, 0, 5.001);
  // Nearer: by the rest of the distance in units of 2 ln(range) spacings, at most two spacings.
  const PointXYZW near(0.08, 0, 5);
  const double unit = 2.0 * std::log(std::hypot(0.08, 5.0)) * 0.01;
  ExpectPoint(CenterShiftedBySpacing(selected, near, normal, PointXYZW(), 0.01),
              0.08 + std::min(0.02 / unit * unit, 0.02), 0, 5);
  // Below a range of e the unit is two spacings.
  const PointXYZW close_origin(0.08, 0, 4.5);
  ExpectPoint(CenterShiftedBySpacing(selected, PointXYZW(0.0725, 0, 5), normal, close_origin, 0.01),
              0.0725 + 0.0075, 0, 5);
}

TEST(CenterShift, WithoutABlockInEveryLineNothingMoves) {
  LineBins selected(1,
                    {PointCloud(Eigen::MatrixXd::Ones(6, 3)), PointCloud(Eigen::MatrixXd(6, 0))});
  const PointXYZW center(1, 2, 3);
  EXPECT_EQ(CenterShiftedBySpacing(selected, center, VectorXYZW(0, 0, 1), PointXYZW(), 0.01),
            center);
  EXPECT_EQ(CenterShiftedBySpacing({}, center, VectorXYZW(0, 0, 1), PointXYZW(), 0.01), center);
  // Single columns have no last point but one.
  selected = {{PointCloud(Eigen::MatrixXd::Ones(6, 1)), PointCloud(Eigen::MatrixXd::Ones(6, 1)),
               PointCloud(Eigen::MatrixXd::Ones(6, 1))}};
  EXPECT_EQ(CenterShiftedBySpacing(selected, center, VectorXYZW(0, 0, 1), PointXYZW(), 0.01),
            center);
}

TEST(CenterShift, AStrayEchoInThePlaceOfALastPointButOneIsPassedOver) {
  LineBins selected(1);
  for (const auto& [x, y] : {std::pair{1.0, 0.0}, {0.0, 1.0}, {-1.0, 0.0}, {0.0, -1.0}}) {
    Eigen::MatrixXd line = Eigen::MatrixXd::Zero(6, 4);
    for (int i = 0; i < 4; ++i) line.col(i).head<3>() << x, y, 5.0;
    selected[0].push_back(PointCloud(line));
  }
  const VectorXYZW normal(0, 0, -1);
  const PointXYZW center(0, 0, 5);
  Eigen::MatrixXd stray = selected[0][0].data();
  stray.col(2).head<3>() << 1.5, 0.3, 5.5;
  selected[0][0] = PointCloud(stray);
  ExpectPoint(CenterShiftedBySpacing(selected, center, normal, PointXYZW(), 0.01), 0, 0, 5);
  // Nothing of a line on the surface: the others alone have their middle elsewhere.
  stray.row(2).setConstant(5.5);
  selected[0][0] = PointCloud(stray);
  EXPECT_EQ(CenterShiftedBySpacing(selected, center, normal, PointXYZW(), 0.01), center);
}

TEST(IsMostlyInside, FourTenthsRoundedUpStillPass) {
  const auto inside_count = [](int inside, int total) {
    Eigen::MatrixXd line = Eigen::MatrixXd::Zero(6, total);
    line.row(0).head(inside).setOnes();
    return IsMostlyInside({{PointCloud(line)}}, [](const PointXYZW& p) { return p.x() > 0.5; });
  };
  EXPECT_FALSE(inside_count(4, 10));
  EXPECT_TRUE(inside_count(5, 10));
  EXPECT_FALSE(inside_count(5, 11));
  EXPECT_TRUE(inside_count(6, 11));
}

TEST(Quality, BandsOfTheScatter) {
  EXPECT_DOUBLE_EQ(QualityOfScatter(0.0, 0.0), 100.0);
  EXPECT_DOUBLE_EQ(QualityOfScatter(1e-5, 0.0), 90.0);
  EXPECT_DOUBLE_EQ(QualityOfScatter(1e-4, 0.0), 80.0);
  EXPECT_DOUBLE_EQ(QualityOfScatter(5.5e-4, 0.0), 65.0);
  EXPECT_DOUBLE_EQ(QualityOfScatter(1e-3, 0.0), 50.0);
  EXPECT_DOUBLE_EQ(QualityOfScatter(0.1, 0.0), 10.0);
  EXPECT_DOUBLE_EQ(QualityOfScatter(10.0, 33.0), 33.0);
  EXPECT_DOUBLE_EQ(QualityOfScatter(std::nan(""), 33.0), 33.0);
}

}  // namespace
}  // namespace libmfx::features::shared
