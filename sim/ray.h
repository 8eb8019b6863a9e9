#pragma once

#include <limits>

#include "sim/vec.h"

/// \file
/// A beam's ray and where it meets a face.

namespace libmfx::sim {

/// The half line origin + t * direction with t in (t_min, t_max). The direction has unit length.
struct Ray {
  Vec3 origin;
  Vec3 direction;
  double t_min = 0.0;
  double t_max = std::numeric_limits<double>::infinity();

  Vec3 At(double t) const { return origin + t * direction; }
};

/// Where a ray meets a surface.
struct Hit {
  double t = std::numeric_limits<double>::infinity();  ///< metres along the ray
  Vec3 normal = Vec3::Zero();                          ///< unit normal of the face, of either sign

  /// Cosine of the angle of incidence, 0 (grazing) to 1.
  double CosIncidence(const Vec3& direction) const {
    const double c = normal.dot(direction);
    return c < 0.0 ? -c : c;
  }
};

}  // namespace libmfx::sim
