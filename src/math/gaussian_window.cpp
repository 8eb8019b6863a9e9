#include "libmfx/math/gaussian_window.h"

#include <Eigen/Core>
#include <algorithm>
#include <cmath>

namespace libmfx::math {
namespace {

/// exp(-((i - peak) / n)^2 / (2 sigma^2)) for i from 0 to n - 1.
std::vector<double> Bell(unsigned n, double peak, double sigma) {
  std::vector<double> window(n);
  Eigen::Map<Eigen::ArrayXd> g(window.data(), n);
  const double length = n;
  const double scale = 2.0 * sigma * sigma;
  for (unsigned i = 0; i < n; ++i) {
    const double x = (i - peak) / length;
    window[i] = -(x * x) / scale;
  }
  // The vector form of exp is fast but never returns 0, so it is kept to where exp is well above.
  constexpr double kLeastExponent = -700.0;
  if (n > 0 && g.minCoeff<Eigen::PropagateNaN>() >= kLeastExponent) {
    g = g.exp();
  } else {
    for (double& v : window) v = std::exp(v);
  }
  return window;
}

}  // namespace

std::vector<double> GaussianWindow(unsigned n, double sigma) { return Bell(n, 0.0, sigma); }

std::vector<double> CenteredGaussianWindow(unsigned n, double sigma) {
  std::vector<double> window = Bell(n, (n + 1.0) / 2.0, sigma);
  if (window.empty()) return window;
  const double largest = *std::max_element(window.begin(), window.end());
  for (double& v : window) v /= largest;
  return window;
}

}  // namespace libmfx::math
