#include "line_weights.h"

#include <algorithm>
#include <vector>

#include "libmfx/math/gaussian_window.h"

namespace libmfx::geometry {

Eigen::Index ApplyGaussianWindow(Eigen::Ref<Eigen::VectorXd> weights, double sigma, bool reversed) {
  unsigned kept = 0;
  for (double& w : weights) {
    if (w < kLeastWeight) {
      w = 0.0;
    } else {
      ++kept;
    }
  }
  if (kept == 0) return 0;
  std::vector<double> window = math::GaussianWindow(kept, sigma);
  if (reversed) std::reverse(window.begin(), window.end());
  auto next = window.cbegin();
  for (double& w : weights) {
    if (w > 0.0) w *= *next++;
  }
  return static_cast<Eigen::Index>(kept);
}

}  // namespace libmfx::geometry
