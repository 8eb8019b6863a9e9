#include "features/hole/grazed_rim.h"

#include <limits>
#include <map>
#include <optional>
#include <utility>

#include "features/hole/scan_line.h"

namespace libmfx::features {
namespace {

using data_structures::PointCloud;
using data_structures::PointXYZW;
using data_structures::VectorXYZW;

/// In point spacings: across a wider gap the next sample says nothing about the rim, and one that
/// lies less deep has not left the surface for good.
constexpr double kWidestGap = 2.5;
constexpr double kDeep = 3.0;

/// The columns of a line, first and past the last.
using Range = std::pair<Eigen::Index, Eigen::Index>;

/// For each segment number its first unbroken run of columns.
std::map<int, Range> LinesOf(const PointCloud& scan) {
  std::map<int, Range> lines;
  Eigen::Index first = 0;
  for (Eigen::Index j = 1; j <= scan.cols(); ++j) {
    const int segment = shared::SegmentOf(scan, first);
    if (j < scan.cols() && shared::SegmentOf(scan, j) == segment) continue;
    lines.emplace(segment, Range(first, j));
    first = j;
  }
  return lines;
}

/// The sample that follows on an edge point on the way into the hole, if any.
std::optional<PointXYZW> NextInwards(const PointXYZW& edge, const PointCloud& scan,
                                     const Range& line, bool outwards) {
  Eigen::Index at = line.first;
  double nearest = std::numeric_limits<double>::max();
  for (Eigen::Index j = line.first; j < line.second; ++j) {
    const double distance = (scan.point(j) - edge).squaredNorm();
    if (distance >= nearest) continue;
    nearest = distance;
    at = j;
  }
  const Eigen::Index next = outwards ? at - 1 : at + 1;
  if (next < line.first || next >= line.second) return std::nullopt;
  return scan.point(next);
}

}  // namespace

PointCloud GrazedRim(const PointCloud& edges, const PointCloud& scan, bool fast_star,
                     const Bore& bore) {
  const std::map<int, Range> lines = LinesOf(scan);
  PointCloud rim = edges;
  for (Eigen::Index j = 0; j < rim.cols(); ++j) {
    const PointXYZW edge = edges.point(j);
    if ((edge - bore.center).dot(bore.far_side) > 0.0) continue;
    const int segment = static_cast<int>(edges.data()(3, j));
    const auto line = lines.find(segment);
    if (line == lines.end()) continue;
    const std::optional<PointXYZW> next =
        NextInwards(edge, scan, line->second, RunsOutwards(segment, fast_star));
    if (!next || DepthBelow(bore.surface, *next) < kDeep * bore.point_spacing) continue;
    const VectorXYZW gap = PierceOf(*next, bore.scan_origin, bore.surface) - edge;
    if (gap.norm() > kWidestGap * bore.point_spacing) continue;
    rim.col(j).head<3>() = (edge + gap * 0.5).xyz();
  }
  return rim;
}

}  // namespace libmfx::features
