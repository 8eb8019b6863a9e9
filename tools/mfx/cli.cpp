#include "cli.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <new>
#include <string>

#include "commands.h"
#include "console.h"
#include "draws.h"
#include "host/errors.h"
#include "host/interrupts.h"

namespace libmfx::host {
namespace {

/// The command line as it was understood, ready to be carried out.
class CommandLine {
 public:
  CommandLine() : _app("Measures nominal features with a scanning laser rangefinder.", "mfx") {
    _app.require_subcommand(1);
    _app.set_version_flag("--version", "mfx " LIBMFX_VERSION);
    _app.add_flag("-q,--quiet", _quiet, "Drop the library's log lines and traces");
    _app.fallthrough();
    AddFeatures(_app, _execute);
    AddPlan(_app, _execute);
    AddMeasure(_app, _execute);
    AddReplay(_app, _execute);
    AddBatch(_app, _execute);
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
  int Run(Console& console) {
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
  CLI::App _app;
  bool _quiet = false;
  Execute _execute;
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
