#pragma once

#include <cmath>
#include <utility>

namespace libmfx::sim {

/// The real roots of a t^2 + 2 b t + c, ascending; `count` of them are set.
struct Roots {
  int count = 0;
  double t[2] = {0.0, 0.0};
};

/// Solved without cancellation, also when `a` is 0 or all but 0.
inline Roots SolveQuadratic(double a, double b, double c) {
  Roots roots;
  const double discriminant = b * b - a * c;
  if (discriminant < 0.0 || (a == 0.0 && b == 0.0)) return roots;
  const double q = -(b + std::copysign(std::sqrt(discriminant), b));
  if (a != 0.0) roots.t[roots.count++] = q / a;
  if (q != 0.0) {
    roots.t[roots.count++] = c / q;
  } else if (a != 0.0) {
    roots.t[roots.count++] = 0.0;
  }
  if (roots.count == 2 && roots.t[0] > roots.t[1]) std::swap(roots.t[0], roots.t[1]);
  return roots;
}

}  // namespace libmfx::sim
