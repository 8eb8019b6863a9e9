// The sweep over every family of point sets that scans and rounding make, ten thousand sets each.

#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <sstream>

#include "delaunay_check.h"
#include "geometry/sweep/predicates.h"
#include "point_families.h"
#include "random_cases.h"

namespace {

using namespace delaunay_check;

constexpr int kSets = libmfx::test::Draws(10000, 500);

class VoronoiFamily : public ::testing::TestWithParam<int> {
 protected:
  Family family() const { return static_cast<Family>(GetParam()); }
};

TEST_P(VoronoiFamily, TenThousandSetsComeToTheirEnd) {
  Random sizes(1);
  for (int seed = 0; seed < kSets; ++seed) {
    const int n = 1 + sizes.Below(24);
    const Points points = MakeFamily(family(), n, static_cast<std::uint64_t>(seed));
    std::shared_ptr<Mesh> mesh;
    ASSERT_EQ(EarlyStop(points, mesh), "") << "seed " << seed;
    ASSERT_EQ(BrokenInvariants(points, mesh->faces()), std::vector<std::string>{}) << seed;
    ASSERT_EQ(BrokenLinks(*mesh), std::vector<std::string>{}) << seed;
  }
}

TEST_P(VoronoiFamily, LargerSetsKeepAllInvariants) {
  for (std::uint64_t seed = 0; seed < 10; ++seed) {
    const Points points = MakeFamily(family(), 400, seed);
    std::shared_ptr<Mesh> mesh;
    ASSERT_EQ(EarlyStop(points, mesh), "") << "seed " << seed;
    EXPECT_EQ(BrokenInvariants(points, mesh->faces()), std::vector<std::string>{}) << seed;
    EXPECT_EQ(BrokenLinks(*mesh), std::vector<std::string>{}) << seed;
  }
}

INSTANTIATE_TEST_SUITE_P(All, VoronoiFamily, ::testing::Range(0, kFamilies),
                         [](const ::testing::TestParamInfo<int>& set) {
                           return NameOf(static_cast<Family>(set.param));
                         });

/// Every circle against every point in integers of 128 bits, which owes nothing to the sweep's own
/// arithmetic.
/// \param points integers of at most 20 bits
int PointsInsideCircles(const Points& points, const Eigen::MatrixXi& faces) {
  __extension__ typedef __int128 Wide;
  const auto at = [&](int i) { return points[static_cast<std::size_t>(i)]; };
  int inside = 0;
  for (Eigen::Index f = 0; f < faces.rows(); ++f) {
    for (const auto& [px, py] : points) {
      Wide dx[3], dy[3], square[3];
      for (int c = 0; c < 3; ++c) {
        dx[c] = static_cast<Wide>(at(faces(f, c)).first - px);
        dy[c] = static_cast<Wide>(at(faces(f, c)).second - py);
        square[c] = dx[c] * dx[c] + dy[c] * dy[c];
      }
      const Wide det = square[0] * (dx[1] * dy[2] - dx[2] * dy[1]) +
                       square[1] * (dx[2] * dy[0] - dx[0] * dy[2]) +
                       square[2] * (dx[0] * dy[1] - dx[1] * dy[0]);
      inside += det > 0 ? 1 : 0;
    }
  }
  return inside;
}

TEST(VoronoiOracle, NoPointLiesInsideAnyCircleInIntegers) {
  for (const int range : {6, 30, 1000, 1 << 20}) {
    for (std::uint64_t seed = 0; seed < 20; ++seed) {
      Random random(seed);
      Points points;
      for (int i = 0; i < 120; ++i) {
        const double x = random.Below(range);
        points.emplace_back(x, random.Below(range));
      }
      const auto mesh = MeshOf(points);
      EXPECT_GT(mesh->faces().rows(), 0);
      EXPECT_EQ(PointsInsideCircles(points, mesh->faces()), 0) << range << ", seed " << seed;
    }
  }
}

TEST(VoronoiOracle, NoPointLiesDeepInsideAnyCircle) {
  // The circles are computed in long double, whose rounding is a few 1e-19 of the coordinates; on
  // the flattest triangles of these sets it grows by less than 1e6.
  constexpr double kTolerance = 1e-12;
  for (const Family family : {Family::kUniform, Family::kSpiral, Family::kSmall}) {
    for (std::uint64_t seed = 0; seed < 5; ++seed) {
      const Points points = MakeFamily(family, 250, seed);
      EXPECT_LT(DeepestIntrusion(points, MeshOf(points)->faces()), kTolerance) << NameOf(family);
    }
  }
}

TEST(VoronoiOracle, ValidatorNamesWhatIsBroken) {
  const Points points{{0, 0}, {4, 0}, {4, 3}, {0, 3}, {1, 1}};
  const Eigen::MatrixXi good = MeshOf(points)->faces();
  ASSERT_EQ(good.rows(), 4);
  EXPECT_TRUE(BrokenInvariants(points, good).empty());
  const auto broken = [&points](const Eigen::MatrixXi& faces) {
    std::string all;
    for (const std::string& message : BrokenInvariants(points, faces)) all += message + "; ";
    return all;
  };
  const std::string hole = broken(good.topRows(3));
  EXPECT_NE(hole.find("is not the convex hull"), std::string::npos) << hole;
  EXPECT_NE(hole.find("area of the hull"), std::string::npos) << hole;
  Eigen::MatrixXi turned = good;
  turned.row(0).reverseInPlace();
  EXPECT_NE(broken(turned).find("not counter-clockwise"), std::string::npos);
  EXPECT_NE(broken(turned).find("used twice in one direction"), std::string::npos);
  Eigen::MatrixXi flat(2, 3);
  flat << 0, 1, 2, 0, 2, 3;
  const std::string missing = broken(flat);
  EXPECT_NE(missing.find("1 points have no triangle"), std::string::npos) << missing;
  EXPECT_NE(missing.find("Euler's formula"), std::string::npos) << missing;
  const Points kite{{0, 0}, {10, 0}, {10, 1}, {0, 2}};
  Eigen::MatrixXi wrong(2, 3);
  wrong << 0, 1, 3, 1, 2, 3;
  Eigen::MatrixXi right(2, 3);
  right << 0, 1, 2, 0, 2, 3;
  EXPECT_NE(BrokenInvariants(kite, wrong).empty(), BrokenInvariants(kite, right).empty());
}

}  // namespace
