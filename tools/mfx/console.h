#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>

/// \file
/// Where the output of a run goes: results to standard output, everything else to standard error.

namespace libmfx::host {

/// Whether the library's log lines and traces are shown.
enum class Verbosity {
  kQuiet,   ///< never
  kUsual,   ///< where the call shows them
  kVerbose  ///< always
};

/// Takes standard output away from everybody else for as long as it lives: what the library
/// traces there goes to standard error.
class Console {
 public:
  Console();
  ~Console();
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  /// Writes a line, or several, to standard output, whole and at once; a signal waits for its end.
  /// \throws CallError if standard output takes no more
  void Result(std::string_view line);
  /// The same of lines that follow each other, none of which is copied.
  void Results(std::span<const std::string_view> lines);

  /// The descriptor of standard output, or -1 if the process was started without one.
  int output() const { return _out; }

  /// One line on standard error, begun by the program's name.
  void Note(const std::string& text);

  /// What the command line says of the library's lines; it holds for the calls below.
  void SetVerbosity(Verbosity verbosity);
  /// Sends the library's log lines and traces to standard error, or drops them, unless the command
  /// line says otherwise.
  void ShowLibraryLines(bool show);
  /// Drops them whatever the command line says: what follows has been told before.
  /// \returns whether they were shown
  bool DropLibraryLines();

  /// Whether the process was started with a terminal as its standard output.
  bool OutputIsTerminal() const;
  /// Whether results and notes stand on a terminal, one below the other.
  bool OneTerminalShowsAll() const;

 private:
  class TraceBuffer;
  void Pass(bool show);

  Verbosity _verbosity = Verbosity::kUsual;
  bool _shows_library_lines = true;
  int _out = -1;  ///< the standard output that the process was started with
  std::unique_ptr<TraceBuffer> _traces;
  std::streambuf* _cout_buffer = nullptr;
};

}  // namespace libmfx::host
