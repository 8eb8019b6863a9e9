#pragma once

#include <cstdint>
#include <queue>
#include <vector>

#include "libmfx/data_structures/records.h"

/// \file
/// An instrument for fuzzing: quick, bounded, and able to lie in every way that samples can be
/// wrong.

namespace fuzz {

using libmfx::data_structures::Position;
using libmfx::data_structures::RawDataPoint;

/// How samples are damaged: each flag spoils some of them.
enum Damage : std::uint8_t {
  kNone = 0,
  kNotFinite = 1,   ///< NaN and infinities in every field
  kLowQuality = 2,  ///< samples under every usual threshold
  kSamePoint = 4,   ///< all samples in one place
  kNoise = 8,       ///< ranges off by up to a centimetre
  kWrongMove = 16,  ///< segment numbers that no drive point has
  kMissing = 32,    ///< nothing came back
  kHugeRange = 64,  ///< ranges towards the end of what a double holds
};

/// Drives a queue over a plate at z = 2 m with a round opening of 6 mm radius around the axis, 10
/// mm deep, and a ball of 12.7 mm radius half sunk into it at (0.1, 0, 2). A plan is cut off after
/// `kMostPoints` drive points, so that any plan takes bounded time.
class ToyInstrument {
 public:
  static constexpr int kMostPoints = 2000;
  static constexpr int kMostSamples = 6000;
  static constexpr int kMostPerMove = 60;

  ToyInstrument(std::uint8_t damage, std::uint64_t seed) : _damage(damage), _state(seed) {}

  std::vector<RawDataPoint> Drive(std::queue<Position> path);

 private:
  double Range(double azimuth, double elevation) const;
  void Spoil(RawDataPoint& sample);
  std::uint64_t Next();
  /// Even in 0 to 1.
  double Uniform() { return static_cast<double>(Next() >> 11) * 0x1p-53; }

  std::uint8_t _damage;
  std::uint64_t _state;
};

}  // namespace fuzz
