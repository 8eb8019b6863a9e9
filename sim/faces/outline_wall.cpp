#include "sim/faces/outline_wall.h"

#include <cmath>

#include "sim/faces/quadratic.h"

namespace libmfx::sim {

OutlineWall::OutlineWall(const Outline& outline, double bottom, double top, double slope)
    : _corners(outline.core()),
      _rounding(outline.rounding()),
      _bottom(bottom),
      _top(top),
      _slope(slope) {
  if (_corners.size() < 2) return;
  for (std::size_t i = 0; i < _corners.size(); ++i) {
    const Vec2& a = _corners[i];
    const Vec2 e = _corners[(i + 1) % _corners.size()] - a;
    const double length = e.norm();
    const Vec2 along = e / length;
    _edges.push_back({a, along, Vec2(along.y(), -along.x()), length});
  }
}

bool OutlineWall::Intersect(const Ray& ray, Hit& hit) const {
  bool met = false;
  for (const Edge& edge : _edges) met = MeetsEdge(edge, ray, hit) || met;
  if (_rounding == 0.0 && _slope == 0.0) return met;  // sharp corners have no surface of their own
  for (std::size_t i = 0; i < _corners.size(); ++i) met = MeetsCorner(i, ray, hit) || met;
  return met;
}

bool OutlineWall::MeetsEdge(const Edge& edge, const Ray& ray, Hit& hit) const {
  // (p - start) . outward = rounding(z), linear in t.
  const Vec2 o = ray.origin.head<2>() - edge.start;
  const Vec2 d = ray.direction.head<2>();
  const double speed = d.dot(edge.outward) - _slope * ray.direction.z();
  if (speed == 0.0) return false;
  const double t = (RoundingAt(ray.origin.z()) - o.dot(edge.outward)) / speed;
  if (!Improves(ray, hit, t)) return false;
  const double z = ray.origin.z() + t * ray.direction.z();
  const double s = (o + t * d).dot(edge.along);
  if (!WithinHeight(z) || s < -kSeam || s > edge.length + kSeam) return false;
  if (RoundingAt(z) < -kSeam) return false;
  hit.t = t;
  hit.normal = Vec3(edge.outward.x(), edge.outward.y(), -_slope).normalized();
  return true;
}

bool OutlineWall::InSector(std::size_t corner, const Vec2& from_corner) const {
  if (_edges.empty()) return true;  // a point as core: the full turn
  const Edge& next = _edges[corner];
  const Edge& previous = _edges[(corner + _edges.size() - 1) % _edges.size()];
  return from_corner.dot(next.along) <= kSeam && from_corner.dot(previous.along) >= -kSeam;
}

bool OutlineWall::MeetsCorner(std::size_t corner, const Ray& ray, Hit& hit) const {
  // |p - corner|^2 = rounding(z)^2, quadratic in t.
  const Vec2 o = ray.origin.head<2>() - _corners[corner];
  const Vec2 d = ray.direction.head<2>();
  const double r = RoundingAt(ray.origin.z());
  const double dr = _slope * ray.direction.z();
  const Roots roots =
      SolveQuadratic(d.squaredNorm() - dr * dr, o.dot(d) - r * dr, o.squaredNorm() - r * r);
  for (int i = 0; i < roots.count; ++i) {
    const double t = roots.t[i];
    if (!Improves(ray, hit, t)) continue;
    const double z = ray.origin.z() + t * ray.direction.z();
    const double radius = RoundingAt(z);
    if (!WithinHeight(z) || radius < 0.0) continue;
    const Vec2 p = o + t * d;
    if (!InSector(corner, p)) continue;
    const Vec2 radial = radius > 0.0 ? Vec2(p / radius) : Vec2(Vec2::Zero());
    hit.t = t;
    hit.normal = Vec3(radial.x(), radial.y(), -_slope).normalized();
    return true;  // roots ascend: the first that fits is the nearest
  }
  return false;
}

}  // namespace libmfx::sim
