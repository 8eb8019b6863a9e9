#include "geometry/cylinder/helix.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <vector>

namespace libmfx::geometry::cylinder {
namespace {

constexpr double kFinest = 0.05;  // trial pitches, nominal radii
constexpr double kCoarsest = 0.8;
constexpr double kTrialsACycle = 6.0;  // trial frequencies a cycle over the length of the wall
constexpr double kMostSamples = 2000.0;
constexpr double kFewestSamples = 200.0;
constexpr double kMostSums = 4e6;  // samples times trial frequencies, a pattern and hand

// Depth below the model's wall, by the place where the sight line enters the wall.
struct Pattern {
  std::vector<double> height, turn, value;  // value: depth less its mean
  double variance = 0.0;

  void Add(double at_height, double at_turn, double depth) {
    height.push_back(at_height);
    turn.push_back(at_turn);
    value.push_back(depth);
  }

  void Centre() {
    double mean = 0.0;
    for (const double v : value) mean += v;
    mean /= static_cast<double>(value.size());
    for (double& v : value) {
      v -= mean;
      variance += v * v;
    }
    variance /= static_cast<double>(value.size());
  }

  // Share of the variance in the first harmonic of `frequency` (cycles a unit of height).
  double Share(double frequency, double hand) const {
    double c = 0.0, s = 0.0;
    for (std::size_t i = 0; i < value.size(); ++i) {
      const double phase = kTurn * (frequency * height[i] - hand * turn[i]);
      c += value[i] * std::cos(phase);
      s += value[i] * std::sin(phase);
    }
    const auto n = static_cast<double>(value.size());
    return 2.0 * (c * c + s * s) / (n * n * variance);
  }
};

// Where a sample is put: where its sight line enters the wall of the model, or where it ends.
enum class Place { kEntry, kEnd };

Pattern MakePattern(const Points& points, const Model& model, const Eigen::Vector3d& instrument,
                    bool bore, Place place, Eigen::Index samples) {
  const Eigen::Vector3d base(model.offset.x(), model.offset.y(), model.reference_height);
  const Eigen::Vector3d u = model.direction.normalized();
  const Eigen::Vector3d e1 = u.unitOrthogonal(), e2 = u.cross(e1);
  const Eigen::Index stride = std::max<Eigen::Index>(1, points.size() / samples);
  Pattern pattern;
  for (Eigen::Index i = 0; i < points.size(); i += stride) {
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
    pattern.Add(q.dot(u) + way * w.dot(u), std::atan2(entry.y(), entry.x()) / kTurn,
                model.radius - at.norm());
  }
  if (!pattern.value.empty()) pattern.Centre();
  return pattern;
}

// Climbs to the top of the peak that the trial frequencies hit on a side.
double Refine(const Pattern& pattern, double frequency, double hand, double step) {
  double here = pattern.Share(frequency, hand);
  for (double width = step; width > 1e-4 * step; width *= 0.5) {
    for (const double f : {frequency - width, frequency + width}) {
      const double share = pattern.Share(f, hand);
      if (share <= here) continue;
      here = share;
      frequency = f;
    }
  }
  return frequency;
}

// The best pitch of a pattern: into `helix`, if its share is twice the one that stands there. From
// one side the profile's visible flanks repeat as well as the profile itself: then both places show
// much the same share, and the entries the right pitch.
void Scan(const Pattern& pattern, double least_share, Helix& helix) {
  if (!(pattern.variance > 0.0)) return;
  const auto [low, high] = std::minmax_element(pattern.height.begin(), pattern.height.end());
  const double length = *high - *low;
  const double step = 1.0 / (kTrialsACycle * length);
  double best = 0.0, frequency = 0.0, hand = 1.0;
  for (const double trial_hand : {1.0, -1.0}) {
    for (double f = std::max(2.0 / length, 1.0 / kCoarsest); f < 1.0 / kFinest; f += step) {
      const double share = pattern.Share(f, trial_hand);
      if (share <= best) continue;
      best = share;
      frequency = f;
      hand = trial_hand;
    }
  }
  // The best of n trials on noise comes to about 2 ln(n) over the number of samples.
  const double chance = 20.0 / static_cast<double>(pattern.value.size());
  if (best < std::max(least_share, chance) || best < 2.0 * helix.share) return;
  frequency = Refine(pattern, frequency, hand, step);
  helix.share = pattern.Share(frequency, hand);
  helix.pitch = hand / frequency;
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

bool SeenFromInside(const Points& points, const Model& model, const Eigen::Vector3d& instrument) {
  const Eigen::Vector3d base(model.offset.x(), model.offset.y(), model.reference_height);
  const Eigen::Vector3d u = model.direction.normalized();
  double facing = 0.0;
  for (Eigen::Index i = 0; i < points.size(); ++i) {
    const Eigen::Vector3d q = points.at(i) - base;
    facing += (q - q.dot(u) * u).dot((instrument - points.at(i)).normalized());
  }
  return facing < 0.0;
}

std::optional<Helix> FindHelix(const Points& points, const Model& model,
                               const Eigen::Vector3d& instrument, double least_depth,
                               double least_share) {
  const Eigen::ArrayXd residuals = Residuals(points, model);
  std::vector<double> sorted(residuals.begin(), residuals.end());
  Helix helix;
  helix.depth = Quantile(sorted, 0.95) - Quantile(sorted, 0.05);
  if (!(helix.depth >= least_depth)) return std::nullopt;
  helix.bore = SeenFromInside(points, model, instrument);
  const Eigen::Index samples = Samples(points, model);
  if (samples == 0) return std::nullopt;
  for (const Place place : {Place::kEntry, Place::kEnd})
    Scan(MakePattern(points, model, instrument, helix.bore, place, samples), least_share, helix);
  if (helix.share == 0.0) return std::nullopt;
  return helix;
}

}  // namespace libmfx::geometry::cylinder
