#pragma once

#include "sim/faces/face.h"

namespace libmfx::sim {

/// A surface around z that no formula tells the meeting of a ray with: r = surface(angle, z).
///
/// A point's distance from it, measured along r, changes along a ray no faster than a bound that
/// follows from the ray's direction, so steps of distance / bound never pass the surface; the
/// crossing is then bracketed and closed in on.
class SteppedFace : public Face {
 public:
  bool Intersect(const Ray& ray, Hit& hit) const override;
  /// Radius of a point less the surface's radius at its angle and height.
  virtual double Outside(const Vec3& p) const = 0;

 protected:
  /// Where the surface is.
  struct Tube {
    double bottom;
    double top;
    double radius;  ///< nothing of the surface lies farther out
  };
  /// How fast a ray leaves the axis at most, and how fast it rises or falls, per metre of it.
  struct Slant {
    double across;
    double rise;
  };
  /// \param blind_share of the ray's way within the tube: a ray that is tired of short steps takes
  ///        none that is shorter
  explicit SteppedFace(double blind_share = 0.0) : _blind_share(blind_share) {}

  virtual Vec3 NormalAt(const Vec3& p) const = 0;
  virtual Tube Bounds() const = 0;
  /// How far a ray may go on from `p`, which has the distance `outside`, without passing the
  /// surface.
  virtual double SafeStep(const Vec3& p, double outside, const Slant& slant) const = 0;

 private:
  bool ClipToTube(const Ray& ray, double& from, double& to) const;
  double CloseIn(const Ray& ray, double low, double high, double at_low, double at_high) const;

  double _blind_share;
};

}  // namespace libmfx::sim
