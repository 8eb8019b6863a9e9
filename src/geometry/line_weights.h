#pragma once

#include <Eigen/Core>

namespace libmfx::geometry {

/// A weight below this counts as none, and is set to 0.
inline constexpr double kLeastWeight = 2.220446049250313e-16;

/// Sets the weight of each sample whose value is at or below `limit` to 1, of the others to 0 (also
/// of a value that is NaN).
/// \param values, weights one per sample
void SetWhereAtMost(const Eigen::VectorXd& values, double limit, Eigen::VectorXd& weights);

/// Gives the weights of one scan line their half Gaussian: the k weights of at least kLeastWeight
/// are multiplied, in column order, by the elements of GaussianWindow(k, sigma); the others become
/// 0. With `reversed` the window is taken from its end, so that the last sample weighs most.
/// \param weights the line's weights, one per sample
/// \returns k
Eigen::Index ApplyGaussianWindow(Eigen::Ref<Eigen::VectorXd> weights, double sigma,
                                 bool reversed = false);

}  // namespace libmfx::geometry
