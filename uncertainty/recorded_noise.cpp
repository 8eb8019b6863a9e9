#include "uncertainty/recorded_noise.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

#include "uncertainty/recorded_footprint.h"
#include "uncertainty/recorded_samples.h"

namespace libmfx::uncertainty {

namespace {

/// Median of squares of a normal deviate.
constexpr double kMedianOfSquares = 0.4549;
/// Sigmas beyond which a value belongs to something else than noise.
constexpr double kClip = 4.0;
/// Sigmas, and metres, that a stray sample at least lies off its neighbours.
constexpr double kStraySigmas = 8.0;
constexpr double kLeastStray = 5e-5;
/// Overlapping second differences of white noise: so many make up for one that is independent.
constexpr double kOverlap = 1.944;
/// How far the factors of the noise may be believed to lie from 1, sigma of the logarithm of their
/// squares: a factor of 2.7. It decides what the samples leave open.
constexpr double kPrior = 2.0;
/// The same of the loss of quality with the incidence, as a share of the model's.
constexpr double kPriorSlope = 0.15;
constexpr double kLeastFactor = 0.01;
constexpr double kMostFactor = 1000.0;
/// No number is told of fewer samples.
constexpr std::size_t kFewest = 10;
constexpr std::int64_t kFewestAsked = 50;
/// So many came in a row: none gets lost.
constexpr std::int64_t kNoneLost = 200;
constexpr double kMostShare = 0.5;

double MedianOf(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// Three samples in a row; the differences rest on the recording, the variances on the model.
struct Triple {
  double second;    ///< metres: first - 2 * middle + last, of the distances from the twin
  double constant;  ///< variance of it, of what does not change with the incidence
  double speckle;   ///< of what does
  double other;     ///< of what is not to be told here
  double surface;   ///< square of what the model's surface does

  double Variance(double constant_square, double speckle_square) const {
    return constant_square * constant + speckle_square * speckle + other;
  }
};

/// Whether asked[i - 1] to asked[i + 1] follow each other, the outer two being of use.
bool IsTriple(const AskedSamples& asked, std::size_t i) {
  return asked[i - 1].line == asked[i + 1].line && asked[i - 1].IsPlain() &&
         asked[i + 1].IsPlain() && asked[i].came && asked[i].met &&
         asked[i].meets == BeamMeets::kSurface;
}

Triple TripleAt(const AskedSamples& asked, std::size_t i, const InstrumentModel& model) {
  const sim::Noise& noise = model.noise;
  Triple triple{};
  double surface = 0.0;
  for (std::size_t k = i - 1; k <= i + 1; ++k) {
    const AskedSample& sample = asked[k];
    const double weight = k == i ? -2.0 : 1.0;
    const double square = weight * weight;
    const double c = std::max(sample.cos_incidence, 1e-3);
    const double grown = noise.range_per_metre * sample.twin_range;
    const double depth = BeamDiameter(model, sample.twin_range) * std::sqrt(1.0 - c * c) / c;
    triple.second += weight * sample.Residual();
    surface += weight * sample.surface_range;
    triple.constant += square * (noise.range * noise.range + grown * grown);
    triple.speckle += square * noise.speckle * noise.speckle * depth * depth;
    triple.other += square * noise.angle * noise.angle * sample.angle_variance;
  }
  triple.surface = surface * surface;
  return triple;
}

/// Squares of the factors of the range noise.
struct Factors {
  double constant = 1.0;
  double speckle = 1.0;

  double Clipped(const Triple& t) const { return kClip * std::sqrt(t.Variance(constant, speckle)); }
};

/// One step towards the most likely factors of the logarithms' normal priors.
/// \returns how far it went
double Improve(const std::vector<Triple>& triples, Factors& factors) {
  const std::array<double, 2> at = {std::log(factors.constant), std::log(factors.speckle)};
  double fisher[2][2] = {{1.0 / (kPrior * kPrior), 0.0}, {0.0, 1.0 / (kPrior * kPrior)}};
  double gradient[2] = {-at[0] / (kPrior * kPrior), -at[1] / (kPrior * kPrior)};
  for (const Triple& triple : triples) {
    if (std::fabs(triple.second) > factors.Clipped(triple)) continue;
    const double variance = triple.Variance(factors.constant, factors.speckle);
    const double excess = triple.second * triple.second / variance - 1.0;
    const double shares[2] = {factors.constant * triple.constant / variance,
                              factors.speckle * triple.speckle / variance};
    for (int a = 0; a < 2; ++a) {
      gradient[a] += 0.5 / kOverlap * excess * shares[a];
      for (int b = 0; b < 2; ++b) fisher[a][b] += 0.5 / kOverlap * shares[a] * shares[b];
    }
  }
  const double determinant = fisher[0][0] * fisher[1][1] - fisher[0][1] * fisher[1][0];
  const double steps[2] = {(fisher[1][1] * gradient[0] - fisher[0][1] * gradient[1]) / determinant,
                           (fisher[0][0] * gradient[1] - fisher[1][0] * gradient[0]) / determinant};
  const auto moved = [](double from, double step) {
    return std::exp(std::clamp(from + std::clamp(step, -0.5, 0.5), 2.0 * std::log(kLeastFactor),
                               2.0 * std::log(kMostFactor)));
  };
  const Factors before = factors;
  factors = {moved(at[0], steps[0]), moved(at[1], steps[1])};
  return std::fabs(std::log(factors.constant / before.constant)) +
         std::fabs(std::log(factors.speckle / before.speckle));
}

/// What all noise is to be multiplied with, so that half of the samples lie within its median.
std::optional<double> CommonFactor(const std::vector<Triple>& triples) {
  if (triples.size() < kFewest) return std::nullopt;
  std::vector<double> squares;
  squares.reserve(triples.size());
  for (const Triple& t : triples) squares.push_back(t.second * t.second / t.Variance(1.0, 1.0));
  return std::clamp(MedianOf(std::move(squares)) / kMedianOfSquares, kLeastFactor * kLeastFactor,
                    kMostFactor * kMostFactor);
}

std::vector<Triple> TriplesOf(const AskedSamples& asked, const InstrumentModel& model) {
  std::vector<Triple> triples;
  for (std::size_t i = 1; i + 1 < asked.size(); ++i) {
    if (!IsTriple(asked, i) || !asked[i].takes_part) continue;
    triples.push_back(TripleAt(asked, i, model));
  }
  // What lies where on the surface is not known, how much there is of it is.
  double surface = 0.0;
  for (const Triple& t : triples) surface += t.surface / static_cast<double>(triples.size());
  for (Triple& t : triples) t.other += surface;
  std::erase_if(triples, [](const Triple& t) { return !(t.Variance(1.0, 1.0) > 0.0); });
  return triples;
}

void TakeRangeNoise(const AskedSamples& asked, InstrumentModel& model) {
  InstrumentModel scaled = model;
  // Nothing is no number that a factor could be told of.
  if (scaled.noise.range == 0.0 && scaled.noise.range_per_metre == 0.0) scaled.noise.range = 1e-6;
  const std::vector<Triple> triples = TriplesOf(asked, scaled);
  const std::optional<double> common = CommonFactor(triples);
  if (!common) return;
  Factors factors{*common, *common};
  for (int step = 0; step < 60; ++step) {
    if (Improve(triples, factors) < 1e-6) break;
  }
  scaled.noise.range *= std::sqrt(factors.constant);
  scaled.noise.range_per_metre *= std::sqrt(factors.constant);
  scaled.noise.speckle *= std::sqrt(factors.speckle);
  model = std::move(scaled);
}

void TakeStrays(const AskedSamples& asked, InstrumentModel& model) {
  const std::optional<double> common = CommonFactor(TriplesOf(asked, model));
  if (!common) return;
  std::int64_t judged = 0;
  std::vector<double> off;
  for (std::size_t i = 1; i + 1 < asked.size(); ++i) {
    if (!IsTriple(asked, i)) continue;
    const Triple triple = TripleAt(asked, i, model);
    const double sigma = std::sqrt(*common * triple.Variance(1.0, 1.0) / 6.0);
    const double limit = std::max(kLeastStray, kStraySigmas * sigma);
    // Two neighbours that do not agree cannot tell which of the three is astray.
    if (std::fabs(asked[i - 1].Residual() - asked[i + 1].Residual()) > limit) continue;
    ++judged;
    if (std::fabs(0.5 * triple.second) > limit) off.push_back(0.5 * triple.second);
  }
  if (judged < kFewestAsked || (off.empty() && judged < kNoneLost)) return;
  model.noise.stray =
      std::min(kMostShare, static_cast<double>(off.size()) / static_cast<double>(judged));
  if (off.size() < kFewest) return;
  double squares = 0.0;
  for (const double each : off) squares += each * each;
  model.noise.stray_span =
      std::min(1.0, std::sqrt(3.0 * squares / static_cast<double>(off.size())));
}

/// A quality less what is expected, over the logarithm of the incidence's cosine.
struct QualityPoint {
  double x;
  double left;
};

/// A straight line through such points, and how far they scatter about it.
struct QualityLine {
  double level = 0.0;  ///< at x = 0
  double slope = 0.0;
  double sigma = 0.0;
};

/// \param held sigma that the slope may be believed to lie from 0
std::optional<QualityLine> LineThrough(const std::vector<QualityPoint>& points, double held) {
  if (points.size() < 2 * kFewest) return std::nullopt;
  std::vector<double> values;
  values.reserve(points.size());
  for (const QualityPoint& p : points) values.push_back(p.left);
  QualityLine line;
  line.level = MedianOf(values);
  for (double& value : values) value = std::fabs(value - line.level);
  line.sigma = 1.4826 * MedianOf(values);
  for (int round = 0; round < 10; ++round) {
    double n = 0.0, x = 0.0, y = 0.0, xx = 0.0, xy = 0.0, squares = 0.0;
    for (const QualityPoint& p : points) {
      const double off = p.left - line.level - line.slope * p.x;
      if (std::fabs(off) > kClip * line.sigma + 1e-9) continue;
      n += 1.0;
      x += p.x;
      y += p.left;
      xx += p.x * p.x;
      xy += p.x * p.left;
      squares += off * off;
    }
    if (n < static_cast<double>(kFewest)) return std::nullopt;
    line.sigma = std::sqrt(squares / n);
    const double prior = held > 0.0 ? std::max(line.sigma * line.sigma, 1e-6) / (held * held) : 1e9;
    line.slope = (xy - x * y / n) / (xx - x * x / n + prior);
    line.level = (y - line.slope * x) / n;
  }
  return line;
}

/// The noise whose quality is that of the recording, surface and all.
/// \param[in,out] noise the model's, and that without what the model's surface does
sim::Noise TakeQuality(const AskedSamples& asked, sim::Noise& noise) {
  std::vector<QualityPoint> points;
  std::vector<QualityPoint> surface;
  for (const AskedSample& sample : asked) {
    if (!sample.came || !sample.met || sample.meets != BeamMeets::kSurface) continue;
    // Unusable ones count: a mean of those that passed a threshold would be too good.
    const bool of_use = sample.takes_part || sample.fate == features::SampleFate::kUnusable;
    if (!of_use || sample.cos_incidence < 0.3 || std::fabs(sample.Residual()) > 1e-3) continue;
    const double x = std::log10(sample.cos_incidence);
    points.push_back({x, sample.quality - sample.ExpectedQuality(noise)});
    surface.push_back({x, sample.surface_quality});
  }
  const double held = kPriorSlope * noise.quality_incidence;
  const std::optional<QualityLine> found = LineThrough(points, held);
  const std::optional<QualityLine> known = LineThrough(surface, held);
  if (!found || !known) return noise;
  for (const AskedSample& sample : asked) {
    if (sample.came) noise.quality_floor = std::min(noise.quality_floor, sample.quality);
  }
  const auto with = [&](double level, double slope, double square) {
    sim::Noise changed = noise;
    changed.quality_peak = std::clamp(noise.quality_peak + level, 0.0, 200.0);
    changed.quality_incidence = std::max(0.0, noise.quality_incidence + slope);
    changed.quality_noise = std::min(std::sqrt(std::max(0.0, square)), 50.0);
    return changed;
  };
  const sim::Noise seen = with(found->level, found->slope, found->sigma * found->sigma);
  noise = with(found->level - known->level, found->slope - known->slope,
               found->sigma * found->sigma - known->sigma * known->sigma);
  return seen;
}

/// What became of the samples that are asked for on a plain surface, line by line.
struct Losses {
  std::int64_t asked = 0;
  std::int64_t lost = 0;
  std::int64_t ended = 0;  ///< that are the last ones of a row of lost ones
};

/// \param first, last the first and the last one of a line that took part
void CountLosses(const AskedSamples& asked, std::size_t first, std::size_t last,
                 const sim::Noise& noise, Losses& losses) {
  const auto counts = [&](const AskedSample& sample) {
    return sample.meets == BeamMeets::kSurface && sample.met &&
           sample.ExpectedQuality(noise) >= noise.quality_floor + 5.0 * noise.quality_noise;
  };
  for (std::size_t i = first + 1; i < last; ++i) {
    if (!counts(asked[i])) continue;
    ++losses.asked;
    if (asked[i].came) continue;
    ++losses.lost;
    losses.ended += counts(asked[i + 1]) && asked[i + 1].came ? 1 : 0;
  }
}

/// \returns the share that got lost
double TakeLost(const AskedSamples& asked, const sim::Noise& seen, sim::BurstsSpec& bursts) {
  Losses losses;
  for (std::size_t i = 0; i < asked.size();) {
    std::size_t end = i;
    std::optional<std::size_t> first;
    std::size_t last = i;
    for (; end < asked.size() && asked[end].line == asked[i].line; ++end) {
      if (!asked[end].IsPlain()) continue;
      if (!first) first = end;
      last = end;
    }
    if (first) CountLosses(asked, *first, last, seen, losses);
    i = end;
  }
  if (losses.asked < (losses.lost > 0 ? kFewestAsked : kNoneLost)) return bursts.share;
  const auto lost = static_cast<double>(losses.lost);
  bursts.share = std::min(kMostShare, lost / static_cast<double>(losses.asked));
  if (losses.lost > 0) {
    bursts.length =
        std::clamp(lost / static_cast<double>(std::max<std::int64_t>(1, losses.ended)), 1.0, 1e3);
  }
  return bursts.share;
}

}  // namespace

InstrumentModel AsRecorded(InstrumentModel model, const sim::Scene& twin,
                           const host::Exchange& scan, const features::Stages& stages,
                           std::uint64_t seed) {
  const AskedSamples asked = LayBeside(model, twin, scan, stages);
  const sim::Noise seen = TakeQuality(asked, model.noise);
  TakeStrays(asked, model);
  const double lost = TakeLost(asked, seen, model.errors.bursts);
  const FootprintFound footprint = FootprintScale(model, twin, seen, asked, lost, seed);
  model.noise.footprint *= footprint.scale;
  model.footprint_spread = footprint.spread;
  TakeRangeNoise(asked, model);
  return model;
}

}  // namespace libmfx::uncertainty
