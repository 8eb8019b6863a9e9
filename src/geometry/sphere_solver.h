#pragma once

#include <Eigen/Core>
#include <Eigen/QR>
#include <Eigen/SVD>
#include <cmath>
#include <limits>

namespace libmfx::geometry {

/// Solves the algebraic least-squares sphere |p|^2 + s . (p, 1) = 0 and keeps its work space, so
/// that a run of solves of one size allocates once.
///
/// The solve works about the centroid: the algebraic solution moves with its points, and there the
/// squares keep the digits that 0.1 mm on a ball 10 m away need. A singular value decomposition of
/// a tall matrix begins with a QR step; here the right-hand side goes through that step as a fifth
/// column, and the decomposition proper is that of the triangle. So the left singular vectors of
/// the tall matrix, which nobody asks for, are never formed.
class SphereSolver {
 public:
  /// \param points shape (3, n), n at least 4
  template <typename Points>
  void Fit(const Eigen::MatrixBase<Points>& points) {
    const Eigen::Index n = points.cols();
    const Eigen::Vector3d centroid = points.rowwise().mean();
    _system.resize(n, 5);
    _system.template leftCols<3>() = (points.colwise() - centroid).transpose();
    _system.col(3).setOnes();
    _system.col(4) = -_system.template leftCols<3>().rowwise().squaredNorm();
    // The decomposition of anything that is not finite has nothing to solve with.
    if (!std::isfinite(_system.col(4).sum())) {
      _radius = std::numeric_limits<double>::quiet_NaN();
      _center.setConstant(_radius);
      return;
    }
    const Eigen::HouseholderQR<Eigen::Ref<System>> qr(_system);
    const Eigen::Matrix4d triangle = _system.topLeftCorner<4, 4>().triangularView<Eigen::Upper>();
    const Eigen::JacobiSVD<Eigen::Matrix4d> svd(triangle,
                                                Eigen::ComputeFullU | Eigen::ComputeFullV);
    const Eigen::Vector4d s = svd.solve(_system.col(4).head<4>());
    const Eigen::Vector3d offset = -0.5 * s.head<3>();
    _center = centroid + offset;
    _radius = std::sqrt(offset.squaredNorm() - s[3]);
  }

  const Eigen::Vector3d& center() const { return _center; }
  double radius() const { return _radius; }

 private:
  using System = Eigen::Matrix<double, Eigen::Dynamic, 5>;

  System _system;  ///< x, y, z about the centroid, 1, and minus the squared distance from it
  Eigen::Vector3d _center = Eigen::Vector3d::Zero();
  double _radius = 0.0;
};

}  // namespace libmfx::geometry
