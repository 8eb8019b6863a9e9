#pragma once

#include <string>

#include "libmfx/features/stages.h"

/// \file
/// Why a measurement failed where the analysis itself has no text for it.

namespace libmfx::measurement {

/// After the last re-scan that was allowed the feature still asks for one.
std::string WhyStillMoving(int rescans);

/// By the last test in the record, which is the one that was not passed.
std::string WhyItStopped(const features::Stages& stages);

}  // namespace libmfx::measurement
