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
  /// Delaunay, with the pairs that share a circle marked. Of a sweep that an exception ended: the
  /// triangles closed until then. There are as many marks as halfedges in any case.
  Triangulation mesh;
  bool finished = false;  ///< whether no exception ended it: the mesh is whole and Delaunay
  int exponent = 0;       ///< a site times 2^exponent is in metres
};

/// Sweeps the points of two rows of a matrix.
/// \param row the row of x; y is in the row below
/// \throws std::logic_error on an inconsistency; `diagram` then holds what was built, as it does
///     when memory runs out
void BuildDiagram(const Eigen::MatrixXd& points, Eigen::Index row, Diagram& diagram);

/// The same from the sites of a diagram that has nothing else yet. They are distinct and in sweep
/// order.
void SweepSites(Diagram& diagram);

}  // namespace libmfx::geometry::sweep
