#include "sim/parts/thread.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "sim/portable_math.h"

namespace libmfx::sim {

namespace {

/// The basic profile of a flank angle, in pitches.
struct BasicProfile {
  double flank_slope;  ///< radial per axial; the sharp triangle is half as high as this
  double depth;
  double major_flat;
  double minor_flat;
};

BasicProfile BasicProfileOf(double flank_angle) {
  const auto is = [&](double degrees) {
    return std::fabs(flank_angle - degrees * kPi / 180.0) < 1e-9;
  };
  if (is(60.0)) return {1.73205080756887729, 0.54126587736527418, 1.0 / 8.0, 1.0 / 4.0};
  const auto half = portable::SinCos(0.5 * flank_angle);
  const double slope = half.cosine / half.sine;
  if (is(55.0)) return {slope, slope / 3.0, 1.0 / 6.0, 1.0 / 6.0};
  if (is(30.0)) return {slope, 0.5, 0.5 - 0.5 / slope, 0.5 - 0.5 / slope};
  return {slope, 5.0 / 16.0 * slope, 1.0 / 8.0, 1.0 / 4.0};
}

/// Distance in pitches from the middle of the nearest crest, with the sign of its direction.
double FromCrest(double turns) { return turns - std::floor(turns + 0.5); }

/// Half of the flat on the crests, metres.
double HalfOfCrest(const Thread& thread, WallKind kind) {
  const BasicProfile basic = BasicProfileOf(thread.flank_angle);
  const double uncut = (1.0 - thread.depth) * basic.depth / basic.flank_slope;
  const double flat = kind == WallKind::kStud ? basic.major_flat : basic.minor_flat;
  return (0.5 * flat + uncut) * thread.pitch;
}

constexpr double kNowhere = std::numeric_limits<double>::infinity();

}  // namespace

double Thread::Depth() const { return BasicProfileOf(flank_angle).depth * pitch * depth; }

std::optional<Thread> Thread::Metric(std::string_view name) {
  struct Row {
    std::string_view name;
    double diameter;  ///< millimetres
    double pitch;     ///< millimetres
  };
  constexpr Row kCoarse[] = {{"M4", 4, 0.7},  {"M5", 5, 0.8},   {"M6", 6, 1},      {"M7", 7, 1},
                             {"M8", 8, 1.25}, {"M10", 10, 1.5}, {"M12", 12, 1.75}, {"M14", 14, 2},
                             {"M16", 16, 2},  {"M18", 18, 2.5}, {"M20", 20, 2.5},  {"M22", 22, 2.5},
                             {"M24", 24, 3}};
  for (const Row& row : kCoarse) {
    if (row.name != name) continue;
    Thread thread;
    thread.major_radius = 0.0005 * row.diameter;
    thread.pitch = 0.001 * row.pitch;
    return thread;
  }
  return std::nullopt;
}

double Thread::SmallestCrestRadius(WallKind kind) const {
  // An arc of a smaller radius would stand out of the flat between the flanks.
  const BasicProfile basic = BasicProfileOf(flank_angle);
  const double slope = basic.flank_slope;
  return slope * HalfOfCrest(*this, kind) / (std::sqrt(1.0 + slope * slope) - 1.0);
}

double Thread::LargestCrestRadius(WallKind kind) const {
  // The arc of a larger one would touch the flanks' continuations beyond the roots.
  const BasicProfile basic = BasicProfileOf(flank_angle);
  const double slope = basic.flank_slope;
  const double flank = Depth() / slope;
  return (HalfOfCrest(*this, kind) + flank) * std::sqrt(1.0 + slope * slope) / slope;
}

ThreadProfile::ThreadProfile(const Thread& thread, WallKind kind, double end)
    : _major_radius(thread.major_radius),
      _minor_radius(thread.MinorRadius()),
      _pitch(thread.pitch),
      _hand((thread.left_handed ? -1.0 : 1.0) * thread.starts),
      _outwards(kind == WallKind::kStud ? 1.0 : -1.0),
      _crest(kind == WallKind::kStud ? _major_radius : _minor_radius),
      _arc_radius(thread.crest_radius),
      _arc_half(0.0),
      _arc_center(0.0),
      _end(end),
      _run_out(thread.run_out) {
  const BasicProfile basic = BasicProfileOf(thread.flank_angle);
  // What is not cut of each flank leaves its height to the crest.
  const double uncut = (1.0 - thread.depth) * basic.depth / basic.flank_slope;
  _flank_slope = basic.flank_slope;
  _major_end = 0.5 * basic.major_flat + (kind == WallKind::kStud ? uncut : 0.0);
  _minor_start = 0.5 - 0.5 * basic.minor_flat - (kind == WallKind::kBore ? uncut : 0.0);
  if (_arc_radius == 0.0) return;
  // The flanks meet at the apex, beyond the crest; the arc's middle lies below it by the radius
  // over the sine of half of the flank angle.
  const double secant = std::sqrt(1.0 + _flank_slope * _flank_slope);
  const double apex = _crest + _outwards * _flank_slope * HalfOfCrest(thread, kind);
  _arc_half = _arc_radius * _flank_slope / secant;
  _arc_center = apex - _outwards * _arc_radius * secant;
  _crest = _arc_center + _outwards * _arc_radius;
}

double ThreadProfile::FromArc(double from_crest) const {
  if (_arc_radius == 0.0) return kNowhere;
  // The crests of a bore lie half way between those of the stud that fits it.
  const double turns = _outwards > 0.0 ? from_crest : FromCrest(from_crest - 0.5);
  const double height = turns * _pitch;
  return std::fabs(height) < _arc_half ? height : kNowhere;
}

double ThreadProfile::RadiusAt(double turns) const {
  const double from_crest = FromCrest(turns);
  if (const double x = FromArc(from_crest); x < kNowhere) {
    return _arc_center + _outwards * std::sqrt(_arc_radius * _arc_radius - x * x);
  }
  const double u = std::fabs(from_crest);
  if (u <= _major_end) return _major_radius;
  if (u >= _minor_start) return _minor_radius;
  return _major_radius - _flank_slope * (u - _major_end) * _pitch;
}

double ThreadProfile::SlopeAt(double turns) const {
  const double from_crest = FromCrest(turns);
  if (const double x = FromArc(from_crest); x < kNowhere) {
    return -_outwards * x / std::sqrt(_arc_radius * _arc_radius - x * x);
  }
  const double u = std::fabs(from_crest);
  if (u <= _major_end || u >= _minor_start) return 0.0;
  return from_crest > 0.0 ? -_flank_slope : _flank_slope;
}

double ThreadProfile::CutAt(double z) const { return std::clamp((z - _end) / _run_out, 0.0, 1.0); }

double ThreadProfile::RadiusAt(double turns, double z) const {
  const double whole = RadiusAt(turns);
  return _run_out == 0.0 ? whole : _crest + (whole - _crest) * CutAt(z);
}

double ThreadProfile::SlopeAt(double turns, double z) const {
  const double whole = SlopeAt(turns);
  return _run_out == 0.0 ? whole : whole * CutAt(z);
}

double ThreadProfile::RunOutSlopeAt(double turns, double z) const {
  if (_run_out == 0.0 || z <= _end || z >= _end + _run_out) return 0.0;
  return (RadiusAt(turns) - _crest) / _run_out;
}

double ThreadProfile::SteepestRunOut() const {
  return _run_out == 0.0 ? 0.0 : (_major_radius - _minor_radius) / _run_out;
}

double ThreadProfile::PitchRadius() const {
  return _major_radius - _flank_slope * (0.25 - _major_end) * _pitch;
}

}  // namespace libmfx::sim
