#pragma once

#include <vector>

#include "sim/vec.h"

namespace libmfx::sim {

/// Errors of form of the round wall of a stud or a bore. Each leaves the wall's mean radius and its
/// least squares axis where they are, to the first order. Directions are radians from +x towards
/// +y. Lengths are metres.
struct WallForm {
  /// Waves around the wall: amplitude * cos(count * (angle - crest)) on the radius.
  struct Lobes {
    int count = 2;  ///< at least 2: one would only move the wall
    double amplitude = 0.0;
    double crest = 0.0;  ///< direction of one of the crests
  };
  std::vector<Lobes> lobes;
  double taper = 0.0;   ///< radius at the wall's top less that at its bottom
  double barrel = 0.0;  ///< radius half way less that at the ends
  double bend = 0.0;    ///< sagitta of the axis: half way it is this far off the line of its ends
  double bend_direction = 0.0;

  /// Whether it changes nothing.
  bool IsIdeal() const;
};

/// A form on a wall from `bottom` to `top`. Beyond these heights it stays as it is there.
class WallShape {
 public:
  WallShape(const WallForm& form, double bottom, double top);

  /// Where the bent axis passes.
  Vec2 AxisAt(double z) const { return _form.bend * Parabola(HeightOf(z)) * _bend_direction; }
  /// Its derivative by the height.
  Vec2 AxisSlopeAt(double z) const;
  /// What is added to the radius.
  /// \param outward unit vector from the axis
  double AddedAt(const Vec2& outward, double z) const;
  /// Its derivative by the angle, metres per radian.
  double AroundAt(const Vec2& outward) const;
  /// Its derivative by the height.
  double RiseAt(double z) const;

  double LargestAdded() const;   ///< metres, inwards or outwards
  double LargestOffset() const;  ///< of the axis, metres
  double SteepestAxis() const;   ///< metres of offset per metre of height
  double SteepestAround() const;
  double SteepestRise() const;

 private:
  struct Wave {
    int count;
    double along;   ///< amplitude times the cosine of the crest's phase
    double across;  ///< the same with its sine
  };

  /// -1 at the bottom, 1 at the top.
  double HeightOf(double z) const;
  bool Within(double z) const { return z > _middle - _half && z < _middle + _half; }
  /// One higher half way than at the ends, 0 in the mean over the height, and even: what follows it
  /// moves neither a mean radius nor a least squares axis.
  static double Parabola(double height) { return 1.0 / 3.0 - height * height; }

  WallForm _form;
  double _middle;
  double _half;
  Vec2 _bend_direction;
  std::vector<Wave> _waves;
};

}  // namespace libmfx::sim
