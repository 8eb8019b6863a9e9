#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "libmfx/features/feature.h"
#include "libmfx/measurement/measurement.h"

/// \file
/// The lines that go to an instrument and come back, which are the lines of a recording too.
/// Radians and metres; every number is the shortest text that reads back as the same double.

namespace libmfx::host {

using data_structures::Position;
using data_structures::RawDataPoint;

/// Most samples that one answer may hold: 240 MB of records.
inline constexpr std::size_t kMostSamples = 5'000'000;

using measurement::StepName;

/// {"drive":[[azimuth,elevation,range,point_spacing],...],"step":"..."}
std::string DriveLine(const std::vector<Position>& points, const std::string& step);

/// {"samples":[[azimuth,elevation,range,quality,status],...]}; a number that is not finite is null.
std::string SamplesLine(const std::vector<RawDataPoint>& samples);

/// What an instrument answered: samples, or why there are none.
struct Answer {
  std::vector<RawDataPoint> samples;
  std::optional<std::string> error;
};

/// Reads a line with "samples" or "error"; other keys are passed over. A sample is an array of
/// five numbers, the last a 32-bit integer; null stands for a number that is not finite.
/// \throws CallError that says what is wrong with the line, and where
Answer ReadAnswer(std::string_view line);

/// Reads the points of a line with "drive".
/// \throws CallError that says what is wrong with the line, and where
std::vector<Position> ReadDrive(std::string_view line);

}  // namespace libmfx::host
