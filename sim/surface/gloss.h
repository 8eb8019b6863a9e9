#pragma once

#include "sim/surface/surface_effect.h"

namespace libmfx::sim {

/// A surface that shines: a lobe about the mirrored direction stands on what a matte one sends
/// back.
struct GlossSpec {
  double factor = 10.0;              ///< of the lobe's peak, compared with the matte surface
  double width = 5.0 * kPi / 180.0;  ///< incidence at which the lobe has a quarter of its peak
};

/// strength += factor * (a^2 / (a^2 cos^2 + sin^2))^2 with a = tan(width), sine and cosine those of
/// the incidence: the beam that comes back to where it left meets facets of this slope (the
/// distribution of Trowbridge and Reitz, 1975).
class Gloss : public SurfaceEffect {
 public:
  explicit Gloss(const GlossSpec& spec);
  void Act(const Spot& spot, SpotReturn& back) const override;

 private:
  double _factor;
  double _slope_squared;
};

}  // namespace libmfx::sim
