#pragma once

#include <algorithm>
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
  /// \param columns of the scan, rising; outlive this object
  /// \param samples how many there are
  SampleFates(const ColumnSamples& columns, std::size_t samples, std::vector<SampleFate>& fates)
      : _columns(columns), _fates(fates) {
    // A scan that was not made of the samples has no fates.
    const auto beyond = std::lower_bound(columns.begin(), columns.end(), samples);
    _known = static_cast<Eigen::Index>(beyond - columns.begin());
    if (_fates.size() == samples) return;
    _fates.assign(samples, SampleFate::kUnusable);
    SetAll(SampleFate::kBetween);
  }

  /// Of every usable sample.
  void SetAll(SampleFate fate) {
    if (_known == 0) return;
    const auto known = static_cast<std::size_t>(_known);
    if (_columns[known - 1] + 1 == known) {  // every sample has a column
      std::fill_n(_fates.begin(), _known, fate);
      return;
    }
    for (std::size_t k = 0; k < known; ++k) _fates[_columns[k]] = fate;
  }
  void Set(Eigen::Index column, SampleFate fate) {
    if (column < _known) _fates[_columns[static_cast<std::size_t>(column)]] = fate;
  }
  void Set(const std::vector<Eigen::Index>& columns, SampleFate fate) {
    for (const Eigen::Index column : columns) Set(column, fate);
  }
  /// \param marks one for each of the columns; one that is 0 gives `otherwise`
  void Set(const std::vector<Eigen::Index>& columns, const char* marks, SampleFate fate,
           SampleFate otherwise) {
    // A fate is as narrow as a character, and what is stored through one may be anything: without
    // names of their own all pointers would be read again for each sample.
    const std::size_t* const sample = _columns.data();
    SampleFate* const told = _fates.data();
    const Eigen::Index known = _known;
    for (const Eigen::Index column : columns) {
      const SampleFate own = *marks++ == 0 ? otherwise : fate;
      if (column < known) told[sample[column]] = own;
    }
  }
  /// Of the columns of a line those that a stage kept, which are in the same order.
  /// \param scan, kept x, y, z in the first rows
  void SetKept(const std::vector<Eigen::Index>& columns, const data_structures::PointCloud& scan,
               const data_structures::PointCloud& kept, SampleFate fate) {
    SetWhereMet(
        columns, scan, kept.cols(), [&](Eigen::Index k) { return &kept.data()(0, k); }, fate);
  }
  /// The same where the stage kept the columns `chosen` of a cloud.
  void SetKept(const std::vector<Eigen::Index>& columns, const data_structures::PointCloud& scan,
               const data_structures::PointCloud& cloud, const std::vector<Eigen::Index>& chosen,
               SampleFate fate) {
    const auto at = [&](Eigen::Index k) {
      return &cloud.data()(0, chosen[static_cast<std::size_t>(k)]);
    };
    SetWhereMet(columns, scan, static_cast<Eigen::Index>(chosen.size()), at, fate);
  }

 private:
  /// \param kept const double*(k), the k-th of `count` points
  template <typename Kept>
  void SetWhereMet(const std::vector<Eigen::Index>& columns,
                   const data_structures::PointCloud& scan, Eigen::Index count, Kept kept,
                   SampleFate fate) {
    Eigen::Index k = 0;
    for (const Eigen::Index column : columns) {
      if (k == count) return;
      const double* const next = kept(k);
      const double* const sample = &scan.data()(0, column);
      if (next[0] != sample[0] || next[1] != sample[1] || next[2] != sample[2]) continue;
      Set(column, fate);
      ++k;
    }
  }

  const ColumnSamples& _columns;
  std::vector<SampleFate>& _fates;
  Eigen::Index _known = 0;  ///< columns whose samples have a fate
};

}  // namespace libmfx::features::shared
