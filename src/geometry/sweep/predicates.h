#pragma once

#include <array>
#include <cmath>
#include <cstddef>

/// \file
/// The signs that the sweep hangs on. Each is computed in double with a bound on its error, and
/// again exactly when the bound does not settle it: no answer here is ever wrong through rounding.
/// Points are planar, in the sweep's own unit: at most 1 in magnitude.

namespace libmfx::geometry::sweep {

/// A site in the sweep's own unit.
struct Vec2 {
  double x;
  double y;
};

/// Half a unit in the last place of 1, the largest relative error of one operation.
inline constexpr double kUnitRoundoff = 0x1p-53;

/// Bounds of the rounding errors of the three determinants below, as multiples of the same
/// expression with every term taken positive. Orientation and InCircle: Shewchuk 1997. The
/// breakpoint: 6 roundings on the way to a product of three factors, taken generously.
inline constexpr double kOrientationBound = (3.0 + 16.0 * kUnitRoundoff) * kUnitRoundoff;
inline constexpr double kInCircleBound = (10.0 + 96.0 * kUnitRoundoff) * kUnitRoundoff;
inline constexpr double kBreakpointBound = 10.0 * kUnitRoundoff;

/// The same three signs in exact arithmetic from the start: what is asked when a bound doesn't
/// settle one.
int ExactOrientation(const Vec2& a, const Vec2& b, const Vec2& c);
int ExactInCircle(const Vec2& a, const Vec2& b, const Vec2& c, const Vec2& d);
int ExactBreakpoint(const Vec2& p, const Vec2& left, const Vec2& right);

/// The sign of the area of (a, b, c): 1 counter-clockwise, -1 clockwise, 0 collinear.
inline int Orientation(const Vec2& a, const Vec2& b, const Vec2& c) {
  const double left = (a.x - c.x) * (b.y - c.y);
  const double right = (a.y - c.y) * (b.x - c.x);
  const double det = left - right;
  const double bound = kOrientationBound * (std::abs(left) + std::abs(right));
  if (std::abs(det) > bound) return det > 0.0 ? 1 : -1;
  if (bound == 0.0) return 0;  // no difference underflows, nor a product: both have a factor 0
  return ExactOrientation(a, b, c);
}

/// Where `d` lies against the circle through the counter-clockwise triple (a, b, c): 1 inside, -1
/// outside, 0 on it.
inline int InCircle(const Vec2& a, const Vec2& b, const Vec2& c, const Vec2& d) {
  const double ax = a.x - d.x, ay = a.y - d.y;
  const double bx = b.x - d.x, by = b.y - d.y;
  const double cx = c.x - d.x, cy = c.y - d.y;
  const double bxcy = bx * cy, cxby = cx * by;
  const double cxay = cx * ay, axcy = ax * cy;
  const double axby = ax * by, bxay = bx * ay;
  const double a2 = ax * ax + ay * ay, b2 = bx * bx + by * by, c2 = cx * cx + cy * cy;
  const double det = a2 * (bxcy - cxby) + b2 * (cxay - axcy) + c2 * (axby - bxay);
  const double permanent = (std::abs(bxcy) + std::abs(cxby)) * a2 +
                           (std::abs(cxay) + std::abs(axcy)) * b2 +
                           (std::abs(axby) + std::abs(bxay)) * c2;
  if (std::abs(det) > kInCircleBound * permanent) return det > 0.0 ? 1 : -1;
  return ExactInCircle(a, b, c, d);
}

/// Whether the vertical through `p` meets the beachline to the right of the breakpoint between the
/// arc of `left` and the arc of `right`, the sweep line running through `p`. Exactly beneath the
/// breakpoint counts as left. Neither site comes after `p` in sweep order.
///
/// With the sweep line through p, the parabola of a site s has at p.x the height |s-p|^2 / (2 (s.y
/// - p.y)) above the line. Two parabolas meet twice, on either side of the lower site: where p
/// stands on the far side of that site the answer is known, elsewhere the lower of the two heights
/// decides.
inline bool IsRightOfBreakpoint(const Vec2& p, const Vec2& left, const Vec2& right) {
  if (right.y <= left.y && p.x >= right.x) return true;
  if (left.y <= right.y && p.x <= left.x) return false;
  const double ax = left.x - p.x, ay = left.y - p.y;
  const double bx = right.x - p.x, by = right.y - p.y;
  const double a = (ax * ax + ay * ay) * by;
  const double b = (bx * bx + by * by) * ay;
  const double det = a - b;
  // Neither ay nor by is negative.
  if (std::abs(det) > kBreakpointBound * (a + b)) return det > 0.0;
  return ExactBreakpoint(p, left, right) > 0;
}

/// The lowest point of the circle through three sites that are not collinear.
struct CircleBottom {
  double y;      ///< the ordinate rounded to a double
  double y_low;  ///< what the rounding left out; 0 unless `refined`
  bool refined;  ///< y + y_low has a relative error of about 2^-95
};

/// Whether three neighbouring arcs of the sites `a`, `b`, `c`, from left to right, converge, which
/// is whether the sites turn clockwise; exact. If so the bottom of their circle, to within
/// kBottomError times 1 plus its magnitude. A triple so flat that double precision does not reach
/// that comes back refined.
bool ConvergingBottom(const Vec2& a, const Vec2& b, const Vec2& c, CircleBottom& bottom);
/// The same, with the ordinate alone: `y` is that of ConvergingBottom to the last bit.
bool ConvergingOrdinate(const Vec2& a, const Vec2& b, const Vec2& c, double& y);
/// Three neighbouring arcs by their sites, from left to right.
struct Triple {
  const Vec2 *a, *b, *c;
};
/// The same of two triples at once, to the last bit: `y` of each bottom, and minus infinity where
/// the arcs do not converge.
void ConvergingBottoms(const Triple& first, const Triple& second, double (&bottoms)[2]);
/// The bottom in about twice the precision; the sites are not collinear.
CircleBottom RefineBottom(const Vec2& a, const Vec2& b, const Vec2& c);
/// RefineBottom, to the last bit, for many circles of few shapes. Where the differences of the
/// sites are doubles, how far the bottom lies above the middle site hangs on them alone, and the
/// table keeps it. A raster, whose circles tie row by row, has some dozens of such shapes.
class RefinedBottoms {
 public:
  CircleBottom Of(const Vec2& a, const Vec2& b, const Vec2& c);

 private:
  static constexpr int kShapeBits = 8;
  /// The outer sites as seen from the middle one, all 0 at first, which distinct sites never are.
  struct Shape {
    double ax, ay, cx, cy;
    double offset, offset_low;
  };
  std::array<Shape, std::size_t{1} << kShapeBits> _shapes{};
};

/// The centre of the circle through three sites that are not collinear, correctly rounded but for
/// the last bit.
Vec2 CircleCentre(const Vec2& a, const Vec2& b, const Vec2& c);

inline constexpr double kBottomError = 32.0 * kUnitRoundoff;

}  // namespace libmfx::geometry::sweep
