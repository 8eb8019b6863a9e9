#pragma once

#include <Eigen/Core>
#include <vector>

#include "geometry/sweep/predicates.h"
#include "geometry/sweep/triangulation.h"

namespace libmfx::geometry::sweep {

/// What a sweep leaves behind.
struct Diagram {
  std::vector<Vec2> sites;     ///< distinct, in sweep order, in the sweep's own unit
  std::vector<int> column;     ///< of each site, its first column in the input
  std::vector<int> beachline;  ///< the sites of the arcs left at the end, from left to right
  Triangulation mesh;          ///< Delaunay, with the pairs that share a circle marked
  int exponent = 0;            ///< a site times 2^exponent is in metres
};

/// Sweeps the points of two rows of a matrix.
/// \param row the row of x; y is in the row below
/// \throws std::logic_error on an inconsistency; `diagram` then holds what was built
void BuildDiagram(const Eigen::MatrixXd& points, Eigen::Index row, Diagram& diagram);

}  // namespace libmfx::geometry::sweep
