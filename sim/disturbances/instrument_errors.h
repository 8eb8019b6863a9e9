#pragma once

#include <cstdint>
#include <optional>

#include "sim/disturbances/alignment.h"
#include "sim/disturbances/bursts.h"
#include "sim/disturbances/clock.h"
#include "sim/disturbances/drift.h"
#include "sim/disturbances/focus.h"
#include "sim/disturbances/vibration.h"

namespace libmfx::sim {

/// What is wrong with the instrument beside its noise. By default nothing is.
struct InstrumentErrors {
  Pace pace;
  DriftSpec drift;
  VibrationSpec vibration;
  AlignmentSpec alignment;
  BurstsSpec bursts;
  std::optional<FocusSpec> focus;  ///< none: it follows the range
};

/// One of each kind that is switched on.
/// \param seed of the instrument; each kind draws from one of its own that follows from it
Disturbances MakeDisturbances(const InstrumentErrors& errors, std::uint64_t seed);

}  // namespace libmfx::sim
