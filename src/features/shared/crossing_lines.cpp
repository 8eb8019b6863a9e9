#include "features/shared/crossing_lines.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "features/shared/segments.h"

namespace libmfx::features::shared {

using data_structures::PointCloud;
using data_structures::PointXYZW;
using data_structures::VectorXYZW;

namespace {

/// The move to the start of a line is sampled at this fixed spacing, metres; its samples carry an
/// even segment number and take no part in a fit.
constexpr double kJumpSpacing = 0.00035;

}  // namespace

void CrossingLines::Add(const PointXYZW& on_outline, const VectorXYZW& outward, double depth) {
  const PointXYZW outer = on_outline + outward * _clearance;
  const PointXYZW inner = on_outline - outward * std::min(_clearance, depth);
  const bool inwards = _sign > 0.0;
  const int index = static_cast<int>(_queue.size());
  _queue.emplace(inwards ? outer : inner, kJumpSpacing);
  _queue.emplace(inwards ? inner : outer, _point_spacing);
  _signs[index] = _sign;
  _signs[index + 1] = _sign;
  _sign = -_sign;
}

void CrossingLines::AddSide(const PointXYZW& start, const VectorXYZW& along, double length,
                            unsigned int passes, const VectorXYZW& outward, double depth) {
  const double gap = length / (static_cast<double>(passes) + 1.0);
  for (unsigned int j = 1; j <= passes; ++j) Add(start + along * (j * gap), outward, depth);
}

LineBins BinCrossingLines(const PointCloud& scan, unsigned int sides, unsigned int lines_per_side,
                          const LineSigns& signs, int last_segment) {
  LineBins bins(sides);
  if (lines_per_side == 0) return bins;
  // The columns of each line, and the lines of each side in the order of their first run.
  std::unordered_map<int, std::vector<Eigen::Index>> columns;
  std::vector<std::vector<int>> lines(sides);
  for (Eigen::Index i = 0; i + 1 < scan.cols(); ++i) {
    const int segment = SegmentOf(scan, i);
    if (segment > last_segment) break;
    if (segment < 0 || segment % 2 == 0) continue;
    const std::int64_t side = (segment - 1) / 2 / static_cast<std::int64_t>(lines_per_side);
    if (side >= static_cast<std::int64_t>(sides)) continue;
    std::vector<Eigen::Index>& line = columns[segment];
    if (line.empty()) lines[static_cast<std::size_t>(side)].push_back(segment);
    line.push_back(i);
  }
  for (std::size_t side = 0; side < lines.size(); ++side) {
    for (const int segment : lines[side]) {
      std::vector<Eigen::Index>& line = columns[segment];
      const auto sign = signs.find(segment);
      if (sign != signs.end() && sign->second < 0.0) std::reverse(line.begin(), line.end());
      bins[side].push_back(Columns(scan, line));
    }
  }
  return bins;
}

}  // namespace libmfx::features::shared
