#include "libmfx/math/gaussian_window.h"

#include <algorithm>
#include <cmath>

namespace libmfx::math {
namespace {

constexpr unsigned kBlock = 64;          // elements that share one ratio of neighbouring blocks
constexpr unsigned kDirectEvery = 8;     // blocks from one with exponentials of its own to the next
constexpr double kLeastExponent = -700;  // exp is well above the smallest normal double here

/// exp(-((i - peak) / n)^2 / (2 sigma^2)) for i from `begin` to `end` - 1.
void Direct(unsigned n, double peak, double sigma, unsigned begin, unsigned end, double* g) {
  const double length = n;
  const double scale = 2.0 * sigma * sigma;
  for (unsigned i = begin; i < end; ++i) {
    const double x = (i - peak) / length;
    g[i] = std::exp(-(x * x) / scale);
  }
}

/// The same bell for all i. A block of elements follows from the one before by
///   exp(-h (k + 64)^2) = exp(-h k^2) exp(-128 h (k - first)) exp(-h 64 (64 + 2 first)),
/// with k = i - peak, `first` the k of the block before, and h = 1 / (2 sigma^2 n^2): of the two
/// factors one is the same in every block and one the same all over a block. Every eighth block is
/// computed directly, so that no more than a few roundings add up.
std::vector<double> Bell(unsigned n, double peak, double sigma) {
  std::vector<double> window(n);
  double* g = window.data();
  const double length = n;
  const double h = 1.0 / (2.0 * sigma * sigma * length * length);
  const double widest = std::max(peak, length - peak);
  if (n < 2 * kBlock || !(-h * widest * widest > kLeastExponent)) {
    Direct(n, peak, sigma, 0, n, g);
    return window;
  }
  double along[kBlock];
  for (unsigned j = 0; j < kBlock; ++j) along[j] = std::exp(-2.0 * h * kBlock * j);
  for (unsigned begin = 0, block = 0; begin < n; begin += kBlock, ++block) {
    const unsigned end = std::min(begin + kBlock, n);
    if (block % kDirectEvery == 0) {
      Direct(n, peak, sigma, begin, end, g);
      continue;
    }
    const double first = begin - kBlock - peak;
    const double over = std::exp(-h * kBlock * (kBlock + 2.0 * first));
    for (unsigned i = begin; i < end; ++i) g[i] = g[i - kBlock] * (over * along[i - begin]);
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
