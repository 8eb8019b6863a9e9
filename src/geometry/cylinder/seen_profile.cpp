#include "geometry/cylinder/seen_profile.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>

#include "geometry/cylinder/thread_model.h"

namespace libmfx::geometry::cylinder {
namespace {

constexpr int kPhases = 128;  // of a table, around the turn
constexpr int kTangents = 32;
constexpr double kFlattest = 0.04;  // tangents of a table, evenly in their logarithm
constexpr double kSteepest = 4.0;
constexpr int kWidths = 16;         // tables, evenly in the logarithm of the width
constexpr int kRays = 512;          // around the turn
constexpr int kNodes = 33;          // across a beam
constexpr double kBeamReach = 2.5;  // standard deviations

// One sight line: where it ends, along the axis from its entry, and the cosine between it and the
// surface there, but for a factor that all share.
struct SeenRay {
  double run, weight;
};

SeenRay CastRay(double phase, double tangent) {
  constexpr double kAlong = 0.5 * std::numbers::sqrt3, kAcross = 0.5;  // normal of a flank
  const double crest = HalfCrest(true);
  if (phase <= crest) return {0.0, tangent};
  if (tangent > kFlankSlope) {  // steeper than the flanks: the near one may be met first
    const double hit = (tangent * phase - kFlankSlope * crest) / (tangent - kFlankSlope);
    if (tangent * (hit - phase) <= kRootDepth) return {hit - phase, kAcross * tangent - kAlong};
  }
  const double hit = ((1.0 - crest) * kFlankSlope + tangent * phase) / (tangent + kFlankSlope);
  if (tangent * (hit - phase) <= kRootDepth) return {hit - phase, kAcross * tangent + kAlong};
  return {kRootDepth / tangent, tangent};
}

double TangentAt(int index) {
  return kFlattest * std::pow(kSteepest / kFlattest, index / (kTangents - 1.0));
}

double WidthAt(int index) {
  return SeenProfile::kNarrowest *
         std::pow(SeenProfile::kWidest / SeenProfile::kNarrowest, index / (kWidths - 1.0));
}

// The rays of one tangent around the turn, the first half a step beyond the near end of a crest.
std::array<SeenRay, kRays> CastAround(double tangent) {
  std::array<SeenRay, kRays> rays;
  for (int i = 0; i < kRays; ++i)
    rays[static_cast<std::size_t>(i)] = CastRay((i + 0.5) / kRays - HalfCrest(true), tangent);
  return rays;
}

double ReadBeam(const std::array<SeenRay, kRays>& rays, double phase, double tangent,
                double spread) {
  double weights = 0.0, runs = 0.0;
  for (int i = 0; i < kNodes; ++i) {
    const double at = kBeamReach * (2.0 * i / (kNodes - 1.0) - 1.0);
    const double aside = at * spread;  // where it enters, along the axis from the middle
    const double turn = phase + aside + HalfCrest(true);
    const auto index = static_cast<std::size_t>((turn - std::floor(turn)) * kRays);
    const SeenRay& ray = rays[std::min<std::size_t>(index, kRays - 1)];
    const double weight = std::exp(-0.5 * at * at) * ray.weight;
    // A beam's rays of equal range lie in a plane square to it and not along the axis.
    runs += weight * (ray.run + aside / (1.0 + tangent * tangent));
    weights += weight;
  }
  return runs / weights;
}

std::vector<double> MakeTable(double width) {
  std::vector<double> table;
  table.reserve(static_cast<std::size_t>(kPhases) * kTangents);
  for (int k = 0; k < kTangents; ++k) {
    const double tangent = TangentAt(k);
    const std::array<SeenRay, kRays> rays = CastAround(tangent);
    // A width across the beam reaches so far along the axis.
    const double spread = width * std::sqrt(1.0 + 1.0 / (tangent * tangent));
    for (int i = 0; i < kPhases; ++i)
      table.push_back(ReadBeam(rays, static_cast<double>(i) / kPhases, tangent, spread));
  }
  return table;
}

// The tables hang on nothing but the profile: they are made once.
const std::vector<std::vector<double>>& Tables() {
  static const std::vector<std::vector<double>> tables = [] {
    std::vector<std::vector<double>> made;
    made.reserve(kWidths);
    for (int i = 0; i < kWidths; ++i) made.push_back(MakeTable(WidthAt(i)));
    return made;
  }();
  return tables;
}

// A place in an even grid: the lower neighbour and how far beyond it.
struct Cell {
  std::size_t index;
  double share;
};

Cell CellOf(double place, int count) {
  const double held = std::clamp(place, 0.0, count - 1.0);
  const int index = std::min(static_cast<int>(held), count - 2);
  return {static_cast<std::size_t>(index), held - index};
}

}  // namespace

SeenProfile::SeenProfile(double width) {
  const double held = width > kNarrowest ? std::min(width, kWidest) : kNarrowest;
  const Cell cell =
      CellOf(std::log(held / kNarrowest) / std::log(kWidest / kNarrowest) * (kWidths - 1), kWidths);
  const std::vector<double>& low = Tables()[cell.index];
  const std::vector<double>& high = Tables()[cell.index + 1];
  _runs.resize(low.size());
  for (std::size_t i = 0; i < low.size(); ++i)
    _runs[i] = (1.0 - cell.share) * low[i] + cell.share * high[i];
}

double SeenProfile::Run(double phase, double tangent) const {
  if (!std::isfinite(phase) || !std::isfinite(tangent))
    return std::numeric_limits<double>::quiet_NaN();
  static const double kScale = (kTangents - 1) / std::log(kSteepest / kFlattest);
  const Cell across =
      CellOf(std::log(std::max(tangent, kFlattest) / kFlattest) * kScale, kTangents);
  const double place = (phase - std::floor(phase)) * kPhases;
  const std::size_t at = std::min<std::size_t>(static_cast<std::size_t>(place), kPhases - 1);
  const std::size_t next = (at + 1) % kPhases;
  const double share = place - static_cast<double>(at);
  const double* low = &_runs[across.index * kPhases];
  const double* high = low + kPhases;
  return (1.0 - across.share) * ((1.0 - share) * low[at] + share * low[next]) +
         across.share * ((1.0 - share) * high[at] + share * high[next]);
}

}  // namespace libmfx::geometry::cylinder
