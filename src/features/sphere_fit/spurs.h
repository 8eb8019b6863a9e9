#pragma once

namespace libmfx::features {

/// Clouds that the samples on a ball are parted into: the four quadrants around the nominal and the
/// patch at its centre.
constexpr int kSpurs = 5;

}  // namespace libmfx::features
