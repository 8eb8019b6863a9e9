#include "sim/faces/thread_face.h"

#include <algorithm>
#include <cmath>

#include "sim/faces/quadratic.h"
#include "sim/portable_math.h"

namespace libmfx::sim {

namespace {

constexpr double kConeSlope = 1.0;    // radius per height
constexpr double kTubeMargin = 1e-6;  // metres around the surface
/// Shortest step along the ray. A ray that cuts into a crest for less than this may pass it, which
/// moves the crest's edge by less than the step.
constexpr double kShortestStep = 1e-10;
/// A ray that skims along a flat of the thread would take millions of such steps: after this many
/// the shortest step is the longer one, which still moves nothing by a tenth of a micrometre.
constexpr int kPatience = 2000;
constexpr double kImpatientStep = 1e-7;

}  // namespace

ThreadFace::ThreadFace(const Thread& thread, ThreadKind kind, double bottom, double top,
                       double cone_radius)
    : _profile(thread, kind),
      _kind(kind),
      _bottom(bottom),
      _top(top),
      _cone_radius(cone_radius),
      _steepest(std::max(_profile.FlankSlope(), kConeSlope)) {
  _tube_radius = std::max(_profile.MajorRadius(), kind == ThreadKind::kBore ? cone_radius : 0.0);
  _tube_radius += kTubeMargin;
  _innermost_radius = _profile.MinorRadius();
  if (kind == ThreadKind::kStud) _innermost_radius = std::min(_innermost_radius, cone_radius);
}

double ThreadFace::ConeRadius(double z) const {
  return _kind == ThreadKind::kStud ? _cone_radius + (_top - z) : _cone_radius - (_top - z);
}

bool ThreadFace::Cone(double z, double profile_radius) const {
  const double cone = ConeRadius(z);
  return _kind == ThreadKind::kStud ? cone < profile_radius : cone > profile_radius;
}

double ThreadFace::Outside(const Vec3& p) const {
  const double turns = _profile.Turns(p.z(), portable::Atan2(p.y(), p.x()));
  const double profile = _profile.RadiusAt(turns);
  const double surface = Cone(p.z(), profile) ? ConeRadius(p.z()) : profile;
  return std::sqrt(p.x() * p.x() + p.y() * p.y()) - surface;
}

Vec3 ThreadFace::NormalAt(const Vec3& p) const {
  const double r = std::max(std::sqrt(p.x() * p.x() + p.y() * p.y()), 1e-12);
  const Vec3 radial(p.x() / r, p.y() / r, 0.0);
  const Vec3 around(-radial.y(), radial.x(), 0.0);
  const double turns = _profile.Turns(p.z(), portable::Atan2(p.y(), p.x()));
  if (Cone(p.z(), _profile.RadiusAt(turns))) {
    return Vec3(radial - (_kind == ThreadKind::kStud ? -1.0 : 1.0) * Vec3::UnitZ()).normalized();
  }
  const double slope = _profile.SlopeAt(turns);
  const double lead = _profile.LeadAt(r);
  return Vec3(radial - slope * (Vec3::UnitZ() - lead * around)).normalized();
}

bool ThreadFace::ClipToTube(const Ray& ray, double& from, double& to) const {
  const Vec3& o = ray.origin;
  const Vec3& d = ray.direction;
  if (d.z() != 0.0) {
    const double a = (_bottom - o.z()) / d.z();
    const double b = (_top - o.z()) / d.z();
    from = std::max(from, std::min(a, b));
    to = std::min(to, std::max(a, b));
  } else if (o.z() < _bottom || o.z() > _top) {
    return false;
  }
  const double a = d.head<2>().squaredNorm();
  const double c = o.head<2>().squaredNorm() - _tube_radius * _tube_radius;
  if (a == 0.0) return c <= 0.0 && from < to;
  const Roots roots = SolveQuadratic(a, o.head<2>().dot(d.head<2>()), c);
  if (roots.count < 2) return false;
  from = std::max(from, roots.t[0]);
  to = std::min(to, roots.t[1]);
  return from < to;
}

double ThreadFace::CloseIn(const Ray& ray, double low, double high, double at_low,
                           double at_high) const {
  // Regula falsi in the Illinois form; the bracket is short, so a few rounds do.
  for (int round = 0; round < 60 && high - low > 1e-15; ++round) {
    double t = (low * at_high - high * at_low) / (at_high - at_low);
    if (!(t > low && t < high)) t = 0.5 * (low + high);
    const double f = Outside(ray.At(t));
    if (std::fabs(f) < 1e-15) return t;
    if ((f > 0.0) == (at_high > 0.0)) {
      high = t;
      at_high = f;
      at_low *= 0.5;
    } else {
      low = t;
      at_low = f;
      at_high *= 0.5;
    }
  }
  return 0.5 * (low + high);
}

double ThreadFace::SafeStep(const Vec3& p, double outside, const Rates& rates) const {
  const double bounded = std::fabs(outside) / rates.fastest;
  if (rates.across == 0.0) return bounded;
  const double r = std::sqrt(p.x() * p.x() + p.y() * p.y());
  // Within the innermost radius nothing is met; the bound holds down to half of that radius.
  const double to_innermost = (_innermost_radius - r) / rates.across;
  const double to_half = (r - 0.5 * _innermost_radius) / rates.across;
  return std::max(to_innermost, std::min(bounded, to_half));
}

bool ThreadFace::Intersect(const Ray& ray, Hit& hit) const {
  double from = ray.t_min;
  double to = std::min(ray.t_max, hit.t);
  if (!ClipToTube(ray, from, to)) return false;
  // The radius changes by at most `across` a metre of ray, the surface's by its steepest slope
  // times the rise and the lead, down to half of the innermost radius.
  const double lead = _profile.Pitch() / (kPi * _innermost_radius);
  Rates rates;
  rates.across = ray.direction.head<2>().norm();
  rates.fastest = rates.across + _steepest * (std::fabs(ray.direction.z()) + lead * rates.across);
  double t = from;
  double outside = Outside(ray.At(t));
  for (int steps = 0; t < to; ++steps) {
    const double shortest = steps < kPatience ? kShortestStep : kImpatientStep;
    const double step = std::max(SafeStep(ray.At(t), outside, rates), shortest);
    const double next = std::min(t + step, to);
    const double at_next = Outside(ray.At(next));
    if ((outside > 0.0) != (at_next > 0.0)) {
      const double root = CloseIn(ray, t, next, outside, at_next);
      if (!Improves(ray, hit, root)) return false;
      hit.t = root;
      hit.normal = NormalAt(ray.At(root));
      return true;
    }
    t = next;
    outside = at_next;
  }
  return false;
}

}  // namespace libmfx::sim
