#pragma once

#include <vector>

#include "geometry/cylinder/model.h"

namespace libmfx::geometry::cylinder {

/// Marks the points that lie far from all others: stray echoes, and mixed ones from the rim of a
/// bore, which hang in the air between two surfaces. A wall is covered densely, so a point counts
/// as isolated when its eighth neighbour is more than 4 times as far away as that of the middle
/// point. Below 50 points the spacing tells nothing, and none is.
std::vector<bool> MarkIsolated(const Points& points);

}  // namespace libmfx::geometry::cylinder
