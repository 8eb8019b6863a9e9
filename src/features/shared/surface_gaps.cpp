#include "features/shared/surface_gaps.h"

#include <algorithm>
#include <optional>

namespace libmfx::features::shared {

using data_structures::PointCloud;
using data_structures::PointXYZW;

namespace {

/// What the lines show of a surface.
struct Seen {
  std::vector<double> lengths;  ///< of each line, from its first sample on the surface to its last
  std::vector<double> gaps;     ///< between successive samples, all lines
};

Seen SeenOf(const std::vector<PointCloud>& lines, const geometry::Plane& plane, double tolerance) {
  Seen seen;
  for (const PointCloud& line : lines) {
    std::optional<PointXYZW> first, last;
    for (Eigen::Index i = 0; i < line.cols(); ++i) {
      const PointXYZW p = line.point(i);
      if (!(plane.Distance(p) <= tolerance)) continue;
      if (last) seen.gaps.push_back(data_structures::Distance(*last, p));
      if (!first) first = p;
      last = p;
    }
    if (first) seen.lengths.push_back(data_structures::Distance(*first, *last));
  }
  return seen;
}

}  // namespace

bool SurfaceIsUnbroken(const std::vector<PointCloud>& lines, const geometry::Plane& plane,
                       double point_spacing) {
  constexpr double kMostMissing = 1.0 / 6.0;
  Seen seen = SeenOf(lines, plane, 3.0 * point_spacing);
  if (seen.gaps.empty()) return true;
  const auto there = static_cast<double>(seen.gaps.size());
  // The spacing as it was driven, which may be coarser than the one asked for: with half of the
  // samples lost, half of the gaps still have it. Noise makes gaps uneven, lengths it leaves alone.
  const auto quarter = seen.gaps.begin() + static_cast<std::ptrdiff_t>(seen.gaps.size() / 4);
  std::nth_element(seen.gaps.begin(), quarter, seen.gaps.end());
  const double spacing = std::max(*quarter, point_spacing);
  double expected = 0.0;
  for (const double length : seen.lengths) expected += length / spacing;
  return expected - there <= kMostMissing * expected;
}

bool EverySideIsUnbroken(const LineBins& sides, const geometry::Plane& plane,
                         double point_spacing) {
  return std::all_of(sides.begin(), sides.end(), [&](const std::vector<PointCloud>& lines) {
    return SurfaceIsUnbroken(lines, plane, point_spacing);
  });
}

}  // namespace libmfx::features::shared
