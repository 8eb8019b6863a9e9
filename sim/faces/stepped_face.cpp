#include "sim/faces/stepped_face.h"

#include <algorithm>
#include <cmath>

#include "sim/faces/quadratic.h"

namespace libmfx::sim {

namespace {

/// Shortest step along the ray. A ray that cuts into a crest for less than this may pass it, which
/// moves the crest's edge by less than the step.
constexpr double kShortestStep = 1e-10;
/// A ray that skims along a flat of the thread would take millions of such steps: after this many
/// the shortest step is the longer one, which still moves nothing by a tenth of a micrometre.
constexpr int kPatience = 2000;
constexpr double kImpatientStep = 1e-7;

}  // namespace

bool SteppedFace::ClipToTube(const Ray& ray, double& from, double& to) const {
  const Tube tube = Bounds();
  const Vec3& o = ray.origin;
  const Vec3& d = ray.direction;
  if (d.z() != 0.0) {
    const double a = (tube.bottom - o.z()) / d.z();
    const double b = (tube.top - o.z()) / d.z();
    from = std::max(from, std::min(a, b));
    to = std::min(to, std::max(a, b));
  } else if (o.z() < tube.bottom || o.z() > tube.top) {
    return false;
  }
  const double a = d.head<2>().squaredNorm();
  const double c = o.head<2>().squaredNorm() - tube.radius * tube.radius;
  if (a == 0.0) return c <= 0.0 && from < to;
  const Roots roots = SolveQuadratic(a, o.head<2>().dot(d.head<2>()), c);
  if (roots.count < 2) return false;
  from = std::max(from, roots.t[0]);
  to = std::min(to, roots.t[1]);
  return from < to;
}

double SteppedFace::CloseIn(const Ray& ray, double low, double high, double at_low,
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

bool SteppedFace::Intersect(const Ray& ray, Hit& hit) const {
  double from = ray.t_min;
  double to = std::min(ray.t_max, hit.t);
  if (!ClipToTube(ray, from, to)) return false;
  const Slant slant{ray.direction.head<2>().norm(), std::fabs(ray.direction.z())};
  const double blind = std::max(kImpatientStep, _blind_share * (to - from));
  double t = from;
  double outside = Outside(ray.At(t));
  for (int steps = 0; t < to; ++steps) {
    const double shortest = steps < kPatience ? kShortestStep : blind;
    const double step = std::max(SafeStep(ray.At(t), outside, slant), shortest);
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
