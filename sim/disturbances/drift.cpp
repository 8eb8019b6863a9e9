#include "sim/disturbances/drift.h"

#include <algorithm>
#include <cmath>

namespace libmfx::sim {

Drift::Drift(const DriftSpec& spec, std::uint64_t seed) : _spec(spec), _rng(seed) {}

void Drift::Disturb(Shot& shot) {
  const double root = std::sqrt(std::max(0.0, shot.time - _time));
  _time = shot.time;
  _range += _spec.range_walk * root * NearlyNormal(_rng.Next());
  _azimuth += _spec.angle_walk * root * NearlyNormal(_rng.Next());
  _elevation += _spec.angle_walk * root * NearlyNormal(_rng.Next());
  shot.range_error += _spec.range * shot.time + _range;
  shot.azimuth_error += _spec.azimuth * shot.time + _azimuth;
  shot.elevation_error += _spec.elevation * shot.time + _elevation;
}

}  // namespace libmfx::sim
