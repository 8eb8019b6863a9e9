#include "sim/faces/thread_face.h"

#include <algorithm>
#include <cmath>

#include "sim/portable_math.h"

namespace libmfx::sim {

namespace {

constexpr double kConeSlope = 1.0;    // radius per height
constexpr double kTubeMargin = 1e-6;  // metres around the surface

}  // namespace

ThreadFace::ThreadFace(const Thread& thread, WallKind kind, double bottom, double top,
                       double cone_radius)
    : _profile(thread, kind, bottom),
      _kind(kind),
      _bottom(bottom),
      _top(top),
      _cone_radius(cone_radius),
      _steepest(std::max(_profile.FlankSlope() + _profile.SteepestRunOut(), kConeSlope)) {
  _tube_radius = std::max(_profile.MajorRadius(), kind == WallKind::kBore ? cone_radius : 0.0);
  _tube_radius += kTubeMargin;
  _innermost_radius = _profile.MinorRadius();
  if (kind == WallKind::kStud) _innermost_radius = std::min(_innermost_radius, cone_radius);
  _largest_lead = thread.Lead() / (kPi * _innermost_radius);
}

double ThreadFace::ConeRadius(double z) const {
  return _kind == WallKind::kStud ? _cone_radius + (_top - z) : _cone_radius - (_top - z);
}

bool ThreadFace::Cone(double z, double profile_radius) const {
  const double cone = ConeRadius(z);
  return _kind == WallKind::kStud ? cone < profile_radius : cone > profile_radius;
}

double ThreadFace::Outside(const Vec3& p) const {
  const double turns = _profile.Turns(p.z(), portable::Atan2(p.y(), p.x()));
  const double profile = _profile.RadiusAt(turns, p.z());
  const double surface = Cone(p.z(), profile) ? ConeRadius(p.z()) : profile;
  return std::sqrt(p.x() * p.x() + p.y() * p.y()) - surface;
}

Vec3 ThreadFace::NormalAt(const Vec3& p) const {
  const double r = std::max(std::sqrt(p.x() * p.x() + p.y() * p.y()), 1e-12);
  const Vec3 radial(p.x() / r, p.y() / r, 0.0);
  const Vec3 around(-radial.y(), radial.x(), 0.0);
  const double turns = _profile.Turns(p.z(), portable::Atan2(p.y(), p.x()));
  if (Cone(p.z(), _profile.RadiusAt(turns, p.z()))) {
    return Vec3(radial - (_kind == WallKind::kStud ? -1.0 : 1.0) * Vec3::UnitZ()).normalized();
  }
  const double slope = _profile.SlopeAt(turns, p.z());
  const double lead = _profile.LeadAt(r);
  const double run_out = _profile.RunOutSlopeAt(turns, p.z());
  return Vec3(radial - slope * (Vec3::UnitZ() - lead * around) - run_out * Vec3::UnitZ())
      .normalized();
}

double ThreadFace::SafeStep(const Vec3& p, double outside, const Slant& slant) const {
  // The radius changes by at most `across` a metre of ray, the surface's by its steepest slope
  // times the rise and the lead, down to half of the innermost radius.
  const double fastest = slant.across + _steepest * (slant.rise + _largest_lead * slant.across);
  const double bounded = std::fabs(outside) / fastest;
  if (slant.across == 0.0) return bounded;
  const double r = std::sqrt(p.x() * p.x() + p.y() * p.y());
  // Within the innermost radius nothing is met; the bound holds down to half of that radius.
  const double to_innermost = (_innermost_radius - r) / slant.across;
  const double to_half = (r - 0.5 * _innermost_radius) / slant.across;
  return std::max(to_innermost, std::min(bounded, to_half));
}

}  // namespace libmfx::sim
