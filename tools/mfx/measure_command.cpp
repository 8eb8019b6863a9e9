#include <chrono>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "estimating.h"
#include "host/interrupts.h"
#include "host/json_text.h"
#include "host/outputs.h"
#include "host/process_driver.h"
#include "host/recording.h"
#include "host/scene_driver.h"
#include "options.h"
#include "outcome.h"
#include "uncertainty/json.h"

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
  bool tells_uncertainty = false;
  Estimating estimating;
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

/// How sure a success is. What keeps it from being told is a note: the measurement stands.
std::optional<uncertainty::Uncertainty> HowSure(const MeasureCall& call,
                                                const uncertainty::InstrumentModel& model,
                                                const Recording& kept, Console& console) {
  try {
    return Estimate({uncertainty::After(kept, model, call.estimating.seed)}, call.estimating)
        .front();
  } catch (const std::exception& error) {
    console.Note(std::string("note: no uncertainty is told: ") + error.what());
  }
  return std::nullopt;
}

std::string UncertaintyLine(const uncertainty::Uncertainty& sure) {
  return "{\"uncertainty\":" + Dump(uncertainty::JsonOf(sure)) + "}";
}

/// A measurement that was held, and what is written of it.
struct Held {
  std::string request;
  std::string instrument;  ///< its name
  Recording kept;          ///< what went to and fro; exchanges only where somebody asks for them
  Exchange last;
  Conversation outcome;
  std::optional<RecordingWriter> recording;
  std::optional<ReportWriter> report;
};

void Hold(const MeasureCall& call, Driver& driver, Held& held, Console& console) {
  held.instrument = driver.Name();
  held.kept.request = held.request;
  held.kept.options = call.options;
  if (held.recording) {
    held.recording->Begin({.request = held.request,
                           .options = call.options,
                           .program = "mfx " LIBMFX_VERSION,
                           .time = UtcNow(),
                           .instrument = held.instrument,
                           .labels = call.labels});
  }
  ObservedDriver observed(driver, [&](const Exchange& exchange) {
    held.last = exchange;
    if (call.tells_uncertainty) held.kept.exchanges.push_back(exchange);
    if (held.recording) held.recording->Write(exchange);
    held.report->Take(exchange);
  });
  console.ShowLibraryLines(!call.telling.IsText(console));
  held.outcome = Measure(held.request, observed, call.options);
  // The report asks the request for its threshold, and what the library says to it was told before.
  console.DropLibraryLines();
}

/// Tells the outcome and writes the files.
int Leave(const MeasureCall& call, const uncertainty::InstrumentModel& model, Held& held,
          Console& console) {
  int status = kCallFailed;
  std::optional<report::Spread> spread;
  const auto tell = [&] {
    status = Tell(held.request, held.outcome, held.last, call.telling, console, spread);
  };
  const auto finish_recording = [&] {
    if (held.recording) held.recording->Finish(held.outcome.result);
  };
  const auto finish_report = [&] {
    held.report->Finish(held.request, call.request, held.instrument, held.outcome, spread);
  };
  if (!call.tells_uncertainty || !held.outcome.successful) {
    TakeAll({tell, finish_recording, finish_report}, console);
    return status;
  }
  // A signal ends the trials, not the call. A text tells all at once; a message stands before them.
  const Uninterrupted told;
  std::optional<uncertainty::Uncertainty> sure;
  const auto estimate = [&] {
    sure = HowSure(call, model, held.kept, console);
    if (sure && !sure->quantities.empty()) spread = SpreadOf(*sure);
  };
  const auto tell_sure = [&] {
    if (sure) console.Result(UncertaintyLine(*sure));
  };
  if (call.telling.IsText(console)) {
    TakeAll({finish_recording, estimate, tell, finish_report}, console);
  } else {
    TakeAll({tell, finish_recording, estimate, tell_sure, finish_report}, console);
  }
  return status;
}

int RunMeasure(const MeasureCall& call, Console& console) {
  CheckInstrument(call);
  const std::string request = ReadText(call.request, "request");
  std::optional<sim::Scene> scene;
  if (call.scene) scene = ReadScene(*call.scene);
  KeepFilesApart(call, scene, console);
  const uncertainty::InstrumentModel model = call.estimating.Model();
  CheckBefore(call.request, request, {.search = call.options.search}, call.checking, console);
  Held held;
  held.request = request;
  if (!call.record.empty()) held.recording.emplace(call.record);
  held.report.emplace(call.report, call.labels);
  const std::unique_ptr<Driver> driver = MakeDriver(call, scene);
  Hold(call, *driver, held, console);
  return Leave(call, model, held, console);
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
  command.add_flag("--uncertainty", call->tells_uncertainty,
                   "Tell how sure each number is: a second line, or a column of the text");
  AddEstimating(command, call->estimating);
  AddLabels(command, call->labels);
  AddStrict(command, call->telling.strict);
  AddResultFormat(command, call->telling.as_text);
  AddCheck(command, call->checking);
  command.callback([&execute, call] {
    execute = [call](Console& console) { return RunMeasure(*call, console); };
  });
}

}  // namespace libmfx::host
