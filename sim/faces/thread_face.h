#pragma once

#include "sim/faces/face.h"
#include "sim/parts/thread.h"

namespace libmfx::sim {

/// The helical surface of a screw thread around z from `bottom` to `top`, cut off by a cone of 45
/// degrees at its open end: the lead of a stud, the countersink of a bore.
///
/// The surface is r = profile(z - lead * angle). A point's distance from it, measured along
/// r, changes along a ray no faster than a bound that follows from the ray's direction, so steps of
/// distance / bound never pass the surface; the crossing is then bracketed and closed in on.
class ThreadFace : public Face {
 public:
  /// \param cone_radius radius of the cone at `top`: a stud's end, a bore's mouth
  ThreadFace(const Thread& thread, ThreadKind kind, double bottom, double top, double cone_radius);

  bool Intersect(const Ray& ray, Hit& hit) const override;

 private:
  /// Radius of a point less the surface's radius at its angle and height.
  double Outside(const Vec3& p) const;
  double ConeRadius(double z) const;
  bool Cone(double z, double profile_radius) const;
  Vec3 NormalAt(const Vec3& p) const;
  bool ClipToTube(const Ray& ray, double& from, double& to) const;
  /// How fast distances may change along a ray, per metre of it.
  struct Rates {
    double across;   ///< of the distance from the axis
    double fastest;  ///< of the distance from the surface
  };
  double SafeStep(const Vec3& p, double outside, const Rates& rates) const;
  double CloseIn(const Ray& ray, double low, double high, double at_low, double at_high) const;

  ThreadProfile _profile;
  ThreadKind _kind;
  double _bottom;
  double _top;
  double _cone_radius;
  double _steepest;          ///< of profile and cone, radius per height
  double _tube_radius;       ///< nothing of the surface lies farther out
  double _innermost_radius;  ///< nor farther in
};

}  // namespace libmfx::sim
