#pragma once

#include <vector>

#include "features/shared/crossing_lines.h"
#include "libmfx/data_structures/point_cloud.h"
#include "libmfx/geometry/plane.h"

namespace libmfx::features::shared {

/// Whether enough of a surface's samples are there to tell where it ends: at most a sixth of them
/// may be missing.
///
/// A border lies beyond the last sample of its line. Where samples are lost at random, as with a
/// quality threshold close to the surface's own quality, that last sample moves back, on all lines
/// alike: an opening grows by up to millimetres, and its fit is none the worse for it.
/// \param lines that each cross the border once, samples in scan order
/// \param point_spacing metres; samples farther than three of these from the surface don't count
bool SurfaceIsUnbroken(const std::vector<data_structures::PointCloud>& lines,
                       const geometry::Plane& plane, double point_spacing);

/// The same for every side or arc of an opening.
bool EverySideIsUnbroken(const LineBins& sides, const geometry::Plane& plane, double point_spacing);

}  // namespace libmfx::features::shared
