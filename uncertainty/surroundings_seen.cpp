#include "uncertainty/surroundings_seen.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>

#include "libmfx/data_structures/records.h"
#include "sim/instrument.h"
#include "sim/noise.h"

namespace libmfx::uncertainty {
namespace {

using data_structures::AzElRange;

constexpr double kFarthest = 10.0;     // metres from the feature at which something may still lie
constexpr double kLeastFacing = 0.01;  // cosine between a beam and the normal

bool IsFinite(const host::RawDataPoint& sample) {
  return std::isfinite(sample.azimuth) && std::isfinite(sample.elevation) &&
         std::isfinite(sample.range) && std::isfinite(sample.quality);
}

}  // namespace

SeenFrame::SeenFrame(const Twin& twin) : origin(twin.place), x(twin.tangent), z(twin.normal) {
  if (twin.type == "Edge") origin += twin.height * twin.normal;
  if (twin.type == "Stud" || twin.type == "ThreadedHole") origin -= twin.height * twin.normal;
  if (twin.type == "ThreadedHole") z = -z;  // its axis leads into the part
  y = z.cross(x);
}

Vector3d SeenFrame::Of(const Vector3d& point) const {
  const Vector3d from = point - origin;
  return {from.dot(x), from.dot(y), from.dot(z)};
}

Sight::Sight(const Twin& twin, const host::Exchange& exchange, const features::Stages& recorded)
    : frame(twin), scan(exchange), stages(recorded) {
  const Vector3d instrument = frame.Of(Vector3d::Zero());
  for (std::size_t i = 0; i < scan.samples.size(); ++i) {
    const host::RawDataPoint& raw = scan.samples[i];
    if (!IsFinite(raw) || !(raw.range > 0.0)) continue;
    const Vector3d place =
        frame.Of(AzElRange(raw.azimuth, raw.elevation, raw.range).ToPoint().xyz());
    const Vector3d eye = (instrument - place).normalized();
    if (!(place.norm() <= kFarthest) || !(eye.z() > kLeastFacing)) continue;
    const auto fate = i < stages.fates.size() ? stages.fates[i] : features::SampleFate::kUnusable;
    samples.push_back({place, eye, raw.quality, raw.status, fate});
  }
}

std::optional<Vector2d> Sight::EndOf(int segment) const {
  if (segment < 0 || static_cast<std::size_t>(segment) >= scan.points.size()) return std::nullopt;
  const host::Position& end = scan.points[static_cast<std::size_t>(segment)];
  const Vector3d instrument = frame.Of(Vector3d::Zero());
  const Vector3d beam =
      frame.Of(AzElRange(end.azimuth, end.elevation, 1.0).ToPoint().xyz()) - instrument;
  if (!beam.allFinite() || !(beam.z() < -kLeastFacing)) return std::nullopt;
  return (instrument - instrument.z() / beam.z() * beam).head<2>();
}

host::Exchange Simulated(const Twin& twin, const Sight& sight, std::uint64_t seed) {
  sim::Scene scene = SceneOf(twin);
  scene.noise = sim::Noise();
  sim::Instrument instrument(scene, seed);
  return {sight.scan.points, sight.scan.step, instrument.Drive(sight.scan.points)};
}

bool MayBeSimulated(const Sight& sight) {
  constexpr std::size_t kMostSamples = 200'000;
  return !sight.scan.points.empty() && sight.scan.samples.size() <= kMostSamples;
}

double MedianOf(std::vector<double> values) {
  if (values.empty()) return 0.0;
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

std::optional<double> DeepestPlane(std::vector<double> depths) {
  // A plane that is not quite parallel to the surface spreads, and so does one that is far away.
  // What spreads much has to lie deep, or it may be a slope that leads down from the surface.
  constexpr double kSpreads[] = {0.0002, 0.0005, 0.001, 0.002, 0.005};
  constexpr double kShallowest = 2.0;  // spreads
  constexpr double kStandsOut = 3.0;   // times as many as in the same height above
  constexpr std::size_t kFewest = 6;
  std::sort(depths.begin(), depths.end());
  const std::size_t fewest = std::max(kFewest, depths.size() / 20);
  const auto shallower = [&depths](double depth) {
    return static_cast<std::size_t>(std::lower_bound(depths.begin(), depths.end(), depth) -
                                    depths.begin());
  };
  for (const double spread : kSpreads) {
    for (std::size_t last = depths.size(); last-- > 0;) {
      const std::size_t first = shallower(depths[last] - spread);
      const std::size_t count = last + 1 - first;
      if (count < fewest) continue;
      const double middle = depths[first + count / 2];
      if (middle < kShallowest * spread) break;
      const auto above = static_cast<double>(first - shallower(depths[first] - spread));
      if (static_cast<double>(count) >= kStandsOut * above) return middle;
    }
  }
  return std::nullopt;
}

namespace {

/// Samples of one line, and those of them that lie deepest on a wall.
struct WallLine {
  std::size_t begin = 0;
  std::size_t end = 0;
  std::size_t lowest = 0;  ///< end: there are not two
  std::size_t before = 0;  ///< the next to it in depth
};

WallLine LineFrom(std::size_t begin, const std::vector<Seen>& samples,
                  const std::vector<bool>& is_on_wall) {
  std::size_t end = begin;
  while (end < samples.size() && samples[end].segment == samples[begin].segment) ++end;
  WallLine line{begin, end, end, end};
  for (std::size_t i = begin; i < end; ++i) {
    if (!is_on_wall[i]) continue;
    const double depth = samples[i].Depth();
    if (line.lowest == end || depth > samples[line.lowest].Depth()) {
      line.before = line.lowest;
      line.lowest = i;
    } else if (line.before == end || depth > samples[line.before].Depth()) {
      line.before = i;
    }
  }
  if (line.before == end) line.lowest = end;
  return line;
}

/// Whether the wall ends at the deepest sample of the line: what is seen beyond lies as deep or
/// deeper, or nothing is seen although the line goes on. Before the border of the near side it does
/// not.
bool EndsThere(const Sight& sight, const WallLine& line, double spacing) {
  constexpr double kGap = 4.0;        // spacings without a sample: nothing came back
  constexpr double kAsDeep = 0.0002;  // metres
  const std::vector<Seen>& samples = sight.samples;
  const Seen& lowest = samples[line.lowest];
  const Vector2d onward = (lowest.Entry() - samples[line.before].Entry()).normalized();
  const auto ahead = [&](const Vector2d& entry) { return (entry - lowest.Entry()).dot(onward); };
  const Seen* next = nullptr;
  double nearest = kGap * spacing;
  for (std::size_t i = line.begin; i < line.end; ++i) {
    const double distance = ahead(samples[i].Entry());
    if (!(distance > 0.2 * spacing) || !(distance < nearest)) continue;
    nearest = distance;
    next = &samples[i];
  }
  if (next != nullptr) return next->Depth() > lowest.Depth() - kAsDeep;
  // One of the two is where the line was driven to, the other where it came from.
  for (const int segment : {lowest.segment, lowest.segment - 1}) {
    const std::optional<Vector2d> stop = sight.EndOf(segment);
    if (stop && ahead(*stop) > kGap * spacing) return true;
  }
  return false;
}

}  // namespace

WallDepth DepthOfWall(const Sight& sight, const std::vector<bool>& is_on_wall, double spacing,
                      int fewest) {
  constexpr double kAlone = 10.0;  // spacings below the next sample of the wall
  WallDepth wall;
  std::vector<double> ends;
  double step = 0.0;
  for (std::size_t begin = 0; begin < sight.samples.size();) {
    const WallLine line = LineFrom(begin, sight.samples, is_on_wall);
    begin = line.end;
    if (line.lowest == line.end) continue;
    const double depth = sight.samples[line.lowest].Depth();
    const double fall = depth - sight.samples[line.before].Depth();
    if (fall > kAlone * spacing) continue;
    wall.seen = std::max(wall.seen, depth);
    if (!EndsThere(sight, line, spacing)) continue;
    ends.push_back(depth);
    step = std::max(step, fall);
  }
  if (ends.empty()) return wall;
  // The deepest of n samples that lie anywhere within a step of the end is a share of it above.
  const double most = *std::max_element(ends.begin(), ends.end());
  const auto agreeing = std::count_if(ends.begin(), ends.end(),
                                      [&](double depth) { return depth >= most - 2.0 * step; });
  const bool agree = agreeing >= fewest && 2 * agreeing >= static_cast<std::ptrdiff_t>(ends.size());
  if (agree) wall.end = most + step / static_cast<double>(agreeing + 1);
  return wall;
}

}  // namespace libmfx::uncertainty
