#pragma once

#include <cstddef>
#include <vector>

#include "host/instrument_check.h"
#include "host/instrument_check_angles.h"

namespace libmfx::host {

/// What is wrong with the samples of one drive, whose line could be read. Ordinary noise, lost
/// samples and the ramps of an axis are not.
/// \param before the path of the drive before, if there was one
std::vector<InstrumentFinding> CheckSamples(const std::vector<RawDataPoint>& samples,
                                            const CheckPath& path, const CheckPath* before);

/// The part of it that looks at ranges and qualities.
std::vector<InstrumentFinding> CheckEchoes(const CheckedAngles& angles);

/// The part of it that looks at the numbers of the drive points.
/// \param samples as they came
/// \param points_before how many points the drive before had
std::vector<InstrumentFinding> CheckStatuses(const CheckedAngles& angles,
                                             const std::vector<RawDataPoint>& samples,
                                             std::size_t points_before);

/// The part of it that looks at the distances from sample to sample along the moves.
std::vector<InstrumentFinding> CheckSpacings(const CheckedAngles& angles);

/// The value that `share` of the values do not reach.
double Quantile(std::vector<double> values, double share);

}  // namespace libmfx::host
