#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <utility>
#include <vector>

/// \file
/// What the program tells of a call. The help, the manual and the completion of shells are all made
/// from it.

namespace libmfx::host {

struct CallExample {
  std::string line;  ///< as typed at a terminal, from a folder that holds the examples
  std::string what;  ///< what it does, as the beginning of a sentence
};

struct CallStatus {
  int status = 0;
  std::string means;
};

/// What is told of a call beside its options.
struct CallTexts {
  std::string summary;  ///< one line
  std::string about;    ///< sentences
  std::vector<CallExample> examples;
  std::vector<CallStatus> statuses;  ///< the exit statuses
};

/// The texts of the program or a call; of one that was added without any its summary alone.
CallTexts TextsOf(const CLI::App& call);

/// The program, or one of its calls, with its texts.
class Call : public CLI::App {
 public:
  /// The program itself.
  Call(const std::string& name, CallTexts texts);

  /// Adds a call to a program.
  static Call& Add(CLI::App& program, const std::string& name, CallTexts texts);

 private:
  Call(const std::string& name, CallTexts texts, CLI::App* program);
  friend CallTexts TextsOf(const CLI::App& call);

  CallTexts _texts;
};

/// The exit statuses of a call that measures.
std::vector<CallStatus> MeasuringStatuses();
/// That of a call that could not be carried out, and that of one ended by a signal.
CallStatus FailedStatus();
CallStatus BrokenOffStatus();

/// An option or an argument as it is told of.
struct OptionRow {
  std::vector<std::string> names;    ///< "-q", "--quiet"; of an argument its one name
  std::string value;                 ///< what its value is, "SECONDS"; empty for a flag
  std::vector<std::string> choices;  ///< the words that may stand as its value, if not any may
  std::string description;
  bool is_argument = false;  ///< it has no name on the command line, only a place
  bool is_required = false;
  bool is_repeatable = false;  ///< it may stand more than once

  /// Whether the value is a file's name.
  bool TakesFile() const { return value == "FILE" || value == "SCENE"; }
  bool TakesCommand() const { return value == "COMMAND"; }
};

/// The arguments of a call, then its options, hidden ones left out.
std::vector<OptionRow> RowsOf(const CLI::App& call);

/// The options of the program that every call has too: without help and version.
std::vector<OptionRow> SharedRowsOf(const CLI::App& program);

/// The calls of the program, hidden ones left out, in their order.
std::vector<const CLI::App*> CallsOf(const CLI::App& program);

/// The call of that name.
/// \throws CallError if there is none; it names the one that was probably meant
const CLI::App& CallNamed(const CLI::App& program, const std::string& name);

/// ", did you mean 'measure'?" where one of the names is near to what was typed, else nothing.
std::string DidYouMean(const std::string& typed, const std::vector<std::string>& names);

/// How a call is typed: "mfx plan [OPTIONS] REQUEST".
std::string UsageOf(const CLI::App& call);

}  // namespace libmfx::host
