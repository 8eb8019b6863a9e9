#pragma once

#include <Eigen/Core>

#include "libmfx/data_structures/point.h"
#include "libmfx/data_structures/point_cloud.h"
#include "libmfx/export.h"
#include "libmfx/math/acc_stats.h"

namespace libmfx::geometry {

/// An infinite line: a point and a direction. Lengths are metres, in the frame of the points given.
///
/// The direction is unit but for two makers that keep it as it stands: the constructor from two
/// 3-vectors, and the fit to exactly two points. Nothing normalises it later, and distances divide
/// by nothing: on such a line they scale with the direction's length.
///
/// Clouds: shape (rows, points), of which the top three rows are x, y and z; a cloud with fewer
/// rows cannot be fitted in space. Weights: one per column, or none at all.
class LIBMFX_EXPORT Line {
 public:
  /// Point (0, 0, 0, 1) and a zero direction: not valid.
  Line() = default;
  /// The direction is made unit.
  Line(const data_structures::PointXYZW& point, const data_structures::VectorXYZW& vector);
  /// The direction is kept as given, not made unit.
  Line(const Eigen::Vector3d& point, const Eigen::Vector3d& vector);
  Line(const Line&) = default;
  Line& operator=(const Line&) = default;
  virtual ~Line() = default;

  const data_structures::PointXYZW& Point() const { return _point; }
  void Point(const data_structures::PointXYZW& point) { _point = point; }
  const data_structures::VectorXYZW& Vector() const { return _vector; }
  /// Makes `vector` unit; its `w` becomes 0.
  void Vector(const data_structures::VectorXYZW& vector);
  void Set(const data_structures::PointXYZW& point, const data_structures::VectorXYZW& vector);

  /// Whether the direction has a component beyond 1e-12; a NaN counts as one, unlike in Plane.
  bool IsValid() const;

  /// Fits the line of least squared distances: through the (weighted) centroid along the axis of
  /// largest scatter, with the weights acting as in Plane::LeastSquares. Exactly two columns give
  /// their difference as direction, not made unit, and their (weighted) mean with `w` 1 as point;
  /// weights of sum 0 are the caller's to avoid.
  /// \returns IsValid() of the result, which is written also when that is false (coincident
  /// points); false with the line unchanged for fewer than 2 columns, fewer than 3 rows, or weights
  /// that are neither empty nor one per column
  bool LeastSquares(const data_structures::PointCloud& cloud);
  /// The same; on success FillLeastSquaresStats follows.
  bool LeastSquares(const data_structures::PointCloud& cloud, math::AccStats& stats);
  bool LeastSquares(const data_structures::PointCloud& cloud, const Eigen::VectorXd& weights);
  /// The same; on success FillLeastSquaresStats follows, with the distances of all columns, not
  /// weighted.
  bool LeastSquares(const data_structures::PointCloud& cloud, const Eigen::VectorXd& weights,
                    math::AccStats& stats);
  /// Least squares of y on x over rows 0 and 1: the line lies in z = 0 and starts at x = 0. Data
  /// that is vertical (the denominator of the slope is below the double epsilon) gives direction
  /// (0, 1, 0) through the centroid, also with `through_origin`.
  /// \returns false, with the line unchanged, for fewer than 2 columns or rows
  bool LinearRegression2D(const data_structures::PointCloud& cloud, bool through_origin);
  /// Resets `stats` and adds the distance of each column, in order; validity is not tested. A cloud
  /// of fewer than 3 rows adds NaN for each column.
  void FillLeastSquaresStats(const data_structures::PointCloud& cloud, math::AccStats& stats) const;

  /// Distance of `p` times the length of the direction.
  double Distance(const data_structures::PointXYZW& p) const;
  /// Closest approach of the two lines.
  double Distance(const Line& other) const;
  /// Where the two lines cross when seen along z.
  /// \returns false, with `result` unchanged, if they are parallel
  bool Intersection2D(const Line& other, data_structures::PointXYZW& result) const;
  /// The foot of the perpendicular from `p`, for a direction of unit length; (0, 0, 0, 1) if the
  /// line is not valid.
  data_structures::PointXYZW Project(const data_structures::PointXYZW& p) const;

 private:
  bool FitTwoPoints(const data_structures::PointCloud& cloud, const Eigen::VectorXd& weights);

  data_structures::PointXYZW _point;    ///< on the line, metres
  data_structures::VectorXYZW _vector;  ///< direction
};

}  // namespace libmfx::geometry
