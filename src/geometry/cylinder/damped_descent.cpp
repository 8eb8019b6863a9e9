#include "geometry/cylinder/damped_descent.h"

#include <algorithm>

#include "geometry/decompositions.h"

namespace libmfx::geometry::cylinder {
namespace {

constexpr double kInitialDamping = 0.001;  // of the largest diagonal element of J^T J
constexpr double kInitialGrowth = 2.0;
constexpr double kLeastShrink = 1.0 / 3.0;

}  // namespace

Eigen::VectorXd Solve(const Eigen::MatrixXd& matrix, const Eigen::VectorXd& right) {
  return SolveWith(ThinSvd(matrix), right);
}

Damping::Damping(double largest_diagonal)
    : _mu(kInitialDamping * largest_diagonal), _nu(kInitialGrowth) {}

void Damping::Kept(double gain_ratio) {
  _mu *= std::max(kLeastShrink, 1.0 - std::pow(2.0 * gain_ratio - 1.0, 3));
  _nu = kInitialGrowth;
}

void Damping::TakenBack() {
  _mu *= _nu;
  _nu *= 2.0;
}

}  // namespace libmfx::geometry::cylinder
