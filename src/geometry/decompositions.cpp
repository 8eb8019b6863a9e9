#include "geometry/decompositions.h"

template class Eigen::JacobiSVD<Eigen::MatrixXd>;

namespace libmfx::geometry {

Svd ThinSvd(const Eigen::MatrixXd& matrix) {
  return Svd(matrix, Eigen::ComputeThinU | Eigen::ComputeThinV);
}

Eigen::VectorXd SolveWith(const Svd& svd, const Eigen::VectorXd& right) { return svd.solve(right); }

Eigen::MatrixXd SolveAllWith(const Svd& svd, const Eigen::MatrixXd& right) {
  return svd.solve(right);
}

Ldlt DecomposeSymmetric(const Eigen::MatrixXd& matrix) { return Ldlt(matrix); }

Eigen::VectorXd SolveWith(const Ldlt& ldlt, const Eigen::VectorXd& right) {
  return ldlt.solve(right);
}

Eigen::MatrixXd SolveAllWith(const Ldlt& ldlt, const Eigen::MatrixXd& right) {
  return ldlt.solve(right);
}

}  // namespace libmfx::geometry
