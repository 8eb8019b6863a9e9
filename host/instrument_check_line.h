#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/instrument_check.h"
#include "host/wire.h"

namespace libmfx::host {

/// Longest answer that is looked into, bytes: far more than the paths of a check can bring.
inline constexpr std::size_t kLongestAnswer = std::size_t{4} << 20;

/// An answer of an instrument as a check reads it: it takes samples from lines that a measurement
/// refuses.
struct CheckedLine {
  std::vector<RawDataPoint> samples;  ///< what could be read, in the order of the rows
  std::vector<InstrumentFinding> findings;
  bool is_object = false;  ///< it is the JSON of an answer, or was meant to be
};

/// Reads a line, and tells what is wrong with its form; the findings name no drives yet.
CheckedLine CheckLine(std::string line);

}  // namespace libmfx::host
