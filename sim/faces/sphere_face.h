#pragma once

#include "sim/faces/face.h"
#include "sim/faces/quadratic.h"

namespace libmfx::sim {

/// A whole sphere around the origin of its frame.
class SphereFace : public Face {
 public:
  explicit SphereFace(double radius) : _radius(radius) {}

  bool Intersect(const Ray& ray, Hit& hit) const override {
    const double b = ray.origin.dot(ray.direction);
    const Vec3 nearest = ray.origin - b * ray.direction;  // keeps the discriminant accurate
    const double half_chord_squared = _radius * _radius - nearest.squaredNorm();
    if (half_chord_squared < 0.0) return false;
    const double half_chord = std::sqrt(half_chord_squared);
    for (const double t : {-b - half_chord, -b + half_chord}) {
      if (!Improves(ray, hit, t)) continue;
      hit.t = t;
      hit.normal = ray.At(t) / _radius;
      return true;
    }
    return false;
  }

 private:
  double _radius;
};

}  // namespace libmfx::sim
