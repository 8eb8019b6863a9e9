// The table of all characteristics, with the bars that show where in their tolerances they lie.

#include <algorithm>
#include <cmath>

#include "inspection/page_parts.h"
#include "inspection/page_words.h"
#include "report/plot.h"
#include "report/tables.h"

namespace libmfx::inspection::page {
namespace {

using host::report::Element;
using host::report::NumberText;

// The picture of a bar, user units.
constexpr double kWidth = 108.0;
constexpr double kHeight = 16.0;
constexpr double kEdge = 5.0;  // kept free at either end, for an arrowhead

/// The smallest value that conforms: a zone has none below 0.
double LowerOf(const Characteristic& c) { return c.IsZone() ? 0.0 : c.lower; }

/// What a bar shows, in the unit of the value.
struct Window {
  double from = 0.0;
  double to = 0.0;

  double At(double value) const {
    const double x = kEdge + (value - from) / (to - from) * (kWidth - 2.0 * kEdge);
    return std::clamp(x, kEdge, kWidth - kEdge);
  }
  bool Holds(double value) const { return value >= from && value <= to; }
};

Window WindowOf(const Characteristic& c, const CharacteristicResult& result) {
  const double lower = LowerOf(c);
  const double upper = c.upper;
  if (c.IsZone()) return {-0.04 * upper, 1.5 * upper};
  const double size = upper - lower;
  if (std::isfinite(size) && size > 0.0) return {lower - 0.5 * size, upper + 0.5 * size};
  // One limit alone: as much as it takes to see it beside the nominal and what was measured.
  const double limit = std::isfinite(upper) ? upper : lower;
  const double reach =
      1.5 * std::max({std::abs(limit - c.nominal), std::abs(limit - result.measured),
                      result.interval95[1] - result.interval95[0]});
  return {limit - reach, limit + reach};
}

std::string Line(const char* style, double x1, double y1, double x2, double y2) {
  return "<line class=\"" + std::string(style) + "\" x1=\"" + NumberText(x1, 5) + "\" y1=\"" +
         NumberText(y1, 5) + "\" x2=\"" + NumberText(x2, 5) + "\" y2=\"" + NumberText(y2, 5) +
         "\"/>";
}

/// The mark of what was measured.
std::string Value(const Window& window, double value) {
  const double middle = 0.5 * kHeight;
  if (window.Holds(value)) {
    return "<circle class=\"value\" cx=\"" + NumberText(window.At(value), 5) + "\" cy=\"" +
           NumberText(middle) + "\" r=\"3.4\"/>";
  }
  const double end = value < window.from ? 0.0 : kWidth;
  const double back = value < window.from ? 8.0 : kWidth - 8.0;
  return "<polygon class=\"value\" points=\"" + NumberText(end) + "," + NumberText(middle) + " " +
         NumberText(back) + ",3 " + NumberText(back) + ",13\"/>";
}

std::string NumberCell(const char* name, const std::string& inside) {
  return "<td class=\"number\" data-name=\"" + std::string(name) + "\">" + inside + "</td>";
}

/// "±0.1", both limits, or one; as deviations from the nominal, of a zone as they are.
std::string ToleranceText(const Characteristic& c, const Numbers& numbers) {
  if (c.IsZone()) {
    return std::isfinite(c.upper) ? "≤ " + numbers.Value(c, c.upper) : std::string(kNothing);
  }
  const double lower = c.lower - c.nominal;
  const double upper = c.upper - c.nominal;
  const std::string low = numbers.Value(c, lower, true);
  const std::string high = numbers.Value(c, upper, true);
  if (!std::isfinite(lower) && !std::isfinite(upper)) return kNothing;
  if (!std::isfinite(lower)) return "≤ " + high;
  if (!std::isfinite(upper)) return "≥ " + low;
  if (upper > 0.0 && numbers.Value(c, -lower) == numbers.Value(c, upper)) {
    return "±" + numbers.Value(c, upper);
  }
  return low + "<br>" + high;
}

/// "size, diameter"
std::string KindText(const Characteristic& c) {
  std::string text(KindName(c.kind));
  if (c.quantity.empty()) return text;
  std::string quantity;
  for (const char letter : c.quantity) quantity += letter == ',' ? ", " : std::string(1, letter);
  return text + ", " + Text(quantity);
}

std::string FeatureList(const Plan& plan, const Characteristic& c) {
  constexpr std::size_t kMost = 8;  // more names than this make a row that nobody reads
  std::string text;
  for (std::size_t i = 0; i < std::min(c.features.size(), kMost); ++i) {
    text += (i == 0 ? "" : ", ") + FeatureLink(plan, c.features[i]);
  }
  if (c.features.size() > kMost) {
    text += " and " + std::to_string(c.features.size() - kMost) + " more";
  }
  return text.empty() ? std::string(kNothing) : text;
}

std::string VerdictCell(const CharacteristicResult& result) {
  std::string inside = SignHtml(result.verdict);
  if (result.verdict == Verdict::kUndecided && result.is_sure &&
      std::isfinite(result.share_within)) {
    inside += "<small>" + Fixed(100.0 * result.share_within, 0) + " % within</small>";
  }
  return "<td class=\"told\" data-name=\"verdict\">" + inside + "</td>";
}

std::string Row(const Sheet& sheet, std::size_t index, const Numbers& numbers) {
  const Characteristic& c = sheet.plan.characteristics[index];
  const CharacteristicResult& result = VerdictOf(sheet, index);
  const bool has_value = result.verdict != Verdict::kNotMeasured;
  const std::string reason = result.reason.empty() ? "" : "<br>" + Text(result.reason);
  const double half = 0.5 * (result.interval95[1] - result.interval95[0]);
  const std::string sure = !has_value        ? kNothing
                           : !result.is_sure ? "unknown"
                                             : "±" + numbers.Value(c, half);
  std::string row = "<td class=\"who\">" + Text(c.name) + "<small>" + KindText(c) + reason +
                    "</small></td><td data-name=\"features\">" + FeatureList(sheet.plan, c) +
                    "</td>";
  row += NumberCell("nominal", c.IsZone() ? kNothing : numbers.Value(c, c.nominal));
  row += NumberCell("measured", has_value ? numbers.Value(c, result.measured) : kNothing);
  row += NumberCell("deviation", has_value && !c.IsZone()
                                     ? numbers.Value(c, result.measured - c.nominal, true)
                                     : std::string(kNothing));
  row += NumberCell("tolerance", ToleranceText(c, numbers)) + NumberCell("uncertainty", sure);
  row += "<td>" + ZoneBar(c, result) + "</td>" + VerdictCell(result);
  return Element("tr class=\"" + std::string(SignOf(result.verdict).style) + "\"", row);
}

}  // namespace

std::string ZoneBar(const Characteristic& characteristic, const CharacteristicResult& result) {
  const double lower = LowerOf(characteristic);
  const double upper = characteristic.upper;
  if (result.verdict == Verdict::kNotMeasured || !std::isfinite(result.measured) ||
      (!std::isfinite(lower) && !std::isfinite(upper))) {
    return {};
  }
  const Window window = WindowOf(characteristic, result);
  if (!(window.to > window.from) || !std::isfinite(window.to - window.from)) return {};
  const double middle = 0.5 * kHeight;
  const double left = std::isfinite(lower) ? window.At(lower) : kEdge;
  const double right = std::isfinite(upper) ? window.At(upper) : kWidth - kEdge;
  std::string svg = "<svg class=\"zone " + std::string(SignOf(result.verdict).style) +
                    "\" aria-hidden=\"true\" viewBox=\"0 0 " + NumberText(kWidth) + " " +
                    NumberText(kHeight) + "\">";
  svg += "<rect class=\"within\" x=\"" + NumberText(left, 5) + "\" y=\"2\" width=\"" +
         NumberText(right - left, 5) + "\" height=\"12\"/>";
  svg += Line("line", kEdge, middle, kWidth - kEdge, middle);
  if (!characteristic.IsZone() && window.Holds(characteristic.nominal)) {
    const double nominal = window.At(characteristic.nominal);
    svg += Line("line", nominal, 2.0, nominal, kHeight - 2.0);
  }
  if (std::isfinite(lower)) svg += Line("limit", left, 1.0, left, kHeight - 1.0);
  if (std::isfinite(upper)) svg += Line("limit", right, 1.0, right, kHeight - 1.0);
  const auto [low, high] = result.interval95;
  if (result.is_sure && std::isfinite(low) && std::isfinite(high) && low < high) {
    svg += Line("sure", window.At(low), middle, window.At(high), middle);
  }
  return svg + Value(window, result.measured) + "</svg>";
}

std::string CharacteristicsTable(const Sheet& sheet) {
  const Numbers numbers(sheet.plan.units);
  if (sheet.plan.characteristics.empty()) {
    return Element("p", "The plan asks for no characteristic.");
  }
  std::string head = "<th scope=\"col\">characteristic</th><th scope=\"col\">features</th>";
  for (const char* name : {"nominal", "measured", "deviation", "tolerance", "uncertainty"}) {
    head += "<th scope=\"col\" class=\"number\">" + std::string(name) + "</th>";
  }
  head += "<th scope=\"col\">in the tolerance</th><th scope=\"col\" class=\"told\">verdict</th>";
  std::string rows;
  for (std::size_t i = 0; i < sheet.plan.characteristics.size(); ++i) {
    rows += Row(sheet, i, numbers);
  }
  return "<table class=\"list asked\">\n" + Element("thead", Element("tr", head)) +
         Element("tbody", "\n" + rows) + "</table>\n" +
         Element("p class=\"note\"",
                 "Lengths in " + numbers.LengthName() +
                     ", angles with their unit. A deviation is measured less nominal. The "
                     "uncertainty is half of the interval that holds the true value with 95 %. In "
                     "a bar the grey box is the tolerance, the dot what was measured, the line "
                     "through it that interval; an arrowhead is outside of the bar.");
}

}  // namespace libmfx::inspection::page
