#pragma once

#include "sim/faces/stepped_face.h"
#include "sim/parts/thread.h"

namespace libmfx::sim {

/// The helical surface of a screw thread around z from `bottom` to `top`, cut off by a cone of 45
/// degrees at its open end: the lead of a stud, the countersink of a bore.
///
/// The surface is r = profile(z - lead * angle).
class ThreadFace : public SteppedFace {
 public:
  /// \param cone_radius radius of the cone at `top`: a stud's end, a bore's mouth
  ThreadFace(const Thread& thread, WallKind kind, double bottom, double top, double cone_radius);

  double Outside(const Vec3& p) const override;

 private:
  double ConeRadius(double z) const;
  bool Cone(double z, double profile_radius) const;
  Vec3 NormalAt(const Vec3& p) const override;
  Tube Bounds() const override { return {_bottom, _top, _tube_radius}; }
  double SafeStep(const Vec3& p, double outside, const Slant& slant) const override;

  ThreadProfile _profile;
  WallKind _kind;
  double _bottom;
  double _top;
  double _cone_radius;
  double _steepest;          ///< of profile and cone, radius per height
  double _tube_radius;       ///< nothing of the surface lies farther out
  double _innermost_radius;  ///< nor farther in
  double _largest_lead;      ///< height per metre around, at half of the innermost radius
};

}  // namespace libmfx::sim
