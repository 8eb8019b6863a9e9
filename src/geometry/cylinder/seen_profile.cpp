#include "geometry/cylinder/seen_profile.h"

#include <Eigen/Core>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>

namespace libmfx::geometry::cylinder {
namespace {

constexpr int kPhases = 96;        // of a table, around the turn
constexpr int kTurns = 5;          // that a beam lies over, at most
constexpr double kRowStep = 0.04;  // of neighbouring rows of a table, in t / (1 + t)

// The tangents of the rows of a table. They lie evenly in t / (1 + t): dense where sight lines are
// flat.
struct Rows {
  explicit Rows(const SeenProfile::Tangents& tangents) {
    const double flattest =
        std::clamp(tangents.flattest, SeenProfile::kFlattest, SeenProfile::kSteepest);
    const double steepest = std::clamp(tangents.steepest, flattest, SeenProfile::kSteepest);
    first = PlaceOf(flattest);
    count = 2 + static_cast<int>((PlaceOf(steepest) - first) / kRowStep);
    a_place = (count - 1) / std::max(PlaceOf(steepest) - first, 1e-9);
  }

  static double PlaceOf(double tangent) { return tangent / (1.0 + tangent); }
  double TangentOf(int row) const {
    const double place = first + row / a_place;
    return place / (1.0 - place);
  }

  double first, a_place;
  int count;
};

// Around the turn, from where a crest ends: that is where sight lines fall from a crest into the
// groove beyond.
using Around = Eigen::Array<double, kPhases, 1>;
using Turns = Eigen::Array<double, kTurns * kPhases, 1>;

// Sight lines that end on one face, by the turn at which they enter: the first and the last of
// them, how far along the axis the first runs and how that changes with the turn; and the cosine
// between them and the face, but for a factor that all share.
struct Face {
  double from, to, run, slope, cosine;
};

// In the order in which a beam sees them. One that isn't seen ends where it begins.
std::array<Face, 4> FacesOf(double tangent, const Profile& profile) {
  const double slope = profile.slope, depth = profile.Depth();
  const double across = 1.0 / std::sqrt(1.0 + slope * slope);
  const double groove = 1.0 - 2.0 * profile.crest;
  // Only sight lines that are steeper than the flanks meet the near one.
  const double steeper = tangent - slope;
  const double near = std::clamp(depth * steeper / (tangent * slope), 0.0, groove);
  const double far =
      std::clamp(groove - depth * (tangent + slope) / (tangent * slope), near, groove);
  const double a_turn = slope / (tangent + slope);
  return {{{0.0, near, 0.0, near > 0.0 ? slope / steeper : 0.0, across * steeper},
           {near, far, depth / tangent, 0.0, tangent},
           {far, groove, a_turn * (groove - far), -a_turn, across * (tangent + slope)},
           {groove, 1.0, 0.0, 0.0, tangent}}};
}

// What the sight lines of one tangent bring back, by the turn at which they enter: the power, and
// with it the run and its square. A surface returns the square of the cosine of incidence.
struct Returns {
  Around power = Around::Zero(), run = Around::Zero(), square = Around::Zero();
  double lag;        // a beam's rays of equal range lie in a plane square to it, not along the axis
  double gap = 0.0;  // of the ranges where sight lines leave a crest

  Returns(double tangent, const Profile& profile) : lag(1.0 / (1.0 + tangent * tangent)) {
    const auto faces = FacesOf(tangent, profile);
    for (const Face& face : faces) Add(face);
    const auto seen = std::find_if(faces.begin(), faces.end(),
                                   [](const Face& face) { return face.to > face.from; });
    gap = seen->run / std::sqrt(lag);
  }

 private:
  void Add(const Face& face) {
    const double returned = face.cosine * face.cosine;
    for (int i = static_cast<int>(face.from * kPhases); i < kPhases; ++i) {
      const double from = std::max(face.from, static_cast<double>(i) / kPhases);
      const double to = std::min(face.to, (i + 1.0) / kPhases);
      if (!(to > from)) break;
      const double middle = face.run + face.slope * (0.5 * (from + to) - face.from);
      const double share = returned * (to - from) * kPhases;
      power[i] += share;
      run[i] += share * middle;
      square[i] += share * middle * middle;
    }
  }
};

// A Gaussian beam: its power by the phase aside of its middle, from the first that counts.
struct Beam {
  Eigen::ArrayXd power;
  int reach;
};

// \param width across the beam, which reaches the farther along the axis the flatter it lies
Beam LayBeam(double width, double tangent) {
  constexpr double kReach = 3.6;        // standard deviations
  constexpr double kWidestLaid = 0.55;  // turns; it levels all there is
  const double held = width > SeenProfile::kNarrowest ? std::min(width, SeenProfile::kWidest)
                                                      : SeenProfile::kNarrowest;
  const double spread =
      std::clamp(held * std::sqrt(1.0 + 1.0 / (tangent * tangent)), 0.3 / kPhases, kWidestLaid);
  Beam beam;
  beam.reach = std::min(static_cast<int>(kReach * spread * kPhases) + 1, kTurns / 2 * kPhases);
  beam.power.resize(2 * beam.reach + 1);
  for (int k = 0; k <= beam.reach; ++k) {
    const double aside = static_cast<double>(k) / kPhases / spread;
    beam.power[beam.reach + k] = beam.power[beam.reach - k] = std::exp(-0.5 * aside * aside);
  }
  return beam;
}

// Some turns of what comes back: the power and, with it, the place along the axis from which equal
// ranges count.
struct Unrolled {
  Turns power, place;

  explicit Unrolled(const Returns& returns) {
    for (Eigen::Index turn = 0; turn < kTurns; ++turn) {
      const double turns = static_cast<double>(turn);
      const auto lags =
          returns.lag * (turns + (Around::LinSpaced(0.0, kPhases - 1.0) + 0.5) / kPhases);
      power.segment<kPhases>(turn * kPhases) = returns.power;
      place.segment<kPhases>(turn * kPhases) = returns.run + lags * returns.power;
    }
  }

  struct Read {
    double power = 0.0, place = 0.0;
  };

  // What a beam whose middle is at a phase brings back of those between two.
  Read Between(const Beam& beam, int middle, int first, int end) const {
    const int from = std::max(first, middle - beam.reach);
    const int count = std::min(end, middle + beam.reach + 1) - from;
    if (count <= 0) return {};
    const auto b = beam.power.segment(from - middle + beam.reach, count);
    return {(power.segment(from, count) * b).sum(), (place.segment(from, count) * b).sum()};
  }

  // Of all it reaches; or, of an instrument that tells the sides of a crest's end apart, of that
  // turn that brings back the most.
  Read Taken(const Beam& beam, int middle, bool apart) const {
    if (!apart) return Between(beam, middle, 0, kTurns * kPhases);
    Read strongest;
    for (int turn = 0; turn < kTurns; ++turn) {
      const Read read = Between(beam, middle, turn * kPhases, (turn + 1) * kPhases);
      if (read.power > strongest.power) strongest = read;
    }
    return strongest;
  }
};

}  // namespace

SeenProfile::SeenProfile(const Profile& profile, double width, double resolution,
                         const Tangents& tangents)
    : _crest(profile.crest) {
  const Rows rows(tangents);
  _first = rows.first;
  _rows_a_place = rows.a_place;
  _rows = rows.count;
  _runs.reserve(static_cast<std::size_t>(kPhases) * static_cast<std::size_t>(_rows));
  for (int row = 0; row < _rows; ++row) {
    const double tangent = rows.TangentOf(row);
    const Returns returns(tangent, profile);
    const Unrolled unrolled(returns);
    const Beam beam = LayBeam(width, tangent);
    for (int i = 0; i < kPhases; ++i) {
      const int middle = kTurns / 2 * kPhases + i;
      const Unrolled::Read read = unrolled.Taken(beam, middle, returns.gap > resolution);
      _runs.push_back(read.place / read.power - returns.lag * (middle + 0.5) / kPhases);
    }
  }
}

std::vector<double> SpreadsOf(const Profile& profile, double width,
                              const SeenProfile::Tangents& tangents) {
  const Rows rows(tangents);
  std::vector<double> spreads;
  for (int row = 0; row < rows.count; ++row) {
    const double tangent = rows.TangentOf(row);
    const Returns returns(tangent, profile);
    const Beam beam = LayBeam(width, tangent);
    for (int i = 0; i < kPhases; ++i) {
      double power = 0.0, place = 0.0, square = 0.0;
      for (int k = -beam.reach; k <= beam.reach; ++k) {
        const int at = (i + k + kTurns * kPhases) % kPhases;
        const double b = beam.power[k + beam.reach];
        const double lags = returns.lag * k / kPhases;
        power += b * returns.power[at];
        place += b * (returns.run[at] + lags * returns.power[at]);
        square += b * (returns.square[at] + 2.0 * lags * returns.run[at] +
                       lags * lags * returns.power[at]);
      }
      const double mean = place / power;
      spreads.push_back(std::sqrt(std::max(0.0, square / power - mean * mean)));
    }
  }
  return spreads;
}

SeenProfile::Cell SeenProfile::CellAt(double phase, double tangent) const {
  constexpr double kMostTurns = 1e15;  // beyond it a double has no phases
  Cell cell;
  cell.is_known = std::abs(phase) <= kMostTurns && std::isfinite(tangent);
  if (!cell.is_known) phase = tangent = 0.0;
  cell.tangent = std::max(tangent, 0.0);
  const double row =
      std::clamp((Rows::PlaceOf(cell.tangent) - _first) * _rows_a_place, 0.0, _rows - 1.0);
  const int lower = std::min(static_cast<int>(row), _rows - 2);
  cell.up = row - lower;
  // From the middle of one place to that of the next, of a turn that repeats.
  const double turns = phase - _crest - 0.5 / kPhases;
  const auto whole = static_cast<double>(static_cast<std::int64_t>(turns));
  const double place = (turns - whole + (turns < whole ? 1.0 : 0.0)) * kPhases;
  const int left = std::min(static_cast<int>(place), kPhases - 1);
  const int right = left + 1 == kPhases ? 0 : left + 1;
  cell.share = place - left;
  const std::size_t first = static_cast<std::size_t>(lower) * kPhases;
  cell.lower_left = first + static_cast<std::size_t>(left);
  cell.lower_right = first + static_cast<std::size_t>(right);
  cell.upper_left = cell.lower_left + kPhases;
  cell.upper_right = cell.lower_right + kPhases;
  return cell;
}

double SeenProfile::Run(const Cell& cell) const {
  return cell.is_known ? In(_runs, cell) : std::numeric_limits<double>::quiet_NaN();
}

SeenProfile::Slope SeenProfile::SlopeOf(const Cell& cell) const {
  const double lower_left = _runs[cell.lower_left], lower_right = _runs[cell.lower_right];
  const double upper_left = _runs[cell.upper_left], upper_right = _runs[cell.upper_right];
  const double below = lower_right - lower_left, above = upper_right - upper_left;
  const double rows_a_tangent = _rows_a_place / ((1.0 + cell.tangent) * (1.0 + cell.tangent));
  return {kPhases * ((1.0 - cell.up) * below + cell.up * above),
          rows_a_tangent * (upper_left + cell.share * above - lower_left - cell.share * below)};
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
