#pragma once

#include <cstdint>

#include "sim/disturbances/disturbance.h"
#include "sim/rng.h"

namespace libmfx::sim {

/// Samples that get lost in a row, as when somebody walks through the beam.
struct BurstsSpec {
  double share = 0.0;    ///< of all samples, below 1
  double length = 10.0;  ///< samples of a burst in the mean, at least 1

  bool IsOff() const { return share == 0.0; }
  /// Chance that a burst begins after a sample that was not lost.
  double Beginning() const { return share / (length * (1.0 - share)); }
};

/// A chain of two states: a burst ends after each of its samples with the chance 1 / length.
class Bursts : public Disturbance {
 public:
  Bursts(const BurstsSpec& spec, std::uint64_t seed);
  void Disturb(Shot& shot) override;

 private:
  BurstsSpec _spec;
  Rng _rng;
  bool _within = false;
};

}  // namespace libmfx::sim
