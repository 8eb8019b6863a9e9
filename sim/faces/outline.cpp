#include "sim/faces/outline.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "sim/portable_math.h"

namespace libmfx::sim {

namespace {

double Cross(const Vec2& a, const Vec2& b) { return a.x() * b.y() - a.y() * b.x(); }

double SquaredDistanceFromSegment(const Vec2& p, const Vec2& a, const Vec2& b) {
  const Vec2 e = b - a;
  const double s = std::clamp((p - a).dot(e) / e.squaredNorm(), 0.0, 1.0);
  return (p - a - s * e).squaredNorm();
}

}  // namespace

Outline::Outline(std::vector<Vec2> core, double rounding)
    : _core(std::move(core)), _rounding(rounding), _core_reach(0.0) {
  for (const Vec2& p : _core) _core_reach = std::max(_core_reach, p.norm());
  _inner_radius = std::max(0.0, -SignedDistance(Vec2::Zero()));
}

Outline Outline::Circle(double radius) { return {{Vec2::Zero()}, radius}; }

Outline Outline::Rectangle(double length, double width, double corner_radius) {
  const double x = 0.5 * length - corner_radius;
  const double y = 0.5 * width - corner_radius;
  if (x <= 0.0 && y <= 0.0) return Circle(corner_radius);
  if (x <= 0.0) return {{Vec2(0.0, -y), Vec2(0.0, y)}, corner_radius};
  if (y <= 0.0) return {{Vec2(-x, 0.0), Vec2(x, 0.0)}, corner_radius};
  return {{Vec2(x, y), Vec2(-x, y), Vec2(-x, -y), Vec2(x, -y)}, corner_radius};
}

Outline Outline::RegularPolygon(int sides, double radius, double corner_radius) {
  const double half_angle = kPi / sides;
  // The core's corners lie where the sides, moved inwards by the rounding, meet.
  const double core_radius = radius - corner_radius / portable::SinCos(half_angle).cosine;
  std::vector<Vec2> core;
  for (int i = 0; i < sides; ++i) {
    const auto [s, c] = portable::SinCos(2.0 * half_angle * i);
    core.emplace_back(core_radius * c, core_radius * s);
  }
  return {std::move(core), corner_radius};
}

Outline Outline::Obround(double length, double width) {
  return Rectangle(length, width, 0.5 * width);
}

Vec2 Outline::HalfExtent() const {
  Vec2 extent = Vec2::Zero();
  for (const Vec2& p : _core) extent = extent.cwiseMax(p.cwiseAbs());
  return extent.array() + _rounding;
}

double Outline::DistanceFromCore(const Vec2& p) const {
  if (_core.size() == 1) return (p - _core[0]).norm();
  bool inside = _core.size() > 2;
  double nearest = std::numeric_limits<double>::infinity();
  for (std::size_t i = 0; i < _core.size(); ++i) {
    const Vec2& a = _core[i];
    const Vec2& b = _core[(i + 1) % _core.size()];
    inside = inside && Cross(b - a, p - a) >= 0.0;
    nearest = std::min(nearest, SquaredDistanceFromSegment(p, a, b));
  }
  return inside ? 0.0 : std::sqrt(nearest);
}

double Outline::SignedDistance(const Vec2& p) const {
  const double outside = DistanceFromCore(p);
  if (outside > 0.0 || _core.size() < 3) return outside - _rounding;
  double depth = std::numeric_limits<double>::infinity();
  for (std::size_t i = 0; i < _core.size(); ++i) {
    const Vec2& a = _core[i];
    const Vec2 e = _core[(i + 1) % _core.size()] - a;
    depth = std::min(depth, Cross(e, p - a) / e.norm());
  }
  return -depth - _rounding;
}

bool Outline::Contains(const Vec2& p, double margin) const {
  // Most points are decided by the circles within and around the curve.
  const double squared = p.squaredNorm();
  const double reach = Reach() + margin;
  if (reach < 0.0 || squared > reach * reach * (1.0 + 1e-12)) return false;
  const double inner = _inner_radius + margin;
  if (inner > 0.0 && squared < inner * inner * (1.0 - 1e-12)) return true;
  return SignedDistance(p) <= margin;
}

}  // namespace libmfx::sim
