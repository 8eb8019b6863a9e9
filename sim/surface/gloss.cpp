#include "sim/surface/gloss.h"

#include "sim/portable_math.h"

namespace libmfx::sim {

Gloss::Gloss(const GlossSpec& spec) : _factor(spec.factor) {
  const auto width = portable::SinCos(spec.width);
  const double slope = width.sine / width.cosine;
  _slope_squared = slope * slope;
}

void Gloss::Act(const Spot& spot, SpotReturn& back) const {
  const double c = spot.CosIncidence();
  const double lobe = _slope_squared / (_slope_squared * c * c + 1.0 - c * c);
  back.strength += _factor * lobe * lobe;
}

}  // namespace libmfx::sim
