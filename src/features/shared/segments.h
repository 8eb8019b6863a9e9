#pragma once

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
  for (const Eigen::Index i : indices) {
    const double* const from = cloud.data().data() + i * rows;
    for (Eigen::Index row = 0; row < rows; ++row) to[row] = from[row];
    to += rows;
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
  std::vector<SegmentRun> runs;
  Eigen::Index i = 0;
  while (i < cloud.cols()) {
    SegmentRun& run = runs.emplace_back(SegmentRun{SegmentOf(cloud, i), i, i + 1});
    const double number = cloud.data()(4, i);
    while (run.end < cloud.cols() && cloud.data()(4, run.end) == number) ++run.end;
    i = run.end;
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
    for (Eigen::Index i = run.first; i < run.end; ++i) {
      if (!keep(i, run.segment)) continue;
      if (run.segment > last) {
        if (!lines.back().empty()) lines.emplace_back();
        last = run.segment;
      }
      std::vector<Eigen::Index>& line = lines.back();
      if (line.empty()) line.reserve(static_cast<std::size_t>(run.end - i));
      line.push_back(i);
    }
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
