#include "sim/faces/extrusion.h"

#include <cmath>

#include "sim/faces/quadratic.h"

namespace libmfx::sim {

namespace {

Vec2 ToPlane(const Vec3& v) { return {v.x(), v.z()}; }

/// The normal of `border` on the side of `other`.
Vec2 NormalTowards(const Vec2& border, const Vec2& other) {
  const Vec2 n(-border.y(), border.x());
  return n.dot(other) >= 0.0 ? n : Vec2(-n);
}

}  // namespace

ExtrudedSegment::ExtrudedSegment(const Vec2& start, const Vec2& end, double half_length)
    : _start(start),
      _along((end - start).normalized()),
      _normal(-_along.y(), _along.x()),
      _length((end - start).norm()),
      _half_length(half_length) {}

bool ExtrudedSegment::Intersect(const Ray& ray, Hit& hit) const {
  const Vec2 o = ToPlane(ray.origin) - _start;
  const Vec2 d = ToPlane(ray.direction);
  const double speed = d.dot(_normal);
  if (speed == 0.0) return false;
  const double t = -o.dot(_normal) / speed;
  if (!Improves(ray, hit, t)) return false;
  if (std::fabs(ray.origin.y() + t * ray.direction.y()) > _half_length + kSeam) return false;
  const double s = (o + t * d).dot(_along);
  if (s < -kSeam || s > _length + kSeam) return false;
  hit.t = t;
  hit.normal = Vec3(_normal.x(), 0.0, _normal.y());
  return true;
}

ExtrudedArc::ExtrudedArc(const Vec2& center, double radius, const Vec2& from, const Vec2& to,
                         double half_length)
    : _center(center),
      _radius(radius),
      _inward_from(NormalTowards(from, to)),
      _inward_to(NormalTowards(to, from)),
      _half_length(half_length) {}

bool ExtrudedArc::Intersect(const Ray& ray, Hit& hit) const {
  const Vec2 o = ToPlane(ray.origin) - _center;
  const Vec2 d = ToPlane(ray.direction);
  const Roots roots =
      SolveQuadratic(d.squaredNorm(), o.dot(d), o.squaredNorm() - _radius * _radius);
  for (int i = 0; i < roots.count; ++i) {
    const double t = roots.t[i];
    if (!Improves(ray, hit, t)) continue;
    if (std::fabs(ray.origin.y() + t * ray.direction.y()) > _half_length + kSeam) continue;
    const Vec2 p = o + t * d;
    if (p.dot(_inward_from) < -kSeam || p.dot(_inward_to) < -kSeam) continue;
    hit.t = t;
    hit.normal = Vec3(p.x(), 0.0, p.y()) / _radius;
    return true;
  }
  return false;
}

}  // namespace libmfx::sim
