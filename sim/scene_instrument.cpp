#include "sim/number_text.h"
#include "sim/scene_blocks.h"

namespace libmfx::sim {

namespace {

constexpr double kMicro = 1e-6;

/// What the file tells in millionths of the unit: um, urad or ppm.
double Micro(SceneSection& s, const char* key, double low, double high) {
  return s.Number(key, low, high, 0.0) * kMicro;
}

DriftSpec ReadDrift(SceneSection s) {
  DriftSpec spec;
  spec.range = Micro(s, "range_um_per_s", -1000.0, 1000.0);
  spec.azimuth = Micro(s, "azimuth_urad_per_s", -1000.0, 1000.0);
  spec.elevation = Micro(s, "elevation_urad_per_s", -1000.0, 1000.0);
  spec.range_walk = Micro(s, "range_walk_um", 0.0, 1000.0);
  spec.angle_walk = Micro(s, "angle_walk_urad", 0.0, 1000.0);
  s.Finish();
  return spec;
}

VibrationSpec ReadVibration(SceneSection s) {
  VibrationSpec spec;
  spec.amplitude = s.Number("amplitude", 0.0, 0.01);
  spec.frequency = s.Number("frequency", 0.001, 100000.0, spec.frequency);
  if (s.Tells("direction")) spec.direction = ReadDirection(s, "direction");
  s.Finish();
  return spec;
}

AlignmentSpec::Encoder ReadEncoder(SceneSection s) {
  AlignmentSpec::Encoder encoder;
  encoder.first = Micro(s, "first_urad", 0.0, 10000.0);
  encoder.first_phase = s.Degrees("first_deg", -360.0, 360.0, 0.0);
  encoder.second = Micro(s, "second_urad", 0.0, 10000.0);
  encoder.second_phase = s.Degrees("second_deg", -360.0, 360.0, 0.0);
  s.Finish();
  return encoder;
}

BurstsSpec ReadBursts(SceneSection s) {
  BurstsSpec spec;
  spec.share = s.Number("share", 0.0, 0.99);
  spec.length = s.Number("length", 1.0, 1e6, spec.length);
  if (spec.Beginning() > 1.0) {
    s.Refuse("share", "is more than bursts of " + NumberText(spec.length) + " samples can reach");
  }
  s.Finish();
  return spec;
}

FocusSpec ReadFocus(SceneSection s) {
  FocusSpec spec;
  spec.distance = s.Number("distance", 0.01, 1000.0);
  spec.aperture = s.Number("aperture", 0.0, 1.0, spec.aperture);
  s.Finish();
  return spec;
}

}  // namespace

InstrumentErrors ReadInstrument(SceneSection s) {
  InstrumentErrors errors;
  errors.pace.points_per_second =
      s.Number("points_per_second", 0.1, 1e7, errors.pace.points_per_second);
  errors.pace.settling = s.Number("settling", 0.0, 1000.0, errors.pace.settling);
  if (s.Tells("drift")) errors.drift = ReadDrift(s.Child("drift"));
  if (s.Tells("vibration")) errors.vibration = ReadVibration(s.Child("vibration"));
  AlignmentSpec& alignment = errors.alignment;
  alignment.range_offset = s.Number("range_offset", -1.0, 1.0, 0.0);
  alignment.range_scale = Micro(s, "range_scale_ppm", -10000.0, 10000.0);
  alignment.angle_scale = Micro(s, "angle_scale_ppm", -10000.0, 10000.0);
  alignment.collimation = Micro(s, "collimation_urad", -10000.0, 10000.0);
  alignment.axis_tilt = Micro(s, "axis_tilt_urad", -10000.0, 10000.0);
  if (s.Tells("azimuth_encoder")) alignment.azimuth = ReadEncoder(s.Child("azimuth_encoder"));
  if (s.Tells("elevation_encoder")) alignment.elevation = ReadEncoder(s.Child("elevation_encoder"));
  if (s.Tells("focus")) errors.focus = ReadFocus(s.Child("focus"));
  if (s.Tells("bursts")) errors.bursts = ReadBursts(s.Child("bursts"));
  s.Finish();
  return errors;
}

}  // namespace libmfx::sim
