#pragma once

#include <cmath>

#include "libmfx/data_structures/point.h"

namespace libmfx::geometry {

/// `v` divided by its length over all four components (kept as given when that is zero), with its
/// `w` set to 0 afterwards. The one rule by which lines and planes store a direction.
inline data_structures::VectorXYZW UnitDirection(const data_structures::VectorXYZW& v) {
  Eigen::Vector4d result = v.eigen();
  const double squared = result.squaredNorm();
  if (squared > 0.0) result /= std::sqrt(squared);
  result[3] = 0.0;
  return data_structures::VectorXYZW(result);
}

}  // namespace libmfx::geometry
