#include "geometry/sweep/predicates.h"

#include <cmath>

#include "geometry/sweep/expansion.h"

namespace libmfx::geometry::sweep {
namespace {

// Bounds of the rounding errors of the three determinants below, as multiples of the same
// expression with every term taken positive. Orientation and InCircle: Shewchuk 1997. The
// breakpoint: three factors of differences, 2 + 2 roundings each side, taken generously.
constexpr double kOrientationBound = (3.0 + 16.0 * kUnitRoundoff) * kUnitRoundoff;
constexpr double kInCircleBound = (10.0 + 96.0 * kUnitRoundoff) * kUnitRoundoff;
constexpr double kBreakpointBound = 10.0 * kUnitRoundoff;

int SignOf(double x) { return x > 0.0 ? 1 : (x < 0.0 ? -1 : 0); }

int ExactOrientation(const Vec2& a, const Vec2& b, const Vec2& c) {
  const auto left = Difference(a.x, c.x) * Difference(b.y, c.y);
  const auto right = Difference(a.y, c.y) * Difference(b.x, c.x);
  return (left - right).Sign();
}

int ExactInCircle(const Vec2& a, const Vec2& b, const Vec2& c, const Vec2& d) {
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

int ExactBreakpoint(const Vec2& p, const Vec2& a, const Vec2& b) {
  const auto ax = Difference(a.x, p.x), ay = Difference(a.y, p.y);
  const auto bx = Difference(b.x, p.x), by = Difference(b.y, p.y);
  return ((ax * ax + ay * ay) * by - (bx * bx + by * by) * ay).Sign();
}

/// A number of about 106 bits: an unevaluated sum hi + lo.
struct Pair {
  double hi, lo;
};

Pair Normalised(double hi, double lo) {
  Pair r;
  TwoSum(hi, lo, r.hi, r.lo);
  return r;
}

Pair operator+(Pair a, Pair b) {
  double s, e, t, f;
  TwoSum(a.hi, b.hi, s, e);
  TwoSum(a.lo, b.lo, t, f);
  const Pair r = Normalised(s, e + t);
  return Normalised(r.hi, r.lo + f);
}

Pair operator-(Pair a) { return {-a.hi, -a.lo}; }
Pair operator-(Pair a, Pair b) { return a + (-b); }

Pair operator*(Pair a, Pair b) {
  double p, e;
  TwoProduct(a.hi, b.hi, p, e);
  return Normalised(p, e + (a.hi * b.lo + a.lo * b.hi));
}

Pair operator/(Pair a, Pair b) {
  const double q1 = a.hi / b.hi;
  Pair r = a - b * Pair{q1, 0.0};
  const double q2 = r.hi / b.hi;
  r = r - b * Pair{q2, 0.0};
  const double q3 = r.hi / b.hi;
  return Normalised(q1, q2) + Pair{q3, 0.0};
}

Pair Sqrt(Pair a) {
  if (a.hi <= 0.0) return {0.0, 0.0};
  const double s = std::sqrt(a.hi);
  const Pair rest = a - Pair{s, 0.0} * Pair{s, 0.0};
  return Normalised(s, rest.hi / (2.0 * s));
}

/// A difference of two doubles, exact.
Pair DifferencePair(double a, double b) {
  Pair r;
  TwoDiff(a, b, r.hi, r.lo);
  return r;
}

/// Numerators of the centre relative to the middle site, and twice the area, which divides them.
struct Centre {
  Pair nx, ny, d;
};

/// In pairs; `ok` tells whether cancellation left enough of the 106 bits, measured by the area and
/// by the longer component of the centre.
Centre PairCentre(const Vec2& a, const Vec2& b, const Vec2& c, bool& ok) {
  const Pair ax = DifferencePair(a.x, b.x), ay = DifferencePair(a.y, b.y);
  const Pair cx = DifferencePair(c.x, b.x), cy = DifferencePair(c.y, b.y);
  const Pair a2 = ax * ax + ay * ay, c2 = cx * cx + cy * cy;
  const auto cross = [](Pair p, Pair q, Pair r, Pair s, double& terms) {
    const Pair left = p * q, right = r * s;
    terms = std::abs(left.hi) + std::abs(right.hi);
    return left - right;
  };
  double d_terms, x_terms, y_terms;
  Centre r;
  r.d = cross(ax, cy, ay, cx, d_terms);
  r.nx = cross(cy, a2, ay, c2, x_terms);
  r.ny = cross(ax, c2, cx, a2, y_terms);
  const double longer = std::fmax(std::abs(r.nx.hi), std::abs(r.ny.hi));
  ok = std::abs(r.d.hi) >= 0x1p-8 * d_terms && longer >= 0x1p-8 * std::fmax(x_terms, y_terms);
  return r;
}

Centre ExactCentre(const Vec2& a, const Vec2& b, const Vec2& c) {
  const auto ax = Difference(a.x, b.x), ay = Difference(a.y, b.y);
  const auto cx = Difference(c.x, b.x), cy = Difference(c.y, b.y);
  const auto a2 = ax * ax + ay * ay, c2 = cx * cx + cy * cy;
  Centre r;
  (ax * cy - ay * cx).ToPair(r.d.hi, r.d.lo);
  (cy * a2 - ay * c2).ToPair(r.nx.hi, r.nx.lo);
  (ax * c2 - cx * a2).ToPair(r.ny.hi, r.ny.lo);
  return r;
}

}  // namespace

int Orientation(const Vec2& a, const Vec2& b, const Vec2& c) {
  const double left = (a.x - c.x) * (b.y - c.y);
  const double right = (a.y - c.y) * (b.x - c.x);
  const double det = left - right;
  const double bound = kOrientationBound * (std::abs(left) + std::abs(right));
  if (det > bound || -det > bound) return SignOf(det);
  return ExactOrientation(a, b, c);
}

int InCircle(const Vec2& a, const Vec2& b, const Vec2& c, const Vec2& d) {
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
  const double bound = kInCircleBound * permanent;
  if (det > bound || -det > bound) return SignOf(det);
  return ExactInCircle(a, b, c, d);
}

// With the sweep line through p, the parabola of a site s has at p.x the height |s-p|^2 / (2 (s.y -
// p.y)) above the line. Two parabolas meet twice, on either side of the lower site: where p stands
// on the far side of that site the answer is known, elsewhere the lower of the two heights decides.
bool IsRightOfBreakpoint(const Vec2& p, const Vec2& left, const Vec2& right) {
  if (right.y <= left.y && p.x >= right.x) return true;
  if (left.y <= right.y && p.x <= left.x) return false;
  const double ax = left.x - p.x, ay = left.y - p.y;
  const double bx = right.x - p.x, by = right.y - p.y;
  const double a = (ax * ax + ay * ay) * by;
  const double b = (bx * bx + by * by) * ay;
  const double det = a - b;
  const double bound = kBreakpointBound * (a + b);  // ay and by are not negative
  if (det > bound || -det > bound) return det > 0.0;
  return ExactBreakpoint(p, left, right) > 0;
}

// With u the centre relative to the middle site and r = |u|, the bottom is b.y + u.y - r. For u.y >
// 0 the difference is written as -u.x^2 / (u.y + r), which does not cancel.
bool ConvergingBottom(const Vec2& a, const Vec2& b, const Vec2& c, CircleBottom& bottom) {
  const double ax = a.x - b.x, ay = a.y - b.y;
  const double cx = c.x - b.x, cy = c.y - b.y;
  const double axcy = ax * cy, aycx = ay * cx;
  const double d = axcy - aycx;  // twice the area, positive for a clockwise turn
  const double d_error = 4.0 * kUnitRoundoff * (std::abs(axcy) + std::abs(aycx));
  if (d < -d_error) return false;
  if (!(d_error < 0x1p-6 * d)) {
    if (Orientation(a, b, c) >= 0) return false;
    bottom = RefineBottom(a, b, c);
    return true;
  }
  const double a2 = ax * ax + ay * ay, c2 = cx * cx + cy * cy;
  const double half = 0.5 / d;
  const double ux = (cy * a2 - ay * c2) * half;
  const double uy = (ax * c2 - cx * a2) * half;
  const double r = std::sqrt(ux * ux + uy * uy);
  const double offset = uy > 0.0 ? -(ux * ux) / (uy + r) : uy - r;
  const double y = b.y + offset;
  // The errors of the centre: of its numerators and of the area. The bottom moves by at most u.x / r
  // of a change in u.x and 1 - u.y / r of one in u.y; the quarter more covers the second order, the
  // last term the roundings of the root and the sums.
  const double scale = 8.0 * kUnitRoundoff * half;
  const double d_relative = d_error * (2.0 * half) + 4.0 * kUnitRoundoff;
  const double abs_ux = std::abs(ux);
  const double ux_error = scale * (std::abs(cy) * a2 + std::abs(ay) * c2) + abs_ux * d_relative;
  const double uy_error =
      scale * (std::abs(ax) * c2 + std::abs(cx) * a2) + std::abs(uy) * d_relative;
  const double error = 1.25 * (abs_ux * ux_error + (r - uy) * uy_error) +
                       8.0 * kUnitRoundoff * (std::abs(offset) + std::abs(y)) * r;
  if (error <= kBottomError * (1.0 + std::abs(y)) * r) {
    bottom = {y, 0.0, false};
  } else {
    bottom = RefineBottom(a, b, c);
  }
  return true;
}

CircleBottom RefineBottom(const Vec2& a, const Vec2& b, const Vec2& c) {
  bool ok = false;
  Centre centre = PairCentre(a, b, c, ok);
  if (!ok) centre = ExactCentre(a, b, c);
  const Pair twice{2.0 * centre.d.hi, 2.0 * centre.d.lo};
  const Pair ux = centre.nx / twice, uy = centre.ny / twice;
  const Pair r = Sqrt(ux * ux + uy * uy);
  const Pair offset = uy.hi > 0.0 ? -(ux * ux) / (uy + r) : uy - r;
  const Pair y = Pair{b.y, 0.0} + offset;
  return {y.hi, y.lo, true};
}

}  // namespace libmfx::geometry::sweep
