#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "sim/faces/outline.h"
#include "uncertainty/surroundings_seen.h"

namespace libmfx::uncertainty {
namespace {

/// A sample beneath the surface, in section across the border.
struct Below {
  double out;  ///< from the outline of the twin's sizes, outwards
  double depth;
};

/// What goes down from the surface: a chamfer, then a wall.
struct Descent {
  double rim = 0.0;    ///< of the surface, from the outline outwards
  double depth = 0.0;  ///< of the chamfer; 0: none
  double slope = 0.0;  ///< of it, inwards per depth
  double cost = 0.0;   ///< mean distance of the samples, none more than kFar

  double OutAt(double at) const { return rim - std::min(at, depth) * slope; }
  double Wall() const { return rim - depth * slope; }
};

constexpr double kFar = 0.0003;           // metres; what lies farther from a border is not of it
constexpr double kOnWall = 0.00015;       // metres
constexpr double kDeepest = 0.006;        // metres, of a chamfer
constexpr std::size_t kMostLooked = 600;  // samples that a chamfer is fitted to

sim::Outline OutlineOf(const Twin& twin) {
  if (twin.type == "RobustHole") return sim::Outline::Circle(twin.radius);
  if (twin.type == "Polygon") return sim::Outline::RegularPolygon(twin.sides, twin.radius);
  if (twin.type == "Slot") return sim::Outline::Obround(twin.length, twin.width);
  return sim::Outline::Rectangle(twin.length, twin.width);
}

bool HasOutline(const Twin& twin) {
  const auto is_length = [](double size) { return size > 1e-6 && size < 10.0; };
  if (twin.type == "RobustHole") return is_length(twin.radius);
  if (twin.type == "Polygon") return is_length(twin.radius) && twin.sides >= 3;
  return is_length(twin.length) && is_length(twin.width) &&
         (twin.type != "Slot" || twin.length >= twin.width);
}

/// Each sample of the sight, in section across the border.
std::vector<Below> SectionOf(const Sight& sight, const sim::Outline& outline) {
  std::vector<Below> section;
  for (const Seen& seen : sight.samples) {
    section.push_back({outline.SignedDistance(seen.place.head<2>()), seen.Depth()});
  }
  return section;
}

/// Height within which a sample is one of the surface.
double SurfaceHeight(const Sight& sight) {
  constexpr double kLeast = 0.00004;  // metres
  constexpr double kScatters = 4.0;
  std::vector<double> heights;
  for (const Seen& seen : sight.samples) {
    if (seen.fate == features::SampleFate::kSurface) heights.push_back(std::abs(seen.Depth()));
  }
  return std::max(kLeast, kScatters * 1.4826 * MedianOf(std::move(heights)));
}

/// \param depth and slope of a chamfer; its rim, or that of a mere wall, is where most samples are
Descent Fitted(const std::vector<Below>& samples, double depth, double slope) {
  Descent descent{0.0, depth, slope, 0.0};
  std::vector<double> rims;
  rims.reserve(samples.size());
  for (const Below& b : samples) rims.push_back(b.out + std::min(b.depth, depth) * slope);
  descent.rim = MedianOf(std::move(rims));
  const double across = 1.0 / std::sqrt(1.0 + slope * slope);
  for (const Below& b : samples) {
    const double off = std::abs(b.out - descent.OutAt(b.depth));
    descent.cost += std::min(kFar, b.depth < depth ? off * across : off);
  }
  descent.cost /= static_cast<double>(samples.size());
  return descent;
}

/// Depth down to which the samples lie but for the deepest few, which may be stray ones.
double MostDepth(const std::vector<Below>& samples) {
  std::vector<double> depths;
  depths.reserve(samples.size());
  for (const Below& b : samples) depths.push_back(b.depth);
  const auto most = depths.end() - 1 - static_cast<std::ptrdiff_t>(depths.size() / 30);
  std::nth_element(depths.begin(), most, depths.end());
  return *most;
}

Descent BestDescent(const std::vector<Below>& samples) {
  constexpr double kDegree = std::numbers::pi / 180.0;
  Descent best = Fitted(samples, 0.0, 0.0);
  const double deepest = MostDepth(samples);
  double angle = 45.0 * kDegree, angle_step = 5.0 * kDegree, depth = 0.0;
  for (double a = 15.0 * kDegree; a < 76.0 * kDegree; a += angle_step) {
    for (double d = 0.00015; d <= deepest; d *= 1.2) {
      const Descent one = Fitted(samples, d, std::tan(a));
      // Of chamfers that fit alike, the shallowest.
      if (!(one.cost < best.cost * (1.0 - 1e-6))) continue;
      best = one;
      angle = a;
      depth = one.depth;
    }
  }
  if (best.depth == 0.0) return best;
  double depth_step = 0.1 * depth;
  for (int round = 0; round < 12; ++round) {
    bool better = false;
    for (const auto& [da, dd] : {std::pair{1, 0}, {-1, 0}, {0, 1}, {0, -1}}) {
      const double a = std::clamp(angle + da * angle_step, 5.0 * kDegree, 84.0 * kDegree);
      const double d = std::clamp(depth + dd * depth_step, 1e-5, deepest);
      const Descent one = Fitted(samples, d, std::tan(a));
      if (!(one.cost < best.cost)) continue;
      best = one;
      angle = a;
      depth = d;
      better = true;
    }
    if (better) continue;
    angle_step *= 0.5;
    depth_step *= 0.5;
  }
  return best;
}

/// The samples beneath the surface that may belong to the border.
std::vector<Below> BelowBorder(const std::vector<Below>& section, double surface,
                               const std::optional<double>& behind) {
  std::vector<Below> samples;
  for (const Below& b : section) {
    if (b.depth < surface || b.depth > kDeepest || std::abs(b.out) > kDeepest) continue;
    if (behind && std::abs(b.depth - *behind) < kFar) continue;
    samples.push_back(b);
  }
  if (samples.size() <= kMostLooked) return samples;
  std::vector<Below> fewer;
  for (std::size_t i = 0; i < kMostLooked; ++i) {
    fewer.push_back(samples[i * samples.size() / kMostLooked]);
  }
  return fewer;
}

/// Whether what was found is a chamfer: samples enough lie on it, and all along it.
bool IsChamfer(const Descent& found, double cost_of_wall, const std::vector<Below>& samples) {
  constexpr std::size_t kFewest = 8;
  constexpr double kNarrowest = 0.00015;  // metres
  constexpr double kBetter = 0.6;         // of the cost of a mere wall
  if (found.depth * found.slope < kNarrowest || found.depth < kNarrowest) return false;
  if (!(found.cost < kBetter * cost_of_wall)) return false;
  std::size_t halves[2] = {0, 0};
  std::size_t strays = 0;
  for (const Below& b : samples) {
    if (b.depth > found.depth) continue;
    const bool on = std::abs(b.out - found.OutAt(b.depth)) < kOnWall * (1.0 + found.slope);
    if (!on) ++strays;
    if (on) ++halves[b.depth > 0.5 * found.depth ? 1 : 0];
  }
  const std::size_t on = halves[0] + halves[1];
  return on >= kFewest && 5 * std::min(halves[0], halves[1]) >= on && strays < on;
}

/// How far outwards of the outline the surface ends: the mean of the innermost samples of the
/// lines, without the quarters of them that lie farthest in and farthest out.
std::optional<double> EndOfSurface(const Sight& sight, const std::vector<Below>& section,
                                   double surface) {
  constexpr std::size_t kFewest = 4;
  std::vector<double> ends;
  for (std::size_t i = 0; i < section.size();) {
    const int segment = sight.samples[i].segment;
    double innermost = std::numeric_limits<double>::infinity();
    for (; i < section.size() && sight.samples[i].segment == segment; ++i) {
      if (std::abs(section[i].depth) < surface) innermost = std::min(innermost, section[i].out);
    }
    if (innermost < kDeepest) ends.push_back(innermost);  // of others, it is where they began
  }
  if (ends.size() < kFewest) return std::nullopt;
  std::sort(ends.begin(), ends.end());
  const std::size_t cut = ends.size() / 4;
  double sum = 0.0;
  for (std::size_t i = cut; i < ends.size() - cut; ++i) sum += ends[i];
  return sum / static_cast<double>(ends.size() - 2 * cut);
}

/// Widens the opening by `out` on all sides.
void Widen(Twin& twin, double out) {
  if (twin.type == "RobustHole") {
    twin.radius += out;
  } else if (twin.type == "Polygon") {
    twin.radius += out / std::cos(std::numbers::pi / twin.sides);
  } else {
    twin.length += 2.0 * out;
    twin.width += 2.0 * out;
  }
}

/// Depth of the plane that the beams meet which pass through the opening.
std::optional<double> BehindOpening(const std::vector<Below>& section, double surface) {
  std::vector<double> depths;
  for (const Below& b : section) {
    if (b.depth > surface && std::abs(b.out) > kFar) depths.push_back(b.depth);
  }
  return DeepestPlane(std::move(depths));
}

/// Where no wall shows how deep a chamfer goes, its deepest samples do, to half of their distance.
double DepthBySamples(const Sight& sight, const std::vector<Below>& section, const Descent& found,
                      double spacing) {
  std::vector<double> lowest;
  for (std::size_t i = 0; i < section.size();) {
    const int segment = sight.samples[i].segment;
    double depth = 0.0;
    for (; i < section.size() && sight.samples[i].segment == segment; ++i) {
      const Below& b = section[i];
      const bool is_of_it = b.depth < found.depth + kOnWall &&
                            std::abs(b.out - (found.rim - b.depth * found.slope)) < kOnWall;
      if (is_of_it) depth = std::max(depth, b.depth);
    }
    if (depth > 0.5 * found.depth) lowest.push_back(depth);
  }
  return lowest.empty() ? found.depth : MedianOf(std::move(lowest)) + 0.5 * spacing / found.slope;
}

bool ShowsWall(const std::vector<Below>& samples, const Descent& found) {
  constexpr std::ptrdiff_t kFewest = 6;
  return std::count_if(samples.begin(), samples.end(), [&](const Below& b) {
           return b.depth > found.depth + kFar && std::abs(b.out - found.Wall()) < kOnWall;
         }) >= kFewest;
}

/// \param by_wall what fits best without a chamfer
/// \returns where the wall stands, from the outline outwards
double TellChamfer(Twin& twin, const Sight& sight, const std::vector<Below>& section,
                   double surface) {
  constexpr std::size_t kFewest = 8;
  const std::vector<Below> samples = BelowBorder(section, surface, twin.behind);
  if (samples.size() >= kFewest) {
    Descent found = BestDescent(samples);
    if (IsChamfer(found, Fitted(samples, 0.0, 0.0).cost, samples)) {
      if (!ShowsWall(samples, found)) {
        found.depth = DepthBySamples(sight, section, found, twin.spacing);
      }
      twin.chamfer_depth = found.depth;
      twin.chamfer_angle = std::atan(found.slope);
      return found.Wall();
    }
  }
  const double width = twin.chamfer_depth * std::tan(twin.chamfer_angle);
  if (!(width > 0.0)) return 0.0;
  // Of a chamfer that was asked for, the surface has to leave room.
  constexpr double kRoom = 0.4;
  const std::optional<double> end = EndOfSurface(sight, section, surface);
  if (!end) return 0.0;
  if (*end < kRoom * width) twin.chamfer_depth = 0.0;
  return 0.0;
}

/// The same place of the surface's end for a part that is told, seen by the virtual instrument
/// along the same path: the mean of a few scans.
std::optional<double> SimulatedEnd(const Twin& twin, const Sight& sight,
                                   const sim::Outline& outline) {
  constexpr int kScans = 4;
  double sum = 0.0;
  for (int seed = 1; seed <= kScans; ++seed) {
    const host::Exchange scan = Simulated(twin, sight, static_cast<std::uint64_t>(seed));
    const features::Stages none;
    const Sight simulated(twin, scan, none);
    const std::optional<double> end =
        EndOfSurface(simulated, SectionOf(simulated, outline), SurfaceHeight(sight));
    if (!end) return std::nullopt;
    sum += *end;
  }
  return sum / kScans;
}

/// The radius of a hole whose result repeats the nominal one. Where the surface ends in a scan is
/// no place of its own: it hangs on the distance of the samples, the width of the beam and what
/// lies behind. So the radius is the one with which the virtual instrument sees it end where it was
/// seen.
void TellRadius(Twin& twin, const Sight& sight) {
  constexpr double kMostOff = 0.125;  // of the radius: the hole would have been refused
  constexpr int kRounds = 3;
  if (!MayBeSimulated(sight)) return;
  const double nominal = twin.radius;
  const sim::Outline outline = OutlineOf(twin);
  const auto seen = EndOfSurface(sight, SectionOf(sight, outline), SurfaceHeight(sight));
  if (!seen) return;
  double best = std::numeric_limits<double>::infinity();
  Twin tried = twin;
  try {
    for (int round = 0; round < kRounds; ++round) {
      const std::optional<double> simulated = SimulatedEnd(tried, sight, outline);
      if (!simulated) return;
      const double off = *seen - *simulated;
      if (std::abs(off) < best) {
        best = std::abs(off);
        twin.radius = tried.radius;
      }
      tried.radius += off;
      if (!(std::abs(tried.radius - nominal) < kMostOff * nominal)) return;
    }
  } catch (const std::runtime_error&) {
    // A path that cannot be driven, or a hole that cannot stand there: the radius stays.
  }
}

/// \param wall where it stands, from the outline outwards
void TellThickness(Twin& twin, const Sight& sight, const sim::Outline& outline, double wall) {
  std::vector<bool> is_on_wall;
  for (const Seen& seen : sight.samples) {
    const bool enters = outline.SignedDistance(seen.Entry()) < wall;
    const bool is_behind = twin.behind && seen.Depth() > *twin.behind - kFar;
    const bool is_near = std::abs(outline.SignedDistance(seen.place.head<2>()) - wall) < kOnWall;
    is_on_wall.push_back(enters && is_near && !is_behind &&
                         seen.Depth() > twin.chamfer_depth + kFar);
  }
  const WallDepth depth = DepthOfWall(sight, is_on_wall, twin.spacing, 2);
  if (depth.end) {
    twin.thickness = *depth.end;
  } else {
    twin.thickness = std::max(twin.thickness, depth.seen);
  }
  twin.thickness = std::max(twin.thickness, twin.chamfer_depth + kFar);
}

}  // namespace

void TellOpening(Twin& twin, const Sight& sight) {
  if (!HasOutline(twin)) return;
  const sim::Outline outline = OutlineOf(twin);
  const std::vector<Below> section = SectionOf(sight, outline);
  const double surface = SurfaceHeight(sight);
  twin.behind = BehindOpening(section, surface);
  const double wall = TellChamfer(twin, sight, section, surface);
  if (twin.type != "RobustHole") Widen(twin, wall);
  TellThickness(twin, sight, outline, wall);
  if (twin.type == "RobustHole") TellRadius(twin, sight);
}

}  // namespace libmfx::uncertainty
