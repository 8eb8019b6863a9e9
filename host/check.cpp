#include "host/check.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "host/check_context.h"
#include "host/errors.h"
#include "host/json_places.h"
#include "host/json_text.h"
#include "libmfx/features/request_text.h"

namespace libmfx::host {
namespace {

using nlohmann::json;

/// The finding about a text that is no request.
Finding Malformed(std::string_view text) {
  JsonFault fault = {0, "this is no JSON object"};
  if (const auto found = FaultOf(text, features::kRequestNesting)) fault = *found;
  const TextPlace place = PlaceOf(text, fault.at);
  return {Severity::kError, place.line, place.column, "", fault.text};
}

}  // namespace

std::string SeverityName(Severity severity) {
  return severity == Severity::kError ? "error" : "warning";
}

std::vector<Finding> CheckRequest(const std::string& text, const CheckOptions& options) {
  const std::optional<std::string> strict = features::StrictJson(text);
  if (!strict) return {Malformed(text)};
  check::Context context(text, json::parse(*strict), options);
  if (const std::optional<std::size_t> rest = AfterRoot(text)) {
    context.TellAt(Severity::kWarning, *rest, "", "what follows the object is ignored");
  }
  check::CheckKeys(context);
  check::CheckValues(context);
  check::CheckNominal(context);
  check::CheckPlan(context, text);
  return context.TakeFindings();
}

bool HasErrors(const std::vector<Finding>& findings) {
  return std::any_of(findings.begin(), findings.end(),
                     [](const Finding& finding) { return finding.severity == Severity::kError; });
}

std::string FindingLine(const std::string& file, const Finding& finding) {
  return file + ":" + std::to_string(finding.line) + ":" + std::to_string(finding.column) + ": " +
         SeverityName(finding.severity) + ": " + OneLine(finding.text);
}

std::string FindingsJson(const std::vector<FileFinding>& findings) {
  nlohmann::ordered_json rows = nlohmann::ordered_json::array();
  for (const auto& [file, finding] : findings) {
    rows.push_back({{"file", file},
                    {"severity", SeverityName(finding.severity)},
                    {"line", finding.line},
                    {"column", finding.column},
                    {"path", finding.path},
                    {"text", finding.text}});
  }
  return Dump(nlohmann::ordered_json{{"findings", std::move(rows)}});
}

}  // namespace libmfx::host
