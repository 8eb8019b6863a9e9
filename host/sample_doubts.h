#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/recording.h"
#include "libmfx/features/stages.h"

/// \file
/// Words for what the samples of a failed measurement look like, beside the error's own, which
/// tell where an analysis ended.

namespace libmfx::host {

/// The quality below which a request's feature drops a sample, if it has such a setting.
std::optional<double> QualityThreshold(const std::string& request);

/// What a scan looks like against the path that was planned along the nominal: how many samples
/// came and how many of them can be used, what is odd about their angles, their ranges and their
/// statuses, and where they lie; where nothing is odd, what the analysis made of them. Each is a
/// sentence on one line, without its full stop; the first one counts the samples.
/// \param threshold of the quality
/// \param scan that was analysed last
/// \param stages what the analysis made of it; they may be empty
std::vector<std::string> SampleDoubts(std::optional<double> threshold, const Exchange& scan,
                                      const features::Stages& stages);

}  // namespace libmfx::host
