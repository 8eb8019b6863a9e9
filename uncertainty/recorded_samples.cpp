#include "uncertainty/recorded_samples.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <numeric>
#include <utility>

#include "libmfx/data_structures/records.h"
#include "sim/disturbances/focus.h"
#include "sim/echo.h"

namespace libmfx::uncertainty {

using data_structures::AzElRange;
using data_structures::Position;
using data_structures::RawDataPoint;
using features::SampleFate;
using sim::Vec2;
using sim::Vec3;

namespace {

/// Normals within the beam differ by less than this from the middle's: the cosine of 25 degrees. A
/// flank of a thread and its crest differ by more, a wall that bends by less.
constexpr double kSmoothCos = 0.906;
/// Metres off the middle's tangent plane for a metre of the beam's radius, of a smooth surface.
constexpr double kSmoothOff = 0.3;
/// A beam is taken to be no thinner than this, metres from its middle.
constexpr double kLeastRadius = 2e-5;
/// Spacings that a sample may lie off the place where it was asked for.
constexpr double kFarthestSlot = 1.5;
/// Where fewer of a wall's samples are of a smooth surface, the wall has a profile.
constexpr double kSmoothWall = 0.7;

Vec3 DirectionOf(double azimuth, double elevation) {
  return AzElRange(azimuth, elevation, 1.0).ToPoint().xyz();
}

/// Whether one of the moves that end with the drive points (from, to] is a jump.
bool JumpsBetween(const std::vector<Position>& points, std::int32_t from, std::int32_t to) {
  for (std::int32_t i = from + 1; i <= to; ++i) {
    if (points[static_cast<std::size_t>(i)].point_spacing == 0.0) return true;
  }
  return false;
}

AskedSamples AskedBy(const std::vector<Position>& points) {
  const sim::PathWalk walk(points);
  const std::int64_t every = 1 + (walk.samples() - 1) / kMostAsked;
  AskedSamples asked;
  asked.reserve(static_cast<std::size_t>(std::min(walk.samples(), kMostAsked)));
  std::int32_t last = -1;
  int line = -1;
  walk.Visit([&](const sim::Aim& aim) {
    if (last < 0 || (aim.status != last && JumpsBetween(points, last, aim.status))) ++line;
    last = aim.status;
    if (line % every != 0 || static_cast<std::int64_t>(asked.size()) >= kMostAsked) return;
    AskedSample sample;
    sample.aim = aim;
    sample.line = line;
    sample.spacing = points[static_cast<std::size_t>(aim.status)].point_spacing;
    asked.push_back(sample);
  });
  return asked;
}

bool TakesPart(SampleFate fate) {
  return fate != SampleFate::kUnusable && fate != SampleFate::kBetween && fate != SampleFate::kFar;
}

bool IsSound(const RawDataPoint& sample) {
  return data_structures::IsUsable(sample, 0.0) && sample.quality > 0.0 && sample.range > 0.0;
}

/// Puts each sample where its move asked for one, in order, the nearest that is free.
void PutInPlace(const host::Exchange& scan, const features::Stages& stages, AskedSamples& asked) {
  struct Slots {
    std::size_t first;
    std::size_t next;  ///< that is free
    std::size_t end;
  };
  std::map<std::int32_t, Slots> moves;
  for (std::size_t i = 0; i < asked.size(); ++i) {
    moves.try_emplace(asked[i].aim.status, Slots{i, i, i}).first->second.end = i + 1;
  }
  const bool judged = stages.fates.size() == scan.samples.size();
  for (std::size_t i = 0; i < scan.samples.size(); ++i) {
    const RawDataPoint& sample = scan.samples[i];
    const auto found = moves.find(sample.status);
    if (found == moves.end() || !IsSound(sample)) continue;
    auto& [first, next, end] = found->second;
    const Vec3 read = DirectionOf(sample.azimuth, sample.elevation);
    const auto off = [&](std::size_t k) { return (asked[k].aim.direction - read).norm(); };
    std::size_t slot = next > first ? next - 1 : next;
    for (std::size_t last = end - 1; slot < last;) {
      const std::size_t middle = slot + (last - slot) / 2;
      if (off(middle + 1) < off(middle)) {
        slot = middle + 1;
      } else {
        last = middle;
      }
    }
    if (slot < next) {
      // The place is taken: by one that belongs before it, or this one comes late.
      if (slot > first && !asked[slot - 1].came) {
        static_cast<CameSample&>(asked[slot - 1]) = asked[slot];
        static_cast<CameSample&>(asked[slot]) = {};
      } else {
        slot = next;
      }
    }
    if (slot >= end) continue;
    AskedSample& place = asked[slot];
    if (off(slot) * place.aim.range > kFarthestSlot * place.spacing) continue;
    next = slot + 1;
    place.came = true;
    if (judged) place.fate = stages.fates[i];
    place.takes_part = !judged || TakesPart(stages.fates[i]);
    place.range = sample.range;
    place.quality = sample.quality;
    place.read = read;
  }
}

/// The twin as a beam of the model sees it.
class Look {
 public:
  Look(const InstrumentModel& model, const sim::Scene& twin) : _model(model), _twin(twin, 0) {
    for (const Vec2& offset : sim::FootprintRays(model.noise.rays)) {
      _widest = std::max(_widest, offset.norm());
    }
    _widest = std::max(_widest, 1.0) * kWidestBeam;
  }

  void At(AskedSample& sample) const {
    const Vec3 direction = sample.came ? sample.read : sample.aim.direction;
    sim::Hit hit;
    sample.met = _twin.Cast(direction, hit);
    if (sample.met) {
      sample.twin_range = hit.t;
      sample.cos_incidence = hit.CosIncidence(direction);
      sample.angle_variance = AngleVariance(direction, hit);
    }
    sample.meets = Meets(direction, sample.met ? &hit : nullptr, sample.aim.range);
  }

 private:
  /// How much the range changes with the two angles, where the surface is flat.
  static double AngleVariance(const Vec3& direction, const sim::Hit& hit) {
    const double along = hit.normal.dot(direction);
    if (std::fabs(along) < 1e-3) return 0.0;
    const double horizontal = std::hypot(direction.x(), direction.z());
    const Vec3 sideways(-direction.z(), 0.0, direction.x());
    const Vec3 up = horizontal > 0.0 ? Vec3(-direction.y() * direction.x() / horizontal, horizontal,
                                            -direction.y() * direction.z() / horizontal)
                                     : Vec3(Vec3::UnitX());
    const double by_azimuth = hit.t * hit.normal.dot(sideways) / along;
    const double by_elevation = hit.t * hit.normal.dot(up) / along;
    return by_azimuth * by_azimuth + by_elevation * by_elevation;
  }

  BeamMeets Meets(const Vec3& direction, const sim::Hit* middle, double range) const {
    if (middle != nullptr) range = middle->t;
    const double radius =
        std::max(0.5 * _widest * BeamDiameter(_model, range), kLeastRadius) / range;
    const Vec3 across = direction.unitOrthogonal();
    const Vec3 up = direction.cross(across);
    int hits = 0;
    bool smooth = true;
    constexpr double kDiagonal = 0.70710678118654752;
    constexpr std::array<std::array<double, 2>, 8> kRing = {{{1.0, 0.0},
                                                             {kDiagonal, kDiagonal},
                                                             {0.0, 1.0},
                                                             {-kDiagonal, kDiagonal},
                                                             {-1.0, 0.0},
                                                             {-kDiagonal, -kDiagonal},
                                                             {0.0, -1.0},
                                                             {kDiagonal, -kDiagonal}}};
    for (const auto& [x, y] : kRing) {
      const Vec3 unit = (direction + radius * (x * across + y * up)).normalized();
      sim::Hit hit;
      if (!_twin.Cast(unit, hit)) continue;
      ++hits;
      if (middle == nullptr) continue;
      const Vec3 from_middle = hit.t * unit - middle->t * direction;
      smooth = smooth && std::fabs(hit.normal.dot(middle->normal)) > kSmoothCos &&
               std::fabs(from_middle.dot(middle->normal)) < kSmoothOff * radius * range;
    }
    if (middle == nullptr) return hits == 0 ? BeamMeets::kNothing : BeamMeets::kEdge;
    return hits == 8 && smooth ? BeamMeets::kSurface : BeamMeets::kEdge;
  }

  const InstrumentModel& _model;
  sim::Instrument _twin;
  double _widest = 1.0;  ///< radii of the model's beam
};

/// What the model's surface does to each sample, by a scan with nothing else.
void LookAtSurface(const InstrumentModel& model, const sim::Scene& twin, AskedSamples& asked) {
  InstrumentModel exact = model;
  exact.noise = sim::Noise::Off();
  exact.noise.quality_peak = model.noise.quality_peak;
  exact.noise.quality_incidence = model.noise.quality_incidence;
  exact.noise.quality_range = model.noise.quality_range;
  std::vector<std::size_t> all(asked.size());
  std::iota(all.begin(), all.end(), 0);
  const std::vector<RawDataPoint> with = ScanTwin(exact, twin, asked, all, 0);
  exact.surface = nullptr;
  const std::vector<RawDataPoint> without = ScanTwin(exact, twin, asked, all, 0);
  for (std::size_t i = 0; i < asked.size(); ++i) {
    if (with[i].quality <= 0.0 || without[i].quality <= 0.0) continue;
    asked[i].surface_range = with[i].range - without[i].range;
    asked[i].surface_quality = with[i].quality - without[i].quality;
  }
}

/// The samples of a wall with a profile, a thread's, say nothing of the noise: where the profile
/// lies along the wall is known too badly.
void LeaveOutProfiles(AskedSamples& asked) {
  std::int64_t smooth = 0;
  std::int64_t all = 0;
  for (const AskedSample& sample : asked) {
    if (sample.fate != SampleFate::kWall) continue;
    ++all;
    smooth += sample.IsPlain() ? 1 : 0;
  }
  if (static_cast<double>(smooth) >= kSmoothWall * static_cast<double>(all)) return;
  for (AskedSample& sample : asked) {
    if (sample.fate == SampleFate::kWall) sample.takes_part = false;
  }
}

}  // namespace

double AskedSample::ExpectedQuality(const sim::Noise& noise) const {
  return sim::ExpectedQuality(cos_incidence, twin_range, noise);
}

double BeamDiameter(const InstrumentModel& model, double range) {
  const double in_focus = 0.5 * range * model.noise.footprint;
  const auto& focus = model.errors.focus;
  return focus ? sim::SpotDiameter(*focus, in_focus, range) : in_focus;
}

AskedSamples LayBeside(const InstrumentModel& model, const sim::Scene& twin,
                       const host::Exchange& scan, const features::Stages& stages) {
  if (!twin.part || scan.samples.empty()) return {};
  AskedSamples asked;
  try {
    asked = AskedBy(scan.points);
  } catch (const sim::DriveError&) {
    return {};
  }
  PutInPlace(scan, stages, asked);
  const Look look(model, twin);
  for (AskedSample& sample : asked) look.At(sample);
  LeaveOutProfiles(asked);
  if (model.surface) LookAtSurface(model, twin, asked);
  return asked;
}

std::vector<RawDataPoint> ScanTwin(const InstrumentModel& model, const sim::Scene& twin,
                                   const AskedSamples& asked,
                                   const std::vector<std::size_t>& indices, std::uint64_t seed) {
  sim::Scene scene = twin;
  scene.noise = model.noise;
  scene.noise.lost = sim::LostReturn::kZero;
  scene.instrument = {};
  scene.instrument.focus = model.errors.focus;
  scene.surface = model.surface;
  // A jump to each of them and a move without a length: one sample, whatever its neighbours.
  std::vector<Position> path;
  path.reserve(2 * indices.size());
  for (const std::size_t i : indices) {
    const sim::Aim& aim = asked[i].aim;
    path.emplace_back(aim.azimuth, aim.elevation, aim.range, 0.0);
    path.emplace_back(aim.azimuth, aim.elevation, aim.range, 1.0);
  }
  std::vector<RawDataPoint> samples(indices.size());
  for (const RawDataPoint& sample : sim::Instrument(std::move(scene), seed).Drive(path)) {
    samples[static_cast<std::size_t>(sample.status / 2)] = sample;
  }
  return samples;
}

}  // namespace libmfx::uncertainty
