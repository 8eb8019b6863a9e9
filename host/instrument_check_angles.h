#pragma once

#include <cstddef>
#include <vector>

#include "host/instrument_check.h"
#include "host/instrument_check_path.h"

namespace libmfx::host {

/// A sample that lies on the path.
struct PlacedSample {
  std::size_t row = 0;  ///< in the answer
  RawDataPoint sample;  ///< with its angles and its range as they were meant
  CheckPlace place;
};

/// What the angles of an answer mean.
struct CheckedAngles {
  const CheckPath* path = nullptr;   ///< along which the samples were taken
  std::vector<PlacedSample> placed;  ///< the samples that lie on it, in order
  std::vector<RawDataPoint> meant;   ///< all finite samples, as they were meant
  bool is_on_path = true;            ///< nearly all samples lie on it
  bool to_scale = true;              ///< distances along the path are those that were driven
  std::vector<InstrumentFinding> findings;
};

/// Finds out how angles are to be understood for the samples to lie on the path; angles that are
/// as they should be give no finding.
/// \param before the path of the drive before, if there was one
CheckedAngles CheckAngles(const std::vector<RawDataPoint>& samples, const CheckPath& path,
                          const CheckPath* before);

/// Whether all numbers of a sample are finite.
bool IsFinite(const RawDataPoint& sample);

}  // namespace libmfx::host
