#include "sim/relief/marks.h"

#include <cmath>

#include "sim/portable_math.h"
#include "sim/rng.h"

namespace libmfx::sim {

namespace {

constexpr double kNear = 1.2;  // halves of a groove from its middle

}  // namespace

Marks::Marks(const MarksSpec& spec)
    : _spec(spec),
      _per_metre(1.0 / spec.spacing),
      _per_half(2.0 / spec.width),
      _places(spec.spacing, DeriveSeed(spec.seed, "places")),
      _depths(spec.spacing, DeriveSeed(spec.seed, "depths")) {}

void Marks::Add(const Vec3& place, const Vec3& /*normal*/, Lift& lift) const {
  const double along = place.dot(_spec.across);
  const std::int64_t strip = portable::Floor(along * _per_metre);
  const double center = static_cast<double>(strip) * _spec.spacing + 0.5 * _spec.width +
                        (_spec.spacing - _spec.width) * _places.UniformOf(strip);
  const double s = (along - center) * _per_half;
  // A little beside a groove it may still be one that the ray enters.
  if (std::fabs(s) < kNear) lift.curvature += 8.0 * _spec.depth * _per_half * _per_half;
  if (s <= -1.0 || s >= 1.0) return;
  const double depth = _spec.depth * (0.5 + 0.5 * _depths.UniformOf(strip));
  const double rest = 1.0 - s * s;
  lift.height -= depth * rest * rest;
  lift.slope += 4.0 * depth * s * rest * _per_half * _spec.across;
}

double Marks::Steepest() const { return 16.0 / (3.0 * std::sqrt(3.0)) * _spec.depth / _spec.width; }

}  // namespace libmfx::sim
