#include "geometry/sweep/predicates.h"

#include <cmath>

#include "geometry/sweep/expansion.h"

namespace libmfx::geometry::sweep {
namespace {

/// Whether a, b, c, d in some order are the corners of a rectangle along the axes: the cell of a
/// raster. It stands here because rasters have one such tie a sample.
bool IsRectangle(const Vec2& a, const Vec2& b, const Vec2& c, const Vec2& d) {
  const auto opposite = [](const Vec2& p, const Vec2& q, const Vec2& r, const Vec2& s) {
    return (r.x == p.x && r.y == q.y && s.x == q.x && s.y == p.y) ||
           (s.x == p.x && s.y == q.y && r.x == q.x && r.y == p.y);
  };
  return opposite(a, b, c, d) || opposite(a, c, b, d) || opposite(a, d, b, c);
}

}  // namespace

int ExactOrientation(const Vec2& a, const Vec2& b, const Vec2& c) {
  const auto left = Difference(a.x, c.x) * Difference(b.y, c.y);
  const auto right = Difference(a.y, c.y) * Difference(b.x, c.x);
  return (left - right).Sign();
}

int ExactInCircle(const Vec2& a, const Vec2& b, const Vec2& c, const Vec2& d) {
  if (IsRectangle(a, b, c, d)) return 0;
  const auto ax = Difference(a.x, d.x), ay = Difference(a.y, d.y);
  const auto bx = Difference(b.x, d.x), by = Difference(b.y, d.y);
  const auto cx = Difference(c.x, d.x), cy = Difference(c.y, d.y);
  const auto term = [](const auto& lx, const auto& ly, const auto& px, const auto& py,
                       const auto& qx,
                       const auto& qy) { return (lx * lx + ly * ly) * (px * qy - qx * py); };
  return (term(ax, ay, bx, by, cx, cy) + term(bx, by, cx, cy, ax, ay) +
          term(cx, cy, ax, ay, bx, by))
      .Sign();
}

int ExactBreakpoint(const Vec2& p, const Vec2& left, const Vec2& right) {
  const auto ax = Difference(left.x, p.x), ay = Difference(left.y, p.y);
  const auto bx = Difference(right.x, p.x), by = Difference(right.y, p.y);
  return ((ax * ax + ay * ay) * by - (bx * bx + by * by) * ay).Sign();
}

}  // namespace libmfx::geometry::sweep
