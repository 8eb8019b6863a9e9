#pragma once

#include <cstddef>
#include <vector>

#include "libmfx/data_structures/point_cloud.h"
#include "libmfx/features/stages.h"

/// \file
/// What became of the samples, told by the columns of a scan: column k is the k-th usable sample.

namespace libmfx::features::shared {

/// Puts fates of columns down for their samples.
class SampleFates {
 public:
  /// Every usable sample begins as one between the lines, unless the fates are there already.
  SampleFates(const std::vector<data_structures::RawDataPoint>& samples, double quality_threshold,
              std::vector<SampleFate>& fates)
      : _fates(fates) {
    const bool first = _fates.size() != samples.size();
    if (first) _fates.assign(samples.size(), SampleFate::kUnusable);
    _samples.reserve(samples.size());
    for (std::size_t i = 0; i < samples.size(); ++i) {
      if (!data_structures::IsUsable(samples[i], quality_threshold)) continue;
      if (first) _fates[i] = SampleFate::kBetween;
      _samples.push_back(i);
    }
  }

  void Set(Eigen::Index column, SampleFate fate) {
    _fates[_samples[static_cast<std::size_t>(column)]] = fate;
  }
  void Set(const std::vector<Eigen::Index>& columns, SampleFate fate) {
    for (const Eigen::Index column : columns) Set(column, fate);
  }
  /// Of the columns of a line those that a stage kept, which are in the same order.
  /// \param scan, kept x, y, z in the first rows
  void SetKept(const std::vector<Eigen::Index>& columns, const data_structures::PointCloud& scan,
               const data_structures::PointCloud& kept, SampleFate fate) {
    Eigen::Index next = 0;
    for (const Eigen::Index column : columns) {
      if (next == kept.cols()) return;
      if (kept.col(next).head<3>() != scan.col(column).head<3>()) continue;
      Set(column, fate);
      ++next;
    }
  }

 private:
  std::vector<SampleFate>& _fates;
  std::vector<std::size_t> _samples;  ///< of each column
};

}  // namespace libmfx::features::shared
