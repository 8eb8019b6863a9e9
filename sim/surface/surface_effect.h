#pragma once

#include "sim/vec.h"

namespace libmfx::sim {

/// Where a ray meets a surface, in the part's frame.
struct Spot {
  Vec3 point;
  Vec3 normal;     ///< unit, of either sign
  Vec3 direction;  ///< unit, of the ray

  double CosIncidence() const {
    const double c = normal.dot(direction);
    return c < 0.0 ? -c : c;
  }
};

/// How the surface sends a ray back, compared with a matte and clean one.
struct SpotReturn {
  double strength = 1.0;  ///< factor of the power
  double nearer = 0.0;    ///< metres that the range is read too short
};

/// Something about a surface that changes what comes back from a spot: each kind has a file of its
/// own. It is a function of the spot alone, so that a spot is the same whenever it is seen.
class SurfaceEffect {
 public:
  virtual ~SurfaceEffect() = default;
  virtual void Act(const Spot& spot, SpotReturn& back) const = 0;
};

}  // namespace libmfx::sim
