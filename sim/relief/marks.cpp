#include "sim/relief/marks.h"

#include <cmath>

#include "sim/rng.h"

namespace libmfx::sim {

Marks::Marks(const MarksSpec& spec)
    : _spec(spec),
      _places(spec.spacing, DeriveSeed(spec.seed, "places")),
      _depths(spec.spacing, DeriveSeed(spec.seed, "depths")) {}

void Marks::Add(const Vec3& place, const Vec3& /*normal*/, Lift& lift) const {
  const double along = place.dot(_spec.across);
  const double strip = std::floor(along / _spec.spacing);
  const Vec3 key((strip + 0.5) * _spec.spacing, 0.0, 0.0);
  const double half = 0.5 * _spec.width;
  const double center =
      strip * _spec.spacing + half + (_spec.spacing - _spec.width) * _places.UniformAt(key);
  const double s = (along - center) / half;
  if (s <= -1.0 || s >= 1.0) return;
  const double depth = _spec.depth * (0.5 + 0.5 * _depths.UniformAt(key));
  const double rest = 1.0 - s * s;
  lift.height -= depth * rest * rest;
  lift.slope += 4.0 * depth * s * rest / half * _spec.across;
}

double Marks::Steepest() const { return 16.0 / (3.0 * std::sqrt(3.0)) * _spec.depth / _spec.width; }

}  // namespace libmfx::sim
