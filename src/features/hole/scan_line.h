#pragma once

#include "features/shared/segments.h"
#include "libmfx/geometry/plane.h"

/// \file
/// What the stages of a hole's analysis know about its scan lines.

namespace libmfx::features {

/// Whether a line runs from inside the hole outwards, so that its end lies farthest from the rim.
/// \param fast_star whether every second segment is a line, or two of three
inline bool RunsOutwards(int segment, bool fast_star) {
  return fast_star ? (segment - 1) / 2 % 2 != 0 : segment % 3 == 2;
}

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

}  // namespace libmfx::features
