#include "libmfx/geometry/polynomial_2d.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "geometry/decompositions.h"

namespace libmfx::geometry {
namespace {

using data_structures::PointCloud;
using Eigen::Index;

/// The sums that the normal equations are made of.
struct PowerSums {
  Eigen::VectorXd powers;   ///< sum of x^k, k up to twice the order
  Eigen::VectorXd moments;  ///< sum of x^k y, k up to the order
};

PowerSums SumPowers(const Eigen::MatrixXd& data, double scale, Index order) {
  PowerSums sums{Eigen::VectorXd::Zero(2 * order + 1), Eigen::VectorXd::Zero(order + 1)};
  for (Index i = 0; i < data.cols(); ++i) {
    const double x = data(0, i) / scale;
    const double y = data(1, i) / scale;
    double power = 1.0;
    for (Index k = 0; k <= 2 * order; ++k, power *= x) {
      sums.powers[k] += power;
      if (k <= order) sums.moments[k] += power * y;
    }
  }
  return sums;
}

}  // namespace

Polynomial2D::Polynomial2D() : _coefficients(Eigen::VectorXd::Zero(1)) {}

void Polynomial2D::Order(const std::int32_t& order) {
  _order = order;
  _coefficients.setZero(std::max(order, 0));
}

bool Polynomial2D::LeastSquares(const PointCloud& cloud) {
  if (cloud.cols() < 2 || cloud.rows() < 2 || _order < 0) return false;
  // A NaN would pass the search for the largest length, and the solver returns no answer for it.
  if (!cloud.data().topRows(2).allFinite()) return false;
  double scale = DBL_MIN;
  for (Index i = 0; i < cloud.cols(); ++i) {
    scale = std::max(scale, std::hypot(cloud.data()(0, i), cloud.data()(1, i)));
  }
  const PowerSums sums = SumPowers(cloud.data(), scale, _order);
  const Index terms = Index{_order} + 1;
  Eigen::MatrixXd normal(terms, terms);
  for (Index i = 0; i < terms; ++i) {
    for (Index j = 0; j < terms; ++j) normal(i, j) = sums.powers[i + j];
  }
  _coefficients = SolveWith(ThinSvd(normal), sums.moments);
  _coefficients[0] *= scale;
  // Divided power by power: the powers of a tiny scale vanish, and 0 / 0 is no coefficient.
  for (Index i = 2; i < terms; ++i) {
    for (Index k = 1; k < i; ++k) _coefficients[i] /= scale;
  }
  return true;
}

double Polynomial2D::Evaluate(const double& x) const {
  const Index terms = std::min(Index{_order} + 1, _coefficients.size());
  double y = 0.0;
  for (Index i = 0; i < terms; ++i) {
    y += _coefficients[i] * std::pow(x, static_cast<double>(i));
  }
  return y;
}

}  // namespace libmfx::geometry
