#pragma once

#include <queue>
#include <vector>

#include "libmfx/features/feature.h"
#include "sim/instrument.h"

namespace libmfx::test {

/// Holds one measurement as a host does: drives what the feature asks for until it has its samples,
/// and analyses them. Two answers without a sample in a row end it before the analysis.
/// \returns whether the analysis was reached
inline bool Converse(features::Feature& feature, sim::Instrument& instrument) {
  std::queue<features::Position> next = feature.GetDrivePoints(false);
  int empty_answers = 0;
  while (empty_answers < 2) {
    const std::vector<features::RawDataPoint> samples = instrument.Drive(next);
    next = {};
    empty_answers = samples.empty() ? empty_answers + 1 : 0;
    if (feature.SetRawData(samples, next)) {
      feature.AnalyzeFeature();
      return true;
    }
  }
  return false;
}

}  // namespace libmfx::test
