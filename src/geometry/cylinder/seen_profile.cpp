#include "geometry/cylinder/seen_profile.h"

#include <Eigen/Core>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace libmfx::geometry::cylinder {
namespace {

constexpr int kPhases = 96;        // of a table, around the turn
constexpr int kRaysAPhase = 3;     // cast for each of them
constexpr int kTurns = 5;          // that a beam lies over, at most
constexpr double kRowStep = 0.04;  // of neighbouring rows of a table, in t / (1 + t)

// One sight line: where it ends, along the axis from its entry, and the cosine between it and the
// surface there, but for a factor that all share.
struct SeenRay {
  double run, cosine;
};

// Rows lie evenly in this place of a tangent: dense where sight lines are flat.
double RowPlace(double tangent) {
  const double held = std::max(tangent, 0.0);
  return held / (1.0 + held);
}

SeenRay CastRay(double phase, double tangent, const Profile& profile) {
  const double crest = profile.crest, slope = profile.slope, depth = profile.Depth();
  const double across = 1.0 / std::sqrt(1.0 + slope * slope), along = slope * across;
  if (phase <= crest) return {0.0, tangent};
  if (tangent > slope) {  // steeper than the flanks: the near one may be met first
    const double hit = (tangent * phase - slope * crest) / (tangent - slope);
    if (tangent * (hit - phase) <= depth) return {hit - phase, across * tangent - along};
  }
  const double hit = ((1.0 - crest) * slope + tangent * phase) / (tangent + slope);
  if (tangent * (hit - phase) <= depth) return {hit - phase, across * tangent + along};
  return {depth / tangent, tangent};
}

// Around the turn, from where a crest ends: that is where sight lines fall from a crest into the
// groove beyond.
using Around = Eigen::Array<double, kPhases, 1>;
using Turns = Eigen::Array<double, kTurns * kPhases, 1>;

// What the sight lines of one tangent bring back, by the phase at which they enter, some turns of
// it: the power, and with it the place along the axis from which equal ranges count, and the square
// of that. A surface returns the square of the cosine of incidence.
struct Returns {
  Turns power, place, square;
  double gap = 0.0;  // of the ranges where sight lines leave a crest
};

// A beam's rays of equal range lie in a plane square to it and not along the axis.
double LagOf(double tangent) { return 1.0 / (1.0 + tangent * tangent); }

Returns CastAround(double tangent, const Profile& profile) {
  Around power = Around::Zero(), run = Around::Zero(), square = Around::Zero();
  for (int i = 0; i < kPhases * kRaysAPhase; ++i) {
    const double turn = (i + 0.5) / (kPhases * kRaysAPhase);
    const double phase = turn + profile.crest > 1.0 - profile.crest ? turn + profile.crest - 1.0
                                                                    : turn + profile.crest;
    const SeenRay ray = CastRay(phase, tangent, profile);
    const double returned = ray.cosine * ray.cosine;
    power[i / kRaysAPhase] += returned;
    run[i / kRaysAPhase] += returned * ray.run;
    square[i / kRaysAPhase] += returned * ray.run * ray.run;
  }
  Returns returns;
  const double lag = LagOf(tangent);
  for (int i = 0; i < kTurns * kPhases; ++i) {
    const int at = i % kPhases;
    const double lags = lag * (i + 0.5) / kPhases;
    returns.power[i] = power[at];
    returns.place[i] = run[at] + lags * power[at];
    returns.square[i] = square[at] + 2.0 * lags * run[at] + lags * lags * power[at];
  }
  returns.gap = run[0] / power[0] / std::sqrt(lag);
  return returns;
}

// A Gaussian beam: its power by the phase aside of its middle, from the first that counts.
struct Beam {
  Eigen::ArrayXd power;
  int reach;
};

Beam LayBeam(double spread) {
  constexpr double kReach = 3.6;        // standard deviations
  constexpr double kWidestLaid = 0.55;  // turns; it levels all there is
  const double held = std::clamp(spread, 0.3 / kPhases, kWidestLaid);
  Beam beam;
  beam.reach = std::min(static_cast<int>(kReach * held * kPhases) + 1, kTurns / 2 * kPhases);
  beam.power.resize(2 * beam.reach + 1);
  for (int k = -beam.reach; k <= beam.reach; ++k) {
    const double aside = static_cast<double>(k) / kPhases / held;
    beam.power[k + beam.reach] = std::exp(-0.5 * aside * aside);
  }
  return beam;
}

struct Read {
  double power = 0.0, place = 0.0, square = 0.0;
};

// What rays from one phase up to another bring back of a beam whose middle is at `middle`.
Read ReadBetween(const Returns& returns, const Beam& beam, int middle, int first, int end) {
  const int from = std::max(first, middle - beam.reach);
  const int count = std::min(end, middle + beam.reach + 1) - from;
  if (count <= 0) return {};
  const auto b = beam.power.segment(from - middle + beam.reach, count);
  return {(returns.power.segment(from, count) * b).sum(),
          (returns.place.segment(from, count) * b).sum(),
          (returns.square.segment(from, count) * b).sum()};
}

struct Readings {
  Around run, spread;
};

// \param apart whether an instrument reads one side of a crest's end, and not the mean of both
Readings ReadAround(const Returns& returns, const Beam& beam, double tangent, bool apart) {
  Readings readings;
  for (int i = 0; i < kPhases; ++i) {
    const int middle = kTurns / 2 * kPhases + i;
    Read turns[kTurns], all;
    for (int turn = 0; turn < kTurns; ++turn) {
      const Read& read = turns[turn] =
          ReadBetween(returns, beam, middle, turn * kPhases, (turn + 1) * kPhases);
      all.power += read.power;
      all.place += read.place;
      all.square += read.square;
    }
    const Read& strongest = *std::max_element(
        turns, turns + kTurns, [](const Read& a, const Read& b) { return a.power < b.power; });
    const Read& taken = apart ? strongest : all;
    const double mean = all.place / all.power;
    readings.run[i] = taken.place / taken.power - LagOf(tangent) * (middle + 0.5) / kPhases;
    readings.spread[i] = std::sqrt(std::max(0.0, all.square / all.power - mean * mean));
  }
  return readings;
}

}  // namespace

SeenProfile::SeenProfile(const Profile& profile, double width, double resolution,
                         const Tangents& tangents)
    : _crest(profile.crest) {
  const double held = width > kNarrowest ? std::min(width, kWidest) : kNarrowest;
  const double first = std::clamp(tangents.flattest, kFlattest, kSteepest);
  const double last = std::clamp(tangents.steepest, first, kSteepest);
  _first = RowPlace(first);
  _rows = 2 + static_cast<int>((RowPlace(last) - _first) / kRowStep);
  _rows_a_place = (_rows - 1) / std::max(RowPlace(last) - _first, 1e-9);
  _spreads.reserve(static_cast<std::size_t>(kPhases) * static_cast<std::size_t>(_rows));
  _runs.reserve(static_cast<std::size_t>(kPhases) * static_cast<std::size_t>(_rows));
  for (int row = 0; row < _rows; ++row) {
    const double place = _first + row / _rows_a_place;
    const double tangent = place / (1.0 - place);
    // A width across the beam reaches so far along the axis.
    const double spread = held * std::sqrt(1.0 + 1.0 / (tangent * tangent));
    const Returns returns = CastAround(tangent, profile);
    const Readings readings =
        ReadAround(returns, LayBeam(spread), tangent, returns.gap > resolution);
    _runs.insert(_runs.end(), readings.run.begin(), readings.run.end());
    _spreads.insert(_spreads.end(), readings.spread.begin(), readings.spread.end());
  }
}

SeenProfile::Cell SeenProfile::CellAt(double phase, double tangent) const {
  const double row = std::clamp((RowPlace(tangent) - _first) * _rows_a_place, 0.0, _rows - 1.0);
  Cell cell;
  cell.row = std::min(static_cast<int>(row), _rows - 2);
  cell.up = row - cell.row;
  const double turn = phase - _crest;
  const double place = (turn - std::floor(turn)) * kPhases - 0.5;
  const double low = std::floor(place);
  cell.share = place - low;
  cell.low = low < 0.0 ? kPhases - 1 : std::min(static_cast<int>(low), kPhases - 1);
  cell.high = cell.low + 1 == kPhases ? 0 : cell.low + 1;
  return cell;
}

double SeenProfile::Cell::In(const std::vector<double>& table) const {
  const double* lower = &table[static_cast<std::size_t>(row) * kPhases];
  const double* upper = lower + kPhases;
  return (1.0 - up) * ((1.0 - share) * lower[low] + share * lower[high]) +
         up * ((1.0 - share) * upper[low] + share * upper[high]);
}

double SeenProfile::Run(double phase, double tangent) const {
  if (!std::isfinite(phase) || !std::isfinite(tangent))
    return std::numeric_limits<double>::quiet_NaN();
  return CellAt(phase, tangent).In(_runs);
}

SeenProfile::Slope SeenProfile::SlopeOf(double phase, double tangent) const {
  const Cell cell = CellAt(phase, tangent);
  const double* lower = &_runs[static_cast<std::size_t>(cell.row) * kPhases];
  const double* upper = lower + kPhases;
  const double below = lower[cell.high] - lower[cell.low];
  const double above = upper[cell.high] - upper[cell.low];
  const double at_low = (1.0 - cell.share) * lower[cell.low] + cell.share * lower[cell.high];
  const double at_high = (1.0 - cell.share) * upper[cell.low] + cell.share * upper[cell.high];
  const double rows_a_tangent = _rows_a_place / ((1.0 + tangent) * (1.0 + tangent));
  return {kPhases * ((1.0 - cell.up) * below + cell.up * above),
          rows_a_tangent * (at_high - at_low)};
}

double SeenProfile::Spread(double phase, double tangent) const {
  if (!std::isfinite(phase) || !std::isfinite(tangent))
    return std::numeric_limits<double>::quiet_NaN();
  return CellAt(phase, tangent).In(_spreads);
}

std::shared_ptr<const SeenProfile> SeenProfiles::Of(const Profile& profile, double width,
                                                    double resolution) {
  constexpr std::size_t kKept = 8;
  for (const Made& made : _made)
    if (made.profile == profile && made.width == width && made.resolution == resolution)
      return made.readings;
  if (_made.size() == kKept) _made.erase(_made.begin());
  _made.push_back({profile, width, resolution,
                   std::make_shared<SeenProfile>(profile, width, resolution, _tangents)});
  return _made.back().readings;
}

}  // namespace libmfx::geometry::cylinder
