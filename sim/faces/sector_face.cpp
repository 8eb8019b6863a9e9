#include "sim/faces/sector_face.h"

#include <cmath>

#include "sim/portable_math.h"

namespace libmfx::sim {

bool SectorFace::Holds(const Vec3& p) const {
  const double turns = portable::Atan2(p.y(), p.x()) / (2.0 * kPi) * _patches;
  return turns - std::floor(turns) < _share;
}

bool SectorFace::Intersect(const Ray& ray, Hit& hit) const {
  // A ray meets a convex wall twice, and a cone with corners a few times.
  constexpr int kMostHits = 8;
  Ray rest = ray;
  for (int i = 0; i < kMostHits; ++i) {
    Hit next = hit;
    if (!_face->Intersect(rest, next)) return false;
    if (Holds(ray.At(next.t))) {
      hit = next;
      return true;
    }
    rest.t_min = next.t + kSeam;
  }
  return false;
}

}  // namespace libmfx::sim
