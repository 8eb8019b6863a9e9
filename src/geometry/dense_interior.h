#pragma once

#include "libmfx/data_structures/point_cloud.h"

namespace libmfx::geometry {

/// The points without most of those that lie where points are dense all around: the gaps of their
/// mesh that are wider than `gap` have the same outlines, column for column. Of points on one
/// circle, as those of a grid, the mesh may have the other diagonal, and the outline begin
/// elsewhere.
///
/// What decides is which disks of a diameter above `gap` are empty, since an edge that is longer
/// than `gap`, and each triangle at one, has such a circle around it. The plane is cut into square
/// cells so small that a disk of that size holds one of the cells around each point that it holds;
/// where all of these have a point, one point stands for all of its cell.
/// \param points rows 0 and 1 are x and y, metres; what is not finite stays
/// \param gap metres; 0 or less, or not finite: all points stay
data_structures::PointCloud WithoutDenseInterior(const data_structures::PointCloud& points,
                                                 double gap);

}  // namespace libmfx::geometry
