#pragma once

#include "libmfx/data_structures/point.h"
#include "libmfx/data_structures/records.h"

/// \file
/// The view of a ball from the instrument, which stands at the origin.

namespace libmfx::features {

/// Where the instrument stands.
inline data_structures::PointXYZW Instrument() { return {0.0, 0.0, 0.0}; }

/// The sign of a point's azimuth: 1, -1, or 0 straight ahead.
inline int SideOfSeam(const data_structures::PointXYZW& p) {
  const double azimuth = data_structures::AzElRange(p).azimuth;
  return (azimuth > 0.0) - (azimuth < 0.0);
}

}  // namespace libmfx::features
