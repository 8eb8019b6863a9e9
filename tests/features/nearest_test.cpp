// The nearest column of a line, whichever way the line runs.

#include "features/shared/nearest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace libmfx::features::shared {
namespace {

NearestColumn Find(const std::vector<double>& squares, const std::vector<bool>& counts) {
  return FindNearest(
      static_cast<Eigen::Index>(squares.size()),
      [&](Eigen::Index i) { return squares[static_cast<std::size_t>(i)]; },
      [&](Eigen::Index i) { return counts[static_cast<std::size_t>(i)]; });
}
NearestColumn Find(const std::vector<double>& squares) {
  return Find(squares, std::vector<bool>(squares.size(), true));
}

TEST(FindNearest, OfEqualDistancesTheFirstColumnIsTaken) {
  EXPECT_EQ(Find({4.0, 1.0, 1.0, 9.0}).column, 1);
  EXPECT_EQ(Find({9.0, 1.0, 1.0, 4.0}).column, 1);
  // Squares that differ by a bit have one root.
  const double above = std::nextafter(2.0, 3.0);
  ASSERT_EQ(std::sqrt(above), std::sqrt(2.0));
  EXPECT_EQ(Find({9.0, above, 2.0, 4.0}).column, 1);
  EXPECT_EQ(Find({4.0, above, 2.0, 9.0}).column, 1);
}

TEST(FindNearest, NothingIsFoundWhereNothingCounts) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(Find({}).column, -1);
  EXPECT_EQ(Find({nan, infinity}).column, -1);
  EXPECT_EQ(Find({1.0, 2.0}, {false, false}).column, -1);
  EXPECT_EQ(Find({1.0, 2.0}, {false, false}).distance, std::numeric_limits<double>::max());
  EXPECT_EQ(Find({nan, 2.0, nan}).column, 1);
}

TEST(FindNearest, AgreesWithALookAtEveryColumn) {
  std::mt19937 random(5);
  for (int draw = 0; draw < 500; ++draw) {
    std::vector<double> squares(1 + random() % 20);
    std::vector<bool> counts(squares.size());
    for (std::size_t i = 0; i < squares.size(); ++i) {
      // A few values only, some of which share a root.
      squares[i] = 2.0 + 0x1p-52 * static_cast<double>(random() % 8) + (random() % 3 == 0 ? 1 : 0);
      counts[i] = random() % 4 != 0;
    }
    NearestColumn expected;
    for (std::size_t i = 0; i < squares.size(); ++i) {
      if (!counts[i] || !(std::sqrt(squares[i]) < expected.distance)) continue;
      expected = {static_cast<Eigen::Index>(i), std::sqrt(squares[i])};
    }
    const NearestColumn found = Find(squares, counts);
    EXPECT_EQ(found.column, expected.column);
    EXPECT_EQ(found.distance, expected.distance);
  }
}

}  // namespace
}  // namespace libmfx::features::shared
