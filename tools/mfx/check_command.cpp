#include <memory>
#include <string>
#include <vector>

#include "host/files.h"
#include "options.h"

namespace libmfx::host {
namespace {

struct CheckCall {
  std::vector<std::string> requests;
  bool as_json = false;
  bool search = false;
};

int RunCheck(const CheckCall& call, Console& console) {
  const CheckOptions options{.search = call.search ? std::optional(true) : std::nullopt};
  std::vector<FileFinding> found;
  int status = kMeasured;
  for (const std::string& file : call.requests) {
    std::string request;
    try {
      request = ReadText(file, "request");
    } catch (const CallError& error) {
      // The other files are looked at all the same.
      console.Note(error.what());
      status = kCallFailed;
      continue;
    }
    for (Finding& finding : FindingsOf(request, options, console)) {
      if (status == kMeasured && finding.severity == Severity::kError) status = kNotMeasured;
      if (!call.as_json) console.Result(FindingLine(FileName(file), finding));
      found.push_back({file, std::move(finding)});
    }
  }
  if (call.as_json) console.Result(FindingsJson(found));
  return status;
}

}  // namespace

void AddCheckCall(CLI::App& program, Execute& execute) {
  const auto call = std::make_shared<CheckCall>();
  CLI::App& command = Call::Add(
      program, "check",
      {.summary = "Tell what is wrong with requests",
       .about =
           "Looks at requests before anything is driven for them: their JSON, their keys and "
           "values, "
           "and whether the feature can be measured from where the instrument stands. Each finding "
           "is a line with its file, line and column.",
       .examples = {{"mfx check examples/requests/hole.json examples/requests/edge.json",
                     "Looks at two requests."}},
       .statuses = {{kMeasured, "nothing is wrong, or only a warning was found"},
                    {kNotMeasured, "an error was found"},
                    FailedStatus()}});
  command.add_option("REQUEST", call->requests, "Files with target requests, - for standard input")
      ->required()
      ->type_name("FILE");
  command.add_flag("--json", call->as_json, "As one line of JSON");
  command.add_flag("--search", call->search, "They are to be measured with --search");
  command.callback([&execute, call] {
    execute = [call](Console& console) { return RunCheck(*call, console); };
  });
}

}  // namespace libmfx::host
