#pragma once

#include "sim/surface/surface_effect.h"

namespace libmfx::sim {

/// The grooves that a tool leaves. They scatter a beam in a fan across themselves, so that little
/// comes back to an instrument that looks along them.
struct LaySpec {
  Vec3 direction = Vec3::UnitX();  ///< unit, of the grooves; what lies in the surface counts
  double factor = 0.2;             ///< of the power that comes back at grazing incidence along them
};

/// strength = 1 - (1 - factor) * s^2, s the beam's component along the grooves: 0 straight on, the
/// sine of the incidence for a beam that is tilted along them.
class Lay : public SurfaceEffect {
 public:
  explicit Lay(const LaySpec& spec) : _spec(spec) {}
  void Act(const Spot& spot, SpotReturn& back) const override;

 private:
  LaySpec _spec;
};

}  // namespace libmfx::sim
