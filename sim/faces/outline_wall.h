#pragma once

#include <vector>

#include "sim/faces/face.h"
#include "sim/faces/outline.h"

namespace libmfx::sim {

/// The wall that an outline sweeps along z, from `bottom` to `top`, with a rounding that changes
/// linearly: rounding(z) = outline.rounding() + slope * (z - top). Slope 0 makes the wall of an
/// opening, of a border, of a smooth stud or bore; slope 1 a chamfer of 45 degrees. Over the core's
/// edges it is flat, around its corners it is a cylinder or a cone.
class OutlineWall : public Face {
 public:
  OutlineWall(const Outline& outline, double bottom, double top, double slope = 0.0);

  bool Intersect(const Ray& ray, Hit& hit) const override;

 private:
  struct Edge {
    Vec2 start;
    Vec2 along;    ///< unit
    Vec2 outward;  ///< unit
    double length;
  };

  bool MeetsEdge(const Edge& edge, const Ray& ray, Hit& hit) const;
  bool MeetsCorner(std::size_t corner, const Ray& ray, Hit& hit) const;
  bool WithinHeight(double z) const { return z >= _bottom - kSeam && z <= _top + kSeam; }
  double RoundingAt(double z) const { return _rounding + _slope * (z - _top); }
  bool InSector(std::size_t corner, const Vec2& from_corner) const;

  std::vector<Vec2> _corners;
  std::vector<Edge> _edges;  ///< edge i runs from corner i to the next
  double _rounding;
  double _bottom;
  double _top;
  double _slope;
};

}  // namespace libmfx::sim
