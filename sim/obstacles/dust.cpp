#include "sim/obstacles/dust.h"

#include <algorithm>
#include <cmath>

#include "sim/rng.h"

namespace libmfx::sim {

namespace {

constexpr std::size_t kLeaf = 4;  // grains that are not split any further

/// A point of the unit ball, or of the disc through its middle, by drawing from the cube around it
/// until one lies within.
Vec3 InUnitBall(Rng& rng, bool flat) {
  Vec3 p;
  do {
    for (double& x : p) x = rng.Uniform(-1.0, 1.0);
    if (flat) p.z() = 0.0;
  } while (p.squaredNorm() > 1.0);
  return p;
}

}  // namespace

Dust::Dust(const DustSpec& spec) : _grain(spec.grain) {
  Rng rng(spec.seed);
  _grains.reserve(static_cast<std::size_t>(spec.count));
  for (int i = 0; i < spec.count; ++i) {
    _grains.emplace_back(spec.center + spec.reach * InUnitBall(rng, spec.flat));
  }
  Split(0, _grains.size());
}

void Dust::Split(std::size_t first, std::size_t count) {
  const auto begin = _grains.begin() + static_cast<std::ptrdiff_t>(first);
  const auto end = begin + static_cast<std::ptrdiff_t>(count);
  Vec3 low = *begin;
  Vec3 high = *begin;
  for (auto grain = begin; grain != end; ++grain) {
    low = low.cwiseMin(*grain);
    high = high.cwiseMax(*grain);
  }
  const std::size_t own = _nodes.size();
  _nodes.push_back({0.5 * (low + high), 0.5 * (high - low).norm() + _grain, first, count, 0});
  if (count > kLeaf) {
    Eigen::Index axis = 0;
    (high - low).maxCoeff(&axis);
    const std::size_t half = count / 2;
    std::nth_element(begin, begin + static_cast<std::ptrdiff_t>(half), end,
                     [axis](const Vec3& a, const Vec3& b) { return a[axis] < b[axis]; });
    Split(first, half);
    Split(first + half, count - half);
  }
  _nodes[own].next = _nodes.size();
}

bool Dust::MeetsGrain(const Vec3& center, const Ray& ray, Hit& hit) const {
  const Vec3 from_center = ray.origin - center;
  const double b = from_center.dot(ray.direction);
  const double off_squared = (from_center - b * ray.direction).squaredNorm();
  if (off_squared > _grain * _grain) return false;
  const double t = -b - std::sqrt(_grain * _grain - off_squared);
  if (!Improves(ray, hit, t)) return false;
  hit.t = t;
  hit.normal = (ray.At(t) - center) / _grain;
  return true;
}

bool Dust::Intersect(const Ray& ray, Hit& hit) const {
  bool met = false;
  std::size_t at = 0;
  while (at < _nodes.size()) {
    const Node& node = _nodes[at];
    const Vec3 from_center = ray.origin - node.center;
    const Vec3 off = from_center - from_center.dot(ray.direction) * ray.direction;
    if (off.squaredNorm() > node.radius * node.radius) {
      at = node.next;
      continue;
    }
    if (node.count <= kLeaf) {
      for (std::size_t i = node.first; i < node.first + node.count; ++i) {
        met = MeetsGrain(_grains[i], ray, hit) || met;
      }
    }
    ++at;
  }
  return met;
}

}  // namespace libmfx::sim
