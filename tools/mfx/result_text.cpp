#include "result_text.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <vector>

#include "host/errors.h"
#include "host/quantities.h"

namespace libmfx::host {
namespace {

using nlohmann::json;

/// What a person calls the measurement: its name, else its id, else the type of its result.
std::string NameIn(const json& result) {
  for (const char* key : {"Name", "Target", "$type"}) {
    const auto value = result.find(key);
    if (value != result.end() && value->is_string() &&
        !value->get_ref<const std::string&>().empty())
      return OneLine(value->get<std::string>());
  }
  return "The request";
}

std::string Verdict(const Conversation& outcome) {
  if (!outcome.successful) return "not measured";
  return outcome.IsDoubtful() ? "measured, with doubts" : "measured";
}

/// A line of the table: name, nominal, measured, deviation, margin, unit and remark.
using Cells = std::array<std::string, 7>;

Cells CellsOf(const Quantity& q, const std::optional<report::Spread>& spread) {
  Cells cells = {q.name, "", "", "", "", q.unit, q.remark};
  if (q.nominal) cells[1] = TableText(*q.nominal, q.unit);
  if (q.measured) cells[2] = TableText(*q.measured, q.unit);
  if (const auto deviation = q.Deviation()) cells[3] = TableText(*deviation, q.unit, true);
  if (const auto margin = spread ? report::MarginOf(*spread, q) : std::nullopt) {
    cells[4] = report::MarginText(*margin, q.unit);
  }
  if (q.measured && q.source == Source::kRepeated) {
    cells[6] =
        "as fitted, the message repeats the nominal" + (q.remark.empty() ? "" : "; " + q.remark);
  }
  if (!q.measured) cells[6] = "not measured" + (q.remark.empty() ? "" : ", " + q.remark);
  return cells;
}

/// Columns on a terminal, each as wide as its widest cell: bytes that continue a character are not
/// counted.
std::size_t WidthOf(const std::string& text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

std::string Table(const std::vector<Quantity>& quantities,
                  const std::optional<report::Spread>& spread) {
  std::vector<Cells> lines = {{"", "nominal", "measured", "deviation", "", "", ""}};
  for (const Quantity& q : quantities) lines.push_back(CellsOf(q, spread));
  const bool has_margins =
      std::any_of(lines.begin(), lines.end(), [](const Cells& cells) { return !cells[4].empty(); });
  if (has_margins) lines.front()[4] = "95 %";
  std::array<std::size_t, 7> widths = {};
  for (const Cells& cells : lines) {
    for (std::size_t c = 0; c < cells.size(); ++c)
      widths[c] = std::max(widths[c], WidthOf(cells[c]));
  }
  std::string table;
  for (const Cells& cells : lines) {
    std::string line;
    for (std::size_t c = 0; c < cells.size(); ++c) {
      if (c == 4 && !has_margins) continue;
      const std::string blanks(widths[c] - WidthOf(cells[c]), ' ');
      const bool is_number = c >= 1 && c <= 4;
      line += "  " + (is_number ? blanks + cells[c] : cells[c] + blanks);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    table += line + "\n";
  }
  return table;
}

/// How many samples the result of a type without quantities hands out.
std::string SampleCount(const json& result) {
  const json data = result.value("ScanData", json());
  if (!data.is_object() || !data.contains("Count")) return {};
  return "  " + data["Count"].dump() + " samples\n";
}

}  // namespace

std::string ResultText(const std::string& request, const Conversation& outcome,
                       const std::optional<report::Spread>& spread) {
  json result = json::parse(outcome.result, nullptr, false);
  if (!result.is_object()) result = json::object();
  const std::vector<Quantity> quantities = QuantitiesOf(request, outcome.result, outcome.stages);
  std::string text = NameIn(result) + ": " + Verdict(outcome) + "\n";
  if (outcome.successful)
    text += quantities.empty() ? SampleCount(result) : Table(quantities, spread);
  for (const std::string& warning : outcome.warnings) text += "warning: " + OneLine(warning) + "\n";
  for (const std::string& note : NotesOf(quantities)) text += "note: " + OneLine(note) + "\n";
  if (!outcome.successful) {
    text += "error: " + OneLine(outcome.error) + "\n";
    for (const Quantity& q : quantities) {
      if (!q.remark.empty()) text += "note: " + OneLine(q.name + ": " + q.remark) + "\n";
    }
  }
  text.pop_back();
  return text;
}

}  // namespace libmfx::host
