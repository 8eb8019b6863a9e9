#pragma once

#include <optional>
#include <vector>

#include "features/shared/segments.h"
#include "libmfx/data_structures/point_cloud.h"
#include "libmfx/geometry/plane.h"

/// \file
/// Where a scan line leaves a surface over its border. Lengths are metres.

namespace libmfx::features::shared {

/// Places of the border of an opening, from the samples to either side of it.
///
/// The last sample of the surface lies up to a point spacing short of the border: the next beam
/// passes the border, runs free, and comes back from deep below. The border is taken halfway
/// between the places where the two beams cross the surface. Where no sample follows, where it is
/// far off or hardly below the surface, nothing tells how far the border is.
class GrazedBorder {
 public:
  /// \param scan all samples of the scan, shape (5, samples), in scan order; outlives this object
  /// \param surface with its normal towards the instrument; outlives this object
  GrazedBorder(const data_structures::PointCloud& scan, const geometry::Plane& surface,
               const data_structures::PointXYZW& scan_origin, double point_spacing);

  /// \param edge the foot on the surface of a line's last sample of it
  /// \param segment number of the line
  /// \param outwards whether the line runs from inside the opening to outside
  std::optional<data_structures::PointXYZW> Beyond(const data_structures::PointXYZW& edge,
                                                   int segment, bool outwards) const;

 private:
  Eigen::Index NearestColumn(const data_structures::PointXYZW& p, const SegmentRun& line) const;

  const data_structures::PointCloud& _scan;
  const geometry::Plane& _surface;
  data_structures::PointXYZW _scan_origin;
  double _point_spacing;
  std::vector<SegmentRun> _runs;  ///< of a segment number the first one is its line
};

}  // namespace libmfx::features::shared
