#include "sim/relief/flatness.h"

#include <cmath>

namespace libmfx::sim {

Flatness::Flatness(const FlatnessSpec& spec, double reach)
    : _dish(4.0 * spec.dish / (spec.span * spec.span)),
      _twist(4.0 * spec.twist / (spec.span * spec.span)),
      _reach(reach) {}

void Flatness::Add(const Vec3& place, const Vec3& normal, Lift& lift) const {
  const double x = place.x();
  const double y = place.y();
  lift.height += normal.z() * (_dish * (x * x + y * y) + _twist * x * y);
  lift.slope += normal.z() * Vec3(2.0 * _dish * x + _twist * y, 2.0 * _dish * y + _twist * x, 0.0);
  lift.curvature += 2.0 * std::fabs(_dish) + std::fabs(_twist);
}

double Flatness::Largest() const {
  return (std::fabs(_dish) + 0.5 * std::fabs(_twist)) * _reach * _reach;
}

double Flatness::Steepest() const { return (2.0 * std::fabs(_dish) + std::fabs(_twist)) * _reach; }

}  // namespace libmfx::sim
