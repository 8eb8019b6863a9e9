#include "features/shared/grazed_border.h"

#include <algorithm>
#include <limits>

#include "features/shared/beam.h"

namespace libmfx::features::shared {

using data_structures::PointCloud;
using data_structures::PointXYZW;
using data_structures::VectorXYZW;

namespace {

/// In point spacings: across a wider gap the next sample says nothing about the border, and one
/// that lies less deep has not left the surface for good.
constexpr double kWidestGap = 2.5;
constexpr double kDeep = 3.0;

/// In point spacings: a sample whose beam crosses the surface farther than this from its foot came
/// back from below. If it counts as an edge point all the same, it lies on the wall, and its foot
/// is the border.
constexpr double kOnWall = 0.25;

}  // namespace

GrazedBorder::GrazedBorder(const PointCloud& scan, const geometry::Plane& surface,
                           const PointXYZW& scan_origin, double point_spacing)
    : _scan(scan),
      _surface(surface),
      _scan_origin(scan_origin),
      _point_spacing(point_spacing),
      _runs(RunsOf(scan)) {}

Eigen::Index GrazedBorder::NearestColumn(const PointXYZW& p, const SegmentRun& line) const {
  const Eigen::Vector3d from = p.xyz();
  Eigen::Index nearest = line.first;
  double least = std::numeric_limits<double>::infinity();
  for (Eigen::Index j = line.first; j < line.end; ++j) {
    const double squared = (_scan.col(j).head<3>() - from).squaredNorm();
    if (!(squared < least)) continue;
    least = squared;
    nearest = j;
  }
  return nearest;
}

std::optional<PointXYZW> GrazedBorder::Beyond(const PointXYZW& edge, int segment,
                                              bool outwards) const {
  const auto found = std::find_if(_runs.begin(), _runs.end(), [segment](const SegmentRun& run) {
    return run.segment == segment;
  });
  if (found == _runs.end()) return std::nullopt;
  const SegmentRun& line = *found;
  const Eigen::Index at = NearestColumn(edge, line);
  const Eigen::Index next = outwards ? at - 1 : at + 1;
  if (next < line.first || next >= line.end) return std::nullopt;
  const PointXYZW last_pierce = PierceOf(_scan.point(at), _scan_origin, _surface);
  if ((last_pierce - edge).norm() > kOnWall * _point_spacing) return std::nullopt;
  if (DepthBelow(_surface, _scan.point(next)) < kDeep * _point_spacing) return std::nullopt;
  const VectorXYZW gap = PierceOf(_scan.point(next), _scan_origin, _surface) - edge;
  if (gap.norm() > kWidestGap * _point_spacing) return std::nullopt;
  return edge + gap * 0.5;
}

}  // namespace libmfx::features::shared
