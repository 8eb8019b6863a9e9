#pragma once

#include <string>

#include "libmfx/data_structures/point.h"

/// \file
/// Numbers in messages. They read the same under every locale.

namespace libmfx::features::shared {

/// The shortest text that reads back as the same double.
std::string TextOf(double value);
/// "(x, y, z, w)".
std::string TextOf(const data_structures::PointXYZW& point);
std::string TextOf(const data_structures::VectorXYZW& vector);

}  // namespace libmfx::features::shared
