#pragma once

#include <vector>

#include "libmfx/export.h"

namespace libmfx::math {

/// `n` weights along a scan line that fall from 1 at the first:
/// g[i] = exp(-x^2 / (2 sigma^2)) with x = i / n. A normal density divided by its largest value, of
/// which the factor 1 / sqrt(2 pi sigma^2) cancels.
/// \param sigma standard deviation in lengths of the line; a sigma of 0 or NaN yields a first
///     weight of NaN
LIBMFX_EXPORT std::vector<double> GaussianWindow(unsigned n, double sigma);

/// `n` weights with the peak inside the line: x = (i - (n + 1) / 2) / n in real arithmetic, divided
/// by the largest value that occurs. The peak stands one place behind the middle of the line, at
/// index (n + 1) / 2; an even `n` has two equal peaks around it.
LIBMFX_EXPORT std::vector<double> CenteredGaussianWindow(unsigned n, double sigma);

}  // namespace libmfx::math
