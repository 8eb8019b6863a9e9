#pragma once

#include <Eigen/Core>

#include "geometry/sweep/diagram.h"

namespace libmfx::geometry::sweep {

/// Reads the sites of a diagram from two rows of a matrix: scaled to at most 1 in magnitude, in
/// sweep order, which is y falling, then x rising; of sites that coincide the first column stays.
/// What is not finite is no site.
/// \param row the row of x; y is in the row below
/// \param diagram gets sites, columns and the exponent, and room for the corners of its triangles;
///        all are empty before
void ReadSites(const Eigen::MatrixXd& points, Eigen::Index row, Diagram& diagram);

}  // namespace libmfx::geometry::sweep
