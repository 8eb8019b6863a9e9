#pragma once

#include <array>
#include <cstddef>
#include <limits>

/// \file
/// Sine and cosine of every 128th of a radian up to half a turn, to twice the digits of a double.

namespace libmfx::data_structures {

/// A number as the sum of two doubles, the second far below the first.
struct TwoPart {
  double head = 0.0;
  double rest = 0.0;
};

/// The sum of two doubles with what rounding leaves over. D. E. Knuth, "The Art of Computer
/// Programming", volume 2, 4.2.2.
constexpr TwoPart ExactSum(double a, double b) {
  const double sum = a + b;
  const double of_b = sum - a;
  return {sum, (a - (sum - of_b)) + (b - of_b)};
}

/// The leading 26 bits of a double: products of two such are exact. T. J. Dekker, "A floating-point
/// technique for extending the available precision", 1971.
constexpr double LeadingBits(double a) {
  const double scaled = a * 134217729.0;  // 2^27 + 1
  return scaled - (scaled - a);
}

/// The product of two doubles with what rounding leaves over, by Dekker.
constexpr TwoPart ExactProduct(double a, double b) {
  const double product = a * b;
  const double a1 = LeadingBits(a);
  const double b1 = LeadingBits(b);
  const double a2 = a - a1;
  const double b2 = b - b1;
  return {product, ((a1 * b1 - product) + a1 * b2 + a2 * b1) + a2 * b2};
}

constexpr TwoPart operator+(const TwoPart& a, const TwoPart& b) {
  const TwoPart sum = ExactSum(a.head, b.head);
  return ExactSum(sum.head, sum.rest + (a.rest + b.rest));
}

constexpr TwoPart operator*(const TwoPart& a, const TwoPart& b) {
  const TwoPart product = ExactProduct(a.head, b.head);
  return ExactSum(product.head, product.rest + (a.head * b.rest + a.rest * b.head));
}

constexpr TwoPart operator-(const TwoPart& a) { return {-a.head, -a.rest}; }

/// Sine and cosine of an angle, each its leading 26 bits and the rest.
struct SineNode {
  TwoPart sine;
  TwoPart cosine;
};

inline constexpr int kNodesPerRadian = 128;
inline constexpr int kLastNode = 402;  // the last one below half a turn

constexpr TwoPart SplitAfterLeadingBits(const TwoPart& a) {
  const double head = LeadingBits(a.head);
  return {head, (a.head - head) + a.rest};
}

/// Nodes at 0, 1/128, 2/128 rad and so on, each turned on from the one before. Where a sine or a
/// cosine is smaller than the half of a step and yet not 0, it is not a number: sums that begin
/// with it are not exact.
constexpr std::array<SineNode, kLastNode + 1> MakeSineNodes() {
  constexpr TwoPart kSineOfStep = {0x1.fffeaaaaeeeefp-8, -0x1.e45e2ec67b77cp-62};
  constexpr TwoPart kCosineOfStep = {0x1.fffc000155552p-1, 0x1.f4a01a0196daep-55};
  constexpr double kHalfStep = 0.5 / kNodesPerRadian;
  const auto is_small = [](double a) { return a > -kHalfStep && a < kHalfStep; };
  std::array<SineNode, kLastNode + 1> nodes{};
  TwoPart sine;
  TwoPart cosine = {1.0, 0.0};
  for (int k = 0; k <= kLastNode; ++k) {
    SineNode& node = nodes[static_cast<std::size_t>(k)];
    node = {SplitAfterLeadingBits(sine), SplitAfterLeadingBits(cosine)};
    if ((k > 0 && is_small(sine.head)) || is_small(cosine.head)) {
      node.sine.head = node.cosine.head = std::numeric_limits<double>::quiet_NaN();
    }
    const TwoPart turned = sine * kCosineOfStep + cosine * kSineOfStep;
    cosine = cosine * kCosineOfStep + -(sine * kSineOfStep);
    sine = turned;
  }
  return nodes;
}

inline constexpr std::array<SineNode, kLastNode + 1> kSineNodes = MakeSineNodes();

}  // namespace libmfx::data_structures
