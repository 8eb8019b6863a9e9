#pragma once

#include <Eigen/Core>
#include <cfloat>

/// \file
/// The passes over columns of points that the plane fits make, without a copy of the points.
///
/// Moments take one pass. Everything is summed relative to a reference point among the columns,
/// never to the origin, so that a small patch far away loses no digits. Sums run in blocks, which
/// keeps the rounding of a million columns near that of a block.

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

/// Points whose coordinates stand apart, all x first: the sums need no shuffling of elements then.
struct CoordinateView {
  const double* x;
  const double* y;
  const double* z;
  Eigen::Index columns;  ///< number of points
};

inline CoordinateView CoordinatesOf(const Eigen::MatrixX3d& points) {
  return {points.data(), points.data() + points.rows(), points.data() + 2 * points.rows(),
          points.rows()};
}

/// Centroid and scatter of weighted points. With a weight w for each column p (1 if there are
/// none), the centroid takes the weight plainly and the scatter takes it squared.
struct Moments {
  Eigen::Vector3d centroid;      ///< sum of w p over the sum of w
  Eigen::Matrix3d scatter;       ///< sum of (w d) (w d)^T with d = p - centroid
  double squared_weights = 0.0;  ///< sum of w^2
};

/// \param points at least one column
/// \param weights one per column, or empty
Moments FindMoments(const ColumnView& points, const Eigen::VectorXd& weights);
/// The same to the last bit, and quicker where many weights are 0. No coordinate is larger than
/// kModerate.
Moments FindMoments(const CoordinateView& points, const Eigen::VectorXd& weights);

/// Sums of products of coordinates up to this, metres, stay finite.
inline constexpr double kModerate = 1e100;

/// What the rounding of their coordinates can have moved points by that lie around `centroid`.
inline double RoundingAt(const Eigen::Vector3d& centroid) {
  return 4.0 * DBL_EPSILON * centroid.cwiseAbs().maxCoeff();
}

/// Whether points can't be told from points that coincide: their standard deviation is no more than
/// the rounding of their coordinates.
/// \param largest_spread the scatter along the axis where it is largest
inline bool Coincide(const Eigen::Vector3d& centroid, double squared_weights,
                     double largest_spread) {
  const double rounding = RoundingAt(centroid);
  return !(largest_spread > squared_weights * rounding * rounding);
}

/// Writes the distance of each point from the plane through `origin` with the unit `normal`, and
/// returns the largest distance of one whose weight is above 0 (0 if there is none).
/// \param weights, residuals one per point
double FindResiduals(const CoordinateView& points, const Eigen::Vector3d& origin,
                     const Eigen::Vector3d& normal, const Eigen::VectorXd& weights,
                     Eigen::VectorXd& residuals);

}  // namespace libmfx::geometry
