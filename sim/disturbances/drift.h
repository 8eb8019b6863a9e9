#pragma once

#include "sim/disturbances/disturbance.h"
#include "sim/rng.h"

namespace libmfx::sim {

/// What warms up, slowly: a range and two angles that run away in time. All begin at 0.
struct DriftSpec {
  double range = 0.0;       ///< m/s
  double azimuth = 0.0;     ///< rad/s
  double elevation = 0.0;   ///< rad/s
  double range_walk = 0.0;  ///< m after a second of a random walk, as standard deviation
  double angle_walk = 0.0;  ///< rad, the same of either angle

  bool IsOff() const {
    return range == 0.0 && azimuth == 0.0 && elevation == 0.0 && range_walk == 0.0 &&
           angle_walk == 0.0;
  }
};

/// error(t) = rate * t + walk(t); the walk has independent increments, and after the time t the
/// standard deviation walk * sqrt(t) (a Wiener process).
class Drift : public Disturbance {
 public:
  Drift(const DriftSpec& spec, std::uint64_t seed);
  void Disturb(Shot& shot) override;

 private:
  DriftSpec _spec;
  Rng _rng;
  double _time = 0.0;
  double _range = 0.0;  ///< where the walks have come to
  double _azimuth = 0.0;
  double _elevation = 0.0;
};

}  // namespace libmfx::sim
