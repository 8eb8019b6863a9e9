#pragma once

#include "features/hole/bore.h"
#include "features/shared/scan_layout.h"

namespace libmfx::features {

/// The rim points of a hole, with those on the near side moved to where the beam grazed the rim.
///
/// On the near side the last sample of the surface lies up to a point spacing short of the rim: the
/// next beam passes the rim, runs free, and comes back from deep below. The rim is taken halfway
/// between the places where the two beams cross the surface. On the far side there is no such gap,
/// as the beam comes onto the wall; and where no sample follows nothing tells how far the rim is.
/// \param edges shape (4, points): x, y, z, segment number
/// \param scan all samples of the scan, shape (5, samples), in scan order
/// \return shape (4, points)
data_structures::PointCloud GrazedRim(const data_structures::PointCloud& edges,
                                      const data_structures::PointCloud& scan,
                                      const shared::ScanLayout& layout, const Bore& bore);

}  // namespace libmfx::features
