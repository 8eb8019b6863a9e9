#pragma once

#include <Eigen/Core>
#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

namespace libmfx::geometry::cylinder {

inline constexpr double kTurn = 2.0 * std::numbers::pi;  ///< radians

/// A cylinder as the fit moves it, in the local frame of the fitter: lengths in nominal radii, the
/// nominal axis within 2.6 degrees of +Z and mostly on it.
struct Model {
  Eigen::Vector2d offset =
      Eigen::Vector2d::Zero();  ///< x and y of the axis at the reference height
  Eigen::Vector3d direction =
      Eigen::Vector3d::UnitZ();   ///< axis direction; its length means nothing
  double radius = 1.0;            ///< nominal radii
  double reference_height = 0.0;  ///< local z of the plane the offsets lie in
};

/// Columns of the Jacobian, in the order of the parameters.
enum Column { kOffsetX, kOffsetY, kDirectionX, kDirectionY, kDirectionZ, kRadius, kColumns };

/// What is free in a fit: pointers to the doubles of a model, and the Jacobian column of each.
struct FreeParameters {
  std::vector<double*> values;
  std::vector<int> columns;
};

/// The two offsets always; the three terms of the direction unless the axis is fixed; the radius
/// unless that is fixed. The pointers are into `model`, which has to outlive them.
FreeParameters ListFreeParameters(Model& model, bool fix_axis, bool fix_radius);

/// Residual of one point, or of a lane of points when `T` is an array: distance to the axis minus
/// radius. `jacobian` is its derivative by the six parameters.
template <typename T>
struct Row {
  T residual;
  T jacobian[kColumns];
};

namespace internal {
inline double AtLeast(double value, double bound) { return std::max(value, bound); }
template <typename Derived>
typename Derived::PlainObject AtLeast(const Eigen::ArrayBase<Derived>& value, double bound) {
  return value.max(bound);
}
}  // namespace internal

/// With q the point seen from the axis point, u the unit direction and h = q.u, the vector from the
/// axis to the point is e = q - h u and the residual |e| - r. Its derivative is -e/|e| by the
/// offset, -h/|d| e/|e| by the direction d (turning d turns e by -h times as much; what changes
/// along u drops out since e is normal to u), and -1 by the radius. On the axis itself e/|e| counts
/// as zero.
template <typename T>
Row<T> EvaluateRow(const T& x, const T& y, const T& z, const Model& model) {
  using std::sqrt;
  const double length = model.direction.norm();
  const Eigen::Vector3d u = model.direction / length;
  const T qx = x - model.offset.x();
  const T qy = y - model.offset.y();
  const T qz = z - model.reference_height;
  const T h = qx * u.x() + qy * u.y() + qz * u.z();
  const T ex = qx - h * u.x();
  const T ey = qy - h * u.y();
  const T ez = qz - h * u.z();
  const T distance = sqrt(ex * ex + ey * ey + ez * ez);
  const T inverse = 1.0 / internal::AtLeast(distance, 1e-150);
  const T turn = h * (-1.0 / length);
  Row<T> row;
  row.residual = distance - model.radius;
  row.jacobian[kOffsetX] = -(ex * inverse);
  row.jacobian[kOffsetY] = -(ey * inverse);
  row.jacobian[kDirectionX] = ex * inverse * turn;
  row.jacobian[kDirectionY] = ey * inverse * turn;
  row.jacobian[kDirectionZ] = ez * inverse * turn;
  row.jacobian[kRadius] = 0.0 * distance - 1.0;
  return row;
}

/// Points of a fit as columns, so that a pass over them runs in vector registers.
struct Points {
  Eigen::ArrayXd x, y, z;
  /// How far inside of the wall each point is expected, negative outside: 0 for a smooth wall. It
  /// is added to the residual and doesn't move with the model.
  Eigen::ArrayXd depth;

  Points() = default;
  explicit Points(Eigen::Index count)
      : x(count), y(count), z(count), depth(Eigen::ArrayXd::Zero(count)) {}
  Eigen::Index size() const { return x.size(); }
  Eigen::Vector3d at(Eigen::Index i) const { return {x[i], y[i], z[i]}; }
  void set(Eigen::Index i, const Eigen::Vector3d& p) {
    x[i] = p.x();
    y[i] = p.y();
    z[i] = p.z();
  }
};

/// What one pass over the points gathers: J^T J, J^T r and half the sum of squared residuals. No
/// row is kept, so a pass needs no memory that grows with the points.
struct NormalEquations {
  Eigen::Matrix<double, kColumns, kColumns> matrix;
  Eigen::Matrix<double, kColumns, 1> gradient;
  double cost = 0.0;
};

NormalEquations Evaluate(const Points& points, const Model& model);

/// The residuals alone.
Eigen::ArrayXd Residuals(const Points& points, const Model& model);

}  // namespace libmfx::geometry::cylinder
