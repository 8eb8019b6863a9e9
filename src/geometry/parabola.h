#pragma once

#include "libmfx/data_structures/point.h"

namespace libmfx::geometry {

/// The double epsilon, 2.220446049250313e-16: below it two positions of the sweep are the same.
inline constexpr double kSweepEpsilon = 0x1p-52;

/// Where the arc of `left` ends and that of `right` begins, for a sweep line at `sweep_y`.
data_structures::PointXYW IntersectParabolas(const data_structures::PointXYW& left,
                                             const data_structures::PointXYW& right,
                                             double sweep_y);

/// Whether all three components differ by at most kSweepEpsilon.
bool SamePosition(const data_structures::PointXYW& a, const data_structures::PointXYW& b);

}  // namespace libmfx::geometry
