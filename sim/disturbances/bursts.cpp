#include "sim/disturbances/bursts.h"

namespace libmfx::sim {

Bursts::Bursts(const BurstsSpec& spec, std::uint64_t seed) : _spec(spec), _rng(seed) {
  _within = _rng.Uniform() < _spec.share;
}

void Bursts::Disturb(Shot& shot) {
  shot.lost = shot.lost || _within;
  const double change = _within ? 1.0 / _spec.length : _spec.Beginning();
  if (_rng.Uniform() < change) _within = !_within;
}

}  // namespace libmfx::sim
