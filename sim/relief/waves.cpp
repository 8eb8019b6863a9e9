#include "sim/relief/waves.h"

#include "sim/portable_math.h"

namespace libmfx::sim {

Waves::Waves(const WavesSpec& spec)
    : _amplitude(spec.amplitude),
      _per_metre(spec.direction / spec.wavelength),
      _phase(spec.phase / (2.0 * kPi)),
      _slope(2.0 * kPi * spec.amplitude * _per_metre),
      _curvature(2.0 * kPi / spec.wavelength * _slope.norm()) {}

void Waves::Add(const Vec3& place, const Vec3& /*normal*/, Lift& lift) const {
  const auto wave = portable::SinCosOfTurns(place.dot(_per_metre) + _phase);
  lift.height += _amplitude * wave.sine;
  lift.slope += wave.cosine * _slope;
  lift.curvature += _curvature;
}

}  // namespace libmfx::sim
