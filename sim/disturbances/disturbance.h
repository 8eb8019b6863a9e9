#pragma once

#include <memory>
#include <vector>

#include "sim/vec.h"

namespace libmfx::sim {

/// One sample while it is taken, and what spoils it. Disturbances add to the errors; the instrument
/// carries them out. Errors of the angles are what the encoders read less where the axes stand.
struct Shot {
  double time = 0.0;       ///< seconds since the measurement began
  double azimuth = 0.0;    ///< radians, as the encoders read them
  double elevation = 0.0;  ///< the same

  double azimuth_error = 0.0;      ///< radians
  double elevation_error = 0.0;    ///< radians
  double collimation = 0.0;        ///< radians between the beam and the plane across the tilt axis
  double axis_tilt = 0.0;          ///< radians that the tilt axis hangs on the side of +x
  Vec3 shift = Vec3::Zero();       ///< of the instrument from its frame, metres
  double range_error = 0.0;        ///< metres
  double range_scale_error = 0.0;  ///< metres per metre
  bool lost = false;               ///< no echo reaches the detector

  /// Whether the beam goes elsewhere than the encoders tell.
  bool Turned() const {
    return azimuth_error != 0.0 || elevation_error != 0.0 || collimation != 0.0 || axis_tilt != 0.0;
  }
};

/// Something that makes the instrument err from sample to sample in a way that has a memory: each
/// kind has a file of its own. It is asked once for every sample, in the order of their times, and
/// draws chance from a source of its own, so that it changes no draw of the noise.
class Disturbance {
 public:
  virtual ~Disturbance() = default;
  virtual void Disturb(Shot& shot) = 0;
};

using Disturbances = std::vector<std::unique_ptr<Disturbance>>;

}  // namespace libmfx::sim
