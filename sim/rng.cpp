#include "sim/rng.h"

#include <cmath>

#include "sim/portable_math.h"

namespace libmfx::sim {

namespace {

/// One step of splitmix64: advances `state` and returns its scrambled value.
std::uint64_t SplitMix(std::uint64_t& state) {
  state += 0x9e3779b97f4a7c15ULL;
  std::uint64_t z = state;
  z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
  z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
  return z ^ (z >> 31);
}

std::uint64_t RotateLeft(std::uint64_t x, int k) { return (x << k) | (x >> (64 - k)); }

}  // namespace

Rng::Rng(std::uint64_t seed) {
  for (auto& word : _state) word = SplitMix(seed);
}

std::uint64_t Rng::Next() {
  const std::uint64_t result = RotateLeft(_state[0] + _state[3], 23) + _state[0];
  const std::uint64_t t = _state[1] << 17;
  _state[2] ^= _state[0];
  _state[3] ^= _state[1];
  _state[1] ^= _state[2];
  _state[0] ^= _state[3];
  _state[2] ^= t;
  _state[3] = RotateLeft(_state[3], 45);
  return result;
}

double Rng::Uniform() { return static_cast<double>(Next() >> 11) * 0x1.0p-53; }

double Rng::Normal() {
  if (_has_spare) {
    _has_spare = false;
    return _spare;
  }
  double u = 0.0;
  double v = 0.0;
  double s = 0.0;
  do {
    u = 2.0 * Uniform() - 1.0;
    v = 2.0 * Uniform() - 1.0;
    s = u * u + v * v;
  } while (s >= 1.0 || s == 0.0);
  const double factor = std::sqrt(-2.0 * portable::Log(s) / s);
  _spare = v * factor;
  _has_spare = true;
  return u * factor;
}

double NearlyNormal(std::uint64_t bits) {
  constexpr double kRootOf3 = 1.73205080756887729;
  const std::uint64_t sum =
      (bits & 0xffffU) + ((bits >> 16) & 0xffffU) + ((bits >> 32) & 0xffffU) + (bits >> 48);
  return (static_cast<double>(sum) / 65535.0 - 2.0) * kRootOf3;
}

std::uint64_t DeriveSeed(std::uint64_t seed, std::string_view id) {
  std::uint64_t hash = 0xcbf29ce484222325ULL;  // FNV-1a over the id
  for (const char c : id) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3ULL;
  std::uint64_t state = seed;
  state = SplitMix(state) ^ hash;
  return SplitMix(state);
}

}  // namespace libmfx::sim
