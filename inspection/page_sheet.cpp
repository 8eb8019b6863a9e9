// The first page of an inspection: the sheet to sign.

#include <cmath>

#include "inspection/page_parts.h"
#include "inspection/page_words.h"
#include "report/plot.h"
#include "report/tables.h"

namespace libmfx::inspection::page {
namespace {

using host::report::Element;
using host::report::NumberText;

/// What stands big on the sheet.
struct Overall {
  Sign sign;
  const char* words;
};

Overall OverallOf(const Sheet& sheet) {
  if (sheet.plan.characteristics.empty()) return {{"–", "none"}, "Nothing was asked"};
  if (sheet.Count(Verdict::kDoesNotConform) > 0) {
    return {SignOf(Verdict::kDoesNotConform), "Does not conform"};
  }
  // What is not measured leaves more open than what cannot be decided, and so does the exit status.
  const auto asked = static_cast<int>(sheet.plan.characteristics.size());
  const int undecided = sheet.Count(Verdict::kUndecided);
  if (sheet.Count(Verdict::kConforms) + undecided < asked) {
    return {SignOf(Verdict::kNotMeasured), "Not measured as a whole"};
  }
  if (undecided > 0) return {SignOf(Verdict::kUndecided), "Cannot be decided"};
  return {SignOf(Verdict::kConforms), "Conforms"};
}

std::string Counts(const Sheet& sheet) {
  std::string items;
  for (const Verdict verdict :
       {Verdict::kConforms, Verdict::kDoesNotConform, Verdict::kUndecided, Verdict::kNotMeasured}) {
    const Sign sign = SignOf(verdict);
    items +=
        Element("li", "<span class=\"sign " + std::string(sign.style) + "\" aria-hidden=\"true\">" +
                          sign.mark + "</span> <b>" + std::to_string(sheet.Count(verdict)) +
                          "</b> " + std::string(VerdictName(verdict)));
  }
  return Element("ul class=\"counts\"", "\n" + items);
}

/// A row of facts; none for what is not known.
/// \param value as HTML
std::string Fact(const char* name, const std::string& value) {
  if (value.empty()) return {};
  return Element("tr", "<th scope=\"row\">" + std::string(name) + "</th><td>" + value + "</td>");
}

/// "2026-01-31T23:59:59Z" for people; anything else as it is.
std::string TimeText(const std::string& time) {
  const bool is_utc = time.size() == 20 && time[10] == 'T' && time.ends_with('Z');
  return Text(is_utc ? time.substr(0, 10) + " " + time.substr(11, 8) + " UTC" : time);
}

std::string TemperatureText(const PartTold& part) {
  std::string text = NumberText(part.temperature, 5) + " °C; nominals are told for " +
                     NumberText(part.reference_temperature, 5) + " °C";
  if (part.expansion != 0.0) {
    text += "; the material expands by " + NumberText(1e6 * part.expansion, 4) + "·10⁻⁶ a kelvin";
  }
  return text;
}

std::string FeatureCount(const Sheet& sheet) {
  std::size_t measured = 0;
  for (const FeatureResult& feature : sheet.features) measured += feature.is_measured ? 1 : 0;
  return std::to_string(measured) + " of " + std::to_string(sheet.plan.features.size()) +
         " measured";
}

std::string Facts(const Sheet& sheet) {
  const PartTold& part = sheet.plan.part;
  return Element(
      "table class=\"facts\"",
      "\n" + Fact("Material", Text(part.material)) + Fact("Temperature", TemperatureText(part)) +
          Fact("Measured", TimeText(sheet.time)) + Fact("Program", Text(sheet.program)) +
          Fact("Features", FeatureCount(sheet)) + Fact("Uncertainties", Text(sheet.uncertainties)));
}

std::string Stations(const Sheet& sheet) {
  const Numbers numbers(sheet.plan.units);
  std::string rows =
      "<tr><th scope=\"col\">station</th><th scope=\"col\">instrument</th><th "
      "scope=\"col\">features</th><th scope=\"col\">its place is known to</th></tr>\n";
  for (std::size_t i = 0; i < sheet.plan.stations.size(); ++i) {
    const StationResult station = i < sheet.stations.size() ? sheet.stations[i] : StationResult();
    std::size_t features = 0;
    for (const FeatureResult& feature : sheet.features) features += feature.station == i ? 1 : 0;
    const std::string turn = numbers.Angle(station.turn_standard.norm());
    rows += Element("tr", "<td>" + Text(sheet.plan.stations[i].name) + "</td><td>" +
                              Text(station.instrument) + "</td><td>" + std::to_string(features) +
                              "</td><td>" + numbers.Told(station.position_standard.norm()) + ", " +
                              turn + (turn == kNothing ? "" : numbers.AngleName()) + "</td>");
  }
  return Element("h2", "Stations") + Element("table class=\"list stations\"", "\n" + rows) +
         Element("p class=\"note\"",
                 "Standard uncertainties of the references' middle and of the turn.");
}

std::string Alignment(const Sheet& sheet) {
  const Numbers numbers(sheet.plan.units);
  const AlignmentResult& alignment = sheet.alignment;
  std::string html = Element("h2", "Alignment");
  if (!alignment.method.empty()) html += Element("p", Text(alignment.method));
  std::string rows =
      "<tr><th scope=\"col\">reference</th><th scope=\"col\" class=\"number\">"
      "residual</th><th scope=\"col\" class=\"number\">tolerance</th><th "
      "scope=\"col\"></th></tr>\n";
  for (std::size_t i = 0; i < sheet.plan.references.size(); ++i) {
    const Reference& reference = sheet.plan.references[i];
    const double residual =
        i < alignment.residuals.size() ? alignment.residuals[i] : FeatureNumbers::kNone;
    const char* remark = alignment.left_out == i   ? "left out: it does not fit to the others"
                         : std::isfinite(residual) ? ""
                                                   : "not used";
    rows +=
        Element(alignment.left_out == i ? "tr class=\"fails\"" : "tr",
                "<td>" + FeatureLink(sheet.plan, reference.feature) + "</td><td class=\"number\">" +
                    numbers.Length(residual) + "</td><td class=\"number\">" +
                    numbers.Length(reference.tolerance) + "</td><td>" + remark + "</td>");
  }
  if (!sheet.plan.references.empty()) {
    html += Element("table class=\"list references\"", "\n" + rows) +
            Element("p class=\"note\"",
                    "In " + numbers.LengthName() + ": how far each lies off its nominal place.");
  }
  if (alignment.scale != 1.0 && std::isfinite(alignment.scale)) {
    html += Element("p class=\"note\"", "Measured lengths were divided by " +
                                            NumberText(alignment.scale, 9) +
                                            ", for the reference temperature.");
  }
  return html;
}

std::string Notes(const Sheet& sheet) {
  std::string items;
  for (const std::string& note : sheet.notes) items += Element("li", Text(note));
  return items.empty() ? "" : Element("h2", "Notes") + Element("ul", "\n" + items);
}

}  // namespace

std::string FirstPage(const Sheet& sheet) {
  const PartTold& part = sheet.plan.part;
  const Overall overall = OverallOf(sheet);
  std::string html = Element("h1", part.name.empty() ? "Part without a name" : Text(part.name));
  if (!part.number.empty()) html += Element("p class=\"number-of-part\"", Text(part.number));
  html += Element("div class=\"verdict overall " + std::string(overall.sign.style) + "\"",
                  "<b><span aria-hidden=\"true\">" + std::string(overall.sign.mark) + "</span> " +
                      overall.words + "</b>\n" + Counts(sheet));
  html += Element("div class=\"numbers\"",
                  "\n" + Element("section", "\n" + Facts(sheet) + Stations(sheet)) +
                      Element("section", "\n" + Alignment(sheet) + Notes(sheet)));
  html += Element("h2", "Characteristics") + CharacteristicsTable(sheet);
  html += Element("div class=\"signature\"", Element("p class=\"wide\"", "Name") +
                                                 Element("p", "Date") +
                                                 Element("p class=\"wide\"", "Signature"));
  return Element("section class=\"first\"", "\n" + html);
}

}  // namespace libmfx::inspection::page
