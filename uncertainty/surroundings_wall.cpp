#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "libmfx/geometry/cylinder_fitter.h"
#include "sim/parts/thread.h"
#include "uncertainty/surroundings_seen.h"

namespace libmfx::uncertainty {
namespace {

using geometry::ThreadedCylinderFitter;
using geometry::WallForm;

constexpr double kDegree = std::numbers::pi / 180.0;
constexpr double kSignificant = 2.0;  // standard uncertainties
constexpr double kLeastDepth = 0.3;   // of a thread, as a share of the whole
constexpr double kMostDepth = 1.05;

/// A sample of the wall, in the part's frame.
struct WallSample {
  double angle;
  double z;
  double radius;
};

/// Those that the fit rests on, at most as many as are needed.
std::vector<WallSample> WallSamples(const Sight& sight) {
  constexpr std::size_t kMostLooked = 2000;
  std::vector<WallSample> all;
  for (const Seen& seen : sight.samples) {
    if (seen.fate != features::SampleFate::kWall) continue;
    const Vector3d& p = seen.place;
    all.push_back({std::atan2(p.y(), p.x()), p.z(), std::hypot(p.x(), p.y())});
  }
  if (all.size() <= kMostLooked) return all;
  std::vector<WallSample> fewer;
  for (std::size_t i = 0; i < kMostLooked; ++i) {
    fewer.push_back(all[i * all.size() / kMostLooked]);
  }
  return fewer;
}

/// Where the samples of the wall lie, and how good they are.
struct WallWindow {
  double low = std::numeric_limits<double>::infinity();  ///< height along the twin's axis
  double high = -std::numeric_limits<double>::infinity();
  double off = 0.0;  ///< most, from the radius
  double quality = std::numeric_limits<double>::infinity();
};

double HeightOf(const Twin& twin, const Seen& seen) {
  return twin.type == "ThreadedHole" ? seen.Depth() : seen.place.z();
}

WallWindow WindowOf(const Twin& twin, const Sight& sight) {
  WallWindow window;
  for (const Seen& seen : sight.samples) {
    if (seen.fate != features::SampleFate::kWall) continue;
    const double height = HeightOf(twin, seen);
    window.low = std::min(window.low, height);
    window.high = std::max(window.high, height);
    window.off = std::max(window.off, std::abs(seen.place.head<2>().norm() - twin.radius));
    window.quality = std::min(window.quality, seen.quality);
  }
  return window;
}

/// What the library's fit finds in the window, as it was done for the result.
std::optional<ThreadedCylinderFitter::Statistics> FitOf(const Twin& twin, const Sight& sight,
                                                        const WallWindow& window) {
  constexpr double kThreadDepth = 0.02, kThreadShare = 0.05;  // those of the analysis
  constexpr double kMargin = 1e-6, kPlane = 0.001;            // metres
  ThreadedCylinderFitter::Cylinder start;
  start.axis = twin.type == "ThreadedHole" ? -Vector3d::UnitZ() : Vector3d(Vector3d::UnitZ());
  start.radius = twin.radius;
  // The fit looks from the origin of the coordinates.
  const Vector3d instrument = sight.frame.Of(Vector3d::Zero());
  start.point = -instrument;
  std::vector<Vector3d> points;
  for (const Seen& seen : sight.samples) {
    const double height = HeightOf(twin, seen);
    const double off = std::abs(seen.place.head<2>().norm() - twin.radius);
    const bool is_in = height >= window.low && height <= window.high && off <= window.off;
    if (is_in && seen.quality >= window.quality) points.push_back(seen.place - instrument);
  }
  ThreadedCylinderFitter::Statistics statistics;
  try {
    ThreadedCylinderFitter::Fit(points, start, window.low - kMargin, window.high + kMargin,
                                window.off + kMargin, kPlane, kThreadDepth, kThreadShare, false,
                                false, &statistics);
  } catch (const std::exception&) {
    return std::nullopt;
  }
  if (!statistics.threaded || !std::isfinite(statistics.pitch)) return std::nullopt;
  return statistics;
}

/// A thread with its crests on the twin's radius.
/// \param pitch below 0 of a left-handed one
/// \param flank_angle in degrees
sim::Thread ThreadOf(const Twin& twin, double pitch, double depth, double flank_angle) {
  sim::Thread thread;
  thread.pitch = std::abs(pitch);
  thread.left_handed = pitch < 0.0;
  thread.depth = depth;
  thread.flank_angle = flank_angle * kDegree;
  thread.major_radius = twin.radius + (twin.type == "ThreadedHole" ? thread.Depth() : 0.0);
  return thread;
}

/// How far the samples lie off the profile on average, at the best phase.
double OffProfile(const sim::Thread& thread, sim::WallKind kind,
                  const std::vector<WallSample>& samples) {
  constexpr int kPhases = 24;
  const sim::ThreadProfile profile(thread, kind);
  double best = std::numeric_limits<double>::infinity();
  for (int i = 0; i < kPhases; ++i) {
    const double phase = static_cast<double>(i) / kPhases;
    double sum = 0.0;
    for (const WallSample& s : samples) {
      sum += std::abs(s.radius - profile.RadiusAt(profile.Turns(s.z, s.angle) + phase));
    }
    best = std::min(best, sum / static_cast<double>(samples.size()));
  }
  return best;
}

/// The flanks that explain the samples best, the usual ones unless others do so much better.
double FlankAngle(const Twin& twin, double pitch, const std::vector<WallSample>& all) {
  constexpr std::size_t kMost = 500;
  constexpr double kBetter = 0.7;
  const sim::WallKind kind =
      twin.type == "ThreadedHole" ? sim::WallKind::kBore : sim::WallKind::kStud;
  std::vector<WallSample> samples;
  for (std::size_t i = 0; i < std::min(kMost, all.size()); ++i) {
    samples.push_back(all[i * all.size() / std::min(kMost, all.size())]);
  }
  double chosen = 60.0;
  double least = std::numeric_limits<double>::infinity();
  for (const double degrees : {60.0, 55.0, 30.0}) {
    double cost = std::numeric_limits<double>::infinity();
    for (double depth = kLeastDepth; depth < kMostDepth; depth += 0.05) {
      const sim::Thread one = ThreadOf(twin, pitch, depth, degrees);
      cost = std::min(cost, OffProfile(one, kind, samples));
    }
    if (!(cost < (degrees == 60.0 ? 1.0 : kBetter) * least)) continue;
    least = cost;
    chosen = degrees;
  }
  return chosen;
}

nlohmann::json SceneThread(const sim::Thread& thread, double flank_angle) {
  nlohmann::json told = {{"major_diameter", 2.0 * thread.major_radius},
                         {"pitch", thread.pitch},
                         {"depth", thread.depth},
                         {"flank_angle_deg", flank_angle}};
  if (thread.left_handed) told["left_handed"] = true;
  return told;
}

/// How deep the thread is cut. A scan sees as much of the grooves as its view and its beam let it:
/// so the depth is the one with which the same scan of the twin shows as much as was seen. A thread
/// of which the scan tells too little is of the whole depth.
double DepthOf(const Twin& twin, const Sight& sight, const WallWindow& window,
               const ThreadedCylinderFitter::Statistics& fit, double flank_angle) {
  constexpr double kShallow = 0.6;
  constexpr double kLeastTold = 0.1;  // of the depth that is seen
  // What was seen bounds the window, and would hide grooves that are deeper.
  WallWindow wide = window;
  wide.off = std::max(wide.off, ThreadOf(twin, fit.pitch, kMostDepth, flank_angle).Depth() + 1e-4);
  const auto seen_of = [&](double depth) -> std::optional<double> {
    Twin tried = twin;
    tried.thread = SceneThread(ThreadOf(twin, fit.pitch, depth, flank_angle), flank_angle);
    const host::Exchange scan = Simulated(tried, sight, 1);
    const features::Stages none;
    const auto found = FitOf(tried, Sight(tried, scan, none), wide);
    return found ? std::optional(found->profile_depth) : std::nullopt;
  };
  try {
    const std::optional<double> whole = seen_of(1.0), shallow = seen_of(kShallow);
    if (!whole || !shallow || !(*whole - *shallow > kLeastTold * *whole)) return 1.0;
    const double depth =
        kShallow + (1.0 - kShallow) * (fit.profile_depth - *shallow) / (*whole - *shallow);
    return std::clamp(depth, kLeastDepth, kMostDepth);
  } catch (const std::runtime_error&) {
    return 1.0;  // a thread that no scene holds, or a path that cannot be driven
  }
}

void TellThread(Twin& twin, const Sight& sight, const std::vector<WallSample>& samples) {
  if (!MayBeSimulated(sight)) return;
  const WallWindow window = WindowOf(twin, sight);
  const auto fit = FitOf(twin, sight, window);
  if (!fit) return;
  const double flank_angle = FlankAngle(twin, fit->pitch, samples);
  const double depth = DepthOf(twin, sight, window, *fit, flank_angle);
  const sim::Thread thread = ThreadOf(twin, fit->pitch, depth, flank_angle);
  // What a scene takes for a thread.
  const bool is_one = thread.pitch > 1e-6 && thread.pitch <= 0.5 * thread.major_radius &&
                      thread.Depth() <= 0.7 * thread.major_radius;
  if (is_one) twin.thread = SceneThread(thread, flank_angle);
}

/// Height above the surface, or depth below it, at which the part of the twin ends.
double EndOf(const Twin& twin) { return twin.window + std::max(0.0015, 0.25 * twin.radius); }

/// Where a stud or a bore ends: the farthest flat face across its axis, which lies about where the
/// wall does end.
std::optional<double> SeenEnd(const Twin& twin, const Sight& sight) {
  constexpr double kWithin = 0.9;    // radii
  constexpr double kClear = 0.0005;  // metres
  constexpr double kLead = 0.3;      // radii, by which the wall may end before
  std::vector<double> faces;
  std::vector<double> walls;
  for (const Seen& seen : sight.samples) {
    const double height = HeightOf(twin, seen);
    const bool is_inside = seen.place.head<2>().norm() < kWithin * twin.radius;
    if (height > kClear && is_inside) faces.push_back(height);
    if (seen.fate == features::SampleFate::kWall) walls.push_back(height);
  }
  const std::optional<double> face = DeepestPlane(std::move(faces));
  if (!face || walls.empty()) return std::nullopt;
  // The highest few may be stray ones.
  const auto highest = walls.end() - 1 - static_cast<std::ptrdiff_t>(walls.size() / 200);
  std::nth_element(walls.begin(), highest, walls.end());
  const bool is_its_end =
      *face > *highest - kClear && *face < *highest + kLead * twin.radius + 2.0 * kClear;
  return is_its_end ? face : std::nullopt;
}

void TellEnd(Twin& twin, const Sight& sight) {
  constexpr double kShortest = 0.001;  // metres
  const std::optional<double> end = SeenEnd(twin, sight);
  if (!end || *end >= EndOf(twin)) return;
  const double window = *end - (EndOf(twin) - twin.window);
  if (window > kShortest) twin.window = window;
}

/// Where on the wall's circumference an error of form is largest: of waves one of their crests, of
/// a bend the side to which it leads.
struct Directions {
  double crest = 0.0;
  double bend = 0.0;
};

/// By least squares of the radii, beside what the place, the direction and the radius of the
/// cylinder take.
std::optional<Directions> DirectionsOf(const std::vector<WallSample>& samples, int lobes) {
  constexpr Eigen::Index kColumns = 11;
  if (samples.size() < 5 * static_cast<std::size_t>(kColumns)) return std::nullopt;
  double low = std::numeric_limits<double>::infinity(), high = -low;
  for (const WallSample& s : samples) {
    low = std::min(low, s.z);
    high = std::max(high, s.z);
  }
  if (!(high > low)) return std::nullopt;
  Eigen::Matrix<double, kColumns, kColumns> products =
      Eigen::Matrix<double, kColumns, kColumns>::Zero();
  Eigen::Matrix<double, kColumns, 1> sums = Eigen::Matrix<double, kColumns, 1>::Zero();
  for (const WallSample& s : samples) {
    const double t = 2.0 * (s.z - low) / (high - low) - 1.0, bulge = 1.0 / 3.0 - t * t;
    const double c = std::cos(s.angle), sn = std::sin(s.angle);
    Eigen::Matrix<double, kColumns, 1> row;
    row << 1.0, c, sn, t * c, t * sn, t, bulge, bulge * c, bulge * sn, std::cos(lobes * s.angle),
        std::sin(lobes * s.angle);
    products += row * row.transpose();
    sums += s.radius * row;
  }
  // What the samples do not tell apart is taken for as little as possible.
  products.diagonal().array() += 1e-9 * products.trace();
  const Eigen::Matrix<double, kColumns, 1> found = products.ldlt().solve(sums);
  if (!found.allFinite()) return std::nullopt;
  Directions directions;
  directions.crest = std::atan2(found[10], found[9]) / std::max(1, lobes);
  directions.bend = std::atan2(found[8], found[7]);
  return directions;
}

/// Errors of form that stand out of the scatter, carried on over the twin's whole wall.
void TellForm(Twin& twin, const WallForm& form, const std::vector<WallSample>& samples) {
  const auto stands_out = [&](double value, double uncertainty) {
    constexpr double kLeast = 1e-6, kMostOfRadius = 0.02;
    return std::abs(value) > kSignificant * uncertainty && std::abs(value) > kLeast &&
           std::abs(value) < kMostOfRadius * twin.radius;
  };
  const auto directions = DirectionsOf(samples, form.lobes);
  if (!directions) return;
  double low = std::numeric_limits<double>::infinity(), high = -low;
  for (const WallSample& s : samples) {
    low = std::min(low, s.z);
    high = std::max(high, s.z);
  }
  constexpr double kMostLonger = 2.0;
  double longer = EndOf(twin) / (high - low);
  nlohmann::json found = nlohmann::json::object();
  if (form.lobes >= 2 && stands_out(form.roundness, form.roundness_uncertainty)) {
    found["lobes"] = {{{"count", form.lobes},
                       {"amplitude", 0.5 * form.roundness},
                       {"crest_deg", directions->crest / kDegree}}};
  }
  // Up the axis of a bore is into the part, while the scene counts out of it.
  const double sense = twin.type == "ThreadedHole" ? -1.0 : 1.0;
  if (longer > kMostLonger) longer = 0.0;  // a short piece tells little of the whole
  const double taper = sense * longer * form.taper;
  if (stands_out(form.taper, form.taper_uncertainty) && stands_out(taper, 0.0)) {
    found["taper"] = taper;
  }
  const double barrel = longer * longer * form.barrel;
  if (stands_out(form.barrel, form.barrel_uncertainty) && stands_out(barrel, 0.0)) {
    found["barrel"] = barrel;
  }
  const double bend = longer * longer * form.bend;
  if (stands_out(form.bend, form.bend_uncertainty) && stands_out(bend, 0.0)) {
    found["bend"] = bend;
    found["bend_deg"] = directions->bend / kDegree;
  }
  if (!found.empty()) twin.form = std::move(found);
}

}  // namespace

void TellWall(Twin& twin, const Sight& sight) {
  constexpr std::size_t kFewest = 50;
  const std::vector<WallSample> samples = WallSamples(sight);
  if (samples.size() < kFewest || !(twin.radius > 0.0)) return;
  TellEnd(twin, sight);
  TellThread(twin, sight, samples);
  if (sight.stages.form) TellForm(twin, *sight.stages.form, samples);
}

}  // namespace libmfx::uncertainty
