#include "report/report.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>
#include <utility>

#include "host/quantities.h"
#include "libmfx/features/request_text.h"
#include "report/figures.h"
#include "report/style.h"
#include "report/tables.h"
#include "report/type_figures.h"

namespace libmfx::host::report {
namespace {

using nlohmann::json;

/// Most scans that get a picture of their own: the first ones and the last.
constexpr std::size_t kMostFrontViews = 6;

std::string FigureHtml(const Figure& figure) {
  return "<figure>\n<h3>" + Escaped(figure.title) + "</h3>\n" + figure.svg + "<figcaption>" +
         Escaped(figure.caption) + "</figcaption>\n</figure>\n";
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

/// The result as it is drawn: with the radius that was fitted where the message repeats the nominal
/// one. Not that of a ball, whose centre belongs to the nominal radius.
json Drawn(json result, const features::Stages& stages) {
  if (!result.is_object() || !result.contains("Radius")) return result;
  for (const features::StageSize& size : stages.fitted) {
    if (size.what == std::string_view("RimRadius")) result["Radius"] = size.value;
  }
  return result;
}

/// Whether a circle of the drawn result has a radius that nobody measured.
bool IsRadiusAsTold(const std::vector<Quantity>& quantities, const json& drawn,
                    const json& result) {
  return drawn == result && std::any_of(quantities.begin(), quantities.end(), [](const auto& q) {
           return q.name == "Radius" && q.source == Source::kRepeated;
         });
}

/// What a report tells, ready to be drawn.
struct Ready {
  std::vector<Quantity> quantities;
  const Spread* spread = nullptr;
  std::optional<Measured> measured;
};

Ready ReadyOf(const ReportData& data) {
  const std::optional<std::string> strict = features::StrictJson(data.request);
  json request = strict ? json::parse(*strict) : json();
  json result = json::parse(data.outcome.result, nullptr, false);
  if (result.is_discarded()) result = json();
  Ready ready;
  ready.quantities = QuantitiesOf(data.request, data.outcome.result, data.outcome.stages);
  json drawn = Drawn(result, data.outcome.stages);
  ready.spread = data.spread && data.outcome.successful ? &*data.spread : nullptr;
  const bool radius_as_told = IsRadiusAsTold(ready.quantities, drawn, result);

  std::vector<Eigen::Vector3d> points;
  if (!data.exchanges.empty()) {
    for (const RawDataPoint& sample : data.exchanges.back().samples) {
      const Eigen::Vector3d p = Cartesian(sample);
      if (p.allFinite()) points.push_back(p);
    }
  }
  const View view = FindView(request, points, MeasuredSurface(data.outcome.stages));
  ready.measured.emplace(Measured{std::move(request), std::move(drawn), data.outcome.successful,
                                  data.exchanges, data.outcome.stages, data.quality_threshold, view,
                                  radius_as_told, ready.spread});
  return ready;
}

}  // namespace

std::string HtmlPictures(const ReportData& data) { return Pictures(data, *ReadyOf(data).measured); }

std::string HtmlReport(const ReportData& data) {
  const Ready ready = ReadyOf(data);
  const Spread* const spread = ready.spread;
  std::string html = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n";
  html += "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n";
  html += Element("title", Escaped(TitleOf(data.request)) + ": measurement report");
  html += Element("style", std::string(kPlotStyle) + kPageStyle + (spread ? kSpreadStyle : "")) +
          "</head>\n<body>\n";
  std::string told = QuantityTable(ready.quantities, data.outcome.successful, spread);
  const std::optional<geometry::WallForm>& form = data.outcome.stages.form;
  if (form && data.outcome.successful) told += FormTable(*form);
  html += Head(data) + "<div class=\"numbers\">\n";
  if (!told.empty()) html += Element("section", "\n" + told);
  html += Element("section", "\n" + ResultTable(data.outcome.result)) + "</div>\n";
  html += Pictures(data, *ready.measured) + ScanTable(data.exchanges) + RequestText(data.request);
  return html + "</body>\n</html>\n";
}

}  // namespace libmfx::host::report
