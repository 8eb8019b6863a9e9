#include "cli.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <memory>
#include <new>
#include <sstream>
#include <string>
#include <vector>

#include "call.h"
#include "commands.h"
#include "console.h"
#include "draws.h"
#include "help.h"
#include "host/errors.h"
#include "host/interrupts.h"

namespace libmfx::host {
namespace {

constexpr const char* kUsageIsTold = " (mfx --help tells the usage)";

CallTexts ProgramTexts() {
  std::vector<CallStatus> statuses = MeasuringStatuses();
  statuses.front().means += ", or the call did what it was asked for";
  return {.summary = "Measures nominal features with a scanning laser rangefinder",
          .about =
              "A request names one feature of a part. mfx asks the library where to steer the "
              "beam, drives an instrument or the virtual one that comes along, and prints the "
              "result. Results go to standard output, everything else to standard error.",
          .examples = {{"mfx measure examples/requests/hole.json --scene "
                        "examples/scenes/hole.json",
                        "Measures a hole with the virtual instrument."},
                       {"mfx features", "Lists what can be measured."}},
          .statuses = std::move(statuses)};
}

/// The command line as it was understood, ready to be carried out.
class CommandLine {
 public:
  CommandLine() : _app("mfx", ProgramTexts()) {
    _app.formatter(std::make_shared<HelpFormatter>());
    _app.set_version_flag("--version", "mfx " LIBMFX_VERSION);
    CLI::Option* const quiet =
        _app.add_flag("-q,--quiet", _quiet, "Drop the library's log lines and traces");
    _app.add_flag("-v,--verbose", _verbose,
                  "Show the library's log lines and traces wherever they would be dropped")
        ->excludes(quiet);
    _app.fallthrough();
    _app.require_subcommand(0, 1);
    AddFeatures(_app, _execute);
    AddCheckCall(_app, _execute);
    AddSchema(_app, _execute);
    AddPlan(_app, _execute);
    AddMeasure(_app, _execute);
    AddReplay(_app, _execute);
    AddUncertainty(_app, _execute);
    AddInspect(_app, _execute);
    AddBatch(_app, _execute);
    AddCheckInstrument(_app, _execute);
    AddHelp(_app, _execute);
    AddCompletion(_app, _execute);
  }

  /// \throws CLI::ParseError, which a call for help is too
  void Parse(int argc, char** argv) {
    const std::string first = argc > 1 ? argv[1] : "-";
    if (!first.starts_with('-')) CallNamed(_app, first);
    try {
      _app.parse(argc, argv);
    } catch (const CLI::ExtrasError& error) {
      throw CallError(WhatIsNotExpected(error) + kUsageIsTold);
    }
  }
  int Run(Console& console) {
    if (_quiet) console.SetVerbosity(Verbosity::kQuiet);
    if (_verbose) console.SetVerbosity(Verbosity::kVerbose);
    if (_execute) return _execute(console);
    console.Result(HelpOf(_app));
    return kMeasured;
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
  std::string WhatIsNotExpected(const CLI::ExtrasError& error) const {
    const auto calls = _app.get_subcommands();
    std::vector<OptionRow> rows = RowsOf(_app);
    if (!calls.empty()) {
      const std::vector<OptionRow> own = RowsOf(*calls.front());
      rows.insert(rows.begin(), own.begin(), own.end());
    }
    std::vector<std::string> names;
    for (const OptionRow& row : rows) {
      if (!row.is_argument) names.insert(names.end(), row.names.begin(), row.names.end());
    }
    for (const std::string& word : _app.remaining(true)) {
      if (!word.starts_with('-')) {
        if (calls.empty()) CallNamed(_app, word);
        continue;
      }
      const std::string meant = DidYouMean(word.substr(0, word.find('=')), names);
      if (!meant.empty()) return error.what() + meant;
    }
    return error.what();
  }

  Call _app;
  bool _quiet = false;
  bool _verbose = false;
  Execute _execute;
};

int Carry(int argc, char** argv, Console& console) {
  CommandLine line;
  try {
    line.Parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    const std::string answer = line.Answer(error);
    if (answer.empty()) throw CallError(error.what() + std::string(kUsageIsTold));
    console.Result(answer);
    return kMeasured;
  }
  return line.Run(console);
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
