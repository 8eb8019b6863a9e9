#pragma once

#include <optional>
#include <utility>

#include "sim/faces/outline.h"
#include "sim/faces/stepped_face.h"
#include "sim/parts/thread.h"
#include "sim/parts/wall_form.h"

namespace libmfx::sim {

/// What a wall with errors of form is without them.
struct FormedWallSpec {
  WallKind kind = WallKind::kStud;
  double radius = 0.004;         ///< of a smooth wall, metres
  std::optional<Thread> thread;  ///< instead of a smooth wall
  double bottom = 0.0;           ///< of the face, with what the cone cuts off
  double top = 0.02;
  std::optional<double> cone_radius;  ///< radius at `top` of a cone of 45 degrees; none: no cone
};

/// The wall of a stud or a bore, smooth or threaded, with errors of form, and the cone at its open
/// end: the lead of a stud, the countersink of a bore.
///
/// Wall and cone are round about the bent axis: r = profile + added(angle, height), r the distance
/// from the axis at the same height. The errors of form move a thread's profile in and out as they
/// move a smooth wall.
class FormedWall : public SteppedFace {
 public:
  FormedWall(const FormedWallSpec& spec, const WallShape& shape);
  double Outside(const Vec3& p) const override;

 private:
  /// A point about the bent axis.
  struct Place {
    Vec2 outward;  ///< unit
    double radius;
  };
  Place PlaceOf(const Vec3& p) const;
  double ProfileAt(const Place& place, double z) const;
  double ConeRadius(double z) const;
  /// Whether the cone is the surface, and the wall cut off.
  bool ConeCuts(double cone, double wall) const;
  Vec3 NormalAt(const Vec3& p) const override;
  Tube Bounds() const override { return {_spec.bottom, _spec.top, _tube_radius}; }
  double SafeStep(const Vec3& p, double outside, const Slant& slant) const override;

  FormedWallSpec _spec;
  WallShape _shape;
  std::optional<ThreadProfile> _thread;
  double _tube_radius;       ///< about z: nothing of the wall lies farther out
  double _innermost_radius;  ///< about the bent axis: nothing of the wall lies farther in
};

/// The flat end of a formed wall: the end of a stud or the floor of a bore, which fill it, or the
/// front around its mouth.
class FormedEnd : public Face {
 public:
  /// \param border of the front around a mouth; none: what fills the wall
  FormedEnd(const FormedWall& wall, double height, std::optional<Outline> border = std::nullopt)
      : _wall(wall), _height(height), _border(std::move(border)) {}

  bool Intersect(const Ray& ray, Hit& hit) const override;

 private:
  FormedWall _wall;
  double _height;
  std::optional<Outline> _border;
};

}  // namespace libmfx::sim
