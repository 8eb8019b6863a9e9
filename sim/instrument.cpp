#include "sim/instrument.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "sim/disturbances/instrument_errors.h"

namespace libmfx::sim {

using data_structures::Position;
using data_structures::RawDataPoint;

namespace {

/// A mirrored ray begins this far (metres) off the surface that it leaves: farther than what lifts
/// or lowers a surface against its nominal one, and too near for an echo of its own.
constexpr double kOffSurface = 1e-4;

}  // namespace

Instrument::Instrument(Scene scene) : Instrument(scene, scene.seed) {}

Instrument::Instrument(Scene scene, std::uint64_t seed)
    : _scene(std::move(scene)),
      _rng(seed),
      _origin(_scene.pose.Inverse(Vec3::Zero())),
      _footprint(FootprintRays(_scene.noise.rays)),
      _disturbances(MakeDisturbances(_scene.instrument, seed)),
      _clock(_scene.instrument.pace) {
  if (_scene.behind) _background.emplace(-*_scene.behind, std::nullopt);
  // The footprint's diameter is told at 2 m and grows with the range: an angle of its radius / 2 m.
  // A focus that does not follow the range gives each beam a width of its own.
  if (!_scene.instrument.focus) {
    for (Vec2& offset : _footprint) offset *= 0.25 * _scene.noise.footprint;
  }
  for (const Vec2& offset : _footprint) _widest = std::max(_widest, offset.norm());
  _echoes.reserve(2 * _footprint.size());
}

bool Instrument::CastLocal(const Ray& local, Hit& hit) const {
  bool met = _scene.part->Intersect(local, hit);
  for (const Face* obstacle : _in_beam) met = obstacle->Intersect(local, hit) || met;
  return (_background && _background->Intersect(local, hit)) || met;
}

bool Instrument::CastAlone(const Ray& local, Hit& hit) const {
  bool met = _scene.part->Intersect(local, hit);
  for (const auto& obstacle : _scene.obstacles) met = obstacle->Intersect(local, hit) || met;
  return (_background && _background->Intersect(local, hit)) || met;
}

bool Instrument::Cast(const Vec3& direction, Hit& hit) const {
  hit = Hit();
  if (!CastAlone({_origin, _scene.pose.rotation.transpose() * direction}, hit)) return false;
  hit.normal = _scene.pose.Direction(hit.normal);
  return true;
}

Echo Instrument::Measure(const Vec3& direction, const Vec3& shift, double range) {
  const Vec3 middle = _scene.pose.rotation.transpose() * direction;
  const Vec3 origin = shift.isZero(0.0) ? _origin : _scene.pose.Inverse(shift);
  // Two directions across the beam; which ones is of no matter.
  const Vec3 helper = std::fabs(middle.x()) < 0.7 ? Vec3(Vec3::UnitX()) : Vec3(Vec3::UnitY());
  const Vec3 across = middle.cross(helper).normalized();
  const Vec3 up = middle.cross(across);
  // Of a focus that stays the width is known when the middle ray, the first, has met something.
  double widening = _scene.instrument.focus ? WideningAt(range) : 1.0;
  Gather({origin, middle}, widening);
  int ghosts = 0;
  _echoes.clear();
  for (const Vec2& offset : _footprint) {
    const Vec2 wide = widening * offset;
    const Vec3 d = middle + wide.x() * across + wide.y() * up;
    const Vec3 unit = d / d.norm();
    const bool is_middle = &offset == &_footprint.front();
    Hit hit;
    const bool met = CastLocal({origin, unit}, hit);
    if (is_middle && met && _scene.instrument.focus) {
      const double expected = std::exchange(widening, WideningAt(hit.t));
      if (widening > expected) Gather({origin, middle}, widening);
    }
    if (!met) continue;
    if (_scene.surface) {
      AddEcho({origin, unit}, hit);
      if (is_middle) ghosts = AddGhost({origin, unit}, hit);
    } else {
      _echoes.push_back({hit.t, hit.CosIncidence(unit)});
    }
  }
  const int cast = static_cast<int>(_footprint.size()) + ghosts;
  Echo echo;
  if (_scene.instrument.focus) {
    Noise noise = _scene.noise;
    noise.footprint = 4.0 * widening;
    echo = FormEcho(_echoes, cast, noise, _rng);
  } else {
    echo = FormEcho(_echoes, cast, _scene.noise, _rng);
  }
  if (_scene.surface && !echo.lost) {
    echo.range += _scene.surface->SpeckleAt(origin + echo.range * middle);
  }
  return echo;
}

void Instrument::AddEcho(const Ray& ray, const Hit& hit) {
  const Spot spot{ray.At(hit.t), hit.normal, ray.direction};
  const SpotReturn back = _scene.surface->At(spot);
  _echoes.push_back({hit.t - back.nearer, spot.CosIncidence(), back.strength});
}

int Instrument::AddGhost(const Ray& ray, const Hit& hit) {
  const Surface& surface = *_scene.surface;
  if (surface.mirror() == 0.0) return 0;
  const Vec3 mirrored =
      (ray.direction - 2.0 * ray.direction.dot(hit.normal) * hit.normal).normalized();
  const Ray onward{ray.At(hit.t), mirrored, kOffSurface};
  Hit second;
  if (!CastAlone(onward, second)) return 0;
  // The power of each ray is mirrored on the way there and on the way back.
  const Spot there{onward.At(second.t), second.normal, mirrored};
  const SpotReturn from_there = surface.At(there);
  const double strength = surface.mirror() * surface.mirror() * from_there.strength;
  const double range = hit.t + second.t - from_there.nearer;
  _echoes.insert(_echoes.end(), _footprint.size(), {range, there.CosIncidence(), strength});
  return static_cast<int>(_footprint.size());
}

void Instrument::Gather(const Ray& middle, double widening) {
  _in_beam.clear();
  for (const auto& obstacle : _scene.obstacles) {
    obstacle->Gather(middle, widening * _widest, _in_beam);
  }
}

double Instrument::WideningAt(double range) const {
  const double in_focus = 0.5 * range * _scene.noise.footprint;
  return 0.5 / range * SpotDiameter(*_scene.instrument.focus, in_focus, range);
}

void Instrument::AppendLost(const Aim& aim, std::vector<RawDataPoint>& samples) const {
  const LostReturn lost = _scene.noise.lost;
  if (lost == LostReturn::kDrop) return;
  const double range = lost == LostReturn::kZero ? 0.0 : std::numeric_limits<double>::quiet_NaN();
  samples.emplace_back(aim.azimuth, aim.elevation, range, 0.0, aim.status);
}

void Instrument::Append(const Aim& aim, std::vector<RawDataPoint>& samples) {
  const Noise& noise = _scene.noise;
  Shot shot;
  if (!_disturbances.empty()) {
    shot.time = _clock.Tick(aim.status);
    shot.azimuth = aim.azimuth;
    shot.elevation = aim.elevation;
    for (const auto& disturbance : _disturbances) disturbance->Disturb(shot);
  }
  Echo echo = Measure(shot.Turned() ? BeamDirection(shot) : aim.direction, shot.shift, aim.range);
  if (echo.lost) return AppendLost(aim, samples);
  if (noise.stray > 0.0 && _rng.Uniform() < noise.stray) {
    echo.range = std::fabs(echo.range + _rng.Uniform(-noise.stray_span, noise.stray_span));
    echo.quality = _rng.Uniform(20.0, 80.0);
  }
  const double azimuth = aim.azimuth + noise.angle * _rng.Normal();
  const double elevation = aim.elevation + noise.angle * _rng.Normal();
  // Lost as late as this, it leaves the noise of all other samples as it is.
  if (shot.lost) return AppendLost(aim, samples);
  echo.range = std::max(0.0, echo.range + shot.range_error + shot.range_scale_error * echo.range);
  samples.emplace_back(azimuth, elevation, echo.range, echo.quality, aim.status);
}

std::vector<RawDataPoint> Instrument::Drive(const std::vector<Position>& path) {
  const PathWalk walk(path);
  std::vector<RawDataPoint> samples;
  samples.reserve(static_cast<std::size_t>(walk.samples()));
  _clock.Begin(path);
  walk.Visit([&](const Aim& aim) { Append(aim, samples); });
  _clock.End();
  return samples;
}

std::vector<RawDataPoint> Instrument::Drive(std::queue<Position> path) {
  std::vector<Position> points;
  points.reserve(path.size());
  for (; !path.empty(); path.pop()) points.push_back(path.front());
  return Drive(points);
}

}  // namespace libmfx::sim
