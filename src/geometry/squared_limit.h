#pragma once

#include <cmath>
#include <limits>

/// \file
/// Comparing lengths by their squares, without a root for each, to the last bit as with the roots.

namespace libmfx::geometry {

/// The largest square whose root is no more than `limit`; negative if there is none. For a square s
/// that is a number, `s <= SquareWithin(limit)` is `std::sqrt(s) <= limit`.
inline double SquareWithin(double limit) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  if (!(limit >= 0.0)) return -1.0;
  double square = limit * limit;
  while (std::sqrt(square) > limit) square = std::nextafter(square, 0.0);
  while (square < kInfinity) {
    const double next = std::nextafter(square, kInfinity);
    if (std::sqrt(next) > limit) break;
    square = next;
  }
  return square;
}

/// The same for roots that are less than `limit`; NaN for NaN, which is neither above nor below.
inline double SquareBelow(double limit) {
  if (std::isnan(limit)) return limit;
  return SquareWithin(std::nextafter(limit, -std::numeric_limits<double>::infinity()));
}

}  // namespace libmfx::geometry
