#include "libmfx/math/alignment.h"

#include <Eigen/Geometry>
#include <Eigen/SVD>
#include <algorithm>
#include <cfloat>
#include <cmath>

namespace libmfx::math {
namespace {

using data_structures::PointXYZW;

/// Below this ratio of the second singular value of the correlation to the first, the rounding of
/// the correlation hides whatever the points have beside their line.
constexpr double kCollinear = 64.0 * DBL_EPSILON;

/// Shape (3, points): each point minus the mean of all.
Eigen::Matrix3Xd Centred(const std::vector<PointXYZW>& points, Eigen::Vector3d& mean) {
  Eigen::Matrix3Xd columns(3, static_cast<Eigen::Index>(points.size()));
  for (Eigen::Index i = 0; i < columns.cols(); ++i) {
    columns.col(i) = points[static_cast<std::size_t>(i)].xyz();
  }
  mean = columns.rowwise().mean();
  return columns.colwise() - mean;
}

/// A unit vector perpendicular to both unit vectors; when they are parallel to rounding, a fixed
/// perpendicular of `a`.
Eigen::Vector3d CommonPerpendicular(const Eigen::Vector3d& a, const Eigen::Vector3d& b) {
  const Eigen::Vector3d axis = a.cross(b).normalized();
  // Of nearly parallel vectors the product keeps few digits. What counts is that the axis stays
  // perpendicular to `a`; a product that is all rounding does not pass the length test.
  const Eigen::Vector3d perpendicular = axis - a * a.dot(axis);
  return perpendicular.norm() > 0.5 ? Eigen::Vector3d(perpendicular.normalized())
                                    : a.unitOrthogonal();
}

/// The smallest rotation that takes the unit vector `a` to the unit vector `b`.
Eigen::Matrix3d SmallestRotation(const Eigen::Vector3d& a, const Eigen::Vector3d& b) {
  // The half angle from chords: exact for parallel and for opposite vectors alike.
  const double angle = 2.0 * std::atan2((a - b).norm(), (a + b).norm());
  return Eigen::AngleAxisd(angle, CommonPerpendicular(a, b)).toRotationMatrix();
}

/// The rotation R that maximises the trace of R * correlation.
Eigen::Matrix3d BestRotation(const Eigen::Matrix3d& correlation) {
  const Eigen::JacobiSVD<Eigen::Matrix3d> svd(correlation,
                                              Eigen::ComputeFullU | Eigen::ComputeFullV);
  const Eigen::Vector3d& sigma = svd.singularValues();
  if (!(sigma[0] > 0.0)) return Eigen::Matrix3d::Identity();
  if (sigma[1] <= kCollinear * sigma[0]) {
    return SmallestRotation(svd.matrixU().col(0), svd.matrixV().col(0));
  }
  Eigen::Matrix3d v = svd.matrixV();
  const Eigen::Matrix3d ut = svd.matrixU().transpose();
  if ((v * ut).determinant() < 0.0) v.col(2) *= -1.0;
  return v * ut;
}

}  // namespace

void Alignment::AddCorrespondence(const PointXYZW& measured, const PointXYZW& nominal) {
  _measured.push_back(measured);
  _nominal.push_back(nominal);
}

bool Alignment::MeasuredToNominalTransform(Eigen::Matrix4d& transform) { return Solve(transform); }

void Alignment::Reset() {
  _measured.clear();
  _nominal.clear();
}

bool Alignment::Solve(Eigen::Matrix4d& transform) const {
  if (_measured.empty() || _nominal.empty()) {
    // The whole matrix is written, so that a caller need not clear it first.
    transform.setIdentity();
    return true;
  }
  Eigen::Vector3d measured_mean;
  Eigen::Vector3d nominal_mean;
  const Eigen::Matrix3Xd measured = Centred(_measured, measured_mean);
  const Eigen::Matrix3Xd nominal = Centred(_nominal, nominal_mean);
  const Eigen::Index pairs = std::min(measured.cols(), nominal.cols());
  const Eigen::Matrix3d correlation =
      measured.leftCols(pairs) * nominal.leftCols(pairs).transpose();
  // A transform of NaN would be of use to nobody, and the decomposition of one is not defined.
  if (!correlation.allFinite()) return false;
  const Eigen::Matrix3d rotation = BestRotation(correlation);
  transform.setIdentity();
  transform.topLeftCorner<3, 3>() = rotation;
  transform.topRightCorner<3, 1>() = nominal_mean - rotation * measured_mean;
  return true;
}

}  // namespace libmfx::math
