#include "sim/surface/patches.h"

namespace libmfx::sim {

void Patches::Act(const Spot& spot, SpotReturn& back) const {
  if (_lattice.UniformAt(spot.point) >= _spec.share) return;
  back.strength *= _spec.factor;
  back.nearer += _spec.nearer;
}

}  // namespace libmfx::sim
