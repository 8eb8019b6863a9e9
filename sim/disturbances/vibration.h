#pragma once

#include <cstdint>
#include <optional>

#include "sim/disturbances/disturbance.h"

namespace libmfx::sim {

/// The instrument's stand swings against the part, or the part against it: a sample cannot tell.
struct VibrationSpec {
  double amplitude = 0.0;         ///< metres, from the middle to the farthest point
  double frequency = 25.0;        ///< hertz
  std::optional<Vec3> direction;  ///< unit, in the instrument's frame; none: along all three axes

  bool IsOff() const { return amplitude == 0.0; }
};

/// shift(t) = amplitude * (sin(2 pi frequency t + phase) - sin(phase)) along the direction, or
/// along each axis with a phase of its own. At the beginning of the measurement, which the truth is
/// told for, it is 0.
class Vibration : public Disturbance {
 public:
  /// \param seed of the phases
  Vibration(const VibrationSpec& spec, std::uint64_t seed);
  void Disturb(Shot& shot) override;

 private:
  VibrationSpec _spec;
  Vec3 _phase;      ///< in turns, 0 to 1
  Vec3 _beginning;  ///< sine of it
};

}  // namespace libmfx::sim
