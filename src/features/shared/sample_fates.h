#pragma once

#include <cstddef>
#include <vector>

#include "features/shared/scan.h"
#include "libmfx/data_structures/point_cloud.h"
#include "libmfx/features/stages.h"

/// \file
/// What became of the samples, told by the columns of a scan: column k is the k-th usable sample.

namespace libmfx::features::shared {

/// Puts fates of columns down for their samples.
class SampleFates {
 public:
  /// Every usable sample begins as one between the lines, unless the fates are there already.
  /// \param columns of the scan; outlive this object
  /// \param samples how many there are
  SampleFates(const ColumnSamples& columns, std::size_t samples, std::vector<SampleFate>& fates)
      : _columns(columns), _fates(fates) {
    if (_fates.size() == samples) return;
    _fates.assign(samples, SampleFate::kUnusable);
    SetAll(SampleFate::kBetween);
  }

  /// Of every usable sample.
  void SetAll(SampleFate fate) {
    for (std::size_t k = 0; k < _columns.size(); ++k) Set(static_cast<Eigen::Index>(k), fate);
  }
  void Set(Eigen::Index column, SampleFate fate) {
    const auto k = static_cast<std::size_t>(column);
    // A scan that was not made of the samples has no fates.
    if (k < _columns.size() && _columns[k] < _fates.size()) _fates[_columns[k]] = fate;
  }
  void Set(const std::vector<Eigen::Index>& columns, SampleFate fate) {
    for (const Eigen::Index column : columns) Set(column, fate);
  }
  /// Of the columns of a line those that a stage kept, which are in the same order.
  /// \param scan, kept x, y, z in the first rows
  void SetKept(const std::vector<Eigen::Index>& columns, const data_structures::PointCloud& scan,
               const data_structures::PointCloud& kept, SampleFate fate) {
    const double* next = kept.data().data();
    const double* const end = next + kept.data().size();
    for (const Eigen::Index column : columns) {
      if (next == end) return;
      const double* const sample = &scan.data()(0, column);
      if (next[0] != sample[0] || next[1] != sample[1] || next[2] != sample[2]) continue;
      Set(column, fate);
      next += kept.rows();
    }
  }

 private:
  const ColumnSamples& _columns;
  std::vector<SampleFate>& _fates;
};

}  // namespace libmfx::features::shared
