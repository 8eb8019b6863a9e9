#pragma once

#include "sim/faces/outline.h"
#include "sim/faces/stepped_face.h"

namespace libmfx::sim {

/// The edge between the front z = 0 and the wall of an opening, rounded by a radius: it touches the
/// wall at z = -radius, and the front where the outline is wider by the radius.
///
/// The outline may be any, so the surface is stepped to: a point's distance from it is known, and
/// no ray comes nearer to it faster than it goes on.
class RoundedRim : public SteppedFace {
 public:
  /// \param opening of the wall
  RoundedRim(Outline opening, double radius);
  /// Distance from the arc about the middle of the rounding; below 0 in the material.
  double Outside(const Vec3& p) const override;

 private:
  Vec3 NormalAt(const Vec3& p) const override;
  Tube Bounds() const override;
  double SafeStep(const Vec3& p, double outside, const Slant& slant) const override;

  Outline _opening;
  double _radius;
};

}  // namespace libmfx::sim
