#include "cli.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <functional>
#include <limits>
#include <new>
#include <string>

#include "commands.h"
#include "console.h"
#include "draws.h"
#include "errors.h"
#include "interrupts.h"
#include "numbers.h"

namespace libmfx::host {
namespace {

/// A number option, read the same under every locale.
template <typename T, typename Take>
CLI::Option* AddNumber(CLI::App& app, const std::string& name, T lowest, T highest, Take take,
                       const std::string& description) {
  return app.add_option_function<std::string>(
      name,
      [name, lowest, highest, take](const std::string& text) {
        const std::optional<T> value = NumberOf<T>(text);
        if (!value || !(*value >= lowest && *value <= highest)) {
          std::string range;
          AppendNumber(range, static_cast<double>(lowest));
          range += " to ";
          AppendNumber(range, static_cast<double>(highest));
          throw CLI::ValidationError(name,
                                     "wants a number from " + range + ", not " + Excerpt(text));
        }
        take(*value);
      },
      description);
}

/// The command line as it was understood, ready to be carried out.
class CommandLine {
 public:
  CommandLine() : _app("Measures nominal features with a scanning laser rangefinder.", "mfx") {
    _app.require_subcommand(1);
    _app.set_version_flag("--version", "mfx " LIBMFX_VERSION);
    _app.add_flag("-q,--quiet", _quiet, "Drop the library's log lines and traces");
    _app.fallthrough();
    AddFeatures();
    AddPlan();
    AddMeasure();
    AddReplay();
    AddBatch();
  }

  /// \throws CLI::ParseError, which a call for help is too
  void Parse(int argc, char** argv) {
    const std::string call = argc > 1 ? argv[1] : "-";
    const auto commands = _app.get_subcommands([](const CLI::App*) { return true; });
    if (!call.starts_with('-') &&
        std::none_of(commands.begin(), commands.end(),
                     [&](const CLI::App* command) { return command->get_name() == call; })) {
      throw CallError("there is no call " + Excerpt(call) + " (mfx --help tells which there are)");
    }
    _app.parse(argc, argv);
  }
  int Execute(Console& console) {
    console.ShowLibraryLines(!_quiet);
    return _execute(console);
  }
  /// The answer to a call for help, or nothing.
  std::string Answer(const CLI::ParseError& error) {
    std::ostringstream out;
    std::ostringstream ignored;
    if (_app.exit(error, out, ignored) != 0) return {};
    std::string text = out.str();
    while (text.ends_with('\n')) text.pop_back();
    return text;
  }

 private:
  void AddFeatures() {
    CLI::App* command = _app.add_subcommand("features", "List the feature types and settings");
    command->add_flag("--json", _features.json, "As one line of JSON");
    command->callback(
        [this] { _execute = [this](Console& c) { return RunFeatures(_features, c); }; });
  }

  void AddPlan() {
    CLI::App* command = _app.add_subcommand("plan", "Print the drive points, drive nothing");
    AddRequest(*command, _plan.request);
    command
        ->add_option_function<std::string>(
            "--format", [this](const std::string& format) { _plan.csv = format == "csv"; },
            "json (default) or csv")
        ->check(CLI::IsMember({"json", "csv"}));
    command->add_flag("--search", _plan.search, "The search pattern instead of the feature's");
    command->callback([this] { _execute = [this](Console& c) { return RunPlan(_plan, c); }; });
  }

  void AddMeasure() {
    CLI::App* command = _app.add_subcommand("measure", "Measure, and print the result message");
    AddRequest(*command, _measure.request);
    command->add_option("--scene", _measure.scene, "File with a scene for the virtual instrument");
    AddNumber<std::uint64_t>(
        *command, "--seed", 0, std::numeric_limits<std::uint64_t>::max(),
        [this](std::uint64_t seed) { _measure.seed = seed; },
        "Of the virtual instrument, instead of the scene's");
    command->add_option("--instrument", _measure.instrument,
                        "Command of an instrument that speaks JSON lines");
    AddNumber<double>(
        *command, "--timeout", 0.001, 86400.0,
        [this](double seconds) {
          _measure.timeout = std::chrono::milliseconds(static_cast<long long>(seconds * 1000.0));
        },
        "Seconds that the instrument may take for an answer (60)");
    AddSearch(*command, _measure.options);
    AddPasses(*command, [this](int passes) { _measure.options.max_passes = passes; });
    AddScanData(*command, [this](ScanData form) { _measure.options.scan_data = form; });
    command->add_option("--record", _measure.record, "File to write the conversation to");
    AddReport(*command, _measure.report);
    AddStrict(*command, _measure.strict, kStrict);
    command->callback(
        [this] { _execute = [this](Console& c) { return RunMeasure(_measure, c); }; });
  }

  void AddReplay() {
    CLI::App* command = _app.add_subcommand("replay", "Analyse a recording again");
    command
        ->add_option("RECORDING", _replay.recording, "File with a recording, - for standard input")
        ->required();
    command->add_flag("--search", _replay.search, "Search as measure does");
    AddReport(*command, _replay.report);
    AddPasses(*command, [this](int passes) { _replay.max_passes = passes; });
    AddScanData(*command, [this](ScanData form) { _replay.scan_data = form; });
    AddStrict(*command, _replay.strict, kStrict);
    command->callback([this] { _execute = [this](Console& c) { return RunReplay(_replay, c); }; });
  }

  void AddBatch() {
    CLI::App* command = _app.add_subcommand("batch", "Carry out one job a line, answer each");
    command->add_option("JOBS", _batch.jobs, "File with jobs, - for standard input")->required();
    AddSearch(*command, _batch.options);
    AddPasses(*command, [this](int passes) { _batch.options.max_passes = passes; });
    AddScanData(*command, [this](ScanData form) { _batch.options.scan_data = form; });
    AddStrict(*command, _batch.strict, "Mark the answer of a success with warnings as doubtful");
    command->add_flag("--log", _batch.show_library_lines,
                      "Show the library's log lines and traces");
    command->callback([this] { _execute = [this](Console& c) { return RunBatch(_batch, c); }; });
  }

  static void AddSearch(CLI::App& command, ConversationOptions& options) {
    command.add_flag("--search", options.search,
                     "Search when the first analysis fails and the request enables it");
  }

  static void AddReport(CLI::App& command, std::string& report) {
    command.add_option("--report", report, "HTML file to write a report with pictures to");
  }

  static constexpr const char* kStrict =
      "Count a success with warnings as failed: exit with status 1";

  static void AddStrict(CLI::App& command, bool& strict, const std::string& description) {
    command.add_flag("--strict", strict, description);
  }

  static void AddRequest(CLI::App& command, std::string& request) {
    command.add_option("REQUEST", request, "File with a target request, - for standard input")
        ->required();
  }

  template <typename Take>
  static void AddPasses(CLI::App& command, Take take) {
    AddNumber<int>(command, "--max-passes", 0, kMostPasses, take,
                   "Most re-scans around a moved nominal (3)");
  }

  template <typename Take>
  static void AddScanData(CLI::App& command, Take take) {
    command
        .add_option_function<std::string>(
            "--scan-data", [take](const std::string& form) { take(*ScanDataOf(form)); },
            "How the result of a scan path holds its samples: json (default), binary, none")
        ->check(CLI::IsMember({"json", "binary", "none"}));
  }

  CLI::App _app;
  bool _quiet = false;
  FeaturesCall _features;
  PlanCall _plan;
  MeasureCall _measure;
  ReplayCall _replay;
  BatchCall _batch;
  std::function<int(Console&)> _execute;
};

int Carry(int argc, char** argv, Console& console) {
  CommandLine line;
  try {
    line.Parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    const std::string answer = line.Answer(error);
    if (answer.empty())
      throw CallError(std::string(error.what()) + " (mfx --help tells the usage)");
    console.Result(answer);
    return kMeasured;
  }
  return line.Execute(console);
}

}  // namespace

int Run(int argc, char** argv) {
  HandleSignals();
  FixDraws();
  Console console;
  try {
    return Carry(argc, argv, console);
  } catch (const CallError& error) {
    console.Note(error.what());
  } catch (const std::bad_alloc&) {
    console.Note("out of memory");
  } catch (const std::exception& error) {
    console.Note(std::string("internal error: ") + error.what());
  } catch (const std::string& error) {
    console.Note("internal error: " + error);
  } catch (const char* error) {
    console.Note(std::string("internal error: ") + error);
  }
  return kCallFailed;
}

}  // namespace libmfx::host
