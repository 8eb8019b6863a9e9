#pragma once

#include <algorithm>
#include <array>

#include "sim/ray.h"

namespace libmfx::sim {

/// The three corners of a triangle.
using Corners = std::array<Vec3, 3>;

/// A ray prepared for watertight triangle tests: space is sheared and scaled so that the ray runs
/// along the third axis from the origin to 1.
class ShearedRay {
 public:
  ShearedRay(const Vec3& origin, const Vec3& direction) : _origin(origin) {
    direction.cwiseAbs().maxCoeff(&_kz);
    _kx = (_kz + 1) % 3;
    _ky = (_kx + 1) % 3;
    _sx = direction[_kx] / direction[_kz];
    _sy = direction[_ky] / direction[_kz];
    _sz = 1.0 / direction[_kz];
  }

  /// Where the ray meets the triangle, borders included: sets `t` (of either sign). A ray that
  /// misses the triangle by no more than the seam meets its border, so that a part's silhouette
  /// belongs to it whichever way a rounding goes.
  bool Meets(const Corners& corners, double& t) const {
    const Point a = Shear(corners[0]);
    const Point b = Shear(corners[1]);
    const Point c = Shear(corners[2]);
    double u = c.x * b.y - c.y * b.x;
    double v = a.x * c.y - a.y * c.x;
    double w = b.x * a.y - b.y * a.x;
    if ((u < 0.0 || v < 0.0 || w < 0.0) && (u > 0.0 || v > 0.0 || w > 0.0)) {
      const double side = u + v + w < 0.0 ? -1.0 : 1.0;
      if (!WithinSeam(side * u, b, c) || !WithinSeam(side * v, c, a) ||
          !WithinSeam(side * w, a, b)) {
        return false;
      }
      u = side * std::max(side * u, 0.0);
      v = side * std::max(side * v, 0.0);
      w = side * std::max(side * w, 0.0);
    }
    const double det = u + v + w;
    if (det == 0.0) return false;  // seen edge on: the neighbours are met
    t = (u * a.z + v * b.z + w * c.z) / det;
    return true;
  }

 private:
  struct Point {
    double x, y, z;
  };
  Point Shear(const Vec3& corner) const {
    const Vec3 p = corner - _origin;
    return {p[_kx] - _sx * p[_kz], p[_ky] - _sy * p[_kz], _sz * p[_kz]};
  }

  /// Whether an edge function, positive inside, tells a distance from its edge of -kSeam or more.
  static bool WithinSeam(double function, const Point& from, const Point& to) {
    if (function >= 0.0) return true;
    const double x = to.x - from.x;
    const double y = to.y - from.y;
    return function * function <= kSeam * kSeam * (x * x + y * y);
  }

  Vec3 _origin;
  int _kx = 0, _ky = 1, _kz = 2;
  double _sx = 0.0, _sy = 0.0, _sz = 1.0;
};

}  // namespace libmfx::sim
