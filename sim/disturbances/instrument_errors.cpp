#include "sim/disturbances/instrument_errors.h"

namespace libmfx::sim {

Disturbances MakeDisturbances(const InstrumentErrors& errors, std::uint64_t seed) {
  Disturbances made;
  if (!errors.drift.IsOff()) {
    made.push_back(std::make_unique<Drift>(errors.drift, DeriveSeed(seed, "drift")));
  }
  if (!errors.vibration.IsOff()) {
    made.push_back(std::make_unique<Vibration>(errors.vibration, DeriveSeed(seed, "vibration")));
  }
  if (!errors.alignment.IsOff()) made.push_back(std::make_unique<Alignment>(errors.alignment));
  if (!errors.bursts.IsOff()) {
    made.push_back(std::make_unique<Bursts>(errors.bursts, DeriveSeed(seed, "bursts")));
  }
  return made;
}

}  // namespace libmfx::sim
