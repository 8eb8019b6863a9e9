#include "options.h"

#include <utility>
#include <vector>

namespace libmfx::host {

CLI::Option* AddChoice(CLI::App& call, const std::string& name,
                       const std::vector<std::string>& words,
                       std::function<void(const std::string&)> take,
                       const std::string& description) {
  std::string value;
  for (const std::string& word : words) value += (value.empty() ? "" : "|") + word;
  CLI::Option* const option = call.add_option_function<std::string>(
      name, [take = std::move(take)](const std::string& word) { take(word); }, description);
  return option->type_name(value)->check(CLI::IsMember(words).description(""));
}

void AddTimeout(CLI::App& call, std::chrono::milliseconds& timeout, const std::string& help) {
  AddNumber<double>(
      call, "--timeout", 0.001, 86400.0,
      [&timeout](double seconds) {
        timeout = std::chrono::milliseconds(static_cast<long long>(seconds * 1000.0));
      },
      help)
      ->type_name("SECONDS");
}

void AddRequest(CLI::App& call, std::string& request) {
  call.add_option("REQUEST", request, "File with a target request, - for standard input")
      ->required()
      ->type_name("FILE");
}

void AddSearch(CLI::App& call, ConversationOptions& options) {
  call.add_flag("--search", options.search,
                "Search when the first analysis fails and the request enables it");
}

void AddPasses(CLI::App& call, std::function<void(int)> take) {
  AddNumber<int>(call, "--max-passes", 0, kMostPasses, std::move(take),
                 "Most re-scans around a moved nominal (3)");
}

void AddScanData(CLI::App& call, std::function<void(ScanData)> take) {
  AddChoice(
      call, "--scan-data", {"json", "binary", "none"},
      [take = std::move(take)](const std::string& form) { take(*ScanDataOf(form)); },
      "How the result holds its samples: json (default); none; binary, of a scan path");
}

void AddLabels(CLI::App& call, Labels& labels) {
  call.add_option_function<std::vector<std::string>>(
          "--label",
          [&labels](const std::vector<std::string>& texts) {
            labels.clear();
            for (const std::string& text : texts) labels.push_back(LabelOf(text));
          },
          "What the report shows beside: part, operator, date; as often as needed")
      ->allow_extra_args(false)
      ->type_name("KEY=VALUE");
}

void AddCheck(CLI::App& call, Checking& checking) {
  AddChoice(
      call, "--check", {"notes", "strict", "off"},
      [&checking](const std::string& name) { checking = *CheckingOf(name); },
      "What a request's check leads to: notes (default), strict (a finding ends the call), off");
}

void AddReport(CLI::App& call, std::string& report) {
  call.add_option("--report", report, "HTML file to write a report with pictures to")
      ->type_name("FILE");
}

void AddResultFormat(CLI::App& call, std::optional<bool>& as_text) {
  AddChoice(
      call, "--format", {"json", "text"},
      [&as_text](const std::string& format) { as_text = format == "text"; },
      "json: the result message; text: a short one for people, without the library's log lines. On "
      "a terminal text, else json");
}

void AddStrict(CLI::App& call, bool& strict) {
  call.add_flag("--strict", strict, "Count a success with warnings as failed: exit with status 1");
}

}  // namespace libmfx::host
