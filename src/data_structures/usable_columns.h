#pragma once

#include <Eigen/Core>
#include <vector>

#include "libmfx/data_structures/records.h"

/// \file
/// From samples to the columns of a cloud. Lengths are metres.

namespace libmfx::data_structures {

/// Writes azimuth, elevation and range of a sample.
inline void WriteSpherical(const RawDataPoint& sample, double* column) {
  column[0] = sample.azimuth;
  column[1] = sample.elevation;
  column[2] = sample.range;
}

/// Writes the quality and the segment number beneath the coordinates.
inline void WriteExtraRows(const RawDataPoint& sample, double* column) {
  column[3] = sample.quality;
  column[4] = static_cast<double>(sample.status);
}

/// One column for each usable sample, in order.
/// \param write void(sample, column), fills the column's `rows` numbers
template <typename Write>
Eigen::MatrixXd UsableColumns(const std::vector<RawDataPoint>& samples, double min_quality,
                              Eigen::Index rows, Write write) {
  // Samples are rarely dropped, so room is made for all of them.
  Eigen::MatrixXd data(rows, static_cast<Eigen::Index>(samples.size()));
  double* column = data.data();
  for (const RawDataPoint& sample : samples) {
    if (!IsUsable(sample, min_quality)) continue;
    write(sample, column);
    column += rows;
  }
  const Eigen::Index kept = (column - data.data()) / rows;
  if (kept < data.cols()) data.conservativeResize(Eigen::NoChange, kept);
  return data;
}

}  // namespace libmfx::data_structures
