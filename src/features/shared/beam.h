#pragma once

#include "libmfx/data_structures/point.h"
#include "libmfx/geometry/plane.h"

/// \file
/// A sample, its beam and a surface. Lengths are metres.

namespace libmfx::features::shared {

/// Metres below the surface, along its normal; negative above.
inline double DepthBelow(const geometry::Plane& surface, const data_structures::PointXYZW& p) {
  return -surface.SignedDistanceTo(p);
}

/// Where the beam that a sample came back on crosses the surface; the sample itself for a beam
/// along the surface.
inline data_structures::PointXYZW PierceOf(const data_structures::PointXYZW& sample,
                                           const data_structures::PointXYZW& scan_origin,
                                           const geometry::Plane& surface) {
  const data_structures::VectorXYZW beam = sample - scan_origin;
  const double along_normal = beam.dot(surface.Normal());
  if (along_normal == 0.0) return sample;
  return scan_origin +
         beam * ((surface.Point() - scan_origin).dot(surface.Normal()) / along_normal);
}

}  // namespace libmfx::features::shared
