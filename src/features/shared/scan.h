#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "data_structures/cartesian.h"
#include "data_structures/usable_columns.h"
#include "libmfx/data_structures/point_cloud.h"

/// \file
/// The samples of a pass as a cloud that knows which sample each of its columns is.

namespace libmfx::features::shared {

/// For each column of a scan the index of its sample.
using ColumnSamples = std::vector<std::size_t>;

/// The same for a scan of all usable samples.
inline ColumnSamples UsableSamples(const std::vector<data_structures::RawDataPoint>& samples,
                                   double quality_threshold) {
  ColumnSamples usable;
  usable.reserve(samples.size());
  for (std::size_t i = 0; i < samples.size(); ++i) {
    if (IsUsable(samples[i], quality_threshold)) usable.push_back(i);
  }
  return usable;
}

/// The usable samples as rows x, y, z, quality, segment number, as PointCloud makes them.
inline data_structures::PointCloud ScanOf(const std::vector<data_structures::RawDataPoint>& samples,
                                          double quality_threshold, ColumnSamples& columns) {
  columns.resize(samples.size());
  std::size_t* next = columns.data();
  const auto write = [&](const data_structures::RawDataPoint& sample, double* column) {
    *next++ = static_cast<std::size_t>(&sample - samples.data());
    data_structures::WriteSpherical(sample, column);
    data_structures::WriteExtraRows(sample, column);
  };
  Eigen::MatrixXd data = data_structures::UsableColumns(samples, quality_threshold, 5, write);
  data_structures::SphericalToCartesian(data, 0);
  data_structures::PointCloud scan(std::move(data), {{data_structures::EMBEDDING_XYZ, {0}}});
  columns.resize(static_cast<std::size_t>(scan.cols()));
  return scan;
}

}  // namespace libmfx::features::shared
