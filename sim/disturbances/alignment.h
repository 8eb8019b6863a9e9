#pragma once

#include "sim/disturbances/disturbance.h"

namespace libmfx::sim {

/// How the instrument's axes, encoders and range are out of adjustment. None of it changes in time.
struct AlignmentSpec {
  /// The error of an encoder whose disc sits off its axis, or is bent:
  /// first * sin(angle + first_phase) + second * sin(2 angle + second_phase), radians.
  struct Encoder {
    double first = 0.0;
    double first_phase = 0.0;
    double second = 0.0;
    double second_phase = 0.0;

    bool IsOff() const { return first == 0.0 && second == 0.0; }
    double At(double angle) const;
  };
  double range_offset = 0.0;  ///< metres that every range is read too long
  double range_scale = 0.0;   ///< metres per metre of range
  double angle_scale = 0.0;   ///< radians per radian of azimuth and of elevation, from 0 on
  double collimation = 0.0;   ///< radians, of the beam towards +x of an azimuth of 0
  double axis_tilt = 0.0;     ///< radians, by which the +x end of the tilt axis hangs
  Encoder azimuth;
  Encoder elevation;

  bool IsOff() const;
};

/// A range that is read as (1 + scale) * range + offset, angles that are read (1 + scale) times as
/// large as they are, the eccentricity of the encoders and the two errors of the axes. To the first
/// order the last two move the azimuth that is read against the true one by collimation /
/// cos(elevation) and by tilt * tan(elevation); they are carried out exactly (`BeamDirection`),
/// straight up too. The model is the usual one of theodolites and of instruments that measure
/// ranges with a beam on two axes (Muralikrishnan et al., Journal of Research of NIST 114, 2009, p.
/// 21).
class Alignment : public Disturbance {
 public:
  explicit Alignment(const AlignmentSpec& spec) : _spec(spec) {}
  void Disturb(Shot& shot) override;

 private:
  AlignmentSpec _spec;
};

/// Where the beam of a shot truly goes: unit, in the instrument's frame. The azimuth axis is y; the
/// tilt axis, level at an axis tilt of 0, is x at an azimuth of 0, and turns with the azimuth.
Vec3 BeamDirection(const Shot& shot);

}  // namespace libmfx::sim
