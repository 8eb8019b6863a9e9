#include "inspection/flatness.h"

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "random_cases.h"
#include "sim/rng.h"

namespace libmfx::inspection {
namespace {

using Eigen::Vector3d;
using Points = std::vector<Vector3d>;

double Width(const Points& points, const Vector3d& normal) {
  double low = std::numeric_limits<double>::infinity();
  double high = -low;
  for (const Vector3d& point : points) {
    low = std::min(low, normal.dot(point - points[0]));
    high = std::max(high, normal.dot(point - points[0]));
  }
  return high - low;
}

/// The thinnest zone touches three points on one side and one on the other, or two on either: its
/// normal is across two of the ways between points.
double ThinnestOfAll(const Points& points) {
  Points ways;
  for (std::size_t i = 0; i < points.size(); ++i) {
    for (std::size_t k = 0; k < i; ++k) ways.push_back((points[i] - points[k]).normalized());
  }
  double least = std::numeric_limits<double>::infinity();
  for (std::size_t i = 0; i < ways.size(); ++i) {
    for (std::size_t k = 0; k < i; ++k) {
      const Vector3d normal = ways[i].cross(ways[k]);
      if (normal.norm() < 1e-9) continue;
      least = std::min(least, Width(points, normal.normalized()));
    }
  }
  return least;
}

/// Points about a plane at a slant, off it by `height`.
Points Scattered(sim::Rng& rng, int count, double length, double width, double height) {
  Eigen::Isometry3d motion(Eigen::AngleAxisd(rng.Uniform(0.0, 3.0), Vector3d(0.48, 0.6, 0.64)));
  motion.pretranslate(Vector3d(0.7, -0.4, 1.9));
  Points points;
  for (int i = 0; i < count; ++i) {
    points.push_back(motion * Vector3d(rng.Uniform(0.0, length), rng.Uniform(0.0, width),
                                       rng.Uniform(0.0, height)));
  }
  return points;
}

double Zone(const Points& points) {
  return MinimumZone(points).value_or(std::numeric_limits<double>::quiet_NaN());
}

TEST(MinimumZone, IsTheThinnestOfAllThatTouchFourPoints) {
  sim::Rng rng(11);
  for (int i = 0; i < test::Draws(2000, 100); ++i) {
    const int count = 4 + i % 7;
    const Points points = Scattered(rng, count, 0.3, 0.2, 2e-4);
    // Coordinates of 2 m are rounded to 4e-16 m; a narrow triangle, which a few sets of four points
    // are, makes some ten times as much of it.
    EXPECT_NEAR(Zone(points), ThinnestOfAll(points), 1e-14) << i;
  }
}

TEST(MinimumZone, IsTheThinnestOfAStripThatIsHardlyWiderThanHigh) {
  sim::Rng rng(12);
  int same = 0;
  const int cases = test::Draws(1000, 50);
  for (int i = 0; i < cases; ++i) {
    const Points points = Scattered(rng, 8, 0.3, 1e-3, 1e-4);
    const double thinnest = ThinnestOfAll(points);
    EXPECT_GE(Zone(points), thinnest - 1e-13) << i;
    if (Zone(points) < thinnest + 1e-13) ++same;
  }
  // Eight points that by chance leave the width empty may have a thinner zone at a steep slant.
  EXPECT_GE(same, cases * 98 / 100);
}

TEST(MinimumZone, OfThreePointsIsNothing) {
  EXPECT_NEAR(Zone({{0.0, 0.0, 0.0}, {0.1, 0.0, 0.02}, {0.0, 0.1, -0.03}}), 0.0, 1e-16);
}

TEST(MinimumZone, OfABowlIsItsHeight) {
  // A grid: as many points on either side as there can be, all in ties.
  Points points;
  for (int i = -15; i <= 15; ++i) {
    for (int k = -15; k <= 15; ++k) {
      const double x = i / 150.0;
      const double y = k / 150.0;
      points.emplace_back(x, y, 0.01 * (x * x + y * y) + 0.1 * x);
    }
  }
  const double lean = std::sqrt(1.0 + 0.01);
  EXPECT_NEAR(Zone(points), 0.01 * 2.0 * 0.01 / lean, 1e-15);
}

TEST(MinimumZone, OfTwoLayersIsTheirDistance) {
  for (const double height : {1e-6, 1e-4, 1e-2}) {
    Points points;
    for (int i = 0; i < 500; ++i) {
      points.emplace_back(0.02 * (i % 25), 0.02 * std::floor(i / 25.0),
                          (i * 7) % 3 == 0 ? height : 0.0);
    }
    EXPECT_NEAR(Zone(points), height, 1e-15);
  }
}

TEST(MinimumZone, OfAPlaneIsNothing) {
  Points points;
  for (int i = 0; i < 1000; ++i) {
    const double x = 0.001 * (i % 40);
    const double y = 0.001 * std::floor(i / 40.0);
    points.emplace_back(x, y, 0.3 * x - 0.7 * y);
  }
  EXPECT_NEAR(Zone(points), 0.0, 1e-16);
}

TEST(MinimumZone, OfManyPointsIsThatOfTheFewThatDecide) {
  sim::Rng rng(14);
  for (int i = 0; i < test::Draws(50, 5); ++i) {
    Points few = Scattered(rng, 12, 0.3, 0.2, 4e-4);
    const Vector3d normal = SpreadAboutPlane(few)->normal;
    Points all = few;
    Vector3d mean = Vector3d::Zero();
    for (const Vector3d& point : few) mean += point / 12.0;
    for (int k = 0; k < 988; ++k) {
      // A mean of some of them lies within every zone that holds these.
      Vector3d inside = Vector3d::Zero();
      double sum = 0.0;
      for (const Vector3d& point : few) {
        const double weight = rng.Uniform();
        inside += weight * point;
        sum += weight;
      }
      all.emplace_back(inside / sum);
    }
    std::swap(all[0], all[500]);
    EXPECT_NEAR(Zone(all), ThinnestOfAll(few), 1e-14);
    EXPECT_LE(Zone(all), Width(all, normal) + 1e-15);
  }
}

TEST(MinimumZone, IsTheSameInAnyUnit) {
  sim::Rng rng(15);
  const Points points = Scattered(rng, 50, 0.3, 0.2, 1e-4);
  const double zone = Zone(points);
  for (const double scale : {1e-9, 1e-3, 1e6}) {
    Points scaled = points;
    for (Vector3d& point : scaled) point *= scale;
    EXPECT_NEAR(Zone(scaled) / scale, zone, 1e-14);
  }
}

TEST(MinimumZone, IsRefusedWhereThereIsNoOnePlane) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  EXPECT_FALSE(MinimumZone({}));
  EXPECT_FALSE(MinimumZone({{0.0, 0.0, 0.0}, {1.0, 0.0, 0.0}}));
  EXPECT_FALSE(MinimumZone(Points(10, Vector3d(0.1, 0.2, 0.3))));
  Points line;
  for (int i = 0; i < 10; ++i) line.emplace_back(0.1 * i, 0.2 * i, -0.3 * i);
  EXPECT_FALSE(MinimumZone(line));
  EXPECT_FALSE(SpreadAboutPlane({}));
  for (const double bad : {nan, infinity, 1e308}) {
    Points points = {{0.0, 0.0, 0.0}, {1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {1.0, 1.0, 0.0}};
    points[2].x() = bad;
    EXPECT_FALSE(MinimumZone(points)) << bad;
    EXPECT_FALSE(SpreadAboutPlane(points)) << bad;
  }
}

TEST(SpreadAboutPlane, TellsLengthWidthAndHeight) {
  const Points points = {
      {-0.2, -0.1, 0.01}, {0.2, -0.1, -0.01}, {-0.2, 0.1, -0.01}, {0.2, 0.1, 0.01}};
  const PlaneSpread spread = SpreadAboutPlane(points).value();
  EXPECT_NEAR(spread.length, 0.2, 1e-15);
  EXPECT_NEAR(spread.width, 0.1, 1e-15);
  EXPECT_NEAR(spread.height, 0.01, 1e-15);
  EXPECT_NEAR(std::fabs(spread.normal.z()), 1.0, 1e-15);
}

}  // namespace
}  // namespace libmfx::inspection
