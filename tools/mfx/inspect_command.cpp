#include <algorithm>
#include <chrono>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/batch_run.h"
#include "host/batch_workers.h"
#include "host/files.h"
#include "host/interrupts.h"
#include "host/recording.h"
#include "inspecting.h"
#include "inspection/adjustment.h"
#include "inspection/inspect.h"
#include "inspection/outputs.h"
#include "inspection/plan_reader.h"
#include "options.h"
#include "uncertainty/instrument_model.h"
#include "uncertainty/run.h"

namespace libmfx::host {
namespace {

using inspection::Sheet;
using inspection::Verdict;

constexpr const char* kProgram = "mfx " LIBMFX_VERSION;
constexpr long long kUsualTrials = 400;
constexpr int kInterrupted = 130;

struct InspectCall {
  std::string plan;
  std::vector<std::string> scenes;
  std::vector<std::string> instruments;
  std::string out;
  std::string again;
  bool resume = false;
  std::optional<std::uint64_t> seed;
  std::optional<long long> trials;
  std::string model;
  int processes = 0;
  std::chrono::milliseconds timeout{60'000};
};

/// The plan of a text; what is to be said about it is told on standard error.
/// \throws CallError if it cannot be carried out
inspection::Plan PlanOf(const std::string& text, const std::string& file, Console& console) {
  const bool shown = console.DropLibraryLines();
  inspection::ReadPlan read = inspection::ReadPlanText(text);
  console.ShowLibraryLines(shown);
  int errors = 0;
  for (const Finding& finding : read.findings) {
    errors += finding.severity == Severity::kError ? 1 : 0;
    console.Note(FindingLine(FileName(file), finding));
  }
  if (errors > 0) {
    throw CallError("the plan cannot be carried out: " + std::to_string(errors) +
                    (errors == 1 ? " error" : " errors"));
  }
  return std::move(read.plan);
}

void CheckOptionsOf(const InspectCall& call) {
  if (!call.again.empty()) {
    if (!call.plan.empty() || !call.out.empty() || !call.scenes.empty() ||
        !call.instruments.empty() || call.resume) {
      throw CallError("--again takes everything from its folder: give nothing else");
    }
    return;
  }
  if (call.plan.empty()) throw CallError("nothing to inspect: give a PLAN, or --again FOLDER");
  if (call.out.empty()) throw CallError("give --out FOLDER, in which nothing is lost");
  if (call.scenes.empty() == call.instruments.empty()) {
    throw CallError("give --scene SCENE or --instrument 'COMMAND', for each station one");
  }
  if (call.resume && (call.seed || call.trials || !call.model.empty())) {
    throw CallError(
        "--resume goes on as the inspection was begun: its folder tells --seed, "
        "--trials and --instrument-model");
  }
  if (call.seed && call.scenes.empty()) {
    throw CallError("--seed is for the virtual instrument of --scene");
  }
}

void CheckStations(const inspection::Plan& plan, std::size_t given, const char* option) {
  if (plan.stations.size() > 1 && !inspection::CanAdjust()) {
    throw CallError("this build of the program adjusts one station only, and the plan has " +
                    std::to_string(plan.stations.size()));
  }
  if (given != plan.stations.size()) {
    throw CallError("the plan has " + std::to_string(plan.stations.size()) + " stations, and " +
                    option + " is given " + std::to_string(given) + " times: one for each");
  }
}

int StatusOf(const Sheet& sheet) {
  if (sheet.Count(Verdict::kDoesNotConform) + sheet.Count(Verdict::kNotMeasured) > 0) {
    return kNotMeasured;
  }
  const bool all_features = std::all_of(sheet.features.begin(), sheet.features.end(),
                                        [](const auto& f) { return f.is_measured; });
  if (!all_features) return kNotMeasured;
  return sheet.Count(Verdict::kUndecided) > 0 ? kUndecided : kMeasured;
}

/// Carries out what the folder does not hold yet, and writes the sheet.
int Carry(const InspectCall& call, const inspection::Plan& plan, inspection::Folder& folder,
          inspection::Instruments* instruments, Console& console) {
  console.ShowLibraryLines(false);
  inspection::InspectOptions options;
  options.program = kProgram;
  options.processes = call.processes == 0 ? ProcessorsToUse() : call.processes;
  // A signal ends the inspection after the scan that runs, and nothing that was measured is lost.
  const Uninterrupted told;
  InspectionProgress progress;
  try {
    const Sheet sheet = Inspect(plan, folder, instruments, options, progress.Listening());
    inspection::WriteSheet(sheet, folder);
    for (const std::string& note : sheet.notes) console.Note("note: " + OneLine(note));
    console.Result(inspection::SheetText(sheet));
    return StatusOf(sheet);
  } catch (const inspection::Interrupted&) {
    console.Note("ended; what was measured is in " + OneLine(folder.path()) +
                 ", and --resume goes on");
    return kInterrupted;
  } catch (const CallError& error) {
    if (instruments == nullptr) throw;
    throw CallError(std::string(error.what()) + " (what was measured is in " +
                    OneLine(folder.path()) + ", and --resume goes on)");
  }
}

inspection::Folder FolderOf(const InspectCall& call, const std::string& plan,
                            std::uint64_t usual_seed) {
  if (call.resume && inspection::Folder::IsBegun(call.out)) {
    inspection::Folder folder = inspection::Folder::Open(call.out, true);
    if (folder.plan() != plan) {
      throw CallError("the plan is not the one that the inspection in " + OneLine(call.out) +
                      " was begun with");
    }
    return folder;
  }
  std::string model;
  if (!call.model.empty()) {
    uncertainty::ReadInstrumentModel(call.model);  // what is wrong with it is told now
    model = ReadText(call.model, "instrument model");
  }
  return inspection::Folder::Begin(call.out, plan, model,
                                   {.program = kProgram,
                                    .time = UtcNow(),
                                    .seed = call.seed.value_or(usual_seed),
                                    .trials = call.trials.value_or(kUsualTrials)});
}

int RunInspect(const InspectCall& call, Console& console) {
  CheckOptionsOf(call);
  if (!call.again.empty()) {
    inspection::Folder folder = inspection::Folder::Open(call.again, false);
    const inspection::Plan plan = PlanOf(folder.plan(), folder.File("plan.json"), console);
    return Carry(call, plan, folder, nullptr, console);
  }
  const std::string text = ReadText(call.plan, "plan");
  const inspection::Plan plan = PlanOf(text, call.plan, console);
  if (call.scenes.empty()) {
    CheckStations(plan, call.instruments.size(), "--instrument");
    inspection::Folder folder = FolderOf(call, text, 1);
    ProcessInstruments instruments(call.instruments, call.timeout);
    return Carry(call, plan, folder, &instruments, console);
  }
  CheckStations(plan, call.scenes.size(), "--scene");
  SceneInstruments instruments(call.scenes);
  inspection::Folder folder = FolderOf(call, text, instruments.FirstSeed());
  instruments.SetSeed(folder.beginning().seed);
  return Carry(call, plan, folder, &instruments, console);
}

CallTexts InspectTexts() {
  return {.summary = "Inspect a part by a plan, and write a sheet with verdicts",
          .about =
              "Finds the part by its references, measures every feature of the plan from where it "
              "can be seen, lays the part's frame as the plan tells, and judges each "
              "characteristic with its uncertainty. The folder keeps every conversation as it "
              "ends, and the sheet as JSON, CSV, QIF, points and a report.",
          .examples = {{"mfx inspect examples/inspection/plan.json --scene "
                        "examples/inspection/scene.json --out bracket --trials 0",
                        "Inspects a bracket with the virtual instrument, without trials."},
                       {"mfx inspect --again bracket", "Computes its sheet from the recordings."}},
          .statuses = {{kMeasured, "everything conforms"},
                       {kNotMeasured, "something does not conform, or could not be measured"},
                       FailedStatus(),
                       {kUndecided, "something cannot be decided, and nothing is worse"},
                       {kInterrupted, "Ctrl-C; what was measured is kept"}}};
}

}  // namespace

void AddInspect(CLI::App& program, Execute& execute) {
  const auto call = std::make_shared<InspectCall>();
  CLI::App& command = Call::Add(program, "inspect", InspectTexts());
  command.add_option("PLAN", call->plan, "File with the plan")->type_name("FILE");
  command.add_option("--scene", call->scenes, "File with the scene of a station, in their order")
      ->allow_extra_args(false)
      ->type_name("SCENE");
  AddNumber<std::uint64_t>(
      command, "--seed", 0, std::numeric_limits<std::int64_t>::max(),
      [call](std::uint64_t seed) { call->seed = seed; },
      "Of the virtual instrument and of the trials, instead of the scene's");
  command
      .add_option("--instrument", call->instruments,
                  "Command of the instrument of a station, in their order")
      ->allow_extra_args(false)
      ->type_name("COMMAND");
  AddTimeout(command, call->timeout, "Seconds that the instrument may take for an answer (60)");
  command.add_option("--out", call->out, "Folder for recordings and sheet, new or empty")
      ->type_name("FOLDER");
  command.add_flag("--resume", call->resume,
                   "Go on in the folder of --out, where it was broken off");
  command
      .add_option("--again", call->again,
                  "Compute the sheet of a folder anew from its recordings, without an instrument")
      ->type_name("FOLDER");
  AddNumber<long long>(
      command, "--trials", 0, uncertainty::kMostTrials,
      [call](long long trials) { call->trials = trials; },
      "Most trials of each uncertainty (400); 0: by the scatter of the fits alone");
  command
      .add_option("--instrument-model", call->model,
                  "File with what is known of the instrument; else the virtual one's noise")
      ->type_name("FILE");
  AddNumber<int>(
      command, "-j", 0, kMostWorkers, [call](int count) { call->processes = count; },
      "Processes that share the trials; 0, the default: as many as there are processors");
  command.callback([&execute, call] {
    execute = [call](Console& console) { return RunInspect(*call, console); };
  });
}

}  // namespace libmfx::host
