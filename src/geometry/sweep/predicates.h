#pragma once

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

/// The sign of the area of (a, b, c): 1 counter-clockwise, -1 clockwise, 0 collinear.
int Orientation(const Vec2& a, const Vec2& b, const Vec2& c);

/// Where `d` lies against the circle through the counter-clockwise triple (a, b, c): 1 inside, -1
/// outside, 0 on it.
int InCircle(const Vec2& a, const Vec2& b, const Vec2& c, const Vec2& d);

/// Whether the vertical through `p` meets the beachline to the right of the breakpoint between the
/// arc of `left` and the arc of `right`, the sweep line running through `p`. Exactly beneath the
/// breakpoint counts as left. Neither site comes after `p` in sweep order.
bool IsRightOfBreakpoint(const Vec2& p, const Vec2& left, const Vec2& right);

/// The lowest point of the circle through three sites that are not collinear.
struct CircleBottom {
  double y;      ///< the ordinate rounded to a double
  double y_low;  ///< what the rounding left out; 0 unless `refined`
  bool refined;  ///< y + y_low has a relative error of about 2^-95
};

/// Whether three neighbouring arcs of the sites `a`, `b`, `c`, from left to right, converge, which is
/// whether the sites turn clockwise; exact. If so the bottom of their circle, to within kBottomError
/// times 1 plus its magnitude. A triple so flat that double precision does not reach that comes back
/// refined.
bool ConvergingBottom(const Vec2& a, const Vec2& b, const Vec2& c, CircleBottom& bottom);
/// The bottom in about twice the precision; the sites are not collinear.
CircleBottom RefineBottom(const Vec2& a, const Vec2& b, const Vec2& c);

inline constexpr double kBottomError = 32.0 * kUnitRoundoff;

}  // namespace libmfx::geometry::sweep
