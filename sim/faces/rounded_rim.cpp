#include "sim/faces/rounded_rim.h"

#include <cmath>
#include <utility>

namespace libmfx::sim {

RoundedRim::RoundedRim(Outline opening, double radius)
    : _opening(std::move(opening)), _radius(radius) {}

double RoundedRim::Outside(const Vec3& p) const {
  const double across = _opening.SignedDistance(p.head<2>()) - _radius;
  const double down = p.z() + _radius;
  return std::sqrt(across * across + down * down) - _radius;
}

Vec3 RoundedRim::NormalAt(const Vec3& p) const {
  constexpr double kStep = 1e-8;  // metres: the outline's curvature moves the slope by less
  const auto change = [&](const Vec2& step) {
    const Vec2 place = p.head<2>();
    return (_opening.SignedDistance(place + step) - _opening.SignedDistance(place - step)) /
           (2.0 * kStep);
  };
  const Vec2 outward(change({kStep, 0.0}), change({0.0, kStep}));
  const double across = _opening.SignedDistance(p.head<2>()) - _radius;
  return Vec3(across * outward.x(), across * outward.y(), p.z() + _radius).normalized();
}

SteppedFace::Tube RoundedRim::Bounds() const { return {-_radius, 0.0, _opening.Reach() + _radius}; }

double RoundedRim::SafeStep(const Vec3& /*p*/, double outside, const Slant& /*slant*/) const {
  return std::fabs(outside);
}

}  // namespace libmfx::sim
