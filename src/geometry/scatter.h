#pragma once

#include <Eigen/Core>

/// \file
/// The two passes over the columns that a plane fit makes. Nothing is copied: the centroid is
/// formed first and taken off on the fly, never after the products, so that a small patch far from
/// the origin loses no digits. The centroid is summed relative to the first column, for the same
/// reason. Sums run in blocks, which keeps the rounding of a million columns near that of a block.

namespace libmfx::geometry {

/// The top three rows of a matrix whose columns are points.
struct ColumnView {
  const double* data;    ///< x of the first column; y and z follow
  Eigen::Index stride;   ///< doubles from one column to the next
  Eigen::Index columns;  ///< number of columns
};

/// `data` has at least three rows.
inline ColumnView TopRows(const Eigen::MatrixXd& data) {
  return {data.data(), data.rows(), data.cols()};
}

/// Mean of the columns.
Eigen::Vector3d Centroid(const ColumnView& points);
/// Sum of weight times column over the sum of `weights`, of which there is one per column.
Eigen::Vector3d Centroid(const ColumnView& points, const Eigen::VectorXd& weights);
/// Sum of d d^T with d the column minus `centroid`.
Eigen::Matrix3d Scatter(const ColumnView& points, const Eigen::Vector3d& centroid);
/// Sum of (w d) (w d)^T: a weight counts squared.
Eigen::Matrix3d Scatter(const ColumnView& points, const Eigen::Vector3d& centroid,
                        const Eigen::VectorXd& weights);

}  // namespace libmfx::geometry
