#include "libmfx/geometry/plane.h"

#include <Eigen/SVD>
#include <cfloat>
#include <cmath>
#include <limits>

#include "column_sums.h"
#include "direction.h"
#include "plane_of_moments.h"

namespace libmfx::geometry {
namespace {

using data_structures::PointCloud;
using data_structures::PointXYZW;
using data_structures::VectorXYZW;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// `v` made unit if its squared length is greater than 0.
Eigen::Vector3d Unit(const Eigen::Vector3d& v) {
  const double squared = v.squaredNorm();
  return squared > 0.0 ? Eigen::Vector3d(v / std::sqrt(squared)) : v;
}

/// The columns whose weight is not 0, with their weights.
PointCloud DropUnweighted(const PointCloud& cloud, const Eigen::VectorXd& weights,
                          Eigen::VectorXd& kept_weights) {
  Eigen::MatrixXd kept(3, cloud.cols());
  kept_weights.resize(cloud.cols());
  Eigen::Index k = 0;
  for (Eigen::Index i = 0; i < cloud.cols(); ++i) {
    if (weights[i] == 0.0) continue;
    kept.col(k) = cloud.data().col(i).head<3>();
    kept_weights[k++] = weights[i];
  }
  kept.conservativeResize(3, k);
  kept_weights.conservativeResize(k);
  return PointCloud(std::move(kept));
}

/// Axes of a scatter matrix. An axis that no column of V could give is zero.
struct Axes {
  Eigen::Vector3d least = Eigen::Vector3d::Zero();
  Eigen::Vector3d largest = Eigen::Vector3d::Zero();
  double largest_spread = 0.0;  ///< the scatter along the axis of that name
};

Axes PrincipalAxes(const Eigen::Matrix3d& scatter) {
  const Eigen::JacobiSVD<Eigen::Matrix3d> svd(scatter, Eigen::ComputeFullV);
  Axes axes;
  double least = DBL_MAX;
  double largest = DBL_MIN;
  // The spread along each axis is measured here, not read from the singular values: of equal
  // spreads the first column wins in both searches.
  for (int i = 0; i < 3; ++i) {
    const Eigen::Vector3d v = svd.matrixV().col(i);
    const double spread = v.dot(scatter * v);
    if (spread < least) {
      least = spread;
      axes.least = v;
    }
    if (spread > largest) {
      largest = axes.largest_spread = spread;
      axes.largest = v;
    }
  }
  return axes;
}

}  // namespace

Plane PlaneOf(const Moments& moments) {
  const PointXYZW centroid(moments.centroid);
  if (!moments.scatter.allFinite()) {
    const VectorXYZW none(kNaN, kNaN, kNaN);
    return {centroid, none, none, none};
  }
  Axes axes = PrincipalAxes(moments.scatter);
  // Coincident points have no tangent. A normal taken from them would be an invention that passes
  // for a measurement, so the whole frame stays zero and the plane is not valid.
  if (Coincide(moments.centroid, moments.squared_weights, axes.largest_spread)) axes = Axes();
  const VectorXYZW normal(axes.least);
  const VectorXYZW tangent(axes.largest);
  return {centroid, normal, tangent, UnitDirection(tangent).cross(UnitDirection(normal))};
}

Plane::Plane() { SetFrameFromNormal(); }

Plane::Plane(const PointXYZW& point, const VectorXYZW& normal)
    : _point(point), _normal(UnitDirection(normal)) {
  SetFrameFromNormal();
}

Plane::Plane(const PointXYZW& point, const VectorXYZW& normal, const VectorXYZW& tangent,
             const VectorXYZW& bitangent)
    : _point(point),
      _normal(UnitDirection(normal)),
      _tangent(UnitDirection(tangent)),
      _bitangent(UnitDirection(bitangent)) {}

void Plane::Normal(const VectorXYZW& normal) {
  _normal = UnitDirection(normal);
  SetFrameFromNormal();
}

void Plane::Tangent(const VectorXYZW& tangent) { _tangent = UnitDirection(tangent); }

void Plane::Bitangent(const VectorXYZW& bitangent) { _bitangent = UnitDirection(bitangent); }

Eigen::Matrix3d Plane::TBN() const {
  Eigen::Matrix3d basis;
  basis << _tangent.xyz(), _bitangent.xyz(), _normal.xyz();
  return basis;
}

Eigen::Matrix3d Plane::BasisFromPlaneNormal(const VectorXYZW& normal) {
  const Eigen::Vector3d n = normal.xyz();
  Eigen::Vector3d tangent = Unit(n.cross(Eigen::Vector3d::UnitX()));
  if (VectorXYZW(tangent).isZero()) tangent = Unit(n.cross(Eigen::Vector3d::UnitY()));
  Eigen::Matrix3d basis;
  basis << tangent, Unit(n.cross(tangent)), n;
  return basis;
}

void Plane::SetFrameFromNormal() {
  const Eigen::Matrix3d basis = BasisFromPlaneNormal(_normal);
  _tangent = VectorXYZW(Eigen::Vector3d(basis.col(0)));
  _bitangent = VectorXYZW(Eigen::Vector3d(basis.col(1)));
}

bool Plane::IsValid() const {
  using std::isnan;
  if (isnan(_point.x()) || isnan(_point.y()) || isnan(_point.z())) return false;
  if (isnan(_normal.x()) || isnan(_normal.y()) || isnan(_normal.z())) return false;
  return !_normal.isZero();
}

double Plane::SignedDistanceTo(const PointXYZW& p) const {
  return IsValid() ? (p - _point).dot(_normal) : kNaN;
}

double Plane::Distance(const PointXYZW& p) const { return std::abs(SignedDistanceTo(p)); }

PointXYZW Plane::Project(const PointXYZW& p) const {
  if (!IsValid()) return {kNaN, kNaN, kNaN, 1.0};
  return PointXYZW(Eigen::Vector4d(p.eigen() - _normal.eigen() * (p - _point).dot(_normal)));
}

PointCloud Plane::ProjectPointCloud(const PointCloud& cloud) const {
  if (cloud.cols() < 1 || cloud.rows() != 3) return cloud;
  const Eigen::Vector3d normal = _normal.xyz();
  const Eigen::Vector3d origin = _point.xyz();
  Eigen::MatrixXd projected(3, cloud.cols());
  for (Eigen::Index i = 0; i < cloud.cols(); ++i) {
    const Eigen::Vector3d p = cloud.data().col(i);
    projected.col(i) = p - normal * normal.dot(p - origin);
  }
  return PointCloud(std::move(projected));
}

bool Plane::LeastSquares(const PointCloud& cloud) { return LeastSquares(cloud, Eigen::VectorXd()); }

bool Plane::LeastSquares(const PointCloud& cloud, math::AccStats& stats) {
  return LeastSquares(cloud, Eigen::VectorXd(), stats);
}

bool Plane::LeastSquares(const PointCloud& cloud, const Eigen::VectorXd& weights,
                         math::AccStats& stats) {
  if (!LeastSquares(cloud, weights)) return false;
  FillLeastSquaresStats(cloud, stats);
  return true;
}

bool Plane::LeastSquares(const PointCloud& cloud, const Eigen::VectorXd& weights) {
  if (cloud.cols() < 3 || cloud.rows() < 3) return false;
  if (weights.size() != 0 && weights.size() != cloud.cols()) return false;
  Moments moments = FindMoments(TopRows(cloud.data()), weights);
  if (weights.size() != 0 && !moments.scatter.allFinite()) {
    // 0 times NaN is NaN: leave out what has no weight and look again.
    Eigen::VectorXd kept_weights;
    const PointCloud kept = DropUnweighted(cloud, weights, kept_weights);
    if (kept.cols() > 0) moments = FindMoments(TopRows(kept.data()), kept_weights);
  }
  *this = PlaneOf(moments);
  return true;
}

void Plane::FillLeastSquaresStats(const PointCloud& cloud, math::AccStats& stats) const {
  stats.Reset();
  const bool readable = cloud.rows() >= 3;
  for (Eigen::Index i = 0; i < cloud.cols(); ++i) {
    stats.Add(readable ? Distance(cloud.point(i)) : kNaN);
  }
}

}  // namespace libmfx::geometry
