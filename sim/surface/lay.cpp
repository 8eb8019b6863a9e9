#include "sim/surface/lay.h"

namespace libmfx::sim {

void Lay::Act(const Spot& spot, SpotReturn& back) const {
  const Vec3 along = _spec.direction - _spec.direction.dot(spot.normal) * spot.normal;
  const double length_squared = along.squaredNorm();
  if (length_squared < 1e-12) return;  // the grooves end here, and have no direction
  const double component = along.dot(spot.direction);
  back.strength *= 1.0 - (1.0 - _spec.factor) * component * component / length_squared;
}

}  // namespace libmfx::sim
