#include "features/shared/grazed_border.h"

#include "features/shared/beam.h"
#include "features/shared/segments.h"

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
    : _scan(scan), _surface(surface), _scan_origin(scan_origin), _point_spacing(point_spacing) {
  Eigen::Index first = 0;
  for (Eigen::Index j = 1; j <= scan.cols(); ++j) {
    const int segment = SegmentOf(scan, first);
    if (j < scan.cols() && SegmentOf(scan, j) == segment) continue;
    _lines.emplace(segment, Range(first, j));
    first = j;
  }
}

Eigen::Index GrazedBorder::NearestColumn(const PointXYZW& p, const Range& line) const {
  Eigen::Index nearest = 0;
  const auto points = _scan.data().topRows<3>().middleCols(line.first, line.second - line.first);
  (points.colwise() - p.xyz()).colwise().squaredNorm().minCoeff(&nearest);
  return line.first + nearest;
}

std::optional<PointXYZW> GrazedBorder::Beyond(const PointXYZW& edge, int segment,
                                              bool outwards) const {
  const auto found = _lines.find(segment);
  if (found == _lines.end()) return std::nullopt;
  const Range& line = found->second;
  const Eigen::Index at = NearestColumn(edge, line);
  const Eigen::Index next = outwards ? at - 1 : at + 1;
  if (next < line.first || next >= line.second) return std::nullopt;
  const PointXYZW last_pierce = PierceOf(_scan.point(at), _scan_origin, _surface);
  if ((last_pierce - edge).norm() > kOnWall * _point_spacing) return std::nullopt;
  if (DepthBelow(_surface, _scan.point(next)) < kDeep * _point_spacing) return std::nullopt;
  const VectorXYZW gap = PierceOf(_scan.point(next), _scan_origin, _surface) - edge;
  if (gap.norm() > kWidestGap * _point_spacing) return std::nullopt;
  return edge + gap * 0.5;
}

}  // namespace libmfx::features::shared
