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
  /// \param usable how many columns the scan has
  SampleFates(const std::vector<data_structures::RawDataPoint>& samples, double quality_threshold,
              Eigen::Index usable, std::vector<SampleFate>& fates)
      : _fates(fates) {
    const bool all_usable = static_cast<std::size_t>(usable) == samples.size();
    if (_fates.size() != samples.size()) {
      _fates.assign(samples.size(), SampleFate::kBetween);
      for (std::size_t i = 0; i < samples.size() && !all_usable; ++i) {
        if (!IsUsable(samples[i], quality_threshold)) _fates[i] = SampleFate::kUnusable;
      }
    }
    if (all_usable) return;
    _samples.resize(samples.size());
    std::size_t columns = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
      _samples[columns] = i;
      columns += _fates[i] != SampleFate::kUnusable ? 1 : 0;
    }
  }

  /// Of every usable sample.
  void SetAll(SampleFate fate) {
    for (SampleFate& each : _fates) {
      if (each != SampleFate::kUnusable) each = fate;
    }
  }
  void Set(Eigen::Index column, SampleFate fate) {
    const auto k = static_cast<std::size_t>(column);
    const std::size_t sample = _samples.empty() ? k : _samples[k];
    // A scan that was not made of the samples has no fates.
    if (sample < _fates.size()) _fates[sample] = fate;
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
  std::vector<SampleFate>& _fates;
  std::vector<std::size_t> _samples;  ///< of each column; empty where all samples are usable
};

}  // namespace libmfx::features::shared
