#pragma once

#include "sim/ray.h"

namespace libmfx::sim {

/// One smooth piece of a part's surface, known by its formula. Both of its sides are met.
///
/// The built-in parts are made of such faces rather than of triangles: a hit on a sphere, a
/// cylinder or the rim of a hole is then exact up to the rim itself, where a tessellation would be
/// off by its chord height however well the hit on the triangle were refined, and a part of a
/// handful of faces needs no tree. Triangles serve the parts that come as files (mesh_part.h).
class Face {
 public:
  virtual ~Face() = default;
  /// Improves `hit` by this face's nearest point within (ray.t_min, min(ray.t_max, hit.t)).
  /// \returns whether it did.
  virtual bool Intersect(const Ray& ray, Hit& hit) const = 0;
};

/// Whether `t` lies on the ray and before the hit known so far.
inline bool Improves(const Ray& ray, const Hit& hit, double t) {
  return t > ray.t_min && t < ray.t_max && t < hit.t;
}

}  // namespace libmfx::sim
