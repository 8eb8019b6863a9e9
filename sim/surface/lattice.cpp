#include "sim/surface/lattice.h"

#include <cmath>

#include "sim/rng.h"

namespace libmfx::sim {

namespace {

/// Scrambles 64 bits (the finalizer of splitmix64).
std::uint64_t Scramble(std::uint64_t z) {
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
  return z ^ (z >> 31);
}

/// One coordinate after the other goes into the hash.
std::uint64_t With(std::uint64_t hash, double whole) {
  const auto number = static_cast<std::uint64_t>(static_cast<std::int64_t>(whole));
  return Scramble(hash + 0x9e3779b97f4a7c15ULL + number);
}

double Uniform(std::uint64_t hash) { return static_cast<double>(hash >> 11) * 0x1.0p-53; }

/// All but normal: the sum of four uniform numbers of 16 bits, mean 0, standard deviation 1.
double Deviate(std::uint64_t hash) {
  const std::uint64_t sum =
      (hash & 0xffffU) + ((hash >> 16) & 0xffffU) + ((hash >> 32) & 0xffffU) + (hash >> 48);
  constexpr double kRootOf3 = 1.73205080756887729;
  return (static_cast<double>(sum) / 65535.0 - 2.0) * kRootOf3;
}

}  // namespace

Lattice::Lattice(double size, std::uint64_t seed) : _per_metre(1.0 / size), _seed(seed) {
  Rng rng(seed);
  for (double& shift : _shift) shift = rng.Uniform(0.1, 0.9);
}

double Lattice::UniformAt(const Vec3& point) const {
  const Vec3 p = _per_metre * point + _shift;
  const std::uint64_t hash =
      With(With(With(_seed, std::floor(p.x())), std::floor(p.y())), std::floor(p.z()));
  return Uniform(hash);
}

double Lattice::UniformOf(double whole) const { return Uniform(With(_seed, whole)); }

double Lattice::SmoothAt(const Vec3& point) const {
  const Vec3 p = _per_metre * point + _shift;
  const Vec3 low(std::floor(p.x()), std::floor(p.y()), std::floor(p.z()));
  const Vec3 f = p - low;
  double sum = 0.0;
  double squares = 0.0;
  for (int i = 0; i < 2; ++i) {
    const std::uint64_t of_x = With(_seed, low.x() + i);
    const double x = i == 0 ? 1.0 - f.x() : f.x();
    for (int j = 0; j < 2; ++j) {
      const std::uint64_t of_y = With(of_x, low.y() + j);
      const double xy = x * (j == 0 ? 1.0 - f.y() : f.y());
      for (int k = 0; k < 2; ++k) {
        const double weight = xy * (k == 0 ? 1.0 - f.z() : f.z());
        sum += weight * Deviate(With(of_y, low.z() + k));
        squares += weight * weight;
      }
    }
  }
  return sum / std::sqrt(squares);
}

}  // namespace libmfx::sim
