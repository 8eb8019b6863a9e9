#include "libmfx/math/acc_stats.h"

#include <cmath>

namespace libmfx::math {

void AccStats::Add(double value) {
  ++count;
  sum += value;
  sum_of_squares += value * value;
  if (count == 1) {
    product = min = max = value;
    return;
  }
  product *= value;
  if (min > value) min = value;
  if (value > max) max = value;
}

std::uint64_t AccStats::Remove(double value) {
  if (count >= 1) {
    --count;
    sum -= value;
    sum_of_squares -= value * value;
  }
  return static_cast<std::uint64_t>(count);
}

void AccStats::Reset() {
  sum = 0.0;
  sum_of_squares = 0.0;
  count = 0;
  min = 0.0;
  max = 0.0;
}

double StandardDeviation(const AccStats& stats) {
  if (stats.count < 2) return 0.0;
  const double n = stats.count;
  const double variance = (stats.sum_of_squares - stats.sum * stats.sum / n) / (n - 1.0);
  // Rounding can leave a tiny negative variance of equal values; a NaN goes through.
  return variance < 0.0 ? 0.0 : std::sqrt(variance);
}

}  // namespace libmfx::math
