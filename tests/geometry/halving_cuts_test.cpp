// The cuts beneath the robust fits: the loop, the windows along scan lines, and the two together.

#include "geometry/halving_cuts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <vector>

#include "libmfx/math/gaussian_window.h"

namespace libmfx::geometry {
namespace {

using data_structures::PointXYZW;
using Eigen::Index;
using Eigen::Vector3d;
using math::GaussianWindow;

/// A loop whose worst residuals are given.
struct Loop {
  std::vector<double> worst;
  std::vector<double> limits;
  int fits = 0;
  int failing_fit = 0;

  bool Run(double tolerance) {
    return HalveResiduals(
        tolerance, [&] { return ++fits != failing_fit; }, [&] { return worst[limits.size()]; },
        [&](double limit) { limits.push_back(limit); });
  }
};

TEST(HalveResiduals, CutsAtHalfOfTheWorstUntilItIsBelowTheTolerance) {
  Loop loop{{8.0, 3.0, 1.0, 0.5}, {}};
  EXPECT_TRUE(loop.Run(1.0));
  EXPECT_EQ(loop.limits, (std::vector<double>{4.0, 1.5, 0.5}));
  EXPECT_EQ(loop.fits, 4);
}

TEST(HalveResiduals, CutsTenTimesAtMost) {
  Loop loop{std::vector<double>(20, 2.0), {}};
  EXPECT_TRUE(loop.Run(1.0));
  EXPECT_EQ(loop.limits.size(), 10u);
  EXPECT_EQ(loop.fits, 11);
}

TEST(HalveResiduals, EndsWithTheFirstFitThatFails) {
  Loop first{{8.0}, {}, 0, 1};
  EXPECT_FALSE(first.Run(1.0));
  EXPECT_TRUE(first.limits.empty());
  Loop third{{8.0, 4.0, 2.0}, {}, 0, 3};
  EXPECT_FALSE(third.Run(1.0));
  EXPECT_EQ(third.limits.size(), 2u);
}

std::vector<double> Windowed(LineWindows& windows, std::vector<double> weights, bool reversed) {
  windows.Apply(weights.data(), static_cast<Index>(weights.size()),
                std::count(weights.begin(), weights.end(), 1.0), reversed);
  return weights;
}

TEST(LineWindows, GivesTheSamplesInUseTheWindowInTheirOrder) {
  const std::vector<double> w = GaussianWindow(3, 0.7);
  LineWindows windows(0.7);
  EXPECT_EQ(Windowed(windows, {0, 0, 1, 1, 1, 0}, false),
            (std::vector<double>{0, 0, w[0], w[1], w[2], 0}));
  EXPECT_EQ(Windowed(windows, {1, 0, 1, 0, 0, 1, 0}, false),
            (std::vector<double>{w[0], 0, w[1], 0, 0, w[2], 0}));
  EXPECT_EQ(Windowed(windows, {1, 0, 1, 1}, false), (std::vector<double>{w[0], 0, w[1], w[2]}));
}

TEST(LineWindows, TurnsTheWindowOfAReversedLine) {
  const std::vector<double> w = GaussianWindow(3, 1.0);
  LineWindows windows(1.0);
  EXPECT_EQ(Windowed(windows, {1, 1, 1}, true), (std::vector<double>{w[2], w[1], w[0]}));
  EXPECT_EQ(Windowed(windows, {1, 0, 1, 1}, true), (std::vector<double>{w[2], 0, w[1], w[0]}));
}

TEST(LineWindows, LeavesALineWithoutSamplesInUse) {
  LineWindows windows(1.0);
  EXPECT_EQ(Windowed(windows, {0, 0, 0}, false), (std::vector<double>{0, 0, 0}));
  EXPECT_TRUE(Windowed(windows, {}, true).empty());
}

TEST(LineWindows, LastsThroughLinesOfAnyLengthInAnyOrder) {
  LineWindows windows(0.25);
  for (const unsigned n : {5000u, 7u, 1024u, 1025u, 5000u, 7u, 1u, 1024u}) {
    EXPECT_EQ(Windowed(windows, std::vector<double>(n, 1.0), false), GaussianWindow(n, 0.25)) << n;
  }
}

TEST(LineWindows, AreTheSameWhateverWasAskedForBefore) {
  // More widths, and more samples in all, than are kept.
  const std::vector<double> ones(1024, 1.0);
  for (int round = 0; round < 2; ++round) {
    for (const double sigma : {0.25, 1.0, 0.3, 0.5, 0.7, 2.0}) {
      LineWindows windows(sigma);
      for (unsigned n = 1; n <= 1024; n += 93) {
        const std::vector<double> some(ones.begin(), ones.begin() + n);
        ASSERT_EQ(Windowed(windows, some, false), GaussianWindow(n, sigma)) << sigma << " " << n;
      }
    }
  }
  LineWindows narrow(0.25);
  LineWindows wide(1.0);
  for (unsigned n = 600; n < 750; ++n) {
    const std::vector<double> some(ones.begin(), ones.begin() + n);
    ASSERT_EQ(Windowed(narrow, some, false), GaussianWindow(n, 0.25)) << n;
    ASSERT_EQ(Windowed(wide, some, false), GaussianWindow(n, 1.0)) << n;
  }
}

/// Lines of `columns` samples each along x, side by side in y, at the height that `height` gives a
/// column.
template <typename Height>
HalvingCuts Lines(const std::vector<CutLine>& lines, Height height) {
  Index columns = 0;
  for (const CutLine& line : lines) columns += line.columns;
  Eigen::MatrixX3d points(columns, 3);
  Index column = 0;
  for (std::size_t k = 0; k < lines.size(); ++k) {
    for (Index i = 0; i < lines[k].columns; ++i, ++column) {
      points.row(column) << static_cast<double>(i), static_cast<double>(k), height(column);
    }
  }
  return {points, lines};
}

bool Everything(Index /*own*/, Index /*place*/) { return true; }

Vector3d PointOf(const Eigen::MatrixX3d& points, Index i) { return points.row(i).transpose(); }

TEST(HalvingCuts, DropsWhatLiesOffThePlane) {
  HalvingCuts cuts =
      Lines({{6}, {6, true}, {6}}, [](Index column) { return column == 8 ? 3.0 : 0.0; });
  cuts.WeighCandidates(Everything, 1.0);
  Plane plane;
  EXPECT_EQ(cuts.Run(1.0, 1e-6, plane), CutsEnd::kFound);
  EXPECT_NEAR(plane.Distance(PointXYZW(PointOf(cuts.points(), 0))), 0.0, 1e-12);
  EXPECT_NEAR(plane.Distance(PointXYZW(PointOf(cuts.points(), 8))), 3.0, 1e-12);
  // The line that is one sample short has the shorter window, from its end.
  const std::vector<double> five = GaussianWindow(5, 1.0);
  const std::vector<double> six = GaussianWindow(6, 1.0);
  EXPECT_EQ(cuts.weights()[8], 0.0);
  EXPECT_EQ(cuts.weights()[11], five[0]);
  EXPECT_EQ(cuts.weights()[6], five[4]);
  EXPECT_EQ(cuts.weights()[0], six[0]);
  EXPECT_EQ(cuts.weights()[17], six[5]);
}

TEST(HalvingCuts, ALineWithoutACandidateDoesNotAdvanceThePlace) {
  HalvingCuts cuts = Lines({{2}, {3}, {4}}, [](Index) { return 0.0; });
  std::vector<Index> places;
  cuts.WeighCandidates(
      [&](Index own, Index place) {
        places.push_back(place);
        return own < 2 || own >= 5;
      },
      1.0);
  EXPECT_EQ(places, (std::vector<Index>{0, 1, 2, 3, 4, 2, 3, 4, 5}));
  const std::vector<double> two = GaussianWindow(2, 1.0);
  const std::vector<double> four = GaussianWindow(4, 1.0);
  Eigen::VectorXd expected(9);
  expected << two[0], two[1], four[0], four[1], four[2], four[3], 0.0, 0.0, 0.0;
  EXPECT_EQ(cuts.weights(), expected);
}

TEST(HalvingCuts, ARingIsThatOfSingleDistances) {
  // Lines of odd and even length, of which one is out of reach. Each limit is the very distance of
  // a sample, so that the last bit of a square decides.
  const std::vector<CutLine> lines{{7}, {5}, {8, true}, {1}, {9}};
  std::mt19937 random(5);
  std::uniform_real_distribution<double> coordinate(-1.0, 1.0);
  Eigen::MatrixX3d points(30, 3);
  Eigen::VectorXd qualities(30);
  for (Index i = 0; i < points.rows(); ++i) {
    for (Index k = 0; k < 3; ++k) points(i, k) = coordinate(random);
    if (i >= 7 && i < 12) points(i, 0) += 10.0;
    qualities[i] = i % 4 == 0 ? 50.0 : 51.0;
  }
  points(3, 1) = std::numeric_limits<double>::quiet_NaN();
  const Vector3d center(0.1, -0.2, 0.05);
  for (Index limit = 12; limit < points.rows(); ++limit) {
    const double max_distance = (center - PointOf(points, limit)).norm();
    const double min_distance = limit % 2 == 0 ? 0.0 : 0.5 * max_distance;
    for (const bool own_distance : {false, true}) {
      for (const Eigen::VectorXd* q : {static_cast<const Eigen::VectorXd*>(nullptr),
                                       static_cast<const Eigen::VectorXd*>(&qualities)}) {
        HalvingCuts ring(points, lines);
        ring.WeighAround({center, min_distance, max_distance, q, 50.0, own_distance}, 0.7);
        HalvingCuts single(points, lines);
        single.WeighCandidates(
            [&](Index own, Index place) {
              const double d = (center - PointOf(points, own_distance ? own : place)).norm();
              return d >= min_distance && d <= max_distance && (q == nullptr || (*q)[own] > 50.0);
            },
            0.7);
        ASSERT_EQ(ring.weights(), single.weights()) << limit << " " << own_distance;
      }
    }
  }
}

TEST(HalvingCuts, TellWhyThereIsNoPlane) {
  Plane plane;
  HalvingCuts two = Lines({{2}}, [](Index) { return 0.0; });
  two.WeighCandidates(Everything, 1.0);
  EXPECT_EQ(two.Run(1.0, 1e-6, plane), CutsEnd::kNoFirstFit);
  HalvingCuts none = Lines({{5}, {5}}, [](Index) { return 0.0; });
  none.WeighCandidates([](Index, Index) { return false; }, 1.0);
  EXPECT_EQ(none.Run(1.0, 1e-6, plane), CutsEnd::kNotValid);
  // Corners of a saddle are all equally far from their plane, and all are cut.
  HalvingCuts saddle = Lines({{2}, {2}}, [](Index i) { return i == 0 || i == 3 ? 0.1 : -0.1; });
  saddle.WeighCandidates(Everything, 1e9);
  EXPECT_EQ(saddle.Run(1.0, 1e-6, plane), CutsEnd::kNotValid);
}

}  // namespace
}  // namespace libmfx::geometry
