#pragma once

#include <string>
#include <variant>

#include "libmfx/data_structures/point.h"

namespace libmfx::features {

/// What was measured under one key of the result message, in full precision: lengths are metres,
/// angles radians, places in the instrument's frame, directions unit vectors.
struct ResultValue {
  std::string key;
  std::variant<double, int, data_structures::PointXYZW, data_structures::VectorXYZW> value;
};

}  // namespace libmfx::features
