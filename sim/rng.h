#pragma once

#include <array>
#include <cstdint>
#include <string_view>

/// \file
/// The one source of chance of the virtual instrument. The standard library's distributions differ
/// between implementations, so the generator and the samplers are written here.

namespace libmfx::sim {

/// A fixed generator of 64-bit numbers (xoshiro256++, Blackman and Vigna 2019) with the samplers
/// that a scan needs. The same seed gives the same draws on every machine.
class Rng {
 public:
  explicit Rng(std::uint64_t seed);

  /// The next 64 random bits.
  std::uint64_t Next();
  /// Uniform in [0, 1), 53 bits.
  double Uniform();
  /// Uniform in [low, high).
  double Uniform(double low, double high) { return low + (high - low) * Uniform(); }
  /// Standard normal deviate, by Marsaglia's polar method (1964).
  double Normal();

 private:
  std::array<std::uint64_t, 4> _state;
  double _spare = 0.0;
  bool _has_spare = false;
};

/// A deviate of mean 0 and standard deviation 1 from 64 random bits: the sum of four uniform
/// numbers of 16 bits. It stays within 3.5 and takes a tenth of a normal deviate's time; sums of
/// many are as normal as sums of those.
double NearlyNormal(std::uint64_t bits);

/// A seed of its own for the job `id` of a batch that was given `seed`: the same two give the same
/// seed, whatever stands on the lines around the job.
std::uint64_t DeriveSeed(std::uint64_t seed, std::string_view id);

}  // namespace libmfx::sim
