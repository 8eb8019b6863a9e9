#include "cli.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <iterator>
#include <memory>
#include <new>
#include <sstream>
#include <string>
#include <string_view>
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

struct CallRow {
  std::string_view name;
  void (*add)(CLI::App& program, Execute& execute);
  bool tells_of_others = false;
};

/// All calls, in the order of the help.
constexpr CallRow kCalls[] = {
    {"features", AddFeatures},
    {"check", AddCheckCall},
    {"schema", AddSchema},
    {"plan", AddPlan},
    {"measure", AddMeasure},
    {"replay", AddReplay},
    {"uncertainty", AddUncertainty},
    {"inspect", AddInspect},
    {"batch", AddBatch},
    {"check-instrument", AddCheckInstrument},
    {"help", AddHelp, true},
    {"completion", AddCompletion, true},
};

const CallRow* RowOfCall(std::string_view name) {
  const CallRow* const row = std::find_if(std::begin(kCalls), std::end(kCalls),
                                          [name](const CallRow& one) { return one.name == name; });
  return row == std::end(kCalls) ? nullptr : row;
}

/// The call of a command line that needs no other to be understood; nothing where all have to be
/// known. Making the options of all takes longer than listing the feature types.
const CallRow* TheOnlyCall(int argc, char** argv) {
  const CallRow* const call = argc > 1 ? RowOfCall(argv[1]) : nullptr;
  if (call == nullptr || call->tells_of_others) return nullptr;
  const bool names_another =
      std::any_of(argv + 2, argv + argc, [](const char* word) { return RowOfCall(word); });
  return names_another ? nullptr : call;
}

/// The command line as it was understood, ready to be carried out.
class CommandLine {
 public:
  /// \param argc and `argv` are looked at for the calls that have to be known
  CommandLine(int argc, char** argv) : _app("mfx", ProgramTexts()) {
    _app.formatter(std::make_shared<HelpFormatter>());
    _app.set_version_flag("--version", "mfx " LIBMFX_VERSION);
    CLI::Option* const quiet =
        _app.add_flag("-q,--quiet", _quiet, "Drop the library's log lines and traces");
    _app.add_flag("-v,--verbose", _verbose,
                  "Show the library's log lines and traces wherever they would be dropped")
        ->excludes(quiet);
    _app.fallthrough();
    _app.require_subcommand(0, 1);
    const CallRow* const only = TheOnlyCall(argc, argv);
    for (const CallRow& row : kCalls) {
      if (only == nullptr || only == &row) row.add(_app, _execute);
    }
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
  CommandLine line(argc, argv);
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
