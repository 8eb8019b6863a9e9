#pragma once

#include <algorithm>
#include <vector>

/// \file
/// How many cases a test draws at random.

namespace libmfx::test {

#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif
#else
inline constexpr bool kSanitized = false;
#endif

/// The number of cases: `all`, or fewer under AddressSanitizer, which takes ten times as long and
/// finds the faults that it looks for in the first few. Figures are judged by the other builds.
constexpr int Draws(int all, int sanitized) { return kSanitized ? sanitized : all; }

/// The value that 95 % of the values do not exceed (nearest rank); a large one for no values.
inline double Percentile95(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values.empty() ? 1e9 : values[values.size() * 95 / 100];
}

}  // namespace libmfx::test
