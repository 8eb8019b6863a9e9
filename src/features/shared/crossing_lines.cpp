#include "features/shared/crossing_lines.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>

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
  const int index = static_cast<int>(_queue.size());
  const int sense = ScanLayout::SenseOfCrossing(_queue.size() / 2);
  _queue.emplace(sense > 0 ? outer : inner, kJumpSpacing);
  _queue.emplace(sense > 0 ? inner : outer, _point_spacing);
  _signs[index] = _signs[index + 1] = sense;
}

void CrossingLines::AddSide(const PointXYZW& start, const VectorXYZW& along, double length,
                            unsigned int passes, const VectorXYZW& outward, double depth) {
  const double gap = length / (static_cast<double>(passes) + 1.0);
  for (unsigned int j = 1; j <= passes; ++j) Add(start + along * (j * gap), outward, depth);
}

SideLines SortIntoLines(const PointCloud& scan, const ScanLayout& layout) {
  struct Place {
    std::size_t side;
    std::size_t line;
  };
  SideLines lines(layout.sides());
  std::unordered_map<int, Place> known;
  for (const SegmentRun& run : RunsOf(scan)) {
    const Eigen::Index end = std::min(run.end, scan.cols() - 1);
    if (run.first == end || layout.EndsBefore(run.segment)) break;
    const ScanMove move = layout.At(run.segment);
    if (!move.line) continue;
    const auto side = static_cast<std::size_t>(move.side);
    const auto [place, is_new] = known.try_emplace(run.segment, Place{side, lines[side].size()});
    if (is_new) lines[side].push_back({run.segment, move.sense, {}});
    std::vector<Eigen::Index>& columns = lines[side][place->second.line].columns;
    const std::size_t before = columns.size();
    columns.resize(before + static_cast<std::size_t>(end - run.first));
    std::iota(columns.begin() + static_cast<std::ptrdiff_t>(before), columns.end(), run.first);
  }
  for (std::vector<ScanLine>& side : lines) {
    for (ScanLine& line : side) {
      if (line.sense < 0) std::reverse(line.columns.begin(), line.columns.end());
    }
  }
  return lines;
}

}  // namespace libmfx::features::shared
