#include "sim/faces/planar_face.h"

namespace libmfx::sim {

bool PlanarFace::Intersect(const Ray& ray, Hit& hit) const {
  if (ray.direction.z() == 0.0) return false;
  const double t = (_height - ray.origin.z()) / ray.direction.z();
  if (!Improves(ray, hit, t)) return false;
  const Vec2 p = ray.origin.head<2>() + t * ray.direction.head<2>();
  if (_border && !_border->Contains(p, kSeam)) return false;
  if (_opening && _opening->Contains(p, -kSeam)) return false;
  hit.t = t;
  hit.normal = Vec3::UnitZ();
  return true;
}

}  // namespace libmfx::sim
