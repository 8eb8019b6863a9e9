#pragma once

#include <Eigen/Core>
#include <cstdint>

#include "libmfx/data_structures/point.h"
#include "libmfx/data_structures/point_cloud.h"
#include "libmfx/export.h"
#include "libmfx/geometry/plane.h"

namespace libmfx::geometry {

/// A circle in space: a plane whose point is the centre, and a radius. Lengths are metres, in the
/// frame of the points given.
///
/// Both fits lay a least-squares plane through the points, project them into it, and minimise the
/// sum of squared distances to the circle there by Gauss-Newton rounds. Clouds: shape (rows,
/// points), of which the top three rows are x, y and z.
class LIBMFX_EXPORT Circle {
 public:
  /// Centre (0, 0, 0, 1), axis (0, 0, 1), radius 0: not valid.
  Circle();
  Circle(const Circle&) = default;
  Circle& operator=(const Circle&) = default;
  virtual ~Circle() = default;

  /// The centre.
  const data_structures::PointXYZW& Point() const { return _plane.Point(); }
  void Point(const data_structures::PointXYZW& point) { _plane.Point(point); }
  /// The centre: the same as Point.
  const data_structures::PointXYZW& Center() const { return _plane.Point(); }
  void Center(const data_structures::PointXYZW& center) { _plane.Point(center); }
  /// The axis, unit.
  const data_structures::VectorXYZW& Normal() const { return _plane.Normal(); }
  /// Makes `normal` unit and builds a new frame from it.
  void Normal(const data_structures::VectorXYZW& normal) { _plane.Normal(normal); }
  double Radius() const { return _radius; }
  void Radius(double radius) { _radius = radius; }
  /// The plane the circle lies in; after a fit its frame is built from the normal (right-handed).
  const Plane& SupportPlane() const { return _plane; }
  /// Most Gauss-Newton rounds of a fit; none if not positive.
  std::int32_t MaxIterations() const { return _max_iterations; }
  void MaxIterations(std::int32_t rounds) { _max_iterations = rounds; }
  /// A fit ends when the length of its step, metres, is strictly below this.
  double StepTolerance() const { return _step_tolerance; }
  void StepTolerance(double tolerance) { _step_tolerance = tolerance; }

  /// Whether the plane is valid and the radius is strictly above 0.
  bool IsValid() const;

  /// Fits centre, radius and plane. Rounds that do not converge are no failure: the last one
  /// stands. A point at a round's centre, and data that is not finite, make the circle NaN, which
  /// IsValid rejects.
  /// \param weights scale the residuals, not the plane, when there is exactly one per column;
  ///     ignored otherwise
  /// \returns false, with the circle unchanged, for fewer than 3 columns or rows. With
  ///     MaxIterations of 0 false too, but the circle is overwritten: the centroid and the mean
  ///     distance from it
  bool LeastSquares(const data_structures::PointCloud& cloud);
  bool LeastSquares(const data_structures::PointCloud& cloud, const Eigen::VectorXd& weights);
  /// Fits centre and plane for the given radius, metres.
  /// \returns false, with the circle unchanged, for fewer than 3 columns or rows
  bool LeastSquaresFixedRadius(const data_structures::PointCloud& cloud, double radius);

  /// Number of columns whose foot on the plane lies strictly within the radius of the centre; 0 for
  /// fewer than 3 columns or rows.
  int CountInside(const data_structures::PointCloud& cloud) const;

 protected:
  Plane _plane;                        ///< its point is the centre, its normal the axis
  double _radius = 0.0;                ///< metres
  std::int32_t _max_iterations = 200;  ///< limit of Gauss-Newton rounds
  double _step_tolerance = 1e-10;      ///< metres
};

}  // namespace libmfx::geometry
