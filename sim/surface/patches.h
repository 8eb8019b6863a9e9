#pragma once

#include "sim/surface/lattice.h"
#include "sim/surface/surface_effect.h"

namespace libmfx::sim {

/// Paint, oxide, a film of oil: some squares of a grid over the surface.
struct PatchesSpec {
  double share = 0.2;   ///< of the squares, 0 to 1
  double size = 0.005;  ///< of a square, metres
  double factor = 1.0;  ///< of the power that comes back
  double nearer = 0.0;  ///< metres that the range is read too short, as under a film
};

class Patches : public SurfaceEffect {
 public:
  Patches(const PatchesSpec& spec, std::uint64_t seed) : _spec(spec), _lattice(spec.size, seed) {}
  void Act(const Spot& spot, SpotReturn& back) const override;

 private:
  PatchesSpec _spec;
  Lattice _lattice;
};

}  // namespace libmfx::sim
