#include "report/report.h"

#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "report/figures.h"
#include "host/json_text.h"
#include "libmfx/features/request_text.h"
#include "report/type_figures.h"

namespace libmfx::host::report {
namespace {

using nlohmann::json;
using nlohmann::ordered_json;

/// Most scans that get a picture of their own: the first ones and the last.
constexpr std::size_t kMostFrontViews = 6;

const char* const kStyle = R"(
:root { color-scheme: light; }
body { font: 15px/1.45 sans-serif; color: #222; background: #fff; max-width: 1000px;
  margin: 0 auto; padding: 1.5rem; }
h1 { font-size: 1.5rem; margin: 0 0 .2rem; }
h2 { font-size: 1.1rem; margin: 1.6rem 0 .5rem; border-bottom: 1px solid #ccc; }
.verdict { padding: .6rem .9rem; border-left: 6px solid; margin: .8rem 0; }
.good { border-color: #1a7f37; background: #edf7ef; }
.doubtful { border-color: #c77700; background: #fff6e5; }
.bad { border-color: #c8102e; background: #fdeeee; }
.verdict b { font-size: 1.1rem; }
.verdict ul { margin: .3rem 0 0; padding-left: 1.2rem; }
table { border-collapse: collapse; margin: .3rem 0; }
th, td { text-align: left; vertical-align: top; padding: .15rem .9rem .15rem 0; }
th { font-weight: normal; color: #555; }
td { font-variant-numeric: tabular-nums; overflow-wrap: anywhere; }
table.list th { border-bottom: 1px solid #ccc; }
table.list td { border-bottom: 1px solid #eee; }
.pictures { display: grid; grid-template-columns: repeat(auto-fit, minmax(420px, 1fr)); gap: 1rem;
  align-items: start; }
.pictures figure:first-child { grid-row: span 2; }
figure { margin: 0; break-inside: avoid; }
figure h3 { font-size: 1rem; margin: .2rem 0; }
figure svg { width: 100%; height: auto; }
figcaption, .legend { color: #555; font-size: .85rem; }
pre { background: #f6f6f6; padding: .7rem; overflow-wrap: anywhere; white-space: pre-wrap;
  font-size: .8rem; }
@media print { body { max-width: none; padding: 0; font-size: 11px; }
  .pictures { grid-template-columns: 1fr 1fr; } h2 { break-after: avoid; } @page { margin: 14mm; } }
)";

std::string Element(const std::string& name, const std::string& inside) {
  return "<" + name + ">" + inside + "</" + name.substr(0, name.find(' ')) + ">\n";
}

std::string Row(const std::string& head, const std::string& value) {
  return "<tr><th>" + Escaped(head) + "</th><td>" + Escaped(value) + "</td></tr>\n";
}

std::string TextOf(const json& object, const char* key) {
  if (!object.is_object() || !object.contains(key) || !object[key].is_string()) return {};
  return object[key].get<std::string>();
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

std::string Head(const ReportData& data, const Measured& measured) {
  const json feature =
      measured.request.is_object() ? measured.request.value("Feature", json()) : json();
  const std::string name = TextOf(feature, "Name");
  const std::string type = TextOf(feature, "$type");
  std::string title = name.empty() ? (type.empty() ? "Measurement" : type) : name;
  std::string html = Element("h1", Escaped(title)) + Verdict(data.outcome);
  std::size_t points = 0;
  std::size_t samples = 0;
  for (const Exchange& exchange : data.exchanges) {
    points += exchange.points.size();
    samples += exchange.samples.size();
  }
  html += "<table>\n" + Row("Feature type", type.empty() ? "not told" : type);
  html += Row("Request", data.request_name) + Row("Request id", TextOf(measured.request, "$id"));
  html += Row("Instrument", data.instrument);
  html += Row("Scans driven", std::to_string(data.exchanges.size()) +
                                  (data.outcome.searched ? ", a search among them" : ""));
  html += Row("Re-scans around a moved nominal", std::to_string(data.outcome.rescans));
  html += Row("Drive points", std::to_string(points)) + Row("Samples", std::to_string(samples));
  return html + Row("Program", "mfx " LIBMFX_VERSION) + "</table>\n";
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
  return Element("h2", "Result") + "<table>\n" + rows + "</table>\n" +
         "<p>Lengths are metres, angles radians, in the instrument's frame.</p>\n";
}

std::string FigureHtml(const Figure& figure) {
  return "<figure>\n<h3>" + Escaped(figure.title) + "</h3>\n" + figure.svg + "<figcaption>" +
         Escaped(figure.caption) + "</figcaption>\n</figure>\n";
}

std::string ScanTable(const ReportData& data) {
  std::string rows =
      "<tr><th>scan</th><th>drive step</th><th>drive points</th><th>samples</th></tr>\n";
  std::size_t number = 0;
  for (const Exchange& exchange : data.exchanges) {
    rows += "<tr><td>" + std::to_string(++number) + "</td><td>" + Escaped(exchange.step) +
            "</td><td>" + std::to_string(exchange.points.size()) + "</td><td>" +
            std::to_string(exchange.samples.size()) + "</td></tr>\n";
  }
  return Element("h2", "Scans") + "<table class=\"list\">\n" + rows + "</table>\n";
}

std::string Pictures(const ReportData& data, const Measured& measured) {
  if (data.exchanges.empty()) return Element("p", "Nothing was driven.");
  const Exchange& last = data.exchanges.back();
  std::string html = FigureHtml(FrontView(measured, last, "Front view"));
  html += FigureHtml(Profile(measured, last));
  if (const auto detail = SurfaceDetail(measured, last)) html += FigureHtml(*detail);
  html += FigureHtml(Quality(measured, last));
  for (const Figure& figure : TypeFigures::Of(measured)) html += FigureHtml(figure);
  for (std::size_t i = 0; i + 1 < std::min(data.exchanges.size(), kMostFrontViews); ++i) {
    const Exchange& exchange = data.exchanges[i];
    html += FigureHtml(
        FrontView(measured, exchange, "Scan " + std::to_string(i + 1) + ", " + exchange.step));
  }
  return Element("h2", "Pictures") + QualityLegend() + "<div class=\"pictures\">\n" + html +
         "</div>\n";
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

std::string RequestText(const std::string& request) {
  const std::optional<std::string> strict = features::StrictJson(request);
  std::string shown = strict ? Pretty(ordered_json::parse(*strict), 0) : request;
  constexpr std::size_t kLongest = 20000;
  if (shown.size() > kLongest) shown = shown.substr(0, kLongest) + "\n... (cut off)";
  return Element("h2", "Request") + Element("pre", Escaped(shown));
}

}  // namespace

std::string HtmlReport(const ReportData& data) {
  const std::optional<std::string> strict = features::StrictJson(data.request);
  json request = strict ? json::parse(*strict) : json();
  json result = json::parse(data.outcome.result, nullptr, false);
  if (result.is_discarded()) result = json();

  std::vector<Eigen::Vector3d> points;
  if (!data.exchanges.empty()) {
    for (const RawDataPoint& sample : data.exchanges.back().samples) {
      const Eigen::Vector3d p = Cartesian(sample);
      if (p.allFinite()) points.push_back(p);
    }
  }
  const View view = FindView(request, points);
  const Measured measured{std::move(request),
                          std::move(result),
                          data.outcome.successful,
                          data.exchanges,
                          data.outcome.stages,
                          data.quality_threshold,
                          view};

  std::string html = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n";
  html += "<meta name=\"viewport\" content=\"width=device-width\">\n";
  html += Element("title", "Measurement report");
  html += Element("style", std::string(kStyle) + kPlotStyle) + "</head>\n<body>\n";
  html += Head(data, measured) + ResultTable(data.outcome.result);
  html += Pictures(data, measured) + ScanTable(data) + RequestText(data.request);
  return html + "</body>\n</html>\n";
}

}  // namespace libmfx::host::report
