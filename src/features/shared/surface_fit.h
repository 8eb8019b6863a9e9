#pragma once

#include <vector>

#include "features/shared/crossing_lines.h"
#include "libmfx/data_structures/point_cloud.h"
#include "libmfx/geometry/plane.h"

/// \file
/// From the scan lines around an opening to the surface that it lies in. Lengths are metres, angles
/// radians.

namespace libmfx::features::shared {

/// What tells one opening's surface from another's.
struct SurfaceRules {
  data_structures::PointXYZW center;         ///< nominal
  data_structures::VectorXYZW normal;        ///< nominal, unit
  double max_distance;                       ///< from the centre to the farthest sample that counts
  double quality_threshold;                  ///< a sample counts strictly above it
  double point_spacing;                      ///< the surface is found to three times this
  double reject_angle = 0.2617993877991494;  ///< largest angle between fitted and nominal normal
};

enum class SurfaceFit { kFound, kNoPlane, kTilted };

/// The samples of scan lines that lie on a surface.
struct SurfaceSamples {
  LineBins lines;           ///< for each line a cloud of x, y, z, in the order of its columns
  std::vector<char> marks;  ///< for each column of all lines, in their order: 1 where it belongs
};

/// Fits the robust surface to the lines; its normal is turned to the nominal's side.
/// \param scan rows x, y, z, quality first
/// \param samples those that belong to it
SurfaceFit FitSurface(const data_structures::PointCloud& scan, const SideLines& lines,
                      const SurfaceRules& rules, geometry::Plane& plane, SurfaceSamples& samples);

}  // namespace libmfx::features::shared
