#pragma once

#include <vector>

#include "sim/vec.h"

namespace libmfx::sim {

/// A convex closed curve in a plane: all points at the distance `rounding` from a convex core. A
/// point as core gives a circle, a segment an obround, a polygon a polygon whose corners are
/// rounded, and with `rounding` 0 sharp. Every opening and border of the built-in parts is one.
class Outline {
 public:
  /// \param core corners in counterclockwise order: 1 (a point), 2 (a segment) or more
  Outline(std::vector<Vec2> core, double rounding);

  static Outline Circle(double radius);
  /// `length` along x, `width` along y, corners rounded by `corner_radius`.
  static Outline Rectangle(double length, double width, double corner_radius = 0.0);
  /// Regular, first corner on +x; `radius` from the centre to the corners of the polygon before
  /// they are rounded by `corner_radius`.
  static Outline RegularPolygon(int sides, double radius, double corner_radius = 0.0);
  /// Two half circles of diameter `width` joined by straight sides; `length` over all, along x.
  static Outline Obround(double length, double width);

  const std::vector<Vec2>& core() const { return _core; }
  double rounding() const { return _rounding; }

  /// The same core with another rounding.
  Outline WithRounding(double rounding) const { return {_core, rounding}; }

  /// Whether the point lies inside the curve, or outside by no more than `margin` (which may be
  /// negative: inside by at least that much).
  bool Contains(const Vec2& p, double margin) const;

  /// Distance from the core; 0 inside it.
  double DistanceFromCore(const Vec2& p) const;
  /// Distance from the curve; negative inside.
  double SignedDistance(const Vec2& p) const;

  /// How far the curve reaches from the plane's origin along x and along y.
  Vec2 HalfExtent() const;
  /// Radius of the circle around the plane's origin that holds the curve.
  double Reach() const { return _core_reach + _rounding; }

 private:
  std::vector<Vec2> _core;
  double _rounding;
  double _core_reach;
  double _inner_radius;  ///< the circle around the origin of this radius lies inside; 0: unknown
};

}  // namespace libmfx::sim
