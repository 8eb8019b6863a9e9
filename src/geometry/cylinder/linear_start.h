#pragma once

#include <optional>

#include "geometry/cylinder/model.h"

namespace libmfx::geometry::cylinder {

/// A start for the fit that doesn't look at the nominal offsets and radius: for a direction near
/// `nominal.direction`, the square of the distance to the axis is linear in the axis and in the
/// products of its position and tilt but for second orders of the tilt, so that one linear solve
/// gives a cylinder. Needed where the nominal axis lies beyond the arc that was seen: from there
/// the damped fit rolls off to an ever larger, hollow cylinder.
///
/// `fix_axis` keeps the direction, `fix_radius` the radius of `nominal`. Nothing when the points
/// leave the solve open or when its radius isn't positive.
std::optional<Model> LinearStart(const Points& points, const Model& nominal, bool fix_axis,
                                 bool fix_radius);

}  // namespace libmfx::geometry::cylinder
