#pragma once

#include <cstdint>

#include "libmfx/export.h"

namespace libmfx::math {

/// A running accumulator of scalar residuals; every fit that reports quality fills one.
///
/// It holds sums only, so a caller forms a mean or a root mean square itself, and adding never
/// allocates. The unit of `sum`, `min` and `max` is that of the values added (metres for the fits).
/// A value that is NaN makes `sum` and `sum_of_squares` NaN for good: a bad sample shows.
class LIBMFX_EXPORT AccStats {
 public:
  /// Takes `value` in. The first value sets `product`, `min` and `max`.
  virtual void Add(double value);
  /// Takes `value` out of `count`, `sum` and `sum_of_squares`; nothing happens when none is held.
  /// `product`, `min` and `max` stay: a removed extreme remains on record.
  /// \returns the number of values held afterwards
  virtual std::uint64_t Remove(double value);
  /// Back to zero, but for `product`, which the next Add overwrites.
  virtual void Reset();
  AccStats() = default;
  AccStats(const AccStats&) = default;
  AccStats& operator=(const AccStats&) = default;
  virtual ~AccStats() = default;

  double sum = 0.0;             ///< sum of the values held
  double product = 0.0;         ///< product of the values added since the last first one
  double sum_of_squares = 0.0;  ///< sum of the squares of the values held
  std::int32_t count = 0;       ///< number of values held
  double min = 0.0;             ///< smallest value added
  double max = 0.0;             ///< largest value added
};

/// Standard deviation of the values held, in their unit: the sample form, which divides by
/// `count` - 1. 0 for fewer than two values; NaN when a NaN was added.
LIBMFX_EXPORT double StandardDeviation(const AccStats& stats);

}  // namespace libmfx::math
