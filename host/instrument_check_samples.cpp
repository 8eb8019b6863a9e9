#include "host/instrument_check_samples.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <string>
#include <tuple>
#include <utility>

#include "host/numbers.h"

namespace libmfx::host {
namespace {

/// Fewer than this share of the samples that were asked for are too few. Half of them may be lost.
constexpr double kFew = 0.2;
/// A range that agrees so well with that of the path was not measured, metres.
constexpr double kCopied = 1e-6;
constexpr double kDefaultThreshold = 50.0;

std::string Share(std::size_t part, std::size_t all) {
  return std::to_string(part) + " of " + std::to_string(all);
}

/// Samples that come more than once, to the last bit. They are taken out.
std::optional<InstrumentFinding> TakeRepeated(std::vector<RawDataPoint>& samples) {
  const auto key = [](const RawDataPoint& s) {
    return std::array<double, 5>{s.azimuth, s.elevation, s.range, s.quality,
                                 static_cast<double>(s.status)};
  };
  std::vector<std::pair<std::array<double, 5>, std::size_t>> sorted;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    if (IsFinite(samples[i])) sorted.emplace_back(key(samples[i]), i);
  }
  std::sort(sorted.begin(), sorted.end());
  std::vector<bool> again(samples.size(), false);
  std::size_t count = 0, first = 0, second = 0;
  for (std::size_t i = 1; i < sorted.size(); ++i) {
    if (sorted[i].first != sorted[i - 1].first) continue;
    again[sorted[i].second] = true;
    if (count++ == 0) std::tie(first, second) = std::pair(sorted[i - 1].second, sorted[i].second);
  }
  // A place where two moves meet may be sampled for both.
  if (count * 20 <= sorted.size()) return std::nullopt;
  std::vector<RawDataPoint> kept;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    if (!again[i]) kept.push_back(samples[i]);
  }
  const std::string told = Share(count, sorted.size());
  samples = std::move(kept);
  return InstrumentFinding{"samples-repeated",
                           told + " samples come again, the same in every digit: rows " +
                               std::to_string(first) + " and " + std::to_string(second),
                           "send each sample once",
                           {}};
}

/// Samples that come in another order than that of the path.
std::optional<InstrumentFinding> CheckOrder(const CheckedAngles& angles) {
  if (!angles.is_on_path) return std::nullopt;
  std::size_t back = 0, onwards = 0, row = 0;
  bool moves_rise = true;
  for (std::size_t i = 1; i < angles.placed.size(); ++i) {
    const CheckPlace& from = angles.placed[i - 1].place;
    const CheckPlace& to = angles.placed[i].place;
    const double slack = 0.5 * std::max(to.move->spacing, 0.001);
    if (to.move->index == from.move->index) {
      if (to.along > from.along + 1e-12) ++onwards;
      if (to.along < from.along - slack) {
        if (back++ == 0) row = angles.placed[i].row;
      }
    } else if (to.move->index > from.move->index) {
      ++onwards;
    } else {
      moves_rise = false;
      if (back++ == 0) row = angles.placed[i].row;
    }
  }
  const std::string first = "row " + std::to_string(row) + " lies before the row that precedes it";
  if (back < 3 || back * 50 < back + onwards) return std::nullopt;
  // From line to line the way goes on, which few steps do.
  if (moves_rise && back >= 9 * onwards) {
    return InstrumentFinding{"lines-reversed",
                             "each line is sampled from its end to its start: " + first,
                             "drive each move from the point before to the point that ends it",
                             {}};
  }
  if (back >= 9 * onwards) {
    return InstrumentFinding{"order-reversed",
                             "the samples come in the reverse order: " + first,
                             "send them in the order in which they were taken",
                             {}};
  }
  return InstrumentFinding{"order-shuffled",
                           "the samples are out of order: " + Share(back, back + onwards) +
                               " steps go backwards, and " + first,
                           "send them in the order in which they were taken",
                           {}};
}

/// Moves that are not to be sampled, and are.
std::optional<InstrumentFinding> CheckJumps(const CheckedAngles& angles) {
  std::size_t count = 0;
  const PlacedSample* example = nullptr;
  for (const PlacedSample& p : angles.placed) {
    if (p.place.move->spacing > 0.0) continue;
    ++count;
    example = &p;
  }
  if (count < 3 || count * 50 < angles.placed.size()) return std::nullopt;
  return InstrumentFinding{
      "jump-sampled",
      Share(count, angles.placed.size()) +
          " samples were taken on moves with a spacing of 0, which are not to be sampled: row " +
          std::to_string(example->row) + " on the way to drive point " +
          std::to_string(example->place.move->index),
      "take no samples on the way to a drive point whose spacing is 0",
      {}};
}

bool IsCopied(const PlacedSample& p, const CheckedAngles& angles) {
  const double of_end = angles.path->points()[static_cast<std::size_t>(p.place.move->index)].range;
  return std::fabs(p.sample.range - p.place.range) < kCopied ||
         std::fabs(p.sample.range - of_end) < kCopied;
}

std::optional<InstrumentFinding> CheckRanges(const CheckedAngles& angles) {
  std::vector<double> ranges;
  for (const RawDataPoint& s : angles.meant) ranges.push_back(s.range);
  const double least = *std::min_element(ranges.begin(), ranges.end());
  const double most = *std::max_element(ranges.begin(), ranges.end());
  const double middle = Quantile(ranges, 0.5);
  const auto finding = [](const char* name, std::string what, const char* advice) {
    return InstrumentFinding{name, std::move(what), advice, {}};
  };
  const auto told = [](double range) { return Rounded(range, 6); };
  if (least == 0.0 && most == 0.0) {
    return finding("range-zero", "the range of every sample is 0",
                   "leave out samples without an echo, or give null; look whether the beam is on");
  }
  if (middle < 0.0) {
    return finding("range-negative", "ranges are negative: half of them lie below " + told(middle),
                   "a range is the distance from the instrument, in metres");
  }
  if (ranges.size() >= 10 && least == most) {
    return finding(
        "range-constant",
        "every sample has the same range, " + told(least) + ", in every digit: no wall gives that",
        "measure the range at each sample");
  }
  const auto copied = static_cast<std::size_t>(
      std::count_if(angles.placed.begin(), angles.placed.end(),
                    [&](const PlacedSample& p) { return IsCopied(p, angles); }));
  if (copied >= 10 && copied * 10 >= 9 * angles.placed.size()) {
    return finding("range-copied",
                   "ranges are those of the drive points, not measured ones: row " +
                       std::to_string(angles.placed.front().row) + " has " +
                       told(angles.placed.front().sample.range),
                   "measure the range; that of a drive point tells only where to look");
  }
  if (middle > 500.0) {
    return finding("range-millimetres",
                   "ranges look like millimetres: half of them are above " + told(middle),
                   "give metres: divide by 1000");
  }
  if (middle > 100.0 || middle < 0.05) {
    return finding("range-absurd",
                   "half of the ranges lie " + std::string(middle > 1.0 ? "above " : "below ") +
                       told(middle) + " m",
                   "give metres, and let a wall stand 1 to 10 m in front of the instrument");
  }
  return std::nullopt;
}

std::optional<InstrumentFinding> CheckQualities(const CheckedAngles& angles) {
  std::vector<double> qualities;
  for (const RawDataPoint& s : angles.meant) qualities.push_back(s.quality);
  const double least = *std::min_element(qualities.begin(), qualities.end());
  const double most = *std::max_element(qualities.begin(), qualities.end());
  const auto finding = [](const char* name, std::string what, const char* advice) {
    return InstrumentFinding{name, std::move(what), advice, {}};
  };
  const auto told = [](double quality) { return Rounded(quality); };
  if (least == 0.0 && most == 0.0) {
    return finding("quality-zero", "the quality of every sample is 0",
                   "give a figure that grows with the echo, from 0 to 100: every threshold drops "
                   "samples of quality 0");
  }
  if (least < 0.0) {
    return finding("quality-negative", "qualities are negative, as low as " + told(least),
                   "give a figure that grows with the echo, from 0 to 100; a level in dB below "
                   "full scale needs an offset");
  }
  if (most <= 1.0) {
    return finding("quality-fraction",
                   "the quality looks like a fraction: none is above " + told(most),
                   "give 0 to 100: multiply by 100");
  }
  if (most > 100.0) {
    return finding("quality-too-large", "qualities reach " + told(most) + ", beyond 100",
                   "scale them to 0 to 100: a threshold of 50 would keep every sample");
  }
  if (most < kDefaultThreshold) {
    return finding("quality-low",
                   "no quality is above " + told(most) +
                       ", and a request that names no threshold drops what is below 50",
                   "let the wall be a matt, bright one, seen straight on; scale qualities so that "
                   "a good echo has 80 to 100");
  }
  return std::nullopt;
}

/// What can be told of the numbers alone: whether there are any, and whether they are finite.
std::optional<InstrumentFinding> CheckCounts(const std::vector<RawDataPoint>& samples,
                                             const CheckPath& path) {
  const auto finite = static_cast<std::size_t>(
      std::count_if(samples.begin(), samples.end(), [](const auto& s) { return IsFinite(s); }));
  const std::string asked = "some " + std::to_string(std::lround(path.Asked())) + " were asked for";
  if (samples.empty()) {
    return InstrumentFinding{"no-samples",
                             "the answer has no samples, and " + asked,
                             "let a wall stand in front of the instrument, and answer a drive when "
                             "its samples are in hand, not when it begins",
                             {}};
  }
  if (finite * 5 < samples.size()) {
    return InstrumentFinding{
        "all-null",
        (finite == 0
             ? "every sample has a null in it"
             : Share(samples.size() - finite, samples.size()) + " samples have a null in them"),
        "null stands for a number that could not be measured: let a wall stand "
        "in front, and look whether the beam is on",
        {}};
  }
  if (static_cast<double>(finite) < kFew * path.Asked()) {
    return InstrumentFinding{"few-samples",
                             "only " + std::to_string(finite) + " samples came, and " + asked,
                             "take a sample every point_spacing metres of each move; let the wall "
                             "fill the view",
                             {}};
  }
  return std::nullopt;
}

void Append(std::vector<InstrumentFinding>& all, std::vector<InstrumentFinding> more) {
  for (InstrumentFinding& finding : more) all.push_back(std::move(finding));
}

void Append(std::vector<InstrumentFinding>& all, std::optional<InstrumentFinding> one) {
  if (one) all.push_back(std::move(*one));
}

}  // namespace

double Quantile(std::vector<double> values, double share) {
  if (values.empty()) return 0.0;
  const auto at =
      static_cast<std::ptrdiff_t>(std::lround(share * static_cast<double>(values.size() - 1)));
  std::nth_element(values.begin(), values.begin() + at, values.end());
  return values[static_cast<std::size_t>(at)];
}

std::vector<InstrumentFinding> CheckEchoes(const CheckedAngles& angles) {
  std::vector<InstrumentFinding> findings;
  if (angles.meant.empty()) return findings;
  Append(findings, CheckRanges(angles));
  Append(findings, CheckQualities(angles));
  return findings;
}

std::vector<InstrumentFinding> CheckSamples(const std::vector<RawDataPoint>& samples,
                                            const CheckPath& path, const CheckPath* before) {
  std::vector<InstrumentFinding> findings;
  std::vector<RawDataPoint> each = samples;
  Append(findings, TakeRepeated(each));
  const std::optional<InstrumentFinding> counts = CheckCounts(each, path);
  const CheckedAngles angles = CheckAngles(each, path, before);
  Append(findings, angles.findings);
  std::vector<InstrumentFinding> spacings = CheckSpacings(angles);
  // Too few samples are told of by their moves, where these tell more.
  if (spacings.empty() || each.empty()) Append(findings, counts);
  Append(findings, std::move(spacings));
  Append(findings, CheckJumps(angles));
  Append(findings, CheckOrder(angles));
  Append(findings, CheckStatuses(angles, each, before == nullptr ? 0 : before->points().size()));
  Append(findings, CheckEchoes(angles));
  return findings;
}

}  // namespace libmfx::host
