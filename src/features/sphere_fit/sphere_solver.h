#pragma once

#include <Eigen/Core>
#include <Eigen/SVD>
#include <cmath>
#include <limits>

namespace libmfx::features {

/// Solves the algebraic least-squares sphere |p|^2 + s . (p, 1) = 0 and keeps its work space, so
/// that a run of solves of one size allocates once.
///
/// The solve works about the centroid: the algebraic solution moves with its points, and there the
/// squares keep the digits that 0.1 mm on a ball 10 m away need.
class SphereSolver {
 public:
  /// \param points shape (3, n), n at least 4
  template <typename Points>
  void Fit(const Eigen::MatrixBase<Points>& points) {
    const Eigen::Index n = points.cols();
    const Eigen::Vector3d centroid = points.rowwise().mean();
    _rows.resize(n, 4);
    _rhs.resize(n);
    for (Eigen::Index i = 0; i < n; ++i) {
      const Eigen::Vector3d p = points.col(i) - centroid;
      _rows.row(i) << p.transpose(), 1.0;
      _rhs[i] = -p.squaredNorm();
    }
    // The decomposition of anything that is not finite has nothing to solve with.
    if (!std::isfinite(_rhs.sum())) {
      _radius = std::numeric_limits<double>::quiet_NaN();
      _center.setConstant(_radius);
      return;
    }
    _svd.compute(_rows, Eigen::ComputeThinU | Eigen::ComputeThinV);
    const Eigen::Vector4d s = _svd.solve(_rhs);
    const Eigen::Vector3d offset = -0.5 * s.head<3>();
    _center = centroid + offset;
    _radius = std::sqrt(offset.squaredNorm() - s[3]);
  }

  const Eigen::Vector3d& center() const { return _center; }
  double radius() const { return _radius; }

 private:
  Eigen::MatrixXd _rows;
  Eigen::VectorXd _rhs;
  Eigen::JacobiSVD<Eigen::MatrixXd> _svd;
  Eigen::Vector3d _center = Eigen::Vector3d::Zero();
  double _radius = 0.0;
};

}  // namespace libmfx::features
