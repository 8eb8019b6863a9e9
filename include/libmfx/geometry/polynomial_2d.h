#pragma once

#include <Eigen/Core>
#include <cstdint>

#include "libmfx/data_structures/point_cloud.h"
#include "libmfx/export.h"

namespace libmfx::geometry {

/// A polynomial y = c0 + c1 x + ... + cn x^n of a profile. x and y have one unit, metres.
class LIBMFX_EXPORT Polynomial2D {
 public:
  /// Order 1 with a single zero coefficient.
  Polynomial2D();
  Polynomial2D(const Polynomial2D&) = default;
  Polynomial2D& operator=(const Polynomial2D&) = default;
  virtual ~Polynomial2D() = default;

  /// Sets the highest power; the coefficients become `order` zeros (none for a negative order)
  /// until the next fit.
  void Order(const std::int32_t& order);
  std::int32_t Order() const { return _order; }
  /// c0, c1, ...; after a fit there are `order` + 1.
  const Eigen::VectorXd& Coefficients() const { return _coefficients; }

  /// Least squares of y (row 1) on the powers of x (row 0), by normal equations over x and y
  /// divided by the largest distance of a point from the origin. With fewer distinct x than
  /// coefficients the solution of least norm is taken.
  /// \returns false, with the polynomial unchanged, for fewer than 2 columns or rows, for a
  ///     negative order, and for points that are not finite
  bool LeastSquares(const data_structures::PointCloud& cloud);
  /// y at `x`. A coefficient that no fit has filled yet counts as 0, and so does the whole of a
  /// polynomial of negative order.
  double Evaluate(const double& x) const;

 private:
  Eigen::VectorXd _coefficients;  ///< c0, c1, ...
  std::int32_t _order = 1;        ///< highest power
};

}  // namespace libmfx::geometry
