#include "inspection/page_words.h"

#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>

#include "host/json_text.h"
#include "report/plot.h"
#include "report/tables.h"

namespace libmfx::inspection::page {
namespace {

constexpr const char* kReplacement = "\xEF\xBF\xBD";  // U+FFFD
constexpr double kWidest = 1e9;                       // what a column of a table has room for

bool ContinuesCharacter(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

/// Text without what is no UTF-8, and without control characters.
std::string Clean(std::string_view text) {
  const std::string sound = json::parse(host::Dump(json(std::string(text)))).get<std::string>();
  std::string out;
  for (std::size_t i = 0; i < sound.size(); ++i) {
    const auto byte = static_cast<unsigned char>(sound[i]);
    const bool high = byte == 0xC2 && i + 1 < sound.size() &&
                      static_cast<unsigned char>(sound[i + 1]) < 0xA0;  // U+0080 to U+009F
    if (high) ++i;
    if (high || byte == 0x7F || (byte < 0x20 && byte != '\t' && byte != '\n')) {
      out += kReplacement;
    } else {
      out += sound[i];
    }
  }
  return out;
}

}  // namespace

std::string Text(std::string_view text) { return host::report::Escaped(Clean(text)); }

std::string Shortened(std::string_view text, std::size_t most) {
  std::size_t characters = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (ContinuesCharacter(text[i])) continue;
    if (++characters > most) return std::string(text.substr(0, i)) + "…";
  }
  return std::string(text);
}

std::string Fixed(double value, int decimals, bool sign) {
  if (!std::isfinite(value)) return kNothing;
  std::string text;
  if (std::abs(value) < kWidest) {
    char buffer[64];
    text.assign(buffer, std::to_chars(buffer, buffer + sizeof buffer, value,
                                      std::chars_format::fixed, decimals)
                            .ptr);
    const bool is_zero = text.find_first_of("123456789") == std::string::npos;
    if (is_zero && text.starts_with('-')) text.erase(0, 1);
    if (is_zero) return text;
  } else {
    text = host::report::NumberText(value);
  }
  return sign && value > 0.0 ? "+" + text : text;
}

Numbers::Numbers(const Units& units) : _units(units), _in_degrees(units.angle != "rad") {}

std::string Numbers::Length(double metres, bool sign) const {
  const int decimals = _units.length == "m" ? 7 : _units.length == "in" ? 5 : 4;
  return Fixed(metres / _units.Length(), decimals, sign);
}

std::string Numbers::Angle(double radians, bool sign) const {
  return Fixed(radians / _units.Angle(), _in_degrees ? 4 : 6, sign);
}

std::string Numbers::Value(const Characteristic& characteristic, double value, bool sign) const {
  if (!characteristic.is_angle) return Length(value, sign);
  const std::string text = Angle(value, sign);
  return text == kNothing ? text : text + AngleName();
}

std::string Numbers::Told(double metres) const {
  if (!std::isfinite(metres)) return kNothing;
  if (!IsMetric()) return host::report::NumberText(metres / _units.Length(), 3) + " in";
  const host::report::LengthUnit unit = host::report::UnitFor(std::abs(metres));
  return host::report::NumberText(metres * unit.scale, 3) + " " + unit.name;
}

Sign SignOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::kConforms:
      return {"✓", "conforms"};
    case Verdict::kDoesNotConform:
      return {"✗", "fails"};
    case Verdict::kUndecided:
      return {"?", "open"};
    case Verdict::kNotMeasured:
      break;
  }
  return {"–", "none"};
}

std::string SignHtml(Verdict verdict) {
  const Sign sign = SignOf(verdict);
  return "<span class=\"sign " + std::string(sign.style) + "\" aria-hidden=\"true\">" + sign.mark +
         "</span><span class=\"heard\">" + std::string(VerdictName(verdict)) + "</span>";
}

int Severity(std::optional<Verdict> verdict) {
  if (!verdict) return 0;
  switch (*verdict) {
    case Verdict::kConforms:
      return 1;
    case Verdict::kUndecided:
      return 2;
    case Verdict::kNotMeasured:
      return 3;
    case Verdict::kDoesNotConform:
      break;
  }
  return 4;
}

std::vector<std::vector<std::size_t>> AskedOf(const Sheet& sheet) {
  std::vector<std::vector<std::size_t>> asked(sheet.plan.features.size());
  for (std::size_t i = 0; i < sheet.plan.characteristics.size(); ++i) {
    for (const std::size_t feature : sheet.plan.characteristics[i].features) {
      if (feature >= asked.size()) continue;
      std::vector<std::size_t>& list = asked[feature];
      if (list.empty() || list.back() != i) list.push_back(i);  // once, even if named twice
    }
  }
  return asked;
}

std::optional<Verdict> WorstVerdict(const Sheet& sheet,
                                    const std::vector<std::size_t>& characteristics) {
  std::optional<Verdict> worst;
  for (const std::size_t i : characteristics) {
    const Verdict verdict = VerdictOf(sheet, i).verdict;
    if (Severity(verdict) > Severity(worst)) worst = verdict;
  }
  return worst;
}

const FeatureResult& ResultOf(const Sheet& sheet, std::size_t feature) {
  static const FeatureResult nothing;
  return feature < sheet.features.size() ? sheet.features[feature] : nothing;
}

const CharacteristicResult& VerdictOf(const Sheet& sheet, std::size_t characteristic) {
  static const CharacteristicResult nothing;
  return characteristic < sheet.characteristics.size() ? sheet.characteristics[characteristic]
                                                       : nothing;
}

std::string FeatureLink(const Plan& plan, std::size_t feature) {
  if (feature >= plan.features.size()) return kNothing;
  return "<a href=\"#feature-" + std::to_string(feature + 1) + "\">" +
         Text(plan.features[feature].name) + "</a>";
}

std::optional<Vector3d> DeviationOf(const PlannedFeature& feature, const FeatureResult& result) {
  if (!result.is_measured || !result.measured.IsMeasured()) return std::nullopt;
  const Vector3d off = feature.MeasuredDirections() * (result.measured.place - feature.place);
  return off.allFinite() ? std::optional<Vector3d>(off) : std::nullopt;
}

}  // namespace libmfx::inspection::page
