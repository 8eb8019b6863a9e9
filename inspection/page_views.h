#pragma once

#include <string>

#include "inspection/sheet.h"

namespace libmfx::inspection::page {

/// The part from the front, the top and the right with its deviations: three pictures as inline
/// SVG, what they mean, and kPartScript with their marks as "part-data". A part without a place
/// that can be drawn has words only.
std::string PartSection(const Sheet& sheet);

}  // namespace libmfx::inspection::page
