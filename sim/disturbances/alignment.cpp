#include "sim/disturbances/alignment.h"

#include "sim/portable_math.h"

namespace libmfx::sim {

namespace {

portable::SineCosine SinCosOf(double angle) { return portable::SinCosOfTurns(angle * (0.5 / kPi)); }

}  // namespace

double AlignmentSpec::Encoder::At(double angle) const {
  return first * SinCosOf(angle + first_phase).sine +
         second * SinCosOf(2.0 * angle + second_phase).sine;
}

bool AlignmentSpec::IsOff() const {
  return range_offset == 0.0 && range_scale == 0.0 && angle_scale == 0.0 && collimation == 0.0 &&
         axis_tilt == 0.0 && azimuth.IsOff() && elevation.IsOff();
}

void Alignment::Disturb(Shot& shot) {
  shot.range_error += _spec.range_offset;
  shot.range_scale_error += _spec.range_scale;
  shot.collimation += _spec.collimation;
  shot.axis_tilt += _spec.axis_tilt;
  if (_spec.angle_scale != 0.0) {
    // Of what is read, as the axes stand at the 1 / (1 + scale)-th of it.
    const double share = _spec.angle_scale / (1.0 + _spec.angle_scale);
    shot.azimuth_error += share * shot.azimuth;
    shot.elevation_error += share * shot.elevation;
  }
  if (!_spec.azimuth.IsOff()) shot.azimuth_error += _spec.azimuth.At(shot.azimuth);
  if (!_spec.elevation.IsOff()) shot.elevation_error += _spec.elevation.At(shot.elevation);
}

Vec3 BeamDirection(const Shot& shot) {
  const auto azimuth = SinCosOf(shot.azimuth - shot.azimuth_error);
  const auto elevation = SinCosOf(shot.elevation - shot.elevation_error);
  const Vec3 ahead(-azimuth.sine, 0.0, azimuth.cosine);
  const Vec3 level(azimuth.cosine, 0.0, azimuth.sine);
  const auto tilt = SinCosOf(shot.axis_tilt);
  const Vec3 axis = tilt.cosine * level - tilt.sine * Vec3::UnitY();
  const Vec3 up = tilt.cosine * Vec3::UnitY() + tilt.sine * level;
  const auto off = SinCosOf(shot.collimation);
  const Vec3 straight = elevation.cosine * ahead + elevation.sine * up;
  return (off.cosine * straight + off.sine * axis).normalized();
}

}  // namespace libmfx::sim
