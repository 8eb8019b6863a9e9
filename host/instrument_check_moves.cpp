// What a check makes of the moves of a path: the numbers that samples have for them, and how far
// apart samples lie on them.

#include <algorithm>
#include <cmath>
#include <functional>
#include <optional>
#include <string>

#include "host/instrument_check_samples.h"
#include "host/numbers.h"

namespace libmfx::host {
namespace {

/// Share of the samples whose status has to follow a rule for the rule to be theirs.
constexpr double kRule = 0.9;
/// Samples this many times farther apart, or nearer together, than asked for are wrong. The ramps
/// of an axis take 30 %.
constexpr double kTooWide = 1.6;
constexpr double kTooDense = 0.6;
/// Fewer gaps than this tell nothing of the spacing.
constexpr std::size_t kGapsOfALine = 12;
/// A line whose samples cover less of it ends too early.
constexpr double kCovered = 0.7;

std::string ExampleOf(const PlacedSample& p) {
  return "row " + std::to_string(p.row) + " has status " + std::to_string(p.sample.status) +
         " and lies on the way to drive point " + std::to_string(p.place.move->index);
}

/// Compares the statuses of samples with the moves on which they lie.
class StatusCheck {
 public:
  StatusCheck(const CheckedAngles& angles, std::size_t points_before)
      : _angles(angles), _points_before(static_cast<long long>(points_before)) {
    for (const PlacedSample& p : angles.placed) {
      if (p.place.move->spacing > 0.0) _placed.push_back(&p);
    }
    int line = 0;
    for (const CheckMove& move : angles.path->moves()) {
      _lines.push_back(move.spacing > 0.0 ? line++ : -1);
    }
  }

  std::optional<InstrumentFinding> Check() {
    std::size_t wrong = 0;
    for (const PlacedSample* p : _placed) {
      if (IsOn(*p, p->sample.status)) continue;
      ++wrong;
      _example = p;
    }
    if (wrong < 3 || wrong * 50 < _placed.size()) return std::nullopt;
    return Rule(wrong);
  }

 private:
  /// Whether the sample lies on the move that a drive point ends; where two meet, on either.
  bool IsOn(const PlacedSample& p, long long index) const {
    const CheckMove* move = _angles.path->Ending(index);
    return move != nullptr &&
           CheckPath::On(*move, p.sample.azimuth, p.sample.elevation).off <= CheckPath::kNear;
  }

  bool Follow(const std::function<bool(const PlacedSample&)>& rule) const {
    const auto following = std::count_if(_placed.begin(), _placed.end(),
                                         [&](const PlacedSample* p) { return rule(*p); });
    return static_cast<double>(following) >= kRule * static_cast<double>(_placed.size());
  }
  bool AreOffBy(long long offset) const {
    return Follow([&](const PlacedSample& p) { return IsOn(p, p.sample.status - offset); });
  }

  InstrumentFinding Found(const char* name, const std::string& what, const char* advice) const {
    return {name, what + ": " + ExampleOf(*_example), advice, {}};
  }

  InstrumentFinding Rule(std::size_t wrong) const {
    const long long first = _placed.front()->sample.status;
    if (Follow([&](const PlacedSample& p) { return p.sample.status == first; })) {
      return first == 0 ? Found("status-zero", "the status is always 0", kIndexOfEnd)
                        : Found("status-constant", "the status is always the same", kIndexOfEnd);
    }
    if (AreOffBy(1)) {
      return Found("status-from-one", "the status is one too high: drive points count from 0",
                   "subtract 1");
    }
    if (AreOffBy(-1)) {
      return Found("status-of-start",
                   "the status is one too low: it is that of the drive point where the move begins",
                   "give the index of the drive point that ends the move");
    }
    if (_points_before > 0 && AreOffBy(_points_before)) {
      return Found("status-goes-on", "the status goes on counting from the drive before",
                   "begin at 0 with every drive");
    }
    return RuleOfNumbers(wrong);
  }

  InstrumentFinding RuleOfNumbers(std::size_t wrong) const {
    const auto line = [&](const PlacedSample& p) {
      return _lines[static_cast<std::size_t>(p.place.move->index) - 1];
    };
    if (Follow([&](const PlacedSample& p) { return p.sample.status == line(p); }) ||
        Follow([&](const PlacedSample& p) { return p.sample.status == line(p) + 1; })) {
      return Found("status-of-lines", "the status counts the sampled lines alone",
                   "count every drive point, those with a spacing of 0 too");
    }
    if (Follow([&](const PlacedSample& p) {
          return std::llabs(p.sample.status - static_cast<long long>(p.row)) <= 1;
        })) {
      return Found("status-of-samples", "the status is the number of the sample", kIndexOfEnd);
    }
    if (Follow([](const PlacedSample& p) { return p.sample.status < 0; })) {
      return Found("status-negative", "the status is negative", kIndexOfEnd);
    }
    const auto points = static_cast<long long>(_angles.path->points().size());
    if (Follow([&](const PlacedSample& p) { return p.sample.status >= points; })) {
      return Found("status-beyond",
                   "the status lies beyond the " + std::to_string(points) +
                       " drive points, which count from 0",
                   "give the index of the drive point that ends the move, not a time or a word of "
                   "flags");
    }
    return Found("status-mixed",
                 "the status does not fit the place of " + std::to_string(wrong) + " of " +
                     std::to_string(_placed.size()) + " samples",
                 "give each sample the index of the drive point that ends its own move");
  }

  static constexpr const char* kIndexOfEnd =
      "give the index, from 0, of the drive point that ends the move on which the sample was taken";

  const CheckedAngles& _angles;
  long long _points_before;
  std::vector<const PlacedSample*> _placed;
  std::vector<int> _lines;  ///< of each move, its number among the sampled ones
  const PlacedSample* _example = nullptr;
};

/// The samples of one sampled move.
struct Line {
  const CheckMove* move = nullptr;
  std::vector<double> along;  ///< ascending, metres
  std::vector<double> gaps;   ///< between neighbours, in spacings that were asked for
  double range = 0.0;         ///< one that was measured there

  double Covered() const {
    return along.empty() ? 0.0 : (along.back() - along.front()) / move->Length();
  }
  bool IsEndsAlone() const {
    return along.size() <= 3 && std::all_of(along.begin(), along.end(), [&](double a) {
             return std::min(a, move->Length() - a) < 1.5 * move->spacing;
           });
  }
};

std::vector<Line> LinesOf(const CheckedAngles& angles) {
  std::vector<Line> lines;
  for (const CheckMove& move : angles.path->moves()) {
    if (!(move.spacing > 0.0)) continue;
    Line line;
    line.move = &move;
    for (const PlacedSample& p : angles.placed) {
      if (p.place.move != &move) continue;
      line.along.push_back(p.place.along);
      line.range = p.sample.range;
    }
    std::sort(line.along.begin(), line.along.end());
    for (std::size_t i = 1; i < line.along.size(); ++i) {
      line.gaps.push_back((line.along[i] - line.along[i - 1]) / move.spacing);
    }
    lines.push_back(std::move(line));
  }
  return lines;
}

bool All(const std::vector<Line>& lines, const std::function<bool(const Line&)>& is) {
  return !lines.empty() && std::all_of(lines.begin(), lines.end(), is);
}

/// Lost samples widen gaps, and a ramp narrows some: the share of the gaps that are the narrowest,
/// or the widest, tells what was meant.
bool IsWrong(const std::vector<double>& gaps, double share) {
  return Quantile(gaps, share) > kTooWide || Quantile(gaps, 1.0 - share) < kTooDense;
}

/// The rule by which an instrument chose its own spacing, given the gap of each line in metres.
InstrumentFinding SpacingRule(const std::vector<Line>& lines, const Line& example) {
  const auto gap = [](const Line& line) { return Quantile(line.gaps, 0.5) * line.move->spacing; };
  const auto is_about = [](double a, double b) { return std::fabs(a / b - 1.0) < 0.15; };
  const double ratio = Quantile(example.gaps, 0.5);
  const std::string shown = "on the way to drive point " + std::to_string(example.move->index) +
                            " the samples lie " + LengthText(gap(example)) + " apart, where " +
                            LengthText(example.move->spacing) + " were asked for";
  const auto made = [&](const char* name, const std::string& what, const char* advice) {
    return InstrumentFinding{name, what + ": " + shown, advice, {}};
  };
  // Along a line the range changes by a hundredth.
  const auto distance = [](const Line& line) { return line.move->end.norm(); };
  const double degree = 0.017453292519943295;
  if (All(lines, [&](const Line& l) { return is_about(gap(l), l.move->spacing * distance(l)); })) {
    return made("spacing-radians", "the spacing was taken for radians",
                "the spacing is in metres, at the range of the drive point: divide it by that "
                "range");
  }
  if (All(lines, [&](const Line& l) {
        return is_about(gap(l), l.move->spacing * degree * distance(l));
      })) {
    return made("spacing-degrees", "the spacing was taken for degrees",
                "the spacing is in metres, at the range of the drive point");
  }
  if (All(lines, [&](const Line& l) {
        return is_about(gap(l), l.move->spacing * distance(l) / l.range);
      })) {
    return made("spacing-on-wall", "samples are as far apart as asked for on the wall",
                "the spacing is in metres at the range of the drive points, whatever the beam "
                "meets");
  }
  const double first = gap(lines.front());
  if (lines.size() > 1 && All(lines, [&](const Line& l) { return is_about(gap(l), first); })) {
    return made("spacing-own", "samples are equally far apart whatever spacing is asked for",
                "take the spacing of the drive point that ends the move");
  }
  if (ratio > 1.0) {
    return made("spacing-wide",
                "samples lie " + Rounded(ratio, 2) + " times as far apart as asked for",
                "take a sample every point_spacing metres: a slower drive, or a higher rate");
  }
  return made("spacing-dense",
              "samples lie at " + Rounded(ratio, 2) + " of the spacing that was asked for",
              "take a sample every point_spacing metres, no more");
}

std::optional<InstrumentFinding> CheckMissing(const std::vector<Line>& lines) {
  std::string missing;
  int count = 0;
  for (const Line& line : lines) {
    if (!line.along.empty()) continue;
    missing += (count++ == 0 ? "" : ", ") + std::to_string(line.move->index);
  }
  if (!missing.empty()) {
    return InstrumentFinding{
        "move-missing",
        std::string(count == 1 ? "no samples came of the move to drive point "
                               : "no samples came of the moves to drive points ") +
            missing + ", whose spacing is above 0",
        "sample every move whose spacing is above 0; let the wall fill the view",
        {}};
  }
  for (const Line& line : lines) {
    if (line.along.size() < 8 || line.Covered() >= kCovered) continue;
    return InstrumentFinding{"move-cut-short",
                             "the move to drive point " + std::to_string(line.move->index) +
                                 " is sampled over " + Rounded(100.0 * line.Covered(), 2) +
                                 " % of its length",
                             "sample it from the point before to the point that ends it",
                             {}};
  }
  return std::nullopt;
}

}  // namespace

std::vector<InstrumentFinding> CheckStatuses(const CheckedAngles& angles,
                                             const std::vector<RawDataPoint>& samples,
                                             std::size_t points_before) {
  if (angles.placed.size() * 2 < samples.size() || angles.placed.size() < 10) return {};
  const std::optional<InstrumentFinding> finding = StatusCheck(angles, points_before).Check();
  return finding ? std::vector{*finding} : std::vector<InstrumentFinding>{};
}

std::vector<InstrumentFinding> CheckSpacings(const CheckedAngles& angles) {
  if (angles.placed.empty() || !angles.is_on_path) return {};
  const std::vector<Line> lines = LinesOf(angles);
  if (All(lines, [](const Line& line) { return line.IsEndsAlone(); })) {
    return {{"ends-alone",
             "only the drive points themselves were sampled: " +
                 std::to_string(angles.placed.size()) + " samples came",
             "take a sample every point_spacing metres of each move whose spacing is above 0",
             {}}};
  }
  if (const auto missing = CheckMissing(lines)) return {*missing};
  if (!angles.to_scale) return {};
  const Line* longest = &lines.front();
  std::vector<double> gaps;
  for (const Line& line : lines) {
    gaps.insert(gaps.end(), line.gaps.begin(), line.gaps.end());
    if (line.gaps.size() > longest->gaps.size()) longest = &line;
    // With half of the samples lost, half of the gaps are still one spacing: more than one in ten.
    if (line.gaps.size() >= kGapsOfALine && IsWrong(line.gaps, 0.1))
      return {SpacingRule(lines, line)};
  }
  // Of all lines together a quarter tells, even with ramps.
  if (gaps.size() >= kGapsOfALine && IsWrong(gaps, 0.25)) return {SpacingRule(lines, *longest)};
  return {};
}

}  // namespace libmfx::host
