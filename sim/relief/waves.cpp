#include "sim/relief/waves.h"

#include <cmath>

#include "sim/portable_math.h"

namespace libmfx::sim {

void Waves::Add(const Vec3& place, const Vec3& /*normal*/, Lift& lift) const {
  const double waves = place.dot(_spec.direction) / _spec.wavelength;
  const auto wave = portable::SinCos(2.0 * kPi * (waves - std::floor(waves)) + _spec.phase);
  lift.height += _spec.amplitude * wave.sine;
  lift.slope += Steepest() * wave.cosine * _spec.direction;
}

}  // namespace libmfx::sim
