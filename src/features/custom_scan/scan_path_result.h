#pragma once

#include <string>
#include <vector>

#include "libmfx/data_structures/records.h"

namespace libmfx::features {

/// What the result of a scan path says beside its samples.
struct ScanPathHead {
  const std::string& id;
  const std::string& name;
  bool successful;
  const std::vector<std::string>& warnings;
};

/// The result message of a scan path; keys are sorted, but for the warnings at the end, and doubles
/// round-trip.
/// \param binary true: "ScanData" is the base64 text of BinaryScanData; false: an object
std::string ScanPathResult(const ScanPathHead& head,
                           const std::vector<data_structures::RawDataPoint>& samples, bool binary);

/// The samples as base64 text. Of the bytes, all little-endian, 0 to 3 hold the number of records,
/// 4 to 7 the constant 0x010D0030, and record i begins at 8 + 48 i. A line feed follows every 72
/// characters, and one more ends the text.
std::string BinaryScanData(const std::vector<data_structures::RawDataPoint>& samples);

}  // namespace libmfx::features
