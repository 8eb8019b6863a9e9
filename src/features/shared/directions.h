#pragma once

#include <algorithm>
#include <cmath>

#include "libmfx/data_structures/point.h"

/// \file
/// Directions and angles as the extractors use them. Angles are radians.

namespace libmfx::features::shared {

/// A direction whose four components are all within this of 0 is no direction.
inline constexpr double kZeroDirection = 1e-12;

/// Arc cosine of a cosine that rounding may have pushed beyond 1; NaN stays NaN.
inline double AngleOfCosine(double cosine) { return std::acos(std::clamp(cosine, -1.0, 1.0)); }

/// Unit vector from one point to another; zero if they coincide.
inline data_structures::VectorXYZW UnitFromTo(const data_structures::PointXYZW& from,
                                              const data_structures::PointXYZW& to) {
  return (to - from).normalized();
}

/// `v` turned about the unit vector `axis` by `angle`, by Rodrigues' formula.
inline data_structures::VectorXYZW Turned(const data_structures::VectorXYZW& v,
                                          const data_structures::VectorXYZW& axis, double angle) {
  const double c = std::cos(angle);
  return v * c + axis.cross(v) * std::sin(angle) + axis * (axis.dot(v) * (1.0 - c));
}

/// 1, -1, or 0 for zero and NaN.
inline int SignOf(double value) { return (value > 0.0) - (value < 0.0); }

}  // namespace libmfx::features::shared
