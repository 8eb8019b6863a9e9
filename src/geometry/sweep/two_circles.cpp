#include <limits>

#include "geometry/lanes.h"
#include "geometry/sweep/predicates.h"

namespace libmfx::geometry::sweep {

// Each step is that of ConvergingBottom, so that both give the same bits. What a lane computes that
// does not apply to it, be it NaN, is not taken.
void ConvergingBottoms(const Triple& first, const Triple& second, double (&bottoms)[2]) {
  const Pair bx{first.b->x, second.b->x}, by{first.b->y, second.b->y};
  const Pair ax = Pair{first.a->x, second.a->x} - bx, ay = Pair{first.a->y, second.a->y} - by;
  const Pair cx = Pair{first.c->x, second.c->x} - bx, cy = Pair{first.c->y, second.c->y} - by;
  const Pair axcy = ax * cy, aycx = ay * cx;
  const Pair d = axcy - aycx;
  const Pair d_error = 4.0 * kUnitRoundoff * (Magnitude(axcy) + Magnitude(aycx));
  const PairMask apart = d < -d_error;
  const PairMask together = d_error < 0x1p-6 * d;
  const Pair a2 = ax * ax + ay * ay, c2 = cx * cx + cy * cy;
  const Pair half = 0.5 / d;
  const Pair ux = (cy * a2 - ay * c2) * half;
  const Pair uy = (ax * c2 - cx * a2) * half;
  const Pair r = Root(ux * ux + uy * uy);
  const PairMask above = uy > 0.0;
  const Pair offset = Choose(above, -(ux * ux), uy - r) / Choose(above, uy + r, Both(1.0));
  const Pair y = by + offset;
  const Pair scale = 8.0 * kUnitRoundoff * half;
  const Pair d_relative = d_error * (2.0 * half) + 4.0 * kUnitRoundoff;
  const Pair abs_ux = Magnitude(ux);
  const Pair ux_error = scale * (Magnitude(cy) * a2 + Magnitude(ay) * c2) + abs_ux * d_relative;
  const Pair uy_error =
      scale * (Magnitude(ax) * c2 + Magnitude(cx) * a2) + Magnitude(uy) * d_relative;
  const Pair error = 1.25 * (abs_ux * ux_error + (r - uy) * uy_error) +
                     8.0 * kUnitRoundoff * (Magnitude(offset) + Magnitude(y)) * r;
  const PairMask close = error <= kBottomError * (1.0 + Magnitude(y)) * r;
  const PairMask settled = apart | (together & close);
  constexpr double kNone = -std::numeric_limits<double>::infinity();
  Store(Choose(apart, Both(kNone), y), bottoms);
  if ((settled[0] & settled[1]) != 0) return;
  const Triple* const triples[] = {&first, &second};
  for (int i = 0; i < 2; ++i) {
    if (settled[i] != 0) continue;
    const Triple& t = *triples[i];
    if (!ConvergingOrdinate(*t.a, *t.b, *t.c, bottoms[i])) bottoms[i] = kNone;
  }
}

}  // namespace libmfx::geometry::sweep
