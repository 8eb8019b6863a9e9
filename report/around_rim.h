#pragma once

#include <vector>

#include "report/type_figures.h"

namespace libmfx::host::report {

/// The samples of a round opening unrolled around its axis, so that the rim stands upright as a
/// line.
std::vector<Figure> AroundTheRim(const Measured& m);

}  // namespace libmfx::host::report
