#pragma once

#include <vector>

#include "geometry/sweep/triangulation.h"

namespace libmfx::geometry::sweep {

/// Whether any two triangles share one circle.
bool HasSharedCircles(const Triangulation& mesh);

/// Cuts every group of triangles that share one circle anew: the polygon of their sites, in the
/// order of the walk round it, loses one ear at a time. The cost of an ear is the largest angle of
/// its triangle, so that slivers are avoided; among equal costs the first of the walk goes.
/// \throws
/// std::runtime_error if no ear can be chosen
void CutSharedCircles(Triangulation& mesh, const std::vector<Vec2>& sites);

}  // namespace libmfx::geometry::sweep
