#include "sim/disturbances/vibration.h"

#include "sim/portable_math.h"
#include "sim/rng.h"

namespace libmfx::sim {

namespace {

double SineOfTurns(double turns) { return portable::SinCosOfTurns(turns).sine; }

}  // namespace

Vibration::Vibration(const VibrationSpec& spec, std::uint64_t seed) : _spec(spec) {
  Rng rng(seed);
  for (double& phase : _phase) phase = rng.Uniform();
  for (int i = 0; i < 3; ++i) _beginning[i] = SineOfTurns(_phase[i]);
}

void Vibration::Disturb(Shot& shot) {
  const double turns = _spec.frequency * shot.time;
  const auto swing = [&](int axis) {
    return _spec.amplitude * (SineOfTurns(turns + _phase[axis]) - _beginning[axis]);
  };
  if (_spec.direction) {
    shot.shift += swing(0) * *_spec.direction;
  } else {
    shot.shift += Vec3(swing(0), swing(1), swing(2));
  }
}

}  // namespace libmfx::sim
