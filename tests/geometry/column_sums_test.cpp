// The moments of points whose coordinates stand apart, beside those of points in columns.

#include "geometry/column_sums.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <vector>

#include "geometry/halving_cuts.h"
#include "libmfx/geometry/plane.h"

namespace libmfx::geometry {
namespace {

using Eigen::Index;

/// Columns about a place some metres off; every third weight is 0, and so are runs of them.
struct Weighted {
  Eigen::MatrixXd columns;
  Eigen::VectorXd weights;
};

Weighted Points(Index count, std::mt19937& random) {
  std::uniform_real_distribution<double> chance(-1.0, 1.0);
  Weighted points{Eigen::MatrixXd(3, count), Eigen::VectorXd(count)};
  for (Index i = 0; i < count; ++i) {
    for (Index row = 0; row < 3; ++row) points.columns(row, i) = 2.5 + 0.03 * chance(random);
    points.weights[i] = i % 3 == 0 || i / 7 % 2 == 0 ? 0.0 : 0.5 + 0.5 * chance(random);
  }
  return points;
}

TEST(ColumnSums, CoordinatesApartGiveTheSameMomentsToTheLastBit) {
  std::mt19937 random(11);
  for (const Index count : {1, 2, 3, 8, 9, 511, 512, 513, 2001}) {
    const Weighted points = Points(count, random);
    const Eigen::MatrixX3d apart = points.columns.transpose();
    for (const Eigen::VectorXd& weights : {points.weights, Eigen::VectorXd()}) {
      if (weights.size() > 0 && weights.sum() == 0.0) continue;
      const Moments expected = FindMoments(TopRows(points.columns), weights);
      const Moments moments = FindMoments(CoordinatesOf(apart), weights);
      EXPECT_EQ(moments.centroid, expected.centroid) << count;
      EXPECT_EQ(moments.scatter, expected.scatter) << count;
      EXPECT_EQ(moments.squared_weights, expected.squared_weights) << count;
    }
  }
}

/// The plane that the cuts of one line end with, where all samples but those at `out` count.
Plane PlaneWithout(const Eigen::MatrixX3d& points, Index out) {
  HalvingCuts cuts(points, {{points.rows()}});
  cuts.WeighCandidates([out](Index own, Index /*place*/) { return own != out; }, 1.0);
  Plane plane;
  EXPECT_EQ(cuts.Run(1.0, 1e300, plane), CutsEnd::kFound);
  return plane;
}

TEST(ColumnSums, ASampleThatIsNoNumberOrFarTooLargeTakesNoPartInTheCuts) {
  std::mt19937 random(12);
  constexpr Index kOut = 17;
  Eigen::MatrixX3d points = Points(60, random).columns.transpose();
  const Plane expected = PlaneWithout(points, kOut);
  for (const double bad : {std::numeric_limits<double>::quiet_NaN(),
                           std::numeric_limits<double>::infinity(), 1e200, -1e308}) {
    points.row(kOut).setConstant(bad);
    const Plane plane = PlaneWithout(points, kOut);
    // The sums of the others are made in another order: some roundings of 3 metres.
    EXPECT_LT((plane.Point().xyz() - expected.Point().xyz()).norm(), 1e-13) << bad;
    EXPECT_LT((plane.Normal().xyz() - expected.Normal().xyz()).norm(), 1e-10) << bad;
  }
}

TEST(ColumnSums, MarksWhatIsInUseAndWhatStandsBesideIt) {
  const std::vector<double> weights{0.0, 0.0, 1.0, 0.5, 0.0, 0.0, 0.0, 1.0};
  std::vector<char> marks(weights.size());
  EXPECT_EQ(MarkInUse(weights.data(), 8, false, marks.data()), 3);
  EXPECT_EQ(marks, (std::vector<char>{0, 0, 1, 1, 0, 0, 0, 1}));
  EXPECT_EQ(MarkInUse(weights.data(), 8, true, marks.data()), 6);
  EXPECT_EQ(marks, (std::vector<char>{0, 1, 1, 1, 1, 0, 1, 1}));
  EXPECT_EQ(MarkInUse(weights.data(), 0, true, marks.data()), 0);
}

}  // namespace
}  // namespace libmfx::geometry
