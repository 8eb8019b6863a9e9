#pragma once

#include <Eigen/Cholesky>
#include <Eigen/Core>
#include <Eigen/SVD>

/// \file
/// Decompositions of matrices whose size is known at run time alone. They are compiled once, in a
/// source of their own: each takes a compiler seconds, in every source that asks for it.

extern template class Eigen::JacobiSVD<Eigen::MatrixXd>;

namespace libmfx::geometry {

using Svd = Eigen::JacobiSVD<Eigen::MatrixXd>;
using Ldlt = Eigen::LDLT<Eigen::MatrixXd>;

/// The decomposition with the thin factors on both sides.
Svd ThinSvd(const Eigen::MatrixXd& matrix);
/// The solution of least squares and of least length; of several right-hand sides, one a column.
Eigen::VectorXd SolveWith(const Svd& svd, const Eigen::VectorXd& right);
Eigen::MatrixXd SolveAllWith(const Svd& svd, const Eigen::MatrixXd& right);

/// \param matrix symmetric; its lower triangle is read
Ldlt DecomposeSymmetric(const Eigen::MatrixXd& matrix);
Eigen::VectorXd SolveWith(const Ldlt& ldlt, const Eigen::VectorXd& right);
Eigen::MatrixXd SolveAllWith(const Ldlt& ldlt, const Eigen::MatrixXd& right);

}  // namespace libmfx::geometry
