#include "sim/faces/formed_wall.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "sim/portable_math.h"

namespace libmfx::sim {

namespace {

constexpr double kTubeMargin = 1e-6;  // metres around the wall
/// A ray that skims along a wall takes a million steps at most.
constexpr double kBlindShare = 1e-6;
constexpr double kEndless = std::numeric_limits<double>::infinity();

}  // namespace

FormedWall::FormedWall(const FormedWallSpec& spec, const WallShape& shape)
    : SteppedFace(kBlindShare), _spec(spec), _shape(shape) {
  if (spec.thread) _thread.emplace(*spec.thread, spec.kind, spec.bottom);
  const double outermost = _thread ? _thread->MajorRadius() : spec.radius;
  _tube_radius = outermost + shape.LargestAdded();
  _innermost_radius = (_thread ? _thread->MinorRadius() : spec.radius) - shape.LargestAdded();
  if (spec.cone_radius && spec.kind == WallKind::kBore) {
    _tube_radius = std::max(_tube_radius, *spec.cone_radius);
  }
  if (spec.cone_radius && spec.kind == WallKind::kStud) {
    _innermost_radius = std::min(_innermost_radius, *spec.cone_radius);
  }
  _tube_radius += shape.LargestOffset() + kTubeMargin;
}

FormedWall::Place FormedWall::PlaceOf(const Vec3& p) const {
  const Vec2 from_axis = p.head<2>() - _shape.AxisAt(p.z());
  const double radius = std::sqrt(from_axis.squaredNorm());
  if (radius < 1e-12) return {Vec2::UnitX(), radius};
  return {from_axis / radius, radius};
}

double FormedWall::ProfileAt(const Place& place, double z) const {
  double radius = _spec.radius;
  if (_thread) {
    const double angle = portable::Atan2(place.outward.y(), place.outward.x());
    radius = _thread->RadiusAt(_thread->Turns(z, angle), z);
  }
  return radius + _shape.AddedAt(place.outward, z);
}

double FormedWall::ConeRadius(double z) const {
  const double below = _spec.top - z;
  if (_spec.kind == WallKind::kStud)
    return _spec.cone_radius ? *_spec.cone_radius + below : kEndless;
  return _spec.cone_radius ? *_spec.cone_radius - below : -kEndless;
}

bool FormedWall::ConeCuts(double cone, double wall) const {
  return _spec.kind == WallKind::kStud ? cone < wall : cone > wall;
}

double FormedWall::Outside(const Vec3& p) const {
  const Place place = PlaceOf(p);
  const double wall = ProfileAt(place, p.z());
  const double cone = ConeRadius(p.z());
  return place.radius - (ConeCuts(cone, wall) ? cone : wall);
}

Vec3 FormedWall::NormalAt(const Vec3& p) const {
  const Place place = PlaceOf(p);
  double rise = 0.0;    // of the surface's radius, per metre of height
  double around = 0.0;  // per metre around
  if (ConeCuts(ConeRadius(p.z()), ProfileAt(place, p.z()))) {
    rise = _spec.kind == WallKind::kStud ? -1.0 : 1.0;
  } else {
    const double r = std::max(place.radius, 1e-12);
    rise = _shape.RiseAt(p.z());
    around = _shape.AroundAt(place.outward) / r;
    if (_thread) {
      const double angle = portable::Atan2(place.outward.y(), place.outward.x());
      const double turns = _thread->Turns(p.z(), angle);
      const double slope = _thread->SlopeAt(turns, p.z());
      rise += slope + _thread->RunOutSlopeAt(turns, p.z());
      around -= slope * _thread->LeadAt(r);
    }
  }
  const Vec2 flat = place.outward - around * Vec2(-place.outward.y(), place.outward.x());
  // At another height the axis is elsewhere.
  const double up = -rise - flat.dot(_shape.AxisSlopeAt(p.z()));
  return Vec3(flat.x(), flat.y(), up).normalized();
}

double FormedWall::SafeStep(const Vec3& p, double outside, const Slant& slant) const {
  if (outside == 0.0) return 0.0;
  const double r = std::max(PlaceOf(p).radius, 1e-12);
  const double across = slant.across + _shape.SteepestAxis() * slant.rise;
  // Angles change fastest near the axis: the bound holds down to half of the point's radius.
  const double turn = across / (0.5 * r);
  const double flank = _thread ? _thread->FlankSlope() : 0.0;
  const double flank_lead = _thread ? flank * std::fabs(_thread->LeadAt(1.0)) : 0.0;
  const double run_out = _thread ? _thread->SteepestRunOut() : 0.0;
  const double of_wall = across + (flank + run_out + _shape.SteepestRise()) * slant.rise +
                         (flank_lead + _shape.SteepestAround()) * turn;
  const double of_cone = _spec.cone_radius ? across + slant.rise : 0.0;

  // On the free side the surface is not met before both wall and cone are; behind it, either.
  const double side = _spec.kind == WallKind::kStud ? 1.0 : -1.0;
  const double free = side * outside;
  const double to_cone = side * (r - ConeRadius(p.z()));
  double step = 0.0;
  if (free < 0.0) {
    step = -free / std::max(of_wall, of_cone);
  } else {
    const bool cone_is_met = to_cone >= free;
    step = cone_is_met ? 0.0 : free / of_wall;
    if (to_cone > 0.0) step = std::max(step, to_cone / of_cone);
  }
  if (across == 0.0) return step;
  // Within the innermost radius nothing is met.
  return std::max((_innermost_radius - r) / across, std::min(step, 0.5 * r / across));
}

bool FormedEnd::Intersect(const Ray& ray, Hit& hit) const {
  if (ray.direction.z() == 0.0) return false;
  const double t = (_height - ray.origin.z()) / ray.direction.z();
  if (!Improves(ray, hit, t)) return false;
  const Vec2 p = ray.origin.head<2>() + t * ray.direction.head<2>();
  if (_border && !_border->Contains(p, kSeam)) return false;
  const double outside = _wall.Outside({p.x(), p.y(), _height});
  if (_border ? outside < -kSeam : outside > kSeam) return false;
  hit.t = t;
  hit.normal = Vec3::UnitZ();
  return true;
}

}  // namespace libmfx::sim
