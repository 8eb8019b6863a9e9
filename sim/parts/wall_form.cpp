#include "sim/parts/wall_form.h"

#include <algorithm>
#include <cmath>

#include "sim/portable_math.h"

namespace libmfx::sim {

namespace {

/// The unit vector turned to `count` times its angle, by squaring.
Vec2 Multiple(const Vec2& unit, int count) {
  Vec2 power(1.0, 0.0);
  Vec2 square = unit;
  const auto product = [](const Vec2& a, const Vec2& b) {
    return Vec2(a.x() * b.x() - a.y() * b.y(), a.x() * b.y() + a.y() * b.x());
  };
  for (int left = count; left > 0; left /= 2) {
    if (left % 2 != 0) power = product(power, square);
    square = product(square, square);
  }
  return power;
}

}  // namespace

bool WallForm::IsIdeal() const {
  const auto is_flat = [](const Lobes& some) { return some.amplitude == 0.0; };
  return taper == 0.0 && barrel == 0.0 && bend == 0.0 &&
         std::all_of(lobes.begin(), lobes.end(), is_flat);
}

WallShape::WallShape(const WallForm& form, double bottom, double top)
    : _form(form), _middle(0.5 * (bottom + top)), _half(0.5 * (top - bottom)) {
  const auto towards = portable::SinCos(form.bend_direction);
  _bend_direction = Vec2(towards.cosine, towards.sine);
  for (const WallForm::Lobes& some : form.lobes) {
    const auto phase = portable::SinCos(some.count * some.crest);
    _waves.push_back({some.count, some.amplitude * phase.cosine, some.amplitude * phase.sine});
  }
}

double WallShape::HeightOf(double z) const { return std::clamp((z - _middle) / _half, -1.0, 1.0); }

Vec2 WallShape::AxisSlopeAt(double z) const {
  if (!Within(z)) return Vec2::Zero();
  return -2.0 * HeightOf(z) / _half * _form.bend * _bend_direction;
}

double WallShape::AddedAt(const Vec2& outward, double z) const {
  const double height = HeightOf(z);
  double added = 0.5 * _form.taper * height + _form.barrel * Parabola(height);
  for (const Wave& wave : _waves) {
    const Vec2 turned = Multiple(outward, wave.count);
    added += turned.x() * wave.along + turned.y() * wave.across;
  }
  return added;
}

double WallShape::AroundAt(const Vec2& outward) const {
  double around = 0.0;
  for (const Wave& wave : _waves) {
    const Vec2 turned = Multiple(outward, wave.count);
    around += wave.count * (turned.x() * wave.across - turned.y() * wave.along);
  }
  return around;
}

double WallShape::RiseAt(double z) const {
  if (!Within(z)) return 0.0;
  return (0.5 * _form.taper - 2.0 * HeightOf(z) * _form.barrel) / _half;
}

double WallShape::LargestAdded() const {
  double largest = 0.5 * std::fabs(_form.taper) + std::fabs(_form.barrel) * 2.0 / 3.0;
  for (const WallForm::Lobes& some : _form.lobes) largest += std::fabs(some.amplitude);
  return largest;
}

double WallShape::LargestOffset() const { return std::fabs(_form.bend) * 2.0 / 3.0; }

double WallShape::SteepestAxis() const { return 2.0 * std::fabs(_form.bend) / _half; }

double WallShape::SteepestAround() const {
  double steepest = 0.0;
  for (const WallForm::Lobes& some : _form.lobes) {
    steepest += some.count * std::fabs(some.amplitude);
  }
  return steepest;
}

double WallShape::SteepestRise() const {
  return (0.5 * std::fabs(_form.taper) + 2.0 * std::fabs(_form.barrel)) / _half;
}

}  // namespace libmfx::sim
