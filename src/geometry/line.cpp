#include "libmfx/geometry/line.h"

#include <cfloat>
#include <cmath>
#include <limits>

#include "direction.h"
#include "libmfx/geometry/plane.h"

namespace libmfx::geometry {

using data_structures::PointCloud;
using data_structures::PointXYZW;
using data_structures::VectorXYZW;

Line::Line(const PointXYZW& point, const VectorXYZW& vector)
    : _point(point), _vector(UnitDirection(vector)) {}

Line::Line(const Eigen::Vector3d& point, const Eigen::Vector3d& vector)
    : _point(point), _vector(vector) {}

void Line::Vector(const VectorXYZW& vector) { _vector = UnitDirection(vector); }

void Line::Set(const PointXYZW& point, const VectorXYZW& vector) {
  Point(point);
  Vector(vector);
}

bool Line::IsValid() const { return !_vector.isZero(); }

bool Line::LeastSquares(const PointCloud& cloud) { return LeastSquares(cloud, Eigen::VectorXd()); }

bool Line::LeastSquares(const PointCloud& cloud, math::AccStats& stats) {
  return LeastSquares(cloud, Eigen::VectorXd(), stats);
}

bool Line::LeastSquares(const PointCloud& cloud, const Eigen::VectorXd& weights,
                        math::AccStats& stats) {
  if (!LeastSquares(cloud, weights)) return false;
  FillLeastSquaresStats(cloud, stats);
  return true;
}

bool Line::LeastSquares(const PointCloud& cloud, const Eigen::VectorXd& weights) {
  if (cloud.cols() < 2 || cloud.rows() < 3) return false;
  if (weights.size() != 0 && weights.size() != cloud.cols()) return false;
  if (cloud.cols() == 2) return FitTwoPoints(cloud, weights);
  Plane plane;
  if (!plane.LeastSquares(cloud, weights)) return false;
  Set(plane.Point(), plane.Tangent());
  return IsValid();
}

bool Line::FitTwoPoints(const PointCloud& cloud, const Eigen::VectorXd& weights) {
  const Eigen::Vector3d a = cloud.data().col(0).head<3>();
  const Eigen::Vector3d b = cloud.data().col(1).head<3>();
  _vector = VectorXYZW(Eigen::Vector3d(b - a));
  const double wa = weights.size() == 0 ? 1.0 : weights[0];
  const double wb = weights.size() == 0 ? 1.0 : weights[1];
  _point = PointXYZW(Eigen::Vector3d((wa * a + wb * b) / (wa + wb)));
  return IsValid();
}

bool Line::LinearRegression2D(const PointCloud& cloud, bool through_origin) {
  if (cloud.cols() < 2 || cloud.rows() < 2) return false;
  const auto x = cloud.data().row(0).array();
  const auto y = cloud.data().row(1).array();
  const double n = static_cast<double>(cloud.cols());
  const double mean_x = x.mean();
  const double mean_y = y.mean();
  // Sxx n - Sx Sx and Sxy n - Sx Sy as sums about the means: the same numbers, but a short profile
  // far from the origin keeps its digits.
  const double denominator = through_origin ? x.square().sum() : n * (x - mean_x).square().sum();
  if (std::abs(denominator) < DBL_EPSILON) {
    Set(PointXYZW(mean_x, mean_y, 0.0), VectorXYZW(0.0, 1.0, 0.0));
    return true;
  }
  const double numerator = through_origin ? (x * y).sum() : n * ((x - mean_x) * (y - mean_y)).sum();
  const double slope = numerator / denominator;
  const double intercept = through_origin ? 0.0 : mean_y - slope * mean_x;
  Set(PointXYZW(0.0, intercept, 0.0), VectorXYZW(1.0, slope, 0.0));
  return true;
}

void Line::FillLeastSquaresStats(const PointCloud& cloud, math::AccStats& stats) const {
  stats.Reset();
  const bool readable = cloud.rows() >= 3;
  for (Eigen::Index i = 0; i < cloud.cols(); ++i) {
    stats.Add(readable ? Distance(cloud.point(i)) : std::numeric_limits<double>::quiet_NaN());
  }
}

double Line::Distance(const PointXYZW& p) const { return (p - _point).cross(_vector).norm(); }

double Line::Distance(const Line& other) const {
  const VectorXYZW& u = _vector;
  const VectorXYZW& v = other._vector;
  const VectorXYZW w0 = _point - other._point;
  const double a = u.dot(u);
  const double b = u.dot(v);
  const double c = v.dot(v);
  const double d = u.dot(w0);
  const double e = v.dot(w0);
  const double determinant = a * c - b * b;
  double s = 0.0;
  double t = 0.0;
  if (determinant >= DBL_EPSILON) {
    s = (b * e - c * d) / determinant;
    t = (a * e - b * d) / determinant;
  } else {  // parallel: any point of this line will do
    t = b > c ? d / b : e / c;
  }
  return (w0 + s * u - t * v).norm();
}

bool Line::Intersection2D(const Line& other, PointXYZW& result) const {
  const double x1 = _point.x(), y1 = _point.y();
  const double x2 = x1 + _vector.x(), y2 = y1 + _vector.y();
  const double x3 = other._point.x(), y3 = other._point.y();
  const double x4 = x3 + other._vector.x(), y4 = y3 + other._vector.y();
  const double a = x1 * y2 - y1 * x2;
  const double b = x3 * y4 - y3 * x4;
  const double determinant = (y3 - y4) * (x1 - x2) - (y1 - y2) * (x3 - x4);
  if (std::abs(determinant) < DBL_EPSILON) return false;
  result = PointXYZW(((x3 - x4) * a - (x1 - x2) * b) / determinant,
                     ((y3 - y4) * a - (y1 - y2) * b) / determinant, 0.0);
  return true;
}

PointXYZW Line::Project(const PointXYZW& p) const {
  if (!IsValid()) return {};
  const VectorXYZW delta = p - _point;
  if (delta.isZero()) return _point;
  return PointXYZW(Eigen::Vector4d(_point.eigen() + delta.dot(_vector) * _vector.eigen()));
}

}  // namespace libmfx::geometry
