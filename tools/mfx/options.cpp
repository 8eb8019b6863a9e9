#include "options.h"

#include <utility>
#include <vector>

namespace libmfx::host {

void AddRequest(CLI::App& call, std::string& request) {
  call.add_option("REQUEST", request, "File with a target request, - for standard input")
      ->required();
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
  call.add_option_function<std::string>(
          "--scan-data",
          [take = std::move(take)](const std::string& form) { take(*ScanDataOf(form)); },
          "How the result of a scan path holds its samples: json (default), binary, none")
      ->check(CLI::IsMember({"json", "binary", "none"}));
}

void AddLabels(CLI::App& call, Labels& labels) {
  call.add_option_function<std::vector<std::string>>(
          "--label",
          [&labels](const std::vector<std::string>& texts) {
            labels.clear();
            for (const std::string& text : texts) labels.push_back(LabelOf(text));
          },
          "KEY=VALUE that the report shows: part, operator, date; as often as needed")
      ->allow_extra_args(false);
}

void AddReport(CLI::App& call, std::string& report) {
  call.add_option("--report", report, "HTML file to write a report with pictures to");
}

void AddStrict(CLI::App& call, bool& strict) {
  call.add_flag("--strict", strict, "Count a success with warnings as failed: exit with status 1");
}

}  // namespace libmfx::host
