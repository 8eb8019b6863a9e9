#include "sim/surface/lattice.h"

#include <cmath>

#include "sim/portable_math.h"
#include "sim/rng.h"

namespace libmfx::sim {

namespace {

/// Scrambles 64 bits (the finalizer of splitmix64).
std::uint64_t Scramble(std::uint64_t z) {
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
  return z ^ (z >> 31);
}

/// Odd numbers, so that no two places that are not far apart add up to the same.
constexpr std::uint64_t kAlongX = 0x9e3779b97f4a7c15ULL;
constexpr std::uint64_t kAlongY = 0xc2b2ae3d27d4eb4fULL;
constexpr std::uint64_t kAlongZ = 0x165667b19e3779f9ULL;

/// Whole cubes up to a place. So far out that they cannot be counted, all places are one: a beam
/// that all but misses an endless plane meets it there, and nothing comes back.
std::uint64_t Whole(double x) {
  return std::fabs(x) < 1e18 ? static_cast<std::uint64_t>(portable::Floor(x)) : 0;
}

double Uniform(std::uint64_t hash) { return static_cast<double>(hash >> 11) * 0x1.0p-53; }

}  // namespace

Lattice::Lattice(double size, std::uint64_t seed) : _per_metre(1.0 / size), _seed(Scramble(seed)) {
  Rng rng(seed);
  for (double& shift : _shift) shift = rng.Uniform(0.1, 0.9);
}

double Lattice::UniformAt(const Vec3& point) const {
  const Vec3 p = _per_metre * point + _shift;
  return Uniform(
      Scramble(_seed + Whole(p.x()) * kAlongX + Whole(p.y()) * kAlongY + Whole(p.z()) * kAlongZ));
}

double Lattice::UniformOf(std::int64_t whole) const {
  return Uniform(Scramble(_seed + static_cast<std::uint64_t>(whole) * kAlongX));
}

double Lattice::SmoothAt(const Vec3& point) const {
  const Vec3 p = _per_metre * point + _shift;
  if (!(p.cwiseAbs().maxCoeff() < 1e18)) return 0.0;
  const std::uint64_t low =
      _seed + Whole(p.x()) * kAlongX + Whole(p.y()) * kAlongY + Whole(p.z()) * kAlongZ;
  const auto beyond = [](double x) { return x - static_cast<double>(portable::Floor(x)); };
  const double x[2] = {1.0 - beyond(p.x()), beyond(p.x())};
  const double y[2] = {1.0 - beyond(p.y()), beyond(p.y())};
  const double z[2] = {1.0 - beyond(p.z()), beyond(p.z())};
  double sum = 0.0;
  double squares = 0.0;
  for (unsigned i = 0; i < 8; ++i) {
    const unsigned along_x = i & 1U;
    const unsigned along_y = (i >> 1) & 1U;
    const unsigned along_z = i >> 2;
    const double weight = x[along_x] * y[along_y] * z[along_z];
    const std::uint64_t place = low + along_x * kAlongX + along_y * kAlongY + along_z * kAlongZ;
    sum += weight * NearlyNormal(Scramble(place));
    squares += weight * weight;
  }
  return sum / std::sqrt(squares);
}

}  // namespace libmfx::sim
