#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "libmfx/data_structures/point_cloud.h"

/// \file
/// Scan lines of a cloud with the rows x, y, z, quality, segment number.

namespace libmfx::features::shared {

/// The segment number of a column.
inline int SegmentOf(const data_structures::PointCloud& cloud, Eigen::Index column) {
  return static_cast<int>(cloud.data()(4, column));
}

/// The columns `indices` of a cloud, in that order, with its embeddings.
inline data_structures::PointCloud Columns(const data_structures::PointCloud& cloud,
                                           const std::vector<Eigen::Index>& indices) {
  const Eigen::Index rows = cloud.rows();
  Eigen::MatrixXd chosen(rows, static_cast<Eigen::Index>(indices.size()));
  double* to = chosen.data();
  // Neighbours are copied at once: most lines are one block of the scan.
  for (std::size_t first = 0, end = 0; first < indices.size(); first = end) {
    for (end = first + 1; end < indices.size() && indices[end] == indices[end - 1] + 1;) ++end;
    const auto block = static_cast<Eigen::Index>(end - first);
    to = std::copy_n(cloud.data().data() + indices[first] * rows, block * rows, to);
  }
  return data_structures::PointCloud(std::move(chosen), cloud.embeddings());
}

/// Neighbouring columns with one segment number.
struct SegmentRun {
  int segment;
  Eigen::Index first;
  Eigen::Index end;  ///< past the last column
};

/// The runs of a cloud, in scan order: together they are all of its columns.
inline std::vector<SegmentRun> RunsOf(const data_structures::PointCloud& cloud) {
  constexpr Eigen::Index kRow = 4;
  std::vector<SegmentRun> runs;
  if (cloud.cols() == 0) return runs;
  runs.reserve(64);  // as most scans have no more
  const double* const numbers = cloud.data().data() + kRow;
  const Eigen::Index rows = cloud.rows();
  const Eigen::Index columns = cloud.cols();
  for (Eigen::Index i = 0; i < columns;) {
    const Eigen::Index first = i;
    const double number = numbers[first * rows];
    for (++i; i < columns && numbers[i * rows] == number;) ++i;
    runs.push_back({static_cast<int>(number), first, i});
  }
  return runs;
}

/// Cuts a cloud into its scan lines: for each line, in scan order, the columns that `keep` lets
/// through. A line begins where the segment number rises above that of the line before, and above
/// 0; the column that rises is its first. There is always at least one line, and only the last can
/// be without columns.
/// \param on_line bool(segment number), whether columns of this number are asked for at all
/// \param keep bool(column, segment number)
template <typename OnLine, typename Keep>
std::vector<std::vector<Eigen::Index>> CutIntoLines(const data_structures::PointCloud& cloud,
                                                    OnLine on_line, Keep keep) {
  std::vector<std::vector<Eigen::Index>> lines(1);
  int last = 0;
  for (const SegmentRun& run : RunsOf(cloud)) {
    if (!on_line(run.segment)) continue;
    Eigen::Index first = run.first;
    while (first < run.end && !keep(first, run.segment)) ++first;
    if (first == run.end) continue;
    if (run.segment > last) {
      if (!lines.back().empty()) lines.emplace_back();
      last = run.segment;
    }
    // Room for all that may follow, so that noise at the limit decides without a branch.
    std::vector<Eigen::Index>& line = lines.back();
    std::size_t size = line.size();
    line.resize(size + static_cast<std::size_t>(run.end - first));
    line[size++] = first;
    for (Eigen::Index i = first + 1; i < run.end; ++i) {
      line[size] = i;
      size += keep(i, run.segment) ? 1 : 0;
    }
    line.resize(size);
  }
  return lines;
}
template <typename Keep>
std::vector<std::vector<Eigen::Index>> CutIntoLines(const data_structures::PointCloud& cloud,
                                                    Keep keep) {
  return CutIntoLines(
      cloud, [](int) { return true; }, keep);
}

/// Columns of all clouds together.
inline Eigen::Index ColumnsOf(const std::vector<data_structures::PointCloud>& clouds) {
  Eigen::Index total = 0;
  for (const data_structures::PointCloud& cloud : clouds) total += cloud.cols();
  return total;
}

}  // namespace libmfx::features::shared
