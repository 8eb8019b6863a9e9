#include "features/hole/grazed_rim.h"

#include "features/shared/grazed_border.h"

namespace libmfx::features {

using data_structures::PointCloud;
using data_structures::PointXYZW;

PointCloud GrazedRim(const PointCloud& edges, const PointCloud& scan,
                     const shared::ScanLayout& layout, const Bore& bore) {
  const shared::GrazedBorder border(scan, bore.surface, bore.scan_origin, bore.point_spacing);
  PointCloud rim = edges;
  for (Eigen::Index j = 0; j < rim.cols(); ++j) {
    const PointXYZW edge = edges.point(j);
    if ((edge - bore.center).dot(bore.far_side) > 0.0) continue;
    const int segment = static_cast<int>(edges.data()(3, j));
    const auto place = border.Beyond(edge, segment, layout.At(segment).sense < 0);
    if (place) rim.col(j).head<3>() = place->xyz();
  }
  return rim;
}

}  // namespace libmfx::features
