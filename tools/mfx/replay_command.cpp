#include <memory>
#include <optional>
#include <string>

#include "host/outputs.h"
#include "host/recording.h"
#include "options.h"
#include "outcome.h"

namespace libmfx::host {
namespace {

struct ReplayCall {
  std::string recording;
  std::string report;
  Labels labels;                  ///< for the report, behind the recorded ones
  bool search = false;            ///< search even if the recorded measurement did not
  std::optional<int> max_passes;  ///< instead of the recorded one
  std::optional<ScanData> scan_data;
  Telling telling;
};

int RunReplay(const ReplayCall& call, Console& console) {
  KeepApart({{"recording", call.recording}}, {{"report", call.report}}, console.output());
  const Recording recording = ReadRecording(call.recording);
  ConversationOptions options = recording.options;
  options.search = options.search || call.search;
  options.max_passes = call.max_passes.value_or(options.max_passes);
  options.scan_data = call.scan_data.value_or(options.scan_data);

  Labels labels = recording.labels;
  labels.insert(labels.end(), call.labels.begin(), call.labels.end());
  ReportWriter report(call.report, labels);
  ReplayDriver driver(recording);
  Exchange last;
  ObservedDriver observed(driver, [&](const Exchange& exchange) {
    last = exchange;
    report.Take(exchange);
  });
  console.ShowLibraryLines(!call.telling.IsText(console));
  const Conversation outcome = Measure(recording.request, observed, options);
  for (const std::string& note : ReplayNotes(driver, recording)) console.Note("note: " + note);
  // The report asks the request for its threshold, and what the library says to it was told before.
  console.DropLibraryLines();
  int status = kCallFailed;
  TakeAll({[&] { status = Tell(recording.request, outcome, last, call.telling, console); },
           [&] {
             report.Finish(recording.request, "in recording " + call.recording, driver.Name(),
                           outcome);
           }},
          console);
  return status;
}

}  // namespace

void AddReplay(CLI::App& program, Execute& execute) {
  const auto call = std::make_shared<ReplayCall>();
  CLI::App& command = Call::Add(
      program, "replay",
      {.summary = "Analyse a recording again",
       .about =
           "Hands the samples of a recording to the library once more, without an instrument, and "
           "prints the result: the same bytes as when it was measured, as long as the library is "
           "the same.",
       .examples = {{"mfx replay wall.rec --report wall.html",
                     "Analyses a recording again, and writes a report of it."}},
       .statuses = MeasuringStatuses()});
  command.add_option("RECORDING", call->recording, "File with a recording, - for standard input")
      ->required()
      ->type_name("FILE");
  command.add_flag("--search", call->search, "Search as measure does");
  AddReport(command, call->report);
  AddLabels(command, call->labels);
  AddPasses(command, [call](int passes) { call->max_passes = passes; });
  AddScanData(command, [call](ScanData form) { call->scan_data = form; });
  AddStrict(command, call->telling.strict);
  AddResultFormat(command, call->telling.as_text);
  command.callback([&execute, call] {
    execute = [call](Console& console) { return RunReplay(*call, console); };
  });
}

}  // namespace libmfx::host
