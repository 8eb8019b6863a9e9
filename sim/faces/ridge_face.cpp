#include "sim/faces/ridge_face.h"

#include <cmath>

#include "sim/portable_math.h"

namespace libmfx::sim {

RidgeFace::RidgeFace(const Outline& outline, double height, double width, int patches, double share)
    : _outline(outline),
      _height(height),
      _width(width),
      _inner(outline, 0.0, height),
      _outer(outline, 0.0, height, -width / height),
      _patches(patches),
      _share(share) {}

bool RidgeFace::MayMeet(const Ray& ray) const {
  if (std::fabs(ray.direction.z()) < 1e-9) return true;
  // Where the ray passes the ridge's foot and its top. Between them it keeps to a straight line.
  const double t_foot = -ray.origin.z() / ray.direction.z();
  const double t_top = (_height - ray.origin.z()) / ray.direction.z();
  const Vec2 foot = ray.origin.head<2>() + t_foot * ray.direction.head<2>();
  const Vec2 top = ray.origin.head<2>() + t_top * ray.direction.head<2>();
  const double way = (foot - top).norm();
  if (!_outline.Contains(foot, _width + way + kSeam)) return false;
  return !(_outline.Contains(foot, -kSeam) && _outline.Contains(top, -kSeam));
}

bool RidgeFace::Holds(const Vec3& p) const {
  if (_share >= 1.0) return true;
  const double turns = portable::Atan2(p.y(), p.x()) / (2.0 * kPi) * _patches;
  return turns - std::floor(turns) < _share;
}

bool RidgeFace::MeetsWall(const OutlineWall& wall, const Ray& ray, Hit& hit) const {
  // A ray meets a convex wall twice, and a cone with corners a few times.
  constexpr int kMostHits = 8;
  Ray rest = ray;
  for (int i = 0; i < kMostHits; ++i) {
    Hit next = hit;
    if (!wall.Intersect(rest, next)) return false;
    if (Holds(ray.At(next.t))) {
      hit = next;
      return true;
    }
    rest.t_min = next.t + kSeam;
  }
  return false;
}

bool RidgeFace::Intersect(const Ray& ray, Hit& hit) const {
  if (!MayMeet(ray)) return false;
  const bool inner = MeetsWall(_inner, ray, hit);
  return MeetsWall(_outer, ray, hit) || inner;
}

}  // namespace libmfx::sim
