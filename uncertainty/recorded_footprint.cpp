#include "uncertainty/recorded_footprint.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>
#include <vector>

#include "sim/rng.h"

namespace libmfx::uncertainty {

namespace {

/// Widths of the beam that the twin is scanned with, in units of the model's.
constexpr std::array<double, 5> kWidths = {0.4, 0.63, 1.0, 1.6, kWidestBeam};
/// Scans with each of them: as many as take no longer than two scans of the whole path, between
/// these.
constexpr std::size_t kFewestScans = 3;
constexpr std::size_t kMostScans = 12;
/// No more samples at edges are looked at.
constexpr std::size_t kMostAtEdges = 20'000;
/// A sample counts with no more lost quality than this: what is lost beyond says more of what lies
/// behind the edge.
constexpr double kMostLost = 25.0;
/// Sigmas of the quality that are no loss yet.
constexpr double kNoLoss = 2.0;
/// The surface beside an edge lies at most so many samples off, and is seen at less than 60
/// degrees.
constexpr std::size_t kBeside = 5;
constexpr double kBesideCos = 0.5;
/// At an edge that is of use the range jumps by so many metres, and so many times the way over it.
constexpr double kJump = 0.002;
constexpr double kJumpByWay = 3.0;
/// Of samples off the edges as many came or did not come as the twin tells; where fewer did, the
/// twin is not what was scanned.
constexpr double kAgreeing = 0.8;
/// How far the width may be believed to lie from the model's: sigma of its logarithm. It decides
/// what the edges leave open.
constexpr double kPriorWidth = 0.3;
/// Sigma (in quality) of a loss that no sample had a part in.
constexpr double kLeastSigma = 10.0;

/// A sample where the surface breaks off, and what it would be on either side.
struct EdgeSample {
  std::size_t index;
  double front_range;    ///< metres
  double front_quality;  ///< without an edge
  double other_range;    ///< of what lies behind; infinite: nothing does
  double other_quality;

  /// Quality that an edge cost.
  double Lost(double range, double quality, double noise) const {
    const bool is_other = std::fabs(range - other_range) < std::fabs(range - front_range);
    const double whole = is_other ? other_quality : front_quality;
    return std::clamp(whole - quality - kNoLoss * noise, 0.0, kMostLost);
  }
};
using EdgeSamples = std::vector<EdgeSample>;

/// The nearest sample of a surface that took part, from `from` on or back; null if there is none on
/// the line.
const AskedSample* SurfaceBeside(const AskedSamples& asked, std::size_t from, bool forward,
                                 int line) {
  for (std::size_t k = 0; k < kBeside; ++k) {
    if (!forward && k > from) return nullptr;
    const std::size_t i = forward ? from + k : from - k;
    if (i >= asked.size() || asked[i].line != line) return nullptr;
    if (asked[i].IsPlain() && asked[i].cos_incidence > kBesideCos) return &asked[i];
  }
  return nullptr;
}

/// Appends the edge samples [first, last) if a surface breaks off there.
void AddRun(const AskedSamples& asked, const sim::Noise& noise, std::size_t first, std::size_t last,
            EdgeSamples& edges) {
  const int line = asked[first].line;
  if (first == 0 || last >= asked.size()) return;
  if (asked[first - 1].line != line || asked[last].line != line) return;
  const AskedSample* before = SurfaceBeside(asked, first - 1, false, line);
  const AskedSample* after = SurfaceBeside(asked, last, true, line);
  const bool is_before =
      before != nullptr && (after == nullptr || before->twin_range < after->twin_range);
  const AskedSample* front = is_before ? before : after;
  if (front == nullptr) return;
  const AskedSample& other = is_before ? asked[last] : asked[first - 1];
  const double way = static_cast<double>(last - first + kBeside) * asked[first].spacing;
  if (other.met && other.twin_range < front->twin_range + kJump + kJumpByWay * way) return;
  const double none = std::numeric_limits<double>::infinity();
  for (std::size_t i = first; i < last && edges.size() < kMostAtEdges; ++i) {
    edges.push_back({i, front->twin_range, front->ExpectedQuality(noise),
                     other.met ? other.twin_range : none,
                     other.met ? other.ExpectedQuality(noise) : 0.0});
  }
}

EdgeSamples FindEdges(const AskedSamples& asked, const sim::Noise& noise) {
  EdgeSamples edges;
  for (std::size_t first = 0; first < asked.size();) {
    std::size_t last = first + 1;
    if (asked[first].meets == BeamMeets::kEdge) {
      while (last < asked.size() && asked[last].line == asked[first].line &&
             asked[last].meets == BeamMeets::kEdge) {
        ++last;
      }
      AddRun(asked, noise, first, last, edges);
    }
    first = last;
  }
  return edges;
}

/// Whether off the edges samples came where the twin has something, and there alone.
bool TwinAgrees(const AskedSamples& asked, const sim::Noise& noise) {
  std::int64_t all = 0;
  std::int64_t agreeing = 0;
  for (const AskedSample& sample : asked) {
    if (sample.meets == BeamMeets::kEdge) continue;
    const bool faint =
        sample.met && sample.ExpectedQuality(noise) < noise.quality_floor + 5 * noise.quality_noise;
    if (faint) continue;
    ++all;
    agreeing += sample.came == (sample.meets == BeamMeets::kSurface) ? 1 : 0;
  }
  return static_cast<double>(agreeing) >= kAgreeing * static_cast<double>(all);
}

/// What scans of the twin with beams of several widths lose at the edges.
struct LossByWidth {
  std::array<double, kWidths.size()> mean{};  ///< does not fall with the width
  /// Variance of one scan's loss for a unit of its mean: few samples lose much each, so that it
  /// grows as their number does.
  double variance = 0.0;
  std::size_t scans = kFewestScans;  ///< that each mean is of

  double MeanAt(double width) const {
    std::size_t above = 1;
    while (above + 1 < kWidths.size() && kWidths[above] < width) ++above;
    const double along = (width - kWidths[above - 1]) / (kWidths[above] - kWidths[above - 1]);
    return mean[above - 1] + along * (mean[above] - mean[above - 1]);
  }
  /// What is to be believed of the width, given a loss: mean and spread over all widths, each by
  /// how likely it is.
  FootprintFound WidthOf(double lost) const {
    constexpr int kSteps = 200;
    const double last = std::log(kWidths.back());
    std::array<double, kSteps + 1> outs{};
    std::array<double, kSteps + 1> unlikely{};
    unlikely.fill(std::numeric_limits<double>::infinity());
    for (std::size_t step = 0; step < outs.size(); ++step) {
      outs[step] = last * (2.0 * static_cast<double>(step) / kSteps - 1.0);
      const double width = std::exp(outs[step]);
      if (width < kWidths.front() || width > kWidths.back()) continue;
      const double expected = MeanAt(width);
      const double square = kLeastSigma * kLeastSigma +
                            variance * (1.0 + 1.0 / static_cast<double>(scans)) * expected;
      unlikely[step] = std::pow(lost - expected, 2) / square + std::log(square) +
                       std::pow(outs[step] / kPriorWidth, 2);
    }
    const double least = *std::min_element(unlikely.begin(), unlikely.end());
    if (!std::isfinite(least)) return {1.0, kPriorWidth};
    double all = 0.0;
    double first = 0.0;
    double second = 0.0;
    for (std::size_t step = 0; step < outs.size(); ++step) {
      const double weight = std::exp(-0.5 * (unlikely[step] - least));
      all += weight;
      first += weight * outs[step];
      second += weight * outs[step] * outs[step];
    }
    const double middle = first / all;
    return {std::exp(middle), std::sqrt(std::max(0.0, second / all - middle * middle))};
  }
};

LossByWidth ScanWidths(const InstrumentModel& model, const sim::Scene& twin,
                       const AskedSamples& asked, const EdgeSamples& edges, double noise,
                       std::uint64_t seed) {
  std::vector<std::size_t> indices;
  indices.reserve(edges.size());
  for (const EdgeSample& edge : edges) indices.push_back(edge.index);
  LossByWidth loss;
  loss.scans = std::clamp(2 * asked.size() / edges.size(), kFewestScans, kMostScans);
  const auto scans = static_cast<double>(loss.scans);
  double squares = 0.0;
  double all = 0.0;
  for (std::size_t w = 0; w < kWidths.size(); ++w) {
    InstrumentModel tried = model;
    tried.noise.footprint *= kWidths[w];
    std::vector<double> sums(loss.scans);
    for (std::size_t k = 0; k < sums.size(); ++k) {
      const std::string name = "footprint " + std::to_string(w) + " " + std::to_string(k);
      const auto samples = ScanTwin(tried, twin, asked, indices, sim::DeriveSeed(seed, name));
      for (std::size_t i = 0; i < samples.size(); ++i) {
        if (samples[i].quality <= 0.0) continue;
        sums[k] += edges[i].Lost(samples[i].range, samples[i].quality, noise);
      }
      loss.mean[w] += sums[k] / scans;
    }
    for (const double sum : sums) squares += std::pow(sum - loss.mean[w], 2) / (scans - 1.0);
    all += loss.mean[w];
    if (w > 0) loss.mean[w] = std::max(loss.mean[w], loss.mean[w - 1]);
  }
  loss.variance = all > 0.0 ? squares / all : 0.0;
  return loss;
}

}  // namespace

FootprintFound FootprintScale(const InstrumentModel& model, const sim::Scene& twin,
                              const sim::Noise& seen, const AskedSamples& asked, double lost,
                              std::uint64_t seed) {
  if (model.noise.footprint <= 0.0 || model.noise.rays < 2) return {};
  const EdgeSamples edges = FindEdges(asked, seen);
  if (edges.empty()) return {};
  if (!TwinAgrees(asked, seen)) return {1.0, kPriorWidth};
  double recorded = 0.0;
  for (const EdgeSample& edge : edges) {
    const AskedSample& sample = asked[edge.index];
    if (!sample.came) continue;
    recorded += edge.Lost(sample.range, sample.quality, seen.quality_noise) / (1.0 - lost);
  }
  const LossByWidth loss = ScanWidths(model, twin, asked, edges, seen.quality_noise, seed);
  return loss.WidthOf(recorded);
}

}  // namespace libmfx::uncertainty
