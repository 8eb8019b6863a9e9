#include <cmath>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/numbers.h"
#include "inspection/writers.h"
#include "inspection/written.h"

namespace libmfx::inspection {
namespace {

/// The lines of a table, cell by cell.
class CsvLines {
 public:
  void Text(const std::string& told) {
    std::string text = Utf8Text(told);
    // A spreadsheet takes a cell that begins so for a formula and carries it out: a name in a plan
    // could then call a program. An apostrophe before it makes it a text, and is not shown.
    constexpr std::string_view formula = "=+-@\t\r";
    if (!text.empty() && formula.find(text.front()) != std::string_view::npos) {
      text.insert(text.begin(), '\'');
    }
    Begin();
    if (text.find_first_of(",\"\r\n") == std::string::npos) {
      _text += text;
      return;
    }
    _text += '"';
    for (const char c : text) {
      if (c == '"') _text += '"';
      _text += c;
    }
    _text += '"';
  }

  /// Nothing, where there is no number.
  void Number(std::optional<double> value) {
    Begin();
    if (value && std::isfinite(*value)) host::AppendNumber(_text, *value);
  }

  void End() {
    _text += "\r\n";
    _is_first = true;
  }

  const std::string& Told() const { return _text; }

 private:
  void Begin() {
    if (!_is_first) _text += ',';
    _is_first = false;
  }

  std::string _text;
  bool _is_first = true;
};

std::string FeatureNames(const Plan& plan, const Characteristic& characteristic) {
  std::string names;
  for (std::size_t i = 0; i < characteristic.features.size(); ++i) {
    if (i > 0) names += "; ";
    names += FeatureName(plan, characteristic.features[i]);
  }
  return names;
}

}  // namespace

std::string ResultCsv(const Sheet& sheet) {
  CsvLines lines;
  for (const char* name : {"characteristic", "type", "features", "unit", "nominal", "lower",
                           "upper", "measured", "deviation", "standard uncertainty", "low95",
                           "high95", "probability within", "verdict", "reason"}) {
    lines.Text(name);
  }
  lines.End();
  const UnitNumbers units(sheet.plan.units);
  const std::vector<ToldResult> results = ToldResults(sheet);
  for (std::size_t i = 0; i < results.size(); ++i) {
    const Characteristic& characteristic = sheet.plan.characteristics[i];
    const ToldResult& told = results[i];
    const auto number = [&](std::optional<double> value) {
      lines.Number(value ? std::optional(units.Of(characteristic, *value)) : value);
    };
    lines.Text(characteristic.name);
    lines.Text(std::string(KindName(characteristic.kind)));
    lines.Text(FeatureNames(sheet.plan, characteristic));
    lines.Text(units.UnitOf(characteristic));
    number(characteristic.nominal);
    number(characteristic.lower);
    number(characteristic.upper);
    number(told.measured);
    number(told.measured ? std::optional(*told.measured - characteristic.nominal) : std::nullopt);
    number(told.standard);
    number(told.interval95 ? std::optional((*told.interval95)[0]) : std::nullopt);
    number(told.interval95 ? std::optional((*told.interval95)[1]) : std::nullopt);
    lines.Number(told.share_within ? std::optional(RoundedTo(*told.share_within, 6))
                                   : std::nullopt);
    lines.Text(std::string(VerdictName(told.verdict)));
    lines.Text(told.reason);
    lines.End();
  }
  return lines.Told();
}

}  // namespace libmfx::inspection
