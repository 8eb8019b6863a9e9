#include "sim/instrument.h"

#include <cmath>
#include <limits>
#include <utility>

namespace libmfx::sim {

using data_structures::Position;
using data_structures::RawDataPoint;

Instrument::Instrument(Scene scene) : Instrument(scene, scene.seed) {}

Instrument::Instrument(Scene scene, std::uint64_t seed)
    : _scene(std::move(scene)),
      _rng(seed),
      _origin(_scene.pose.Inverse(Vec3::Zero())),
      _footprint(FootprintRays(_scene.noise.rays)) {
  if (_scene.behind) _background.emplace(-*_scene.behind, std::nullopt);
  // The footprint's diameter is told at 2 m and grows with the range: an angle of its radius / 2 m.
  for (Vec2& offset : _footprint) offset *= 0.25 * _scene.noise.footprint;
  _echoes.reserve(_footprint.size());
}

bool Instrument::CastLocal(const Vec3& local_direction, Hit& hit) const {
  const Ray ray{_origin, local_direction};
  const bool met_part = _scene.part->Intersect(ray, hit);
  return (_background && _background->Intersect(ray, hit)) || met_part;
}

bool Instrument::Cast(const Vec3& direction, Hit& hit) const {
  hit = Hit();
  if (!CastLocal(_scene.pose.rotation.transpose() * direction, hit)) return false;
  hit.normal = _scene.pose.Direction(hit.normal);
  return true;
}

Echo Instrument::Measure(const Vec3& direction) {
  const Vec3 middle = _scene.pose.rotation.transpose() * direction;
  // Two directions across the beam; which ones is of no matter.
  const Vec3 helper = std::fabs(middle.x()) < 0.7 ? Vec3(Vec3::UnitX()) : Vec3(Vec3::UnitY());
  const Vec3 across = middle.cross(helper).normalized();
  const Vec3 up = middle.cross(across);
  _echoes.clear();
  for (const Vec2& offset : _footprint) {
    const Vec3 d = middle + offset.x() * across + offset.y() * up;
    const Vec3 unit = d / d.norm();
    Hit hit;
    if (CastLocal(unit, hit)) _echoes.push_back({hit.t, hit.CosIncidence(unit)});
  }
  return FormEcho(_echoes, static_cast<int>(_footprint.size()), _scene.noise, _rng);
}

void Instrument::Append(const Aim& aim, std::vector<RawDataPoint>& samples) {
  const Noise& noise = _scene.noise;
  Echo echo = Measure(aim.direction);
  if (echo.lost) {
    if (noise.lost == LostReturn::kDrop) return;
    const double range =
        noise.lost == LostReturn::kZero ? 0.0 : std::numeric_limits<double>::quiet_NaN();
    samples.emplace_back(aim.azimuth, aim.elevation, range, 0.0, aim.status);
    return;
  }
  if (noise.stray > 0.0 && _rng.Uniform() < noise.stray) {
    echo.range = std::fabs(echo.range + _rng.Uniform(-noise.stray_span, noise.stray_span));
    echo.quality = _rng.Uniform(20.0, 80.0);
  }
  const double azimuth = aim.azimuth + noise.angle * _rng.Normal();
  const double elevation = aim.elevation + noise.angle * _rng.Normal();
  samples.emplace_back(azimuth, elevation, echo.range, echo.quality, aim.status);
}

std::vector<RawDataPoint> Instrument::Drive(const std::vector<Position>& path) {
  const PathWalk walk(path);
  std::vector<RawDataPoint> samples;
  samples.reserve(static_cast<std::size_t>(walk.samples()));
  walk.Visit([&](const Aim& aim) { Append(aim, samples); });
  return samples;
}

std::vector<RawDataPoint> Instrument::Drive(std::queue<Position> path) {
  std::vector<Position> points;
  points.reserve(path.size());
  for (; !path.empty(); path.pop()) points.push_back(path.front());
  return Drive(points);
}

}  // namespace libmfx::sim
