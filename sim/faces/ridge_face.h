#pragma once

#include "sim/faces/face.h"
#include "sim/faces/outline.h"
#include "sim/faces/outline_wall.h"

namespace libmfx::sim {

/// A ridge that stands on the plane z = 0 around an outline: straight up above it, and from there
/// down to the plane. It may stand in patches: the turn around z is divided evenly, and each
/// division has the ridge on a share of it, from +x towards +y.
class RidgeFace : public Face {
 public:
  /// \param width of its foot, metres
  RidgeFace(const Outline& outline, double height, double width, int patches, double share);

  bool Intersect(const Ray& ray, Hit& hit) const override;

 private:
  bool MayMeet(const Ray& ray) const;
  bool MeetsWall(const OutlineWall& wall, const Ray& ray, Hit& hit) const;
  bool Holds(const Vec3& p) const;

  Outline _outline;
  double _height;
  double _width;
  OutlineWall _inner;
  OutlineWall _outer;
  int _patches;
  double _share;
};

}  // namespace libmfx::sim
