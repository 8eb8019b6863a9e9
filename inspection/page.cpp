#include <cstddef>
#include <string>
#include <vector>

#include "inspection/page_parts.h"
#include "inspection/page_script.h"
#include "inspection/page_views.h"
#include "inspection/page_words.h"
#include "inspection/writers.h"
#include "report/plot.h"
#include "report/style.h"
#include "report/tables.h"

namespace libmfx::inspection {
namespace {

using host::report::Element;

/// A browser that keeps to it fetches nothing, whatever the page holds.
constexpr const char* kPolicy =
    "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src "
    "'unsafe-inline'; script-src 'unsafe-inline'; img-src data:; base-uri 'none'; form-action "
    "'none'\">\n";

std::string TitleOf(const PartTold& part) {
  std::string title = part.name.empty() ? "Part without a name" : page::Text(part.name);
  if (!part.number.empty()) title += ", " + page::Text(part.number);
  return title + ": inspection";
}

}  // namespace

std::string InspectionPage(const Sheet& sheet, const std::vector<std::string>& pictures) {
  std::string html = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n";
  html += kPolicy;
  html += "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n";
  html += Element("title", TitleOf(sheet.plan.part));
  html += Element("style", std::string(host::report::kPlotStyle) + host::report::kPageStyle +
                               page::kSheetStyle) +
          "</head>\n<body>\n";
  std::string inside = page::FirstPage(sheet) + page::PartSection(sheet);
  const std::vector<std::vector<std::size_t>> asked = page::AskedOf(sheet);
  for (std::size_t i = 0; i < asked.size(); ++i) {
    inside +=
        page::FeatureSection(sheet, i, asked[i], i < pictures.size() ? pictures[i] : std::string());
  }
  html += Element("main", "\n" + inside);
  return html + "</body>\n</html>\n";
}

}  // namespace libmfx::inspection
