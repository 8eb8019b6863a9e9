#pragma once

#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>

#include "data_structures/sine_nodes.h"

/// \file
/// Sines and cosines of neighbouring angles at once, bit for bit those of the C library.
///
/// Samples of a scan lie close together, so a node of a table serves several at once: with the
/// offset r from it, sin(node + r) = S + (C r + S (cos r - 1) + C (sin r - r)), of which S and C r
/// are kept exact and the rest is small. The sum is known to a hundredth of its last bit, while the
/// sine of the GNU C library is at most 0.516 of it off (V. Innocente and P. Zimmermann, "Accuracy
/// of Mathematical Functions in Single, Double, Double Extended, and Quadruple Precision"). So
/// where the sum is not within kDoubt of the middle between two doubles, the C library's answer is
/// the double next to it; where it is (one value in twenty), the C library is asked. That takes a
/// third (four lanes) to two thirds (two lanes) of the time of its sines, which were a quarter of
/// the analysis of a hole and more than a third of a polygon's. If it were never asked, one point
/// in 200 would be another in its last bit.

namespace libmfx::data_structures {

struct TwoLanes {
  using Values = double __attribute__((vector_size(16)));
  using Mask = long long __attribute__((vector_size(16)));
  static constexpr int kCount = 2;
};

/// Only in functions for processors whose registers hold them: elsewhere they are slow.
struct FourLanes {
  using Values = double __attribute__((vector_size(32)));
  using Mask = long long __attribute__((vector_size(32)));
  static constexpr int kCount = 4;
};

/// All of this file is made part of the function that calls it, and for its processor.
#define LIBMFX_INTO_CALLER [[gnu::always_inline]] inline

/// Of a unit in the last place, around the middle between two doubles.
inline constexpr double kDoubt = 0.025;

/// Rounds head + rest, and tells where any number within kDoubt of it is rounded the same way.
template <typename Lanes>
LIBMFX_INTO_CALLER void Settle(const typename Lanes::Values& head,
                               const typename Lanes::Values& rest, typename Lanes::Values& sum,
                               typename Lanes::Mask& is_sure) {
  using Values = typename Lanes::Values;
  using Mask = typename Lanes::Mask;
  constexpr long long kExponent = 0x7FF0000000000000;
  constexpr long long kMagnitude = 0x7FFFFFFFFFFFFFFF;
  sum = head + rest;
  const Values lost = rest - (sum - head);
  const Values power = reinterpret_cast<Values>(reinterpret_cast<Mask>(sum) & kExponent);
  const Values lost_most = power * ((0.5 - kDoubt) * 0x1p-52);
  is_sure = reinterpret_cast<Values>(reinterpret_cast<Mask>(lost) & kMagnitude) < lost_most;
}

/// Where what is told is not sure, asks the C library.
template <typename Lanes>
[[gnu::noinline]] void AskForTheRest(const double* angles, const long long* sine_is_sure,
                                     const long long* cosine_is_sure, double* sines,
                                     double* cosines) {
  for (int i = 0; i < Lanes::kCount; ++i) {
    if (sine_is_sure[i] == 0) sines[i] = std::sin(angles[i]);
    if (cosine_is_sure[i] == 0) cosines[i] = std::cos(angles[i]);
  }
}

/// The node around which an angle lies, and where it is: one that is not a number where there is
/// none, so that nothing is sure.
LIBMFX_INTO_CALLER SineNode NodeNear(double angle, double& middle) {
  constexpr double kToNode = 0x1.8p45;  // adding it and taking it away again rounds to a 128th
  constexpr double kLast = static_cast<double>(kLastNode) / kNodesPerRadian;
  middle = (angle + kToNode) - kToNode;
  SineNode node;
  if (std::fabs(middle) <= kLast) {
    node = kSineNodes[static_cast<std::size_t>(std::fabs(middle) * kNodesPerRadian)];
    if (middle < 0.0) node.sine = -node.sine;
  } else {
    node.sine.head = node.cosine.head = std::numeric_limits<double>::quiet_NaN();
  }
  return node;
}

/// Sines and cosines of Lanes::kCount angles, in radians, of any value. It is quick where they are
/// in one 128th of a radian, more than 1e-6 from 0, and not within a 256th of a quarter of a turn.
template <typename Lanes>
LIBMFX_INTO_CALLER void SinesAndCosines(const double* angles, double* sines, double* cosines) {
  using Values = typename Lanes::Values;
  using Mask = typename Lanes::Mask;
  constexpr long long kMagnitude = 0x7FFFFFFFFFFFFFFF;
  // Adding it and taking it away again rounds to 2^-34: of an offset of at most a 256th that leaves
  // 26 bits, whose product with 26 bits is exact.
  constexpr double kToLeadingBits = 0x1.8p18;

  double middle = 0.0;
  const SineNode node = NodeNear(angles[0], middle);
  const double s = node.sine.head + node.sine.rest;
  const double c = node.cosine.head + node.cosine.rest;

  Values x;
  std::memcpy(&x, angles, sizeof x);
  const Values r = x - middle;
  const Values r1 = (r + kToLeadingBits) - kToLeadingBits;
  const Values r2 = r - r1;
  const Values q = r * r;
  const Values cosine_less_1 = q * (-1.0 / 2.0 + q * (1.0 / 24.0 - q * (1.0 / 720.0)));
  const Values sine_less_r = r * q * (-1.0 / 6.0 + q * (1.0 / 120.0 - q * (1.0 / 5040.0)));

  const Values by_cosine = node.cosine.head * r1;
  const Values sine = node.sine.head + by_cosine;
  const Values sine_rest =
      ((node.sine.head - sine) + by_cosine) +
      (node.sine.rest +
       (node.cosine.head * r2 + (node.cosine.rest * r + (s * cosine_less_1 + c * sine_less_r))));
  const Values by_sine = node.sine.head * r1;
  const Values cosine = node.cosine.head - by_sine;
  const Values cosine_rest =
      ((node.cosine.head - cosine) - by_sine) +
      (node.cosine.rest +
       (c * cosine_less_1 - (node.sine.head * r2 + (node.sine.rest * r + s * sine_less_r))));
  Values sums[2];
  Mask sure[2];
  Settle<Lanes>(sine, sine_rest, sums[0], sure[0]);
  Settle<Lanes>(cosine, cosine_rest, sums[1], sure[1]);
  // Offsets are exact up to half a step, and signs of zeros are the C library's.
  const Values offset = reinterpret_cast<Values>(reinterpret_cast<Mask>(r) & kMagnitude);
  const Values size = reinterpret_cast<Values>(reinterpret_cast<Mask>(x) & kMagnitude);
  const Mask holds = (offset <= 0.5 / kNodesPerRadian) & (size > 1e-6);
  sure[0] &= holds;
  sure[1] &= holds;
  std::memcpy(sines, &sums[0], sizeof x);
  std::memcpy(cosines, &sums[1], sizeof x);
  const Mask both = sure[0] & sure[1];
  bool all = true;
  for (int i = 0; i < Lanes::kCount; ++i) all = all && both[i] != 0;
  if (all) [[likely]]
    return;
  long long masks[2 * Lanes::kCount];
  std::memcpy(masks, sure, sizeof sure);
  AskForTheRest<Lanes>(angles, masks, masks + Lanes::kCount, sines, cosines);
}

#undef LIBMFX_INTO_CALLER

}  // namespace libmfx::data_structures
