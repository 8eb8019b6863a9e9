#pragma once

#include "sim/faces/face.h"

namespace libmfx::sim {

/// The flat strip that a segment of the x-z plane sweeps along y.
class ExtrudedSegment : public Face {
 public:
  /// \param half_length the strip runs from y = -half_length to half_length
  ExtrudedSegment(const Vec2& start, const Vec2& end, double half_length);
  bool Intersect(const Ray& ray, Hit& hit) const override;

 private:
  Vec2 _start;
  Vec2 _along;   ///< unit
  Vec2 _normal;  ///< unit
  double _length;
  double _half_length;
};

/// The piece of a cylinder that an arc of the x-z plane, below a half turn, sweeps along y.
class ExtrudedArc : public Face {
 public:
  /// \param from,to unit directions from the centre to the arc's ends
  ExtrudedArc(const Vec2& center, double radius, const Vec2& from, const Vec2& to,
              double half_length);
  bool Intersect(const Ray& ray, Hit& hit) const override;

 private:
  Vec2 _center;
  double _radius;
  Vec2 _inward_from;  ///< normals of the sector's two borders, into the sector
  Vec2 _inward_to;
  double _half_length;
};

}  // namespace libmfx::sim
