#include "sim/disturbances/vibration.h"

#include <cmath>

#include "sim/portable_math.h"
#include "sim/rng.h"

namespace libmfx::sim {

namespace {

double SineOfTurns(double turns) {
  return portable::SinCos(2.0 * kPi * (turns - std::floor(turns))).sine;
}

}  // namespace

Vibration::Vibration(const VibrationSpec& spec, std::uint64_t seed) : _spec(spec) {
  Rng rng(seed);
  for (double& phase : _phase) phase = rng.Uniform();
}

void Vibration::Disturb(Shot& shot) {
  const double turns = _spec.frequency * shot.time;
  const auto swing = [&](double phase) {
    return _spec.amplitude * (SineOfTurns(turns + phase) - SineOfTurns(phase));
  };
  if (_spec.direction) {
    shot.shift += swing(_phase.x()) * *_spec.direction;
  } else {
    shot.shift += Vec3(swing(_phase.x()), swing(_phase.y()), swing(_phase.z()));
  }
}

}  // namespace libmfx::sim
