#pragma once

#include <memory>
#include <string>
#include <string_view>

/// \file
/// Where the output of a run goes: results to standard output, everything else to standard error.

namespace libmfx::host {

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

  /// The descriptor of standard output, or -1 if the process was started without one.
  int output() const { return _out; }

  /// One line on standard error, begun by the program's name.
  void Note(const std::string& text);

  /// Sends the library's log lines and traces to standard error, or drops them.
  void ShowLibraryLines(bool show);

 private:
  class TraceBuffer;
  void WriteOut(std::string_view text);

  int _out = -1;  ///< the standard output that the process was started with
  std::unique_ptr<TraceBuffer> _traces;
  std::streambuf* _cout_buffer = nullptr;
};

}  // namespace libmfx::host
