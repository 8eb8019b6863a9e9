#include "report/tables.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "host/json_text.h"
#include "libmfx/features/request_text.h"
#include "report/plot.h"

namespace libmfx::host::report {
namespace {

using nlohmann::json;
using nlohmann::ordered_json;

std::string Row(const std::string& head, const std::string& value) {
  return "<tr><th>" + Escaped(head) + "</th><td>" + Escaped(value) + "</td></tr>\n";
}

std::string TextOf(const json& object, const char* key) {
  if (!object.is_object() || !object.contains(key) || !object[key].is_string()) return {};
  return object[key].get<std::string>();
}

/// The request as the library reads it; null if it is no JSON.
json ReadRequest(const std::string& request) {
  const std::optional<std::string> strict = features::StrictJson(request);
  return strict ? json::parse(*strict) : json();
}

json FeatureOf(const json& request) {
  return request.is_object() ? request.value("Feature", json()) : json();
}

/// A value of the result for people: numbers in full, arrays as a list.
std::string ValueText(const ordered_json& value) {
  if (value.is_string()) return value.get<std::string>();
  if (value.is_number_float()) return NumberText(value.get<double>(), 9);
  if (value.is_array()) {
    std::string text;
    for (const ordered_json& entry : value) text += (text.empty() ? "" : ", ") + ValueText(entry);
    return text;
  }
  return Dump(value);
}

/// Whether it was measured and, where there is something to say about it, why not and what is
/// doubtful.
std::string Verdict(const Conversation& outcome) {
  const char* kind = outcome.IsDoubtful() ? "doubtful" : outcome.successful ? "good" : "bad";
  const char* words = outcome.IsDoubtful() ? "Measured, with doubts"
                      : outcome.successful ? "Measured"
                                           : "Not measured";
  std::string html = std::string("<div class=\"verdict ") + kind + "\"><b>" + words + "</b>";
  if (!outcome.successful) html += "<br>" + Escaped(outcome.error);
  std::string doubts;
  for (const std::string& warning : outcome.warnings) doubts += Element("li", Escaped(warning));
  if (!doubts.empty()) html += "\n" + Element("ul", "\n" + doubts);
  return html + "</div>\n";
}

std::string NumberCell(const std::optional<double>& value, const Quantity& q, bool sign = false) {
  return "<td class=\"number\">" + (value ? TableText(*value, q.unit, sign) : "&ndash;") + "</td>";
}

/// Where the number of a quantity comes from, for the reader who would take it for a measurement.
std::string Origin(const Quantity& q, bool successful) {
  std::string words;
  if (successful && q.source == Source::kRepeated) {
    words = q.measured ? "fitted; the result repeats the nominal"
                       : "not measured: as the request tells it";
  } else if (successful && q.source == Source::kBeside) {
    words = "fitted; not in the result";
  }
  if (q.remark.empty()) return words;
  return words + (words.empty() ? "" : "; ") + q.remark;
}

/// The margins of the rows of a table.
struct Margins {
  std::vector<std::optional<Margin>> rows;
  std::map<std::string, double> reaches;  ///< of the rows of each unit the longest side

  Margins(const std::vector<Quantity>& quantities, const Spread* spread) {
    rows.reserve(quantities.size());
    for (const Quantity& q : quantities) {
      rows.push_back(spread != nullptr ? MarginOf(*spread, q) : std::nullopt);
      if (!rows.back()) continue;
      double& reach = reaches[q.unit];
      reach = std::max(reach, rows.back()->Reach());
    }
  }
  bool IsEmpty() const { return reaches.empty(); }

  /// The cell of a row.
  std::string Cell(std::size_t row, const Quantity& q) const {
    if (!rows[row]) return "<td class=\"number margin\">&ndash;</td>";
    const double reach = reaches.at(q.unit);
    return "<td class=\"number margin\">" + MarginText(*rows[row], q.unit) +
           (reach > 0.0 ? ErrorBar(*rows[row], q, reach) : "") + "</td>";
  }
};

/// How the column with the margins is read, and what they rest on.
std::string SpreadNote(const Margins& margins, const Spread* spread) {
  if (spread == nullptr) return {};
  std::string words;
  if (!margins.IsEmpty()) {
    words =
        "95 %: the ends of the interval that holds the true number with 95 %, less the measured "
        "number; \xC2\xB1 is half of it, where both ends are about as far away. Of a direction: "
        "the angle within which of the measured direction the true one lies with 95 %. The bars "
        "show the same around the measured number, the dot; those of one unit have one scale. ";
  }
  words += OriginText(*spread);
  return words.empty() ? "" : Element("p class=\"note\"", Escaped(words));
}

/// The row of a quantity up to the cell of its margin.
std::string QuantityRow(const Quantity& q, bool successful) {
  const bool fitted = q.source != Source::kMeasured;
  const bool as_told = successful && q.source == Source::kRepeated && !q.measured;
  const std::string origin = Origin(q, successful);
  std::string html = fitted && q.IsOff() ? "<tr class=\"off\">"
                     : as_told           ? "<tr class=\"as-told\">"
                                         : "<tr>";
  html += "<td>" + Escaped(q.name) + (q.unit.empty() ? "" : " / " + q.unit) +
          (origin.empty() ? "" : "<small>" + Escaped(origin) + "</small>") + "</td>";
  html += NumberCell(q.nominal, q) + NumberCell(q.measured, q);
  return html + NumberCell(q.Deviation(), q, true);
}

/// JSON for people: what fits on a line stands on one.
std::string Pretty(const ordered_json& value, std::size_t indent) {
  constexpr std::size_t kLine = 90;
  const std::string flat = Dump(value);
  if (!value.is_structured() || indent + flat.size() <= kLine) return flat;
  const std::string margin(indent + 2, ' ');
  std::string text;
  for (const auto& [key, entry] : value.items()) {
    text += (text.empty() ? "\n" : ",\n") + margin;
    if (value.is_object()) text += ordered_json(key).dump() + ": ";
    text += Pretty(entry, indent + 2);
  }
  text += "\n" + std::string(indent, ' ');
  return value.is_object() ? "{" + text + "}" : "[" + text + "]";
}

}  // namespace

std::string Element(const std::string& name, const std::string& inside) {
  return "<" + name + ">" + inside + "</" + name.substr(0, name.find(' ')) + ">\n";
}

std::string TitleOf(const std::string& request) {
  static const std::pair<const char*, const char*> kWords[] = {
      {"SurfaceNormalFeature", "Point on a surface"},
      {"MatteSphereFeature", "Matte tooling ball"},
      {"HoleFeature", "Round hole"},
      {"ThreadedHoleFeature", "Round hole with a thread"},
      {"SlotFeature", "Obround slot"},
      {"StudFeature", "Stud"},
      {"EdgeFeature", "Edge of a plate"},
      {"PolygonFeature", "Hole with straight sides of equal length"},
      {"RectangleFeature", "Rectangular hole"},
      {"ScanPathFeature", "Scan path"}};
  const json feature = FeatureOf(ReadRequest(request));
  const std::string name = TextOf(feature, "Name");
  if (!name.empty()) return name;
  const std::string type = TextOf(feature, "$type");
  for (const auto& [key, words] : kWords) {
    if (type == key) return words;
  }
  return type.empty() ? "Measurement" : type;
}

std::string Head(const ReportData& data) {
  const json request = ReadRequest(data.request);
  const std::string type = TextOf(FeatureOf(request), "$type");
  std::string html = Element("h1", Escaped(TitleOf(data.request))) + Verdict(data.outcome);
  std::size_t points = 0;
  std::size_t samples = 0;
  for (const Exchange& exchange : data.exchanges) {
    points += exchange.points.size();
    samples += exchange.samples.size();
  }
  html += "<table>\n";
  for (const auto& [key, value] : data.labels) html += Row(key, value);
  html += Row("Feature type", type.empty() ? "not told" : type);
  html += Row("Request", data.request_name) + Row("Request id", TextOf(request, "$id"));
  html += Row("Instrument", data.instrument);
  html += Row("Scans driven", std::to_string(data.exchanges.size()) +
                                  (data.outcome.searched ? ", a search among them" : ""));
  html += Row("Re-scans around a moved nominal", std::to_string(data.outcome.rescans));
  html += Row("Drive points", std::to_string(points)) + Row("Samples", std::to_string(samples));
  return html + Row("Program", "mfx " LIBMFX_VERSION) + "</table>\n";
}

std::string QuantityTable(const std::vector<Quantity>& quantities, bool successful,
                          const Spread* spread) {
  if (quantities.empty()) return {};
  const Margins margins(quantities, spread);
  std::string rows = "<tr><th>quantity</th>";
  for (const char* column : {"nominal", "measured", "deviation"}) {
    rows += std::string("<th class=\"number\">") + column + "</th>";
  }
  rows += std::string(margins.IsEmpty() ? "" : "<th class=\"number margin\">95 %</th>") + "</tr>\n";
  for (std::size_t i = 0; i < quantities.size(); ++i) {
    rows += QuantityRow(quantities[i], successful) +
            (margins.IsEmpty() ? "" : margins.Cell(i, quantities[i])) + "</tr>\n";
  }
  return Element("h2", "Nominal and measured") + "<table class=\"list quantities\">\n" + rows +
         "</table>\n" +
         Element("p class=\"note\"",
                 "In the instrument's frame. A deviation is measured less nominal.") +
         SpreadNote(margins, spread);
}

std::string FormTable(const geometry::WallForm& form) {
  std::string rows =
      "<tr><th>error of form</th><th class=\"number\">measured</th>"
      "<th class=\"number\">standard uncertainty</th></tr>\n";
  const auto add = [&rows](const std::string& name, const char* words, double value,
                           double uncertainty) {
    constexpr double kMillimetres = 1e3;
    rows += Element("tr", "<td>" + name + " / mm<small>" + words + "</small></td>" +
                              "<td class=\"number\">" + TableText(kMillimetres * value, "mm") +
                              "</td><td class=\"number\">" +
                              TableText(kMillimetres * uncertainty, "mm") + "</td>");
  };
  // A count that noise picked says nothing.
  const bool sure = form.roundness > 2.0 * form.roundness_uncertainty;
  add(sure ? "Roundness, " + std::to_string(form.lobes) + " lobes" : "Roundness, 2 to 8 lobes",
      "of the largest wave around the wall, from its valleys to its crests", form.roundness,
      form.roundness_uncertainty);
  add("Taper", "change of the radius over the height; positive: wider up the axis", form.taper,
      form.taper_uncertainty);
  add("Barrel", "radius half way less that at both ends; negative: waisted", form.barrel,
      form.barrel_uncertainty);
  add("Bend", "of the axis half way, off the line of its ends", form.bend, form.bend_uncertainty);
  return Element("h2", "Form of the wall") + "<table class=\"list quantities\">\n" + rows +
         "</table>\n" +
         Element(
             "p class=\"note\"",
             std::string(form.threaded ? "Beside the thread, over" : "Over") +
                 " the angles and heights that were fitted; not in the result. What the samples "
                 "hardly show is drawn towards 0.");
}

std::string ResultTable(const std::string& text) {
  const ordered_json result = ordered_json::parse(text, nullptr, false);
  std::string rows;
  if (result.is_object()) {
    for (const auto& [key, value] : result.items()) {
      if (key == "Warnings") continue;  // they stand beside the verdict
      if (key != "ScanData") {
        rows += Row(key, ValueText(value));
      } else if (value.is_object() && value.contains("Count")) {
        rows += Row(key, ValueText(value["Count"]) + " samples, " +
                             ValueText(value.value("DataFormat", ordered_json(""))));
      } else {
        rows += Row(key, "binary");
      }
    }
  }
  return Element("h2", "Result message") + "<table class=\"message\">\n" + rows + "</table>\n" +
         Element("p class=\"note\"",
                 "As the host gets it: lengths are metres, angles radians, in the instrument's "
                 "frame.");
}

std::string ScanTable(const std::vector<Exchange>& exchanges) {
  std::string rows =
      "<tr><th>scan</th><th>drive step</th><th>drive points</th><th>samples</th></tr>\n";
  std::size_t number = 0;
  for (const Exchange& exchange : exchanges) {
    rows += "<tr><td>" + std::to_string(++number) + "</td><td>" + Escaped(exchange.step) +
            "</td><td>" + std::to_string(exchange.points.size()) + "</td><td>" +
            std::to_string(exchange.samples.size()) + "</td></tr>\n";
  }
  return Element("h2", "Scans") + "<table class=\"list\">\n" + rows + "</table>\n";
}

std::string RequestText(const std::string& request) {
  const std::optional<std::string> strict = features::StrictJson(request);
  std::string shown = strict ? Pretty(ordered_json::parse(*strict), 0) : request;
  constexpr std::size_t kLongest = 20000;
  if (shown.size() > kLongest) shown = shown.substr(0, kLongest) + "\n... (cut off)";
  return Element("h2", "Request") + Element("pre", Escaped(shown));
}

}  // namespace libmfx::host::report
