#include "libmfx/geometry/circle.h"

#include <Eigen/LU>
#include <Eigen/SVD>
#include <cmath>
#include <limits>

namespace libmfx::geometry {
namespace {

using data_structures::PointCloud;
using data_structures::PointXYZW;
using data_structures::VectorXYZW;
using Eigen::Index;

/// A matrix of up to three columns, which spares the decomposition its small allocations.
using Jacobian = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, 0, Eigen::Dynamic, 3>;

/// The points in the frame of their own least-squares plane.
struct InPlane {
  Eigen::Vector3d origin;  ///< centroid, metres
  VectorXYZW normal;
  Eigen::Matrix3d basis;    ///< columns: tangent, bitangent, normal
  Eigen::Matrix3Xd points;  ///< coordinates along the columns of `basis`; the third is near 0

  PointXYZW ToSpace(double a, double b) const {
    return PointXYZW(Eigen::Vector3d(origin + basis * Eigen::Vector3d(a, b, 0.0)));
  }
};

bool IntoPlane(const PointCloud& cloud, InPlane& result) {
  Plane plane;
  if (cloud.cols() < 3 || !plane.LeastSquares(cloud)) return false;
  result.origin = plane.Point().xyz();
  result.normal = plane.Normal();
  result.basis = Plane(plane.Point(), plane.Normal()).TBN();
  // Relative to the centroid from the start, so that no digits are lost far from the origin; the
  // projection into the plane and the turn into its frame are one matrix.
  const Eigen::Vector3d n = plane.Normal().xyz();
  const Eigen::Matrix3d flatten =
      result.basis.inverse() * (Eigen::Matrix3d::Identity() - n * n.transpose());
  result.points.resize(3, cloud.cols());
  for (Index i = 0; i < cloud.cols(); ++i) {
    const Eigen::Vector3d d = cloud.data().col(i).head<3>() - result.origin;
    result.points.col(i).noalias() = flatten * d;
  }
  return true;
}

/// One Gauss-Newton problem: the Jacobian with a column per unknown, its residuals, and the
/// decomposition that solves it, kept from round to round so that no round allocates.
class CircleRounds {
 public:
  CircleRounds(const InPlane& in_plane, Index unknowns)
      : _x(in_plane.points.row(0)),
        _y(in_plane.points.row(1)),
        _jacobian(_x.size(), unknowns),
        _distances(_x.size()),
        _svd(_x.size(), unknowns, Eigen::ComputeThinU | Eigen::ComputeThinV) {
    if (unknowns == 3) _jacobian.col(2).setOnes();
  }

  /// Distances of the points from the centre (a, b), and the Jacobian there.
  const Eigen::ArrayXd& Linearise(double a, double b) {
    auto dx = _jacobian.col(0).array();
    auto dy = _jacobian.col(1).array();
    dx = _x - a;
    dy = _y - b;
    _distances = (dx.square() + dy.square()).sqrt();
    _reciprocals = _distances.inverse();
    dx *= _reciprocals;
    dy *= _reciprocals;
    return _distances;
  }

  /// The step of least squares; NaN where the Jacobian is not finite, which no decomposition takes.
  Jacobian Step(const Eigen::VectorXd& residuals) {
    // A finite element is at most 1, so only one that is not finite can spoil the sum.
    if (!std::isfinite(_jacobian.sum())) {
      return Jacobian::Constant(_jacobian.cols(), 1, std::numeric_limits<double>::quiet_NaN());
    }
    return _svd.compute(_jacobian).solve(residuals);
  }

 private:
  Eigen::ArrayXd _x, _y;
  Jacobian _jacobian;
  Eigen::ArrayXd _distances, _reciprocals;
  Eigen::JacobiSVD<Jacobian> _svd;
};

}  // namespace

Circle::Circle() : _plane(PointXYZW(), VectorXYZW(0.0, 0.0, 1.0)) {}

bool Circle::IsValid() const { return _plane.IsValid() && _radius > 0.0; }

bool Circle::LeastSquares(const PointCloud& cloud) {
  return LeastSquares(cloud, Eigen::VectorXd());
}

bool Circle::LeastSquares(const PointCloud& cloud, const Eigen::VectorXd& weights) {
  InPlane in_plane;
  if (!IntoPlane(cloud, in_plane)) return false;
  const bool weighted = weights.size() == cloud.cols();
  double a = 0.0;
  double b = 0.0;
  double radius = in_plane.points.colwise().norm().mean();
  CircleRounds rounds(in_plane, 3);
  Eigen::VectorXd residuals(cloud.cols());
  std::int64_t round = 0;
  while (round < _max_iterations) {
    ++round;
    residuals = rounds.Linearise(a, b) - radius;
    if (weighted) residuals.array() *= weights.array();
    const Jacobian step = rounds.Step(residuals);
    a += step(0, 0);
    b += step(1, 0);
    radius += step(2, 0);
    const double length = step.norm();
    if (length < _step_tolerance || std::isnan(length)) break;  // NaN never turns back
  }
  _plane = Plane(in_plane.ToSpace(a, b), in_plane.normal);
  _radius = radius;
  // Running out of rounds is no failure; only a limit of 0 makes the two sides equal.
  return round != std::int64_t{2} * _max_iterations;
}

bool Circle::LeastSquaresFixedRadius(const PointCloud& cloud, double radius) {
  InPlane in_plane;
  if (!IntoPlane(cloud, in_plane)) return false;
  double a = 0.0;
  double b = 0.0;
  CircleRounds rounds(in_plane, 2);
  Eigen::VectorXd residuals(cloud.cols());
  for (std::int32_t round = 0; round < _max_iterations; ++round) {
    residuals = rounds.Linearise(a, b) - radius;
    const Jacobian step = rounds.Step(residuals);
    a += step(0, 0);
    b += step(1, 0);
    const double length = step.norm();
    if (length < _step_tolerance || std::isnan(length)) break;
  }
  _plane = Plane(in_plane.ToSpace(a, b), in_plane.normal);
  _radius = radius;
  return true;
}

int Circle::CountInside(const PointCloud& cloud) const {
  if (cloud.cols() < 3 || cloud.rows() < 3) return 0;
  int count = 0;
  for (Index i = 0; i < cloud.cols(); ++i) {
    const Eigen::Vector4d foot = _plane.Project(cloud.point(i)).eigen();
    if ((foot - _plane.Point().eigen()).norm() < _radius) ++count;
  }
  return count;
}

}  // namespace libmfx::geometry
