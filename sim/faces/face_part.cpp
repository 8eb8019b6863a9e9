#include "sim/faces/face_part.h"

namespace libmfx::sim {

bool FacePart::Intersect(const Ray& ray, Hit& hit) const {
  // The faces' formulas are evaluated from the ray's point nearest to the part, because a distant
  // origin would cost them digits.
  const double shift = -ray.origin.dot(ray.direction);
  const Vec3 near = ray.At(shift);
  if (near.squaredNorm() > _reach * _reach) return false;
  const Ray local{near, ray.direction, ray.t_min - shift, ray.t_max - shift};
  Hit nearest;
  nearest.t = hit.t - shift;
  bool met = false;
  for (const auto& face : _faces) met = face->Intersect(local, nearest) || met;
  if (!met) return false;
  hit.t = nearest.t + shift;
  hit.normal = nearest.normal;
  return true;
}

}  // namespace libmfx::sim
