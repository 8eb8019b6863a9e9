#include "geometry/close_neighbours.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace libmfx::geometry {
namespace {

TEST(CloseNeighbours, CountsOthersStrictlyWithinTheRadius) {
  Eigen::Matrix3Xd points = Eigen::Matrix3Xd::Zero(3, 4);
  points.row(0) << 0.0, 1.0, 2.0, 10.0;
  CloseNeighbours one(points, points, 1.0);
  EXPECT_FALSE(one.HasTwo(1));
  CloseNeighbours more(points, points, 1.0000001);
  EXPECT_TRUE(more.HasTwo(1));
  EXPECT_FALSE(more.HasTwo(0));
  EXPECT_FALSE(more.HasTwo(3));
  CloseNeighbours none(points, points, 0.0);
  EXPECT_FALSE(none.HasTwo(1));
}

TEST(CloseNeighbours, AgreesWithTheCountOverAllPairsInAnyOrder) {
  std::srand(7);
  const Eigen::Matrix3Xd points = Eigen::Matrix3Xd::Random(3, 300);
  const Eigen::Matrix3Xd from = points + 0.05 * Eigen::Matrix3Xd::Random(3, 300);
  const double radius = 0.2;
  CloseNeighbours neighbours(points, from, radius);
  int with_two = 0;
  for (Eigen::Index i = 0; i < points.cols(); ++i) {
    int count = 0;
    for (Eigen::Index j = 0; j < points.cols(); ++j) {
      count += i != j && (from.col(i) - points.col(j)).norm() < radius ? 1 : 0;
    }
    EXPECT_EQ(neighbours.HasTwo(i), count >= 2) << i;
    with_two += count >= 2 ? 1 : 0;
  }
  EXPECT_GT(with_two, 30);
  EXPECT_LT(with_two, 270);
}

}  // namespace
}  // namespace libmfx::geometry
