#include "sim/obstacles/placed_faces.h"

namespace libmfx::sim {

bool PlacedFaces::Intersect(const Ray& ray, Hit& hit) const {
  const Ray local{_pose.Inverse(ray.origin), _pose.rotation.transpose() * ray.direction, ray.t_min,
                  ray.t_max};
  if (!_faces.Intersect(local, hit)) return false;
  hit.normal = _pose.Direction(hit.normal);
  return true;
}

}  // namespace libmfx::sim
