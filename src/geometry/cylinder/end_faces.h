#pragma once

#include <Eigen/Core>
#include <vector>

#include "geometry/cylinder/model.h"

namespace libmfx::geometry::cylinder {

/// Marks the points on flat pieces of surface square to the axis: the top of a stud, its base where
/// it rises into the window, the floor of a bore. Noise lifts half of the samples of a top over or
/// under the limit of the height window, and with a radial tolerance near the radius nothing else
/// keeps them from the fit.
///
/// Lengths are nominal radii; `axis` is the nominal axis, a unit vector. A face is believed on
/// evidence only: the neighbours of its points within half a radius fill an area, are flat and have
/// a normal within 18 degrees of the axis, and the points so found agree on one plane. A ring of
/// points around a wall bulges too little over half a radius to fill an area, the flank of a 60
/// degree thread leans by 30 degrees, and points with few neighbours prove nothing. Then all points
/// on that plane are marked, also those at its edge.
std::vector<bool> MarkEndFaces(const Points& points, const Eigen::Vector3d& axis);

}  // namespace libmfx::geometry::cylinder
