#include "inspection/outputs.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "host/conversation.h"
#include "host/errors.h"
#include "host/files.h"
#include "host/numbers.h"
#include "host/quantities.h"
#include "host/recording.h"
#include "inspection/writers.h"
#include "report/report.h"

namespace libmfx::inspection {
namespace {

/// The pictures of one measurement, from its recording.
std::string PicturesOf(const FeatureResult& feature, const Folder& folder) {
  if (feature.recording.empty()) return {};
  const host::Recording recording = host::ReadRecording(folder.File(feature.recording));
  host::ReplayDriver driver(recording);
  host::report::ReportData data;
  data.request = recording.request;
  data.request_name = feature.recording;
  data.instrument = recording.instrument;
  data.outcome = host::MeasureOrBreakOff(recording.request, driver, recording.options);
  data.exchanges = recording.exchanges;
  return host::report::HtmlPictures(data);
}

void Write(const Folder& folder, const std::string& name, const std::string& text) {
  host::WholeFile file(folder.File(name), name);
  file.Write(text);
  file.Commit();
}

std::size_t WidthOf(const std::string& text) {
  std::size_t width = 0;
  for (const char c : text) width += (c & 0xC0) != 0x80 ? 1 : 0;
  return width;
}

using Cells = std::array<std::string, 6>;

Cells CellsOf(const Characteristic& asked, const CharacteristicResult& result, const Units& units) {
  const double unit = asked.is_angle ? units.Angle() : units.Length();
  const std::string name = asked.is_angle ? units.angle : units.length;
  const std::string verdict(VerdictName(result.verdict));
  if (result.verdict == Verdict::kNotMeasured) {
    return {asked.name, "", "", "", "", verdict + ": " + result.reason};
  }
  const auto text = [unit](double value) { return host::Rounded(value / unit, 6); };
  const double half = 0.5 * (result.interval95[1] - result.interval95[0]);
  return {asked.name,
          text(asked.nominal),
          text(result.measured),
          result.is_sure ? "\xC2\xB1" + host::Rounded(half / unit, 2) : "",
          name,
          verdict + (result.reason.empty() ? "" : ": " + result.reason)};
}

}  // namespace

void WriteSheet(const Sheet& sheet, const Folder& folder) {
  Write(folder, "result.json", ResultJson(sheet));
  Write(folder, "result.csv", ResultCsv(sheet));
  Write(folder, "result.qif", ResultQif(sheet));
  Write(folder, "points.ply", PointsPly(sheet));
  std::vector<std::string> pictures;
  pictures.reserve(sheet.features.size());
  for (const FeatureResult& feature : sheet.features) {
    pictures.push_back(PicturesOf(feature, folder));
  }
  Write(folder, "report.html", InspectionPage(sheet, pictures));
}

std::string SheetText(const Sheet& sheet) {
  std::vector<Cells> lines = {{"", "nominal", "measured", "95 %", "", "verdict"}};
  for (std::size_t i = 0; i < sheet.characteristics.size(); ++i) {
    lines.push_back(
        CellsOf(sheet.plan.characteristics[i], sheet.characteristics[i], sheet.plan.units));
  }
  std::array<std::size_t, 6> widths = {};
  for (const Cells& cells : lines) {
    for (std::size_t c = 0; c < cells.size(); ++c) {
      widths[c] = std::max(widths[c], WidthOf(cells[c]));
    }
  }
  std::string text;
  for (const Cells& cells : lines) {
    std::string line;
    for (std::size_t c = 0; c < cells.size(); ++c) {
      const std::string blanks(widths[c] - WidthOf(cells[c]), ' ');
      line += (c == 0 ? "" : "  ") + (c >= 1 && c <= 3 ? blanks + cells[c] : cells[c] + blanks);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    text += line + "\n";
  }
  for (const Verdict verdict :
       {Verdict::kConforms, Verdict::kDoesNotConform, Verdict::kUndecided, Verdict::kNotMeasured}) {
    text += (verdict == Verdict::kConforms ? "" : ", ") + std::to_string(sheet.Count(verdict)) +
            " " + std::string(VerdictName(verdict));
  }
  return text;
}

}  // namespace libmfx::inspection
