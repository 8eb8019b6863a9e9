#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numbers>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "inspection/characteristics.h"
#include "inspection/evaluator.h"
#include "uncertainty/statistics.h"

namespace libmfx::inspection {
namespace {

using Kind = Characteristic::Kind;

/// What is kept of draws at a time, numbers; and how many features characteristics may name at a
/// time. Draws are made again for those that come after: some 100 MB hold the rest of any plan.
constexpr std::size_t kMostKept = 8'000'000;
constexpr std::size_t kMostNamed = 100'000;

/// A distance or an angle that is fewer standard uncertainties away from where it turns back counts
/// as near it. Farther off, the scatter across it makes it longer by a share of 1 / (2 * 30^2), a
/// sixtieth of a standard uncertainty.
constexpr double kNear = 30.0;

std::string Joined(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) joined += (joined.empty() ? "" : "; ") + text;
  return joined;
}

/// One characteristic while its draws come in.
class Case {
 public:
  Case(const Characteristic& characteristic, const Plan& plan,
       const std::vector<FeatureNumbers>& best, CharacteristicResult& result)
      : _characteristic(characteristic), _evaluator(characteristic, plan), _result(result) {
    for (const std::size_t i : characteristic.features) _best.push_back(best[i]);
    _drawn = _noise = _evaluator.nominals();
    const bool is_free =
        characteristic.kind == Kind::kAngle ||
        (characteristic.kind == Kind::kDistance && characteristic.quantity.empty());
    _turns_back = characteristic.IsZone() || is_free;
  }

  std::optional<double> BestValue() const { return _evaluator.Value(_best); }

  void Reserve(std::size_t draws) {
    _values.reserve(draws);
    if (_turns_back) _noises.reserve(draws);
    _count = draws;
  }

  void Add(const std::vector<FeatureNumbers>& all) {
    for (std::size_t i = 0; i < _drawn.size(); ++i) {
      const std::size_t feature = _characteristic.features[i];
      _drawn[i] = feature < all.size() ? all[feature] : FeatureNumbers();
    }
    const std::optional<double> value = _evaluator.Value(_drawn);
    if (!value) return;
    _values.push_back(*value);
    if (_turns_back) _noises.push_back(OfNoise());
  }

  void Conclude();

 private:
  /// What the noise of the draw alone makes of the nominals; 0 of noise that makes nothing.
  double OfNoise() {
    const std::vector<FeatureNumbers>& nominals = _evaluator.nominals();
    for (std::size_t i = 0; i < _noise.size(); ++i) {
      _noise[i].place = nominals[i].place + (_drawn[i].place - _best[i].place);
      _noise[i].direction =
          (nominals[i].direction + (_drawn[i].direction - _best[i].direction)).normalized();
      _noise[i].tangent =
          (nominals[i].tangent + (_drawn[i].tangent - _best[i].tangent)).normalized();
    }
    const std::optional<double> value = _evaluator.Value(_noise);
    if (!value) return std::numeric_limits<double>::infinity();
    return _characteristic.IsZone() ? *value : std::fabs(*value - _evaluator.nominal());
  }

  bool IsWithin(double value) const {
    return value >= _characteristic.lower && value <= _characteristic.upper;
  }
  /// Whether a number of draws is 95 % of them.
  bool IsMost(std::size_t count) const { return 20 * count >= 19 * _count; }
  bool IsNearTurn() const;
  /// Whether what was measured, less the noise, is outside.
  bool IsOutsideBeyondNoise() const;

  const Characteristic& _characteristic;
  Evaluator _evaluator;
  CharacteristicResult& _result;
  std::vector<FeatureNumbers> _best;  ///< of its features
  std::vector<FeatureNumbers> _drawn;
  std::vector<FeatureNumbers> _noise;
  bool _turns_back = false;     ///< whether its value cannot be negative
  std::size_t _count = 0;       ///< of draws, those without a value among them
  std::vector<double> _values;  ///< of draws that have one
  std::vector<double> _noises;  ///< of the same draws
};

bool Case::IsNearTurn() const {
  if (!_turns_back || _characteristic.IsZone()) return _turns_back;
  const double near = kNear * _result.standard;
  return _evaluator.nominal() < near ||
         (_characteristic.kind == Kind::kAngle && _evaluator.nominal() > std::numbers::pi - near);
}

bool Case::IsOutsideBeyondNoise() const {
  const auto outside = std::count_if(_noises.begin(), _noises.end(), [&](double noise) {
    return _result.measured - noise > _characteristic.upper ||
           _result.measured + noise < _characteristic.lower;
  });
  return IsMost(static_cast<std::size_t>(outside));
}

void Case::Conclude() {
  _result.verdict = Verdict::kUndecided;
  const std::size_t count = _values.size();
  if (count < 2) {
    _result.reason = "how sure it is is not known: fewer than two draws have a value";
    return;
  }
  const auto within = static_cast<std::size_t>(
      std::count_if(_values.begin(), _values.end(), [&](double value) { return IsWithin(value); }));
  double mean = 0.0;
  for (const double value : _values) mean += value / static_cast<double>(count);
  double squares = 0.0;
  for (const double value : _values) squares += (value - mean) * (value - mean);
  _result.standard = std::sqrt(squares / static_cast<double>(count - 1));
  _result.share_within = static_cast<double>(within) / static_cast<double>(_count);
  _result.is_sure = true;
  if (IsMost(within)) {
    _result.verdict = Verdict::kConforms;
  } else if (IsMost(count - within)) {
    if (!IsNearTurn() || IsOutsideBeyondNoise()) {
      _result.verdict = Verdict::kDoesNotConform;
    } else {
      _result.reason = "it is outside by no more than its noise alone may make of it";
    }
  } else if (count < _count && !IsMost(count)) {
    _result.reason = "more than 5 % of the draws have no value";
  }
  std::sort(_values.begin(), _values.end());
  _result.interval95 = uncertainty::ShortestInterval(_values, 0.95);
}

/// Why what a characteristic asks for was not measured; empty where it was.
std::string WhyNotMeasured(const Characteristic& characteristic, const Plan& plan,
                           const std::vector<FeatureNumbers>& best,
                           const std::vector<std::string>& reasons) {
  std::vector<std::string> texts;
  for (const std::size_t i : characteristic.features) {
    if (i < best.size() && best[i].IsMeasured()) continue;
    const std::string why = i < reasons.size() ? reasons[i] : std::string();
    texts.push_back('"' + plan.features[i].name + "\": " + (why.empty() ? "not measured" : why));
  }
  return Joined(texts);
}

std::string WhyNotSure(const Characteristic& characteristic, const Plan& plan,
                       const std::vector<bool>& is_sure) {
  std::vector<std::string> names;
  for (const std::size_t i : characteristic.features) {
    if (i < is_sure.size() && is_sure[i]) continue;
    names.push_back('"' + plan.features[i].name + '"');
  }
  if (names.empty()) return {};
  std::string text = "how sure it is is not known, of ";
  for (std::size_t i = 0; i < names.size(); ++i) text += (i > 0 ? ", " : "") + names[i];
  return text;
}

}  // namespace

std::vector<CharacteristicResult> Judge(const Plan& plan, const std::vector<FeatureNumbers>& best,
                                        const std::vector<bool>& is_sure,
                                        const std::vector<std::string>& reasons,
                                        const DrawNumbers& draw, std::size_t draws) {
  draws = std::min(draws, kMostDraws);
  std::vector<CharacteristicResult> results(plan.characteristics.size());
  std::vector<Case> cases;
  std::size_t named = 0;
  const auto conclude = [&] {
    if (cases.empty()) return;
    for (Case& one : cases) one.Reserve(draws);
    for (std::size_t i = 0; i < draws; ++i) {
      const std::vector<FeatureNumbers> numbers = draw(static_cast<std::uint64_t>(i));
      for (Case& one : cases) one.Add(numbers);
    }
    for (Case& one : cases) one.Conclude();
    cases.clear();
    named = 0;
  };
  for (std::size_t i = 0; i < results.size(); ++i) {
    const Characteristic& characteristic = plan.characteristics[i];
    CharacteristicResult& result = results[i];
    result.reason = WhyNotTold(characteristic, plan);
    if (result.reason.empty()) {
      result.reason = WhyNotMeasured(characteristic, plan, best, reasons);
    }
    if (!result.reason.empty()) continue;
    Case one(characteristic, plan, best, result);
    const std::optional<double> value = one.BestValue();
    if (!value) {
      result.reason = "what was measured has no such value";
      continue;
    }
    result.measured = *value;
    result.reason = WhyNotSure(characteristic, plan, is_sure);
    if (!result.reason.empty()) {
      result.verdict = Verdict::kUndecided;
      continue;
    }
    named += characteristic.features.size();
    cases.push_back(std::move(one));
    if (2 * draws * cases.size() >= kMostKept || named >= kMostNamed) conclude();
  }
  conclude();
  return results;
}

}  // namespace libmfx::inspection
