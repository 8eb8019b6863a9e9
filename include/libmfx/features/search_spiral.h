#pragma once

#include <queue>

#include "libmfx/data_structures/records.h"
#include "libmfx/export.h"
#include "libmfx/geometry/plane.h"

namespace libmfx::features {

/// The pattern that is driven when a feature has to be searched for: an Archimedean spiral in
/// `plane` around its point, as generated, not unwrapped at the azimuth seam.
///
/// The first drive point is the centre, with spacing 0; each further one lies radial_pitch /
/// points_per_turn further out and 2 pi / points_per_turn further round, as long as its radius is
/// at most `max_radius`; below the first step it is the centre alone. For a plane whose normal lies
/// along x, which has no start direction, all points are the centre.
/// \param max_radius metres
/// \param radial_pitch metres between neighbouring turns
/// \param point_spacing metres between samples on the way to every point but the first
/// \return empty if no instrument can drive it: a radius that is not finite, a pitch that is not
/// positive and finite, no points per turn, or more than 1,000,000 points
LIBMFX_EXPORT std::queue<data_structures::Position> GenerateSearchSpiral(
    geometry::Plane& plane, double max_radius, unsigned int points_per_turn, double radial_pitch,
    double point_spacing);

}  // namespace libmfx::features
