#pragma once

#include "column_sums.h"
#include "libmfx/geometry/plane.h"

namespace libmfx::geometry {

/// The plane of least squared distances of points with these moments, as Plane::LeastSquares tells
/// it; of NaN if the scatter is not finite.
Plane PlaneOf(const Moments& moments);

}  // namespace libmfx::geometry
