#include "libmfx/features/search_spiral.h"
#include "paths.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

namespace libmfx::features {
namespace {

using data_structures::AzElRange;
using data_structures::PointXYZW;
using data_structures::Position;
using data_structures::VectorXYZW;

const PointXYZW kCenter(0.1, -0.2, 2.0);

std::vector<Position> Spiral(const VectorXYZW& normal, double max_radius, unsigned int per_turn,
                             double pitch, double spacing) {
  geometry::Plane plane(kCenter, normal);
  std::queue<Position> path = GenerateSearchSpiral(plane, max_radius, per_turn, pitch, spacing);
  std::vector<Position> points;
  for (; !path.empty(); path.pop()) points.push_back(path.front());
  return points;
}

VectorXYZW FromCenter(const Position& p) { return test::PlaceOf(p) - kCenter; }

TEST(SearchSpiral, BeginsAtTheCentreWithSpacingZero) {
  const auto points = Spiral({0, 0, -1}, 0.01, 20, 0.001, 0.0005);
  ASSERT_GT(points.size(), 1u);
  EXPECT_LT(FromCenter(points.front()).norm(), 1e-12);
  EXPECT_EQ(points.front().point_spacing, 0.0);
  for (std::size_t i = 1; i < points.size(); ++i) EXPECT_EQ(points[i].point_spacing, 0.0005);
}

TEST(SearchSpiral, EachPointLiesOneStepFurtherOutAndFurtherRound) {
  const VectorXYZW normal = VectorXYZW(0.3, 0.4, -1.0).normalized();
  const auto points = Spiral(normal, 0.0101, 20, 0.001, 0.001);
  // Steps of 50 um up to 10.1 mm, and the centre.
  ASSERT_EQ(points.size(), 1u + 202u);
  const VectorXYZW u = normal.cross({1, 0, 0}).normalized();
  const VectorXYZW v = normal.cross(u);
  for (std::size_t i = 1; i < points.size(); ++i) {
    const double r = 0.00005 * static_cast<double>(i);
    const double t = 2.0 * std::numbers::pi / 20.0 * static_cast<double>(i - 1);
    const VectorXYZW expected = r * (u * std::cos(t) + v * std::sin(t));
    EXPECT_LT((FromCenter(points[i]) - expected).norm(), 1e-12) << i;
  }
}

TEST(SearchSpiral, MaxRadiusBelowTheStepIsTheCentreAlone) {
  EXPECT_EQ(Spiral({0, 0, -1}, 0.00004, 20, 0.001, 0.001).size(), 1u);
  EXPECT_EQ(Spiral({0, 0, -1}, 0.00005, 20, 0.001, 0.001).size(), 2u) << "a step is reached";
  EXPECT_EQ(Spiral({0, 0, -1}, -1.0, 20, 0.001, 0.001).size(), 1u);
}

TEST(SearchSpiral, NormalAlongXKeepsEveryPointOnTheCentre) {
  const auto points = Spiral({1, 0, 0}, 0.00101, 20, 0.001, 0.001);
  ASSERT_EQ(points.size(), 21u);
  for (const Position& p : points) EXPECT_LT(FromCenter(p).norm(), 1e-12);
}

TEST(SearchSpiral, WhatCannotBeDrivenIsEmpty) {
  const double inf = std::numeric_limits<double>::infinity();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_TRUE(Spiral({0, 0, -1}, 0.01, 20, 0.0, 0.001).empty());
  EXPECT_TRUE(Spiral({0, 0, -1}, 0.01, 20, -0.001, 0.001).empty());
  EXPECT_TRUE(Spiral({0, 0, -1}, 0.01, 20, nan, 0.001).empty());
  EXPECT_TRUE(Spiral({0, 0, -1}, 0.01, 0, 0.001, 0.001).empty());
  EXPECT_TRUE(Spiral({0, 0, -1}, inf, 20, 0.001, 0.001).empty());
  EXPECT_TRUE(Spiral({0, 0, -1}, nan, 20, 0.001, 0.001).empty());
  EXPECT_TRUE(Spiral({0, 0, -1}, 1e300, 20, 0.001, 0.001).empty());
  EXPECT_TRUE(Spiral({0, 0, -1}, 0.01, 20, 1e-9, 0.001).empty());
}

TEST(SearchSpiral, TheLimitOfPointsIsReachedAndNotPassed) {
  EXPECT_EQ(Spiral({0, 0, -1}, 0.04990002, 20, 1e-6, 0.001).size(), 998'001u);
  EXPECT_TRUE(Spiral({0, 0, -1}, 0.0501, 20, 1e-6, 0.001).empty());
}

}  // namespace
}  // namespace libmfx::features
