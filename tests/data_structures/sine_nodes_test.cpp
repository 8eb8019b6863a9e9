#include "data_structures/sine_nodes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace libmfx::data_structures {
namespace {

double Bits(double a, int count) {
  int exponent = 0;
  return std::ldexp(std::frexp(a, &exponent), count);
}

TEST(SineNodes, HoldTwiceTheDigitsOfADouble) {
  // An exact value to compare with has more digits than a double; where none does, the heads are.
  const long double error = std::numeric_limits<long double>::digits > 53 ? 0x1p-63L : 0x1p-53L;
  int missing = 0;
  for (int k = 0; k <= kLastNode; ++k) {
    const SineNode& node = kSineNodes[static_cast<std::size_t>(k)];
    if (std::isnan(node.sine.head)) {
      ++missing;
      continue;
    }
    const long double angle = static_cast<long double>(k) / kNodesPerRadian;
    const long double sine = static_cast<long double>(node.sine.head) + node.sine.rest;
    const long double cosine = static_cast<long double>(node.cosine.head) + node.cosine.rest;
    EXPECT_NEAR(static_cast<double>(sine - std::sin(angle)), 0.0, static_cast<double>(error)) << k;
    EXPECT_NEAR(static_cast<double>(cosine - std::cos(angle)), 0.0, static_cast<double>(error))
        << k;
    // Products with 26 bits of an offset are exact.
    EXPECT_EQ(Bits(node.sine.head, 26), std::round(Bits(node.sine.head, 26))) << k;
    EXPECT_EQ(Bits(node.cosine.head, 26), std::round(Bits(node.cosine.head, 26))) << k;
  }
  EXPECT_EQ(missing, 2) << "a quarter and a half of a turn";
}

TEST(SineNodes, SumsAndProductsLoseNothingOfWhatTwoDoublesHold) {
  const TwoPart sum = ExactSum(1.0, 0x1p-80);
  EXPECT_EQ(sum.head, 1.0);
  EXPECT_EQ(sum.rest, 0x1p-80);
  const TwoPart square = ExactProduct(1.0 + 0x1p-52, 1.0 + 0x1p-52);
  EXPECT_EQ(square.head, 1.0 + 0x1p-51);
  EXPECT_EQ(square.rest, 0x1p-104);
  const TwoPart third = {1.0 / 3.0, (1.0 - 3.0 * (1.0 / 3.0)) / 3.0};
  const TwoPart ninth = third * third;
  EXPECT_EQ(ninth.head, 1.0 / 9.0);
}

}  // namespace
}  // namespace libmfx::data_structures
