#include <chrono>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "host/outputs.h"
#include "host/process_driver.h"
#include "host/recording.h"
#include "host/scene_driver.h"
#include "options.h"
#include "outcome.h"

namespace libmfx::host {
namespace {

struct MeasureCall {
  std::string request;
  std::optional<std::string> instrument;  ///< command of an instrument process
  std::optional<std::string> scene;       ///< file with a scene for the virtual instrument
  std::optional<std::uint64_t> seed;      ///< of the virtual instrument
  std::chrono::milliseconds timeout{60'000};
  std::string record;  ///< empty: no recording
  std::string report;  ///< empty: no report
  Labels labels;       ///< for the report and the recording
  Checking checking = Checking::kNotes;
  Telling telling;
  ConversationOptions options;
};

/// \throws CallError if the options name no instrument, or two
void CheckInstrument(const MeasureCall& call) {
  if (call.scene && call.instrument) {
    throw CallError("give --scene or --instrument, not both");
  }
  if (!call.scene && !call.instrument) {
    throw CallError("nothing to measure with: give --scene SCENE or --instrument 'COMMAND'");
  }
  if (call.seed && !call.scene) throw CallError("--seed is for the virtual instrument of --scene");
}

std::unique_ptr<Driver> MakeDriver(const MeasureCall& call,
                                   const std::optional<sim::Scene>& scene) {
  if (scene) return std::make_unique<SceneDriver>(*scene, call.seed, *call.scene);
  return std::make_unique<ProcessDriver>(*call.instrument, call.timeout);
}

void KeepFilesApart(const MeasureCall& call, const std::optional<sim::Scene>& scene,
                    const Console& console) {
  std::vector<NamedFile> inputs = {{"request", call.request}};
  if (scene) {
    inputs.push_back({"scene", *call.scene});
    for (const auto& file : scene->files) inputs.push_back({"part file", file.string()});
  }
  // A script among the words of the command; quotes are the shell's affair.
  std::istringstream words(call.instrument.value_or(""));
  for (std::string word; words >> word;) inputs.push_back({"instrument's file", word});
  KeepApart(inputs, {{"recording", call.record}, {"report", call.report}}, console.output());
}

int RunMeasure(const MeasureCall& call, Console& console) {
  CheckInstrument(call);
  const std::string request = ReadText(call.request, "request");
  std::optional<sim::Scene> scene;
  if (call.scene) scene = ReadScene(*call.scene);
  KeepFilesApart(call, scene, console);
  CheckBefore(call.request, request, {.search = call.options.search}, call.checking, console);
  std::optional<RecordingWriter> recording;
  if (!call.record.empty()) recording.emplace(call.record);
  ReportWriter report(call.report, call.labels);

  const std::unique_ptr<Driver> driver = MakeDriver(call, scene);
  Exchange last;
  if (recording) {
    recording->Begin({.request = request,
                      .options = call.options,
                      .program = "mfx " LIBMFX_VERSION,
                      .time = UtcNow(),
                      .instrument = driver->Name(),
                      .labels = call.labels});
  }
  ObservedDriver observed(*driver, [&](const Exchange& exchange) {
    last = exchange;
    if (recording) recording->Write(exchange);
    report.Take(exchange);
  });
  console.ShowLibraryLines(!call.telling.IsText(console));
  const Conversation outcome = Measure(request, observed, call.options);
  // The report asks the request for its threshold, and what the library says to it was told before.
  console.DropLibraryLines();
  int status = kCallFailed;
  TakeAll({[&] { status = Tell(request, outcome, last, call.telling, console); },
           [&] {
             if (recording) recording->Finish(outcome.result);
           },
           [&] { report.Finish(request, call.request, driver->Name(), outcome); }},
          console);
  return status;
}

}  // namespace

void AddMeasure(CLI::App& program, Execute& execute) {
  const auto call = std::make_shared<MeasureCall>();
  CLI::App& command = Call::Add(
      program, "measure",
      {.summary = "Measure, and print the result message",
       .about =
           "Holds the whole conversation with the library: drives the virtual instrument of "
           "--scene or the instrument process of --instrument along the points that the library "
           "asks for, scans again or searches where it has to, and prints the result: a short text "
           "on a terminal, the result message anywhere else.",
       .examples = {{"mfx measure examples/requests/hole.json --scene examples/scenes/hole.json",
                     "Measures a hole with the virtual instrument."},
                    {"mfx measure examples/requests/scan_path.json --instrument "
                     "examples/instrument/flat_wall.py --record wall.rec",
                     "Measures with an instrument process, and keeps the conversation."}},
       .statuses = MeasuringStatuses()});
  AddRequest(command, call->request);
  command.add_option("--scene", call->scene, "File with a scene for the virtual instrument")
      ->type_name("SCENE");
  AddNumber<std::uint64_t>(
      command, "--seed", 0, std::numeric_limits<std::uint64_t>::max(),
      [call](std::uint64_t seed) { call->seed = seed; },
      "Of the virtual instrument, instead of the scene's");
  command
      .add_option("--instrument", call->instrument,
                  "Command of an instrument that speaks JSON lines")
      ->type_name("COMMAND");
  AddTimeout(command, call->timeout, "Seconds that the instrument may take for an answer (60)");
  AddSearch(command, call->options);
  AddPasses(command, [call](int passes) { call->options.max_passes = passes; });
  AddScanData(command, [call](ScanData form) { call->options.scan_data = form; });
  command.add_option("--record", call->record, "File to write the conversation to")
      ->type_name("FILE");
  AddReport(command, call->report);
  AddLabels(command, call->labels);
  AddStrict(command, call->telling.strict);
  AddResultFormat(command, call->telling.as_text);
  AddCheck(command, call->checking);
  command.callback([&execute, call] {
    execute = [call](Console& console) { return RunMeasure(*call, console); };
  });
}

}  // namespace libmfx::host
