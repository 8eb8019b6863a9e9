#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

#include "geometry/sweep/expansion.h"
#include "geometry/sweep/predicates.h"

namespace libmfx::geometry::sweep {
namespace {

/// A number of about 106 bits: an unevaluated sum hi + lo, |lo| at most half an ulp of hi.
struct Pair {
  double hi, lo;
};

Pair Normalised(double hi, double lo) {
  const double sum = hi + lo;  // |lo| does not exceed |hi|: the rounding error is had in two steps
  return {sum, lo - (sum - hi)};
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

Pair Times(double a, double b) {
  Pair r;
  TwoProduct(a, b, r.hi, r.lo);
  return r;
}
Pair Times(double a, Pair b) {
  const Pair p = Times(a, b.hi);
  return Normalised(p.hi, p.lo + a * b.lo);
}
Pair Times(Pair a, Pair b) {
  const Pair p = Times(a.hi, b.hi);
  return Normalised(p.hi, p.lo + (a.hi * b.lo + a.lo * b.hi));
}

Pair operator/(Pair a, Pair b) {
  const double q = a.hi / b.hi;
  return Normalised(q, (a - Times(q, b)).hi / b.hi);
}

Pair Sqrt(Pair a) {
  if (a.hi <= 0.0) return {0.0, 0.0};
  const double s = std::sqrt(a.hi);
  return Normalised(s, (a - Times(s, s)).hi / (2.0 * s));
}

/// Numerators of the centre relative to the middle site, and the area that divides them, doubled
/// here and four times in the end. With each, how large the terms were that it is the rest of.
struct Centre {
  Pair nx, ny, d;
  double n_terms = 0.0, d_terms = 0.0;

  double Longer() const { return std::max(std::abs(nx.hi), std::abs(ny.hi)); }
};

/// A sum of two products, and how large the two were.
struct Sum {
  Pair value;
  double terms;
};
template <typename P, typename Q, typename R, typename S>
Sum CrossDifference(P p, Q q, R r, S s) {
  const Pair left = Times(p, q), right = Times(r, s);
  return {left - right, std::abs(left.hi) + std::abs(right.hi)};
}

/// From the outer sites relative to the middle one, as doubles if these differences are exact or as
/// pairs.
template <typename Number>
Centre PairCentre(Number ax, Number ay, Number cx, Number cy) {
  const Pair a2 = Times(ax, ax) + Times(ay, ay), c2 = Times(cx, cx) + Times(cy, cy);
  const Sum d = CrossDifference(ax, cy, ay, cx);
  const Sum nx = CrossDifference(cy, a2, ay, c2), ny = CrossDifference(ax, c2, cx, a2);
  return {nx.value, ny.value, d.value, std::max(nx.terms, ny.terms), d.terms};
}

/// False if cancellation left too little of the 106 bits, measured by the area and by the longer
/// component of the centre.
bool IsPrecise(const Centre& centre) {
  constexpr double kLeast = 0x1p-8;
  return std::abs(centre.d.hi) >= kLeast * centre.d_terms &&
         centre.Longer() >= kLeast * centre.n_terms;
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

/// In pairs, whatever was cancelled.
Centre ApproximateCentre(const Vec2& a, const Vec2& b, const Vec2& c) {
  Pair ax, ay, cx, cy;
  TwoDiff(a.x, b.x, ax.hi, ax.lo);
  TwoDiff(a.y, b.y, ay.hi, ay.lo);
  TwoDiff(c.x, b.x, cx.hi, cx.lo);
  TwoDiff(c.y, b.y, cy.hi, cy.lo);
  const bool plain = ax.lo == 0.0 && ay.lo == 0.0 && cx.lo == 0.0 && cy.lo == 0.0;
  return plain ? PairCentre(ax.hi, ay.hi, cx.hi, cy.hi) : PairCentre(ax, ay, cx, cy);
}

Centre RefinedCentre(const Vec2& a, const Vec2& b, const Vec2& c) {
  const Centre centre = ApproximateCentre(a, b, c);
  return IsPrecise(centre) ? centre : ExactCentre(a, b, c);
}

/// How far the bottom lies above the middle site.
Pair RefinedOffset(const Centre& centre) {
  const Pair nx = centre.nx, ny = centre.ny;
  const Pair twice{2.0 * centre.d.hi, 2.0 * centre.d.lo};  // positive: the sites turn clockwise
  const Pair length = Sqrt(Times(nx, nx) + Times(ny, ny));
  return ny.hi > 0.0 ? -(Times(nx, nx) / Times(twice, ny + length)) : (ny - length) / twice;
}

CircleBottom Refined(double middle_y, Pair offset) {
  const Pair y = Pair{middle_y, 0.0} + offset;
  return {y.hi, y.lo, true};
}

/// The y of RefineBottom, to the last bit.
///
/// Long rows of sites that are nearly on one line, such as the outer turn of a spiral, cancel more
/// than RefineBottom allows for, and the exact centre takes ten times as long as that in pairs. But
/// where no double ends within the error of the latter, both round to the same.
double RoundedBottom(const Vec2& a, const Vec2& b, const Vec2& c) {
  const Centre centre = ApproximateCentre(a, b, c);
  const bool precise = IsPrecise(centre);
  if (precise || centre.d.hi > 0.0) {
    const CircleBottom bottom = Refined(b.y, RefinedOffset(centre));
    if (precise) return bottom.y;
    // The numerators and the area are good to 2^-102 of their terms, and the bottom moves by at
    // most 2.5 times as much as the centre; a thousand times that covers both ways of computing it.
    const double longer = centre.Longer(), radius = longer / centre.d.hi;
    const double lost = centre.n_terms / longer + centre.d_terms / centre.d.hi;
    const double error = 0x1p-90 * (radius * (1.0 + lost) + std::abs(bottom.y));
    constexpr double kMostLost = 0x1p20;
    if (lost < kMostLost && bottom.y + (bottom.y_low + error) == bottom.y &&
        bottom.y + (bottom.y_low - error) == bottom.y) {
      return bottom.y;
    }
  }
  return Refined(b.y, RefinedOffset(ExactCentre(a, b, c))).y;
}

// With u the centre relative to the middle site and r = |u|, the bottom is b.y + u.y - r. For u.y >
// 0 the difference is written as -u.x^2 / (u.y + r), which does not cancel.
template <typename Refine>
bool Converging(const Vec2& a, const Vec2& b, const Vec2& c, CircleBottom& bottom, Refine refine) {
  const double ax = a.x - b.x, ay = a.y - b.y;
  const double cx = c.x - b.x, cy = c.y - b.y;
  const double axcy = ax * cy, aycx = ay * cx;
  const double d = axcy - aycx;  // twice the area, positive for a clockwise turn
  const double d_error = 4.0 * kUnitRoundoff * (std::abs(axcy) + std::abs(aycx));
  if (d < -d_error) return false;
  if (!(d_error < 0x1p-6 * d)) {
    if (Orientation(a, b, c) >= 0) return false;
    bottom = refine(a, b, c);
    return true;
  }
  const double a2 = ax * ax + ay * ay, c2 = cx * cx + cy * cy;
  const double half = 0.5 / d;
  const double ux = (cy * a2 - ay * c2) * half;
  const double uy = (ax * c2 - cx * a2) * half;
  const double r = std::sqrt(ux * ux + uy * uy);
  const double offset = uy > 0.0 ? -(ux * ux) / (uy + r) : uy - r;
  const double y = b.y + offset;
  // The errors of the centre: of its numerators and of the area. The bottom moves by at most u.x /
  // r of a change in u.x and 1 - u.y / r of one in u.y; the quarter more covers the second order,
  // the last term the roundings of the root and the sums.
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
    bottom = refine(a, b, c);
  }
  return true;
}

}  // namespace

bool ConvergingBottom(const Vec2& a, const Vec2& b, const Vec2& c, CircleBottom& bottom) {
  return Converging(a, b, c, bottom, RefineBottom);
}

bool ConvergingOrdinate(const Vec2& a, const Vec2& b, const Vec2& c, double& y) {
  CircleBottom bottom;
  const auto rounded = [](const Vec2& p, const Vec2& q, const Vec2& r) {
    return CircleBottom{RoundedBottom(p, q, r), 0.0, false};
  };
  if (!Converging(a, b, c, bottom, rounded)) return false;
  y = bottom.y;
  return true;
}

CircleBottom RefineBottom(const Vec2& a, const Vec2& b, const Vec2& c) {
  return Refined(b.y, RefinedOffset(RefinedCentre(a, b, c)));
}

CircleBottom RefinedBottoms::Of(const Vec2& a, const Vec2& b, const Vec2& c) {
  double ax, ay, cx, cy, rest[4];
  TwoDiff(a.x, b.x, ax, rest[0]);
  TwoDiff(a.y, b.y, ay, rest[1]);
  TwoDiff(c.x, b.x, cx, rest[2]);
  TwoDiff(c.y, b.y, cy, rest[3]);
  if (rest[0] != 0.0 || rest[1] != 0.0 || rest[2] != 0.0 || rest[3] != 0.0) {
    return RefineBottom(a, b, c);
  }
  std::uint64_t hash = 0;
  for (const double part : {ax, ay, cx, cy}) {
    hash = (hash ^ std::bit_cast<std::uint64_t>(part)) * 0x9E3779B97F4A7C15u;
  }
  Shape& shape = _shapes[hash >> (64 - kShapeBits)];
  if (shape.ax != ax || shape.ay != ay || shape.cx != cx || shape.cy != cy) {
    const Pair offset = RefinedOffset(RefinedCentre(a, b, c));
    shape = {ax, ay, cx, cy, offset.hi, offset.lo};
  }
  return Refined(b.y, {shape.offset, shape.offset_low});
}

Vec2 CircleCentre(const Vec2& a, const Vec2& b, const Vec2& c) {
  const Centre centre = RefinedCentre(a, b, c);
  const Pair twice{2.0 * centre.d.hi, 2.0 * centre.d.lo};
  return {(Pair{b.x, 0.0} + centre.nx / twice).hi, (Pair{b.y, 0.0} + centre.ny / twice).hi};
}

}  // namespace libmfx::geometry::sweep
