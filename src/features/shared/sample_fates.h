#pragma once

#include <cstddef>
#include <vector>

#include "libmfx/data_structures/point_cloud.h"
#include "libmfx/features/stages.h"

/// \file
/// What became of the samples, told by the columns of a scan: column k is the k-th usable sample.

namespace libmfx::features::shared {

/// The samples that a cloud of a threshold has columns of, in their order.
inline std::vector<std::size_t> UsableSamples(
    const std::vector<data_structures::RawDataPoint>& samples, double quality_threshold) {
  std::vector<std::size_t> usable;
  usable.reserve(samples.size());
  for (std::size_t i = 0; i < samples.size(); ++i) {
    if (data_structures::IsUsable(samples[i], quality_threshold)) usable.push_back(i);
  }
  return usable;
}

/// Of some columns of a scan those that a stage kept, which are in the same order.
/// \param scan, kept x, y, z in the first rows
inline std::vector<Eigen::Index> KeptColumns(const std::vector<Eigen::Index>& columns,
                                             const data_structures::PointCloud& scan,
                                             const data_structures::PointCloud& kept) {
  std::vector<Eigen::Index> found;
  for (const Eigen::Index column : columns) {
    const auto next = static_cast<Eigen::Index>(found.size());
    if (next == kept.cols()) break;
    if (kept.col(next).head<3>() == scan.col(column).head<3>()) found.push_back(column);
  }
  return found;
}

/// Puts fates of columns down for their samples.
class SampleFates {
 public:
  /// Every usable sample begins as one between the lines, unless the fates are there already.
  SampleFates(const std::vector<data_structures::RawDataPoint>& samples, double quality_threshold,
              std::vector<SampleFate>& fates)
      : _fates(fates), _samples(UsableSamples(samples, quality_threshold)) {
    if (_fates.size() == samples.size()) return;
    _fates.assign(samples.size(), SampleFate::kUnusable);
    SetAll(SampleFate::kBetween);
  }

  /// Of every usable sample.
  void SetAll(SampleFate fate) {
    for (const std::size_t sample : _samples) _fates[sample] = fate;
  }
  /// A column that no sample of the pass stands behind is nobody's.
  void Set(Eigen::Index column, SampleFate fate) {
    const auto index = static_cast<std::size_t>(column);
    if (index < _samples.size()) _fates[_samples[index]] = fate;
  }
  void Set(const std::vector<Eigen::Index>& columns, SampleFate fate) {
    for (const Eigen::Index column : columns) Set(column, fate);
  }
  /// Of those columns of a line that a stage kept.
  void SetKept(const std::vector<Eigen::Index>& columns, const data_structures::PointCloud& scan,
               const data_structures::PointCloud& kept, SampleFate fate) {
    Set(KeptColumns(columns, scan, kept), fate);
  }

 private:
  std::vector<SampleFate>& _fates;
  std::vector<std::size_t> _samples;  ///< of each column
};

}  // namespace libmfx::features::shared
