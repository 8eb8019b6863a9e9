#pragma once

#include <Eigen/Core>

#include "geometry/sweep/diagram.h"
#include "geometry/sweep/triangulation.h"

namespace libmfx::geometry::sweep {

/// Whether any two triangles share one circle.
bool HasSharedCircles(const Triangulation& mesh);

/// Cuts every group of triangles that share one circle anew: the polygon of their sites, in the
/// order of the walk round it, loses one ear at a time. The cost of an ear is the largest angle of
/// its triangle, so that slivers are avoided; among equal costs the first of the walk goes.
/// \param faces shape (triangles, 3): the corners of the diagram's triangles by column of the
///        input; those of the groups are written anew
/// \param twin the diagram's, likewise
/// \throws std::runtime_error if no ear can be chosen
void CutSharedCircles(const Diagram& diagram, Eigen::MatrixXi& faces, Triangulation::Indices& twin);

}  // namespace libmfx::geometry::sweep
