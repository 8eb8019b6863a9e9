#include "inspection/written.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <nlohmann/json.hpp>

#include "host/json_text.h"

namespace libmfx::inspection {
namespace {

// What is finer than a nanometre or a nanoradian nobody measures.
constexpr double kFinest = 1e-9;

// Digits of a covariance's largest number.
constexpr int kCovarianceDigits = 6;

/// Decimals that a number needs to tell `kFinest` where one is `unit`.
int DecimalsOf(double unit) {
  return static_cast<int>(std::ceil(std::log10(unit / kFinest) - 1e-6));
}

ToldResult Told(const CharacteristicResult& result) {
  ToldResult told;
  told.verdict = result.verdict;
  told.reason = result.reason;
  if (told.verdict == Verdict::kNotMeasured) return told;
  if (!std::isfinite(result.measured)) {
    told.verdict = Verdict::kNotMeasured;
    if (told.reason.empty()) told.reason = "its value is not a number";
    return told;
  }
  told.measured = result.measured;
  const auto& [low, high] = result.interval95;
  if (!result.is_sure || !std::isfinite(result.standard) || !std::isfinite(low) ||
      !std::isfinite(high) || !std::isfinite(result.share_within)) {
    return told;
  }
  told.standard = result.standard;
  told.interval95 = result.interval95;
  told.share_within = result.share_within;
  return told;
}

}  // namespace

double RoundedTo(double value, int decimals) {
  // Powers of ten from 1 up are exact, those below are not: what would be multiplied by one of
  // these is divided.
  double scale = 1.0;
  for (int i = 0; i < std::abs(decimals); ++i) scale *= 10.0;
  const double units = decimals < 0 ? value / scale : value * scale;
  if (!(std::fabs(units) < 9e15)) return value;  // beyond it every number is whole anyway
  const double rounded = std::round(units);
  return (decimals < 0 ? rounded * scale : rounded / scale) + 0.0;
}

Vector3d RoundedTo(const Vector3d& numbers, int decimals) {
  return numbers.unaryExpr([decimals](double x) { return RoundedTo(x, decimals); });
}

UnitNumbers::UnitNumbers(const Units& units)
    : _units(units),
      _length(units.Length()),
      _angle(units.Angle()),
      _length_decimals(DecimalsOf(_length)),
      _angle_decimals(DecimalsOf(_angle)) {}

double UnitNumbers::Length(double metres) const {
  return RoundedTo(metres / _length, _length_decimals);
}

double UnitNumbers::Angle(double radians) const {
  return RoundedTo(radians / _angle, _angle_decimals);
}

Vector3d UnitNumbers::Lengths(const Vector3d& metres) const {
  return RoundedTo(metres / _length, _length_decimals);
}

double UnitNumbers::Of(const Characteristic& characteristic, double value) const {
  return characteristic.is_angle ? Angle(value) : Length(value);
}

const std::string& UnitNumbers::UnitOf(const Characteristic& characteristic) const {
  return characteristic.is_angle ? _units.angle : _units.length;
}

Eigen::Matrix3d UnitNumbers::Covariance(const Eigen::Matrix3d& square_metres) const {
  const Eigen::Matrix3d covariance = square_metres / (_length * _length);
  const double largest = covariance.cwiseAbs().maxCoeff();
  if (!covariance.allFinite() || largest <= 0.0) return covariance;
  const int decimals = kCovarianceDigits - 1 - static_cast<int>(std::floor(std::log10(largest)));
  return covariance.unaryExpr([decimals](double x) { return RoundedTo(x, decimals); });
}

std::vector<ToldResult> ToldResults(const Sheet& sheet) {
  std::vector<ToldResult> results(sheet.plan.characteristics.size());
  const std::size_t known = std::min(results.size(), sheet.characteristics.size());
  for (std::size_t i = 0; i < known; ++i) results[i] = Told(sheet.characteristics[i]);
  return results;
}

std::optional<Verdict> WorstOf(std::span<const Verdict> verdicts) {
  for (const Verdict verdict :
       {Verdict::kDoesNotConform, Verdict::kNotMeasured, Verdict::kUndecided, Verdict::kConforms}) {
    if (std::find(verdicts.begin(), verdicts.end(), verdict) != verdicts.end()) return verdict;
  }
  return std::nullopt;
}

Verdict WholeVerdict(const std::vector<ToldResult>& results) {
  std::vector<Verdict> verdicts;
  std::transform(results.begin(), results.end(), std::back_inserter(verdicts),
                 [](const ToldResult& result) { return result.verdict; });
  return WorstOf(verdicts).value_or(Verdict::kUndecided);
}

std::vector<std::optional<Verdict>> FeatureVerdicts(const Sheet& sheet,
                                                    const std::vector<ToldResult>& results) {
  std::vector<std::vector<Verdict>> verdicts(sheet.plan.features.size());
  for (std::size_t i = 0; i < results.size(); ++i) {
    for (const std::size_t feature : sheet.plan.characteristics[i].features) {
      if (feature < verdicts.size()) verdicts[feature].push_back(results[i].verdict);
    }
  }
  std::vector<std::optional<Verdict>> worst;
  worst.reserve(verdicts.size());
  for (const auto& all : verdicts) worst.push_back(WorstOf(all));
  return worst;
}

std::string_view FeatureName(const Plan& plan, std::size_t feature) {
  return feature < plan.features.size() ? std::string_view(plan.features[feature].name) : "";
}

bool HasPlace(const PlannedFeature& feature) {
  return feature.type != "ScanPathFeature" && feature.place.allFinite();
}

const FeatureResult* MeasuredFeature(const Sheet& sheet, std::size_t feature) {
  if (feature >= sheet.features.size() || !sheet.features[feature].is_measured) return nullptr;
  return &sheet.features[feature];
}

std::string Utf8Text(const std::string& text) {
  const bool is_ascii =
      std::all_of(text.begin(), text.end(), [](char c) { return (c & '\x80') == 0; });
  if (is_ascii) return text;
  return nlohmann::json::parse(host::Dump(nlohmann::json(text))).get<std::string>();
}

}  // namespace libmfx::inspection
