#include "geometry/cylinder/helix.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <vector>

#include "geometry/cylinder/wall_pattern.h"

namespace libmfx::geometry::cylinder {
namespace {

constexpr double kFinest = 0.05;  // trial pitches, nominal radii
constexpr double kCoarsest = 0.8;
constexpr double kTrialsACycle = 6.0;  // trial frequencies a cycle over the length of the wall
constexpr double kMostSamples = 2000.0;
constexpr double kFewestSamples = 200.0;
constexpr double kMostSums = 4e6;  // samples times trial frequencies, a pattern and hand
constexpr double kChance = 1e-8;   // that noise shows a helix as clear

// Where a sample is put: where its sight line enters the wall of the model, or where it ends.
enum class Place { kEntry, kEnd };

// The k-th of samples that are taken one from each `stride` points, at uneven steps: even steps
// along an even scan would show a pitch as another one.
Eigen::Index PlaceOf(Eigen::Index k, Eigen::Index stride, Eigen::Index points) {
  constexpr double kGolden = 0.61803398874989485;
  const double turns = kGolden * static_cast<double>(k);
  const auto aside =
      static_cast<Eigen::Index>((turns - std::floor(turns)) * static_cast<double>(stride));
  return std::min(k * stride + aside, points - 1);
}

WallPattern MakePattern(const Points& points, const Model& model, const Eigen::Vector3d& instrument,
                        bool bore, Place place, Eigen::Index samples) {
  const Eigen::Vector3d base(model.offset.x(), model.offset.y(), model.reference_height);
  const Eigen::Vector3d u = model.direction.normalized();
  const Eigen::Vector3d e1 = u.unitOrthogonal(), e2 = u.cross(e1);
  const Eigen::Index stride = std::max<Eigen::Index>(1, points.size() / samples);
  WallPattern pattern;
  const Eigen::Index most = (points.size() + stride - 1) / stride;
  for (Eigen::ArrayXd* column : {&pattern.height, &pattern.turn, &pattern.depth})
    column->resize(most);
  Eigen::Index count = 0;
  for (Eigen::Index k = 0; k < most; ++k) {
    const Eigen::Index i = PlaceOf(k, stride, points.size());
    const Eigen::Vector3d w = (points.at(i) - instrument).normalized();
    const Eigen::Vector3d q = points.at(i) - base;
    const Eigen::Vector2d across(w.dot(e1), w.dot(e2)), at(q.dot(e1), q.dot(e2));
    double way = 0.0;
    if (place == Place::kEntry) {
      // The near crossing of the sight line with a stud, the far one with a bore.
      const double a = across.squaredNorm(), b = at.dot(across);
      const double root = b * b - a * (at.squaredNorm() - model.radius * model.radius);
      if (!(root > 0.0) || !(a > 0.0)) continue;
      way = (-b + (bore ? 1.0 : -1.0) * std::sqrt(root)) / a;
    }
    const Eigen::Vector2d entry = at + way * across;
    pattern.height[count] = q.dot(u) + way * w.dot(u);
    pattern.turn[count] = std::atan2(entry.y(), entry.x()) / kTurn;
    pattern.depth[count++] = model.radius - at.norm();
  }
  for (Eigen::ArrayXd* column : {&pattern.height, &pattern.turn, &pattern.depth})
    column->conservativeResize(count);
  return pattern;
}

// The halves of a wall, by height and around the arc that was seen.
std::vector<Eigen::ArrayXd> Halves(const WallPattern& pattern) {
  const auto n = static_cast<double>(pattern.size());
  const double middle =
      std::atan2((kTurn * pattern.turn).sin().sum() / n, (kTurn * pattern.turn).cos().sum() / n) /
      kTurn;
  const Eigen::ArrayXd aside = pattern.turn - middle;
  const Eigen::ArrayXd around = aside - (aside + 0.5).floor();
  const double height = pattern.height.mean();
  return {(pattern.height < height).cast<double>(), (pattern.height >= height).cast<double>(),
          (around < 0.0).cast<double>(), (around >= 0.0).cast<double>()};
}

// Whether a helix is in each half of the wall as it is in the whole.
bool IsEverywhere(const WallPattern& pattern, const HelixTrial& trial) {
  constexpr double kLeastOfWhole = 0.3;
  const Eigen::Vector2d whole = pattern.Harmonic(trial, Eigen::ArrayXd::Ones(pattern.size()));
  for (const Eigen::ArrayXd& half : Halves(pattern)) {
    if (!(pattern.Harmonic(trial, half).dot(whole) >= kLeastOfWhole * whole.squaredNorm()))
      return false;
  }
  return true;
}

// Whether of so many trials on noise alone the best would reach this share with a probability of
// `kChance` at the most: on n samples less the terms taken out, the share in two of the rest is
// distributed as the square of a multiple correlation.
bool IsSignificant(double share, Eigen::Index samples, int terms, double trials) {
  const double freedom = static_cast<double>(samples) - terms - 3.0;
  if (!(freedom > 0.0)) return false;
  return std::log(trials) + 0.5 * freedom * std::log1p(-std::min(share, 1.0 - 1e-15)) <
         std::log(kChance);
}

// Whether rings around the wall, a helix of the other hand, or one that climbs faster than any
// thread explains as much: over a part of the arc rings look like a helix, a wave along the wall
// and around it is two helices at once, and a long one shows at the spacing of an even scan as
// well.
bool IsWave(const WallPattern& pattern, const HelixTrial& trial, double share, double lowest,
            double step) {
  constexpr double kClearlyMore = 1.1;
  const HelixTrial longest = pattern.Best(0.0, lowest - 1.0 / pattern.Length(), step);
  for (const HelixTrial& other :
       {HelixTrial{trial.frequency, 0.0}, HelixTrial{trial.frequency, -trial.hand}, longest}) {
    if (share < kClearlyMore * pattern.Share(pattern.Refined(other, step))) return true;
  }
  return false;
}

// A clear helix of a pattern.
struct Shown {
  HelixTrial trial;
  double share = 0.0;
  double trials = 0.0;  // that it is the best of
};

std::optional<Shown> Scan(const WallPattern& pattern, int terms, double least_share) {
  const double length = pattern.Length();
  if (!(pattern.depth.square().sum() > 0.0) || !(length > 0.0)) return std::nullopt;
  const double step = 1.0 / (kTrialsACycle * length);
  const double lowest = std::max(2.0 / length, 1.0 / kCoarsest);
  if (!(lowest < 1.0 / kFinest)) return std::nullopt;
  Shown shown;
  shown.trial = pattern.Refined(pattern.Best(lowest, 1.0 / kFinest, step), step);
  shown.share = pattern.Share(shown.trial);
  shown.trials = 2.0 * 2.0 * (1.0 / kFinest - lowest) / step;
  if (shown.share < least_share || shown.trial.frequency < lowest ||
      !IsSignificant(shown.share, pattern.size(), terms, shown.trials) ||
      !IsEverywhere(pattern, shown.trial) ||
      IsWave(pattern, shown.trial, shown.share, lowest, step))
    return std::nullopt;
  return shown;
}

// Whether a helix shows where the samples lie as well, by least squares. Noise moves the entry of a
// sight line along the axis, and that as far as it moves the sample in or out: on an even scan this
// makes a helix of the scan's own spacing, which is not there where the samples lie.
bool ShowsAtEnds(const WallPattern& ends, int terms, const Shown& shown, double least_share) {
  const double share = ends.Explained(shown.trial);
  return share >= least_share && IsSignificant(share, ends.size(), terms, shown.trials);
}

double Quantile(std::vector<double>& values, double share) {
  const auto at =
      values.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1));
  std::nth_element(values.begin(), at, values.end());
  return *at;
}

// How many samples a pattern gets: the longer the wall, the more frequencies are to be tried. None
// for a wall of more than 160 radii, which no screw is.
Eigen::Index Samples(const Points& points, const Model& model) {
  const Eigen::Vector3d u = model.direction.normalized();
  const Eigen::ArrayXd heights = points.x * u.x() + points.y * u.y() + points.z * u.z();
  const double trials = kTrialsACycle / kFinest * (heights.maxCoeff() - heights.minCoeff());
  const double samples = std::min(kMostSamples, kMostSums / std::max(trials, 1.0));
  return samples < kFewestSamples ? 0 : static_cast<Eigen::Index>(samples);
}

}  // namespace

SeenFrom SideSeen(const Points& points, const Model& model, const Eigen::Vector3d& instrument) {
  constexpr double kClear = 0.2;  // of what walls that face one way come to
  const Eigen::Vector3d base(model.offset.x(), model.offset.y(), model.reference_height);
  const Eigen::Vector3d u = model.direction.normalized();
  double facing = 0.0, whole = 0.0;
  for (Eigen::Index i = 0; i < points.size(); ++i) {
    const Eigen::Vector3d q = points.at(i) - base;
    const Eigen::Vector3d outward = q - q.dot(u) * u;
    const double faces = outward.dot((instrument - points.at(i)).normalized());
    facing += faces;
    whole += std::abs(faces);
  }
  if (std::abs(facing) < kClear * whole) return SeenFrom::kAround;
  return facing < 0.0 ? SeenFrom::kInside : SeenFrom::kOutside;
}

std::optional<Helix> FindHelix(const Points& points, const Model& model,
                               const Eigen::Vector3d& instrument, double least_depth,
                               double least_share) {
  const Eigen::ArrayXd residuals = Residuals(points, model);
  std::vector<double> sorted(residuals.begin(), residuals.end());
  Helix helix;
  helix.depth = Quantile(sorted, 0.95) - Quantile(sorted, 0.05);
  if (!(helix.depth >= least_depth)) return std::nullopt;
  const Eigen::Index samples = Samples(points, model);
  if (samples == 0) return std::nullopt;
  const SeenFrom side = SideSeen(points, model, instrument);
  helix.around = side == SeenFrom::kAround;
  // The nominal radius, 1 here, is that of the crests, and the mean of a wall lies behind its
  // crests.
  helix.bore = helix.around ? residuals.mean() + model.radius > 1.0 : side == SeenFrom::kInside;
  constexpr Eigen::Index kFewestRows = 30;
  WallPattern entries = MakePattern(points, model, instrument, helix.bore, Place::kEntry, samples);
  WallPattern ends = MakePattern(points, model, instrument, helix.bore, Place::kEnd, samples);
  if (ends.size() < kFewestRows) return std::nullopt;
  const int terms = ends.TakeOutForm();
  if (entries.size() >= kFewestRows) {
    entries.TakeOutForm();
    const auto shown = Scan(entries, terms, least_share);
    if (shown && ShowsAtEnds(ends, terms, *shown, least_share)) {
      helix.share = shown->share;
      helix.pitch = shown->trial.hand / shown->trial.frequency;
    }
  }
  // From one side the profile's visible flanks repeat as well as the profile itself: then both
  // places show much the same share, and the entries the right pitch.
  const auto shown = Scan(ends, terms, least_share);
  if (shown && shown->share >= 2.0 * helix.share) {
    helix.share = shown->share;
    helix.pitch = shown->trial.hand / shown->trial.frequency;
  }
  if (helix.share == 0.0) return std::nullopt;
  return helix;
}

double SharpenPitch(const Points& points, const Model& model, const Eigen::Vector3d& instrument,
                    const Helix& helix) {
  constexpr double kReach = 0.04;  // of the pitch
  constexpr Eigen::Index kSamples = 1000;
  double most = -1.0, pitch = helix.pitch;
  for (const Place place : {Place::kEntry, Place::kEnd}) {
    const WallPattern pattern = MakePattern(points, model, instrument, helix.bore, place, kSamples);
    if (pattern.size() == 0) continue;
    const double step = 1.0 / (kTrialsACycle * std::max(pattern.Length(), 1e-12));
    HelixTrial best{1.0 / std::abs(helix.pitch), std::copysign(1.0, helix.pitch)};
    const HelixTrial first = best;
    const int reach = 1 + static_cast<int>(kReach * first.frequency / step);
    double best_share = -1.0;
    for (int k = -reach; k <= reach; ++k) {
      const HelixTrial moved{first.frequency + k * step, first.hand};
      const double share = pattern.Share(moved);
      if (share > best_share) best = moved, best_share = share;
    }
    best = pattern.Refined(best, step);
    // The entries show the right pitch; the ends have to show it clearly better.
    const double share = pattern.Share(best) * (place == Place::kEnd ? 0.5 : 1.0);
    if (share <= most) continue;
    most = share;
    pitch = best.hand / best.frequency;
  }
  return pitch;
}

}  // namespace libmfx::geometry::cylinder
