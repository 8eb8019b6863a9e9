#include "sim/relief/relief_part.h"

#include <algorithm>
#include <cmath>

#include "sim/faces/face.h"

namespace libmfx::sim {

namespace {

constexpr double kLeastCos = 0.05;  // of the incidence
constexpr double kEnough = 1e-12;   // metres
constexpr int kRounds = 8;          // slopes of 0.2 at 45 degrees gain a digit in two of them

}  // namespace

ReliefPart::ReliefPart(std::shared_ptr<const Part> part,
                       std::vector<std::unique_ptr<Relief>> reliefs)
    : _part(std::move(part)), _reliefs(std::move(reliefs)) {
  for (const auto& relief : _reliefs) _largest += relief->Largest();
}

Hit ReliefPart::Lifted(const Ray& ray, const Hit& nominal) const {
  const double facing = nominal.normal.dot(ray.direction);
  const Vec3 normal = facing > 0.0 ? Vec3(-nominal.normal) : nominal.normal;
  const double cosine = std::max(std::fabs(facing), kLeastCos);
  const Vec3 place = ray.At(nominal.t);
  Hit hit = nominal;
  Lift lift;
  for (int round = 0; round < kRounds; ++round) {
    const Vec3 off = ray.At(hit.t) - place;
    lift = Lift();
    const Vec3 foot = place + off - off.dot(normal) * normal;
    for (const auto& relief : _reliefs) relief->Add(foot, normal, lift);
    const double t = nominal.t - lift.height / cosine;
    const bool settled = std::fabs(t - hit.t) < kEnough;
    hit.t = t;
    if (settled) break;
  }
  hit.normal = (normal - lift.slope + lift.slope.dot(normal) * normal).normalized();
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
