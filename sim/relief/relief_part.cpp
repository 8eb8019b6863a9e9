#include "sim/relief/relief_part.h"

#include <algorithm>
#include <cmath>

#include "sim/faces/face.h"

namespace libmfx::sim {

namespace {

constexpr double kLeastCos = 0.05;  // of the incidence
constexpr double kEnough = 2e-10;   // metres
constexpr int kMostRounds = 8;

}  // namespace

ReliefPart::ReliefPart(std::shared_ptr<const Part> part,
                       std::vector<std::unique_ptr<Relief>> reliefs)
    : _part(std::move(part)), _reliefs(std::move(reliefs)) {
  for (const auto& relief : _reliefs) _largest += relief->Largest();
}

Hit ReliefPart::Lifted(const Ray& ray, const Hit& nominal) const {
  const double facing = nominal.normal.dot(ray.direction);
  const Vec3 normal = facing > 0.0 ? Vec3(-nominal.normal) : nominal.normal;
  const double steepness = std::fabs(facing);
  const double cosine = std::max(steepness, kLeastCos);
  const Vec3 place = ray.At(nominal.t);
  const Vec3 along = ray.direction + steepness * normal;
  const double across_squared = along.squaredNorm();
  Hit hit = nominal;
  Lift lift;
  // Newton's method. On the way `gone` the ray goes down by gone * cosine, and the surface up.
  double gone = 0.0;
  for (int round = 0; round < kMostRounds; ++round) {
    lift = Lift();
    const Vec3 foot = place + gone * along;
    for (const auto& relief : _reliefs) relief->Add(foot, normal, lift);
    const double rate = std::max(cosine + lift.slope.dot(along), 0.5 * cosine);
    const double before = gone;
    gone -= (gone * cosine + lift.height) / rate;
    // No lift moves a hit farther than this.
    if (std::fabs(gone) * cosine > _largest) gone = std::copysign(_largest / cosine, gone);
    const double step = gone - before;
    if (0.5 * lift.curvature * across_squared * step * step < kEnough * rate) break;
  }
  hit.t = nominal.t + gone;
  const Vec3 leaning = normal - lift.slope + lift.slope.dot(normal) * normal;
  hit.normal = leaning * (1.0 / std::sqrt(leaning.squaredNorm()));
  return hit;
}

bool ReliefPart::Intersect(const Ray& ray, Hit& hit) const {
  // A surface that is lifted towards the ray's start may be met although its nominal one lies
  // beyond the end, and the other way round.
  Ray onward = ray;
  onward.t_max = ray.t_max + _largest / kLeastCos;
  Hit nominal;
  if (!_part->Intersect(onward, nominal)) return false;
  const Hit lifted = Lifted(ray, nominal);
  if (!Improves(ray, hit, lifted.t)) return false;
  hit = lifted;
  return true;
}

}  // namespace libmfx::sim
