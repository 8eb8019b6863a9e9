#pragma once

#include <Eigen/Core>
#include <vector>

#include "libmfx/data_structures/point_cloud.h"

namespace libmfx::geometry {

/// The loops along the gaps of a triangle mesh, see Mesh::InteriorBoundaries, from arrays alone.
/// The loops, their order and every bit of them are those that dissolving the halfedge graph gives.
///
/// Halfedge h = 3 f + c runs from corner c of face f to the next corner of that face.
/// \param vertices one column a vertex; x and y in rows 0 and 1, metres; without row 1 y is 0
/// \param faces shape (faces, 3): column indices into `vertices`
/// \param twins the halfedge opposite to each of 3 faces.rows(), or -1; opposite ones name each
///        other
/// \param max_edge_length metres; an edge of exactly this length stays
std::vector<data_structures::PointCloud> GapLoops(const Eigen::MatrixXd& vertices,
                                                  const Eigen::MatrixXi& faces, const int* twins,
                                                  double max_edge_length);

}  // namespace libmfx::geometry
