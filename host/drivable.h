#pragma once

#include <string>
#include <vector>

#include "host/wire.h"

namespace libmfx::host {

/// Why no instrument can drive along the points: one on the instrument or behind it, one with a
/// number that is not finite, or a spacing below 0. Empty where one can.
std::string WhyUndrivable(const std::vector<Position>& points);

/// \throws CallError with that text
void RequireDrivable(const std::vector<Position>& points);

}  // namespace libmfx::host
