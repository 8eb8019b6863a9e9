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

Dust::Dust(const DustSpec& spec) {
  Rng rng(spec.seed);
  _grains.reserve(static_cast<std::size_t>(spec.count));
  for (int i = 0; i < spec.count; ++i) {
    _grains.emplace_back(spec.center + spec.reach * InUnitBall(rng, spec.flat), spec.grain);
  }
  Split(0, _grains.size());
}

void Dust::Split(std::size_t first, std::size_t count) {
  const auto begin = _grains.begin() + static_cast<std::ptrdiff_t>(first);
  const auto end = begin + static_cast<std::ptrdiff_t>(count);
  Vec3 low = begin->ball().center;
  Vec3 high = low;
  for (auto grain = begin; grain != end; ++grain) {
    low = low.cwiseMin(grain->ball().center);
    high = high.cwiseMax(grain->ball().center);
  }
  const std::size_t own = _nodes.size();
  const Ball ball{0.5 * (low + high), 0.5 * (high - low).norm() + begin->ball().radius};
  _nodes.push_back({ball, first, count, 0});
  if (count > kLeaf) {
    Eigen::Index axis = 0;
    (high - low).maxCoeff(&axis);
    const std::size_t half = count / 2;
    std::nth_element(begin, begin + static_cast<std::ptrdiff_t>(half), end,
                     [axis](const Grain& a, const Grain& b) {
                       return a.ball().center[axis] < b.ball().center[axis];
                     });
    Split(first, half);
    Split(first + half, count - half);
  }
  _nodes[own].next = _nodes.size();
}

template <typename Visit>
void Dust::VisitNear(const Ray& middle, double spread, const Visit& visit) const {
  std::size_t at = 0;
  while (at < _nodes.size()) {
    const Node& node = _nodes[at];
    if (!node.ball.NearTo(middle, spread)) {
      at = node.next;
      continue;
    }
    if (node.count <= kLeaf) {
      for (std::size_t i = node.first; i < node.first + node.count; ++i) visit(_grains[i]);
    }
    ++at;
  }
}

bool Dust::Grain::Intersect(const Ray& ray, Hit& hit) const {
  const Vec3 from_center = ray.origin - _ball.center;
  const double b = from_center.dot(ray.direction);
  const double off_squared = (from_center - b * ray.direction).squaredNorm();
  if (off_squared > _ball.radius * _ball.radius) return false;
  const double t = -b - std::sqrt(_ball.radius * _ball.radius - off_squared);
  if (!Improves(ray, hit, t)) return false;
  hit.t = t;
  hit.normal = (ray.At(t) - _ball.center) / _ball.radius;
  return true;
}

bool Dust::Intersect(const Ray& ray, Hit& hit) const {
  bool met = false;
  VisitNear(ray, 0.0, [&](const Grain& grain) { met = grain.Intersect(ray, hit) || met; });
  return met;
}

void Dust::Gather(const Ray& middle, double spread, std::vector<const Face*>& faces) const {
  VisitNear(middle, spread, [&](const Grain& grain) {
    if (grain.ball().NearTo(middle, spread)) faces.push_back(&grain);
  });
}

}  // namespace libmfx::sim
