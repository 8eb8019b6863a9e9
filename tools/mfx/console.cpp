#include "console.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <streambuf>
#include <utility>

#include "host/errors.h"
#include "host/interrupts.h"
#include "host/utf8.h"
#include "libmfx/win32_support/exports.h"

namespace libmfx::host {
namespace {

/// Writes everything to standard error, as far as it takes it.
void WriteError(std::string_view text) {
  while (!text.empty()) {
    const ssize_t n = write(STDERR_FILENO, text.data(), text.size());
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(n));
  }
}

/// A process may be started with its standard streams closed; the next file that it opens would
/// then take their place.
void FillStandardStreams() {
  for (int fd = open("/dev/null", O_RDWR); fd >= 0; fd = open("/dev/null", O_RDWR)) {
    if (fd > STDERR_FILENO) {
      close(fd);
      return;
    }
  }
}

}  // namespace

/// Passes the library's traces on, line by line, and knows whether a line is open.
class Console::TraceBuffer : public std::streambuf {
 public:
  ~TraceBuffer() override { EndLine(); }

  void Show(bool show) { _show = show; }

  /// Delivers what is pending, and ends the line that it leaves open.
  void EndLine() {
    sync();
    if (_open) WriteError("\n");
    _open = false;
  }

 protected:
  int overflow(int c) override {
    if (c == traits_type::eof()) return 0;
    const char one = static_cast<char>(c);
    xsputn(&one, 1);
    return c;
  }
  std::streamsize xsputn(const char* text, std::streamsize count) override {
    if (!_show) return count;
    _pending.append(text, static_cast<std::size_t>(count));
    if (_pending.back() == '\n' || _pending.size() > 4096) sync();
    return count;
  }
  int sync() override {
    if (_pending.empty()) return 0;
    WriteError(_pending);
    _open = _pending.back() != '\n';
    _pending.clear();
    return 0;
  }

 private:
  bool _show = true;
  bool _open = false;
  std::string _pending;
};

namespace {

void OnLogLine(const wchar_t* name, int level, const wchar_t* text) {
  std::string line = OneLine(Utf8Of(text));
  while (!line.empty() && line.back() == ' ') line.pop_back();
  if (line.empty()) return;
  // Through the stream that the traces use, so that the two keep their order.
  std::cout << "[" << Utf8Of(name) << " " << static_cast<char>('0' + level % 10) << "] " << line
            << std::endl;
}

}  // namespace

Console::Console() : _traces(std::make_unique<TraceBuffer>()) {
  const bool had_output = fcntl(STDOUT_FILENO, F_GETFD) >= 0;
  FillStandardStreams();
  std::cout.flush();
  if (had_output) _out = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  dup2(STDERR_FILENO, STDOUT_FILENO);
  _cout_buffer = std::cout.rdbuf(_traces.get());
  RegisterLogCallbackFunction(OnLogLine);
}

Console::~Console() {
  RegisterLogCallbackFunction(nullptr);
  std::cout.rdbuf(_cout_buffer);
  if (_out >= 0) close(_out);
}

void Console::Result(std::string line) {
  line += '\n';
  WriteOut(line);
}

void Console::WriteOut(std::string_view text) {
  const Uninterrupted whole_line;
  const std::size_t length = text.size();
  while (!text.empty()) {
    const ssize_t n = write(_out, text.data(), text.size());
    if (n < 0 && errno == EINTR) {
      if (text.size() == length) Uninterrupted::LeaveIfAsked();
      continue;
    }
    if (n < 0) throw CallError(std::string("cannot write standard output: ") + strerror(errno));
    text.remove_prefix(static_cast<std::size_t>(n));
  }
}

void Console::Note(const std::string& text) {
  _traces->EndLine();
  WriteError("mfx: " + OneLine(text) + "\n");
}

void Console::SetVerbosity(Verbosity verbosity) {
  _verbosity = verbosity;
  ShowLibraryLines(true);
}

void Console::ShowLibraryLines(bool show) {
  Pass(_verbosity == Verbosity::kVerbose || (show && _verbosity == Verbosity::kUsual));
}

bool Console::DropLibraryLines() {
  const bool shown = _shows_library_lines;
  Pass(false);
  return shown;
}

bool Console::OutputIsTerminal() const { return isatty(_out) == 1; }

bool Console::OneTerminalShowsAll() const {
  return OutputIsTerminal() && isatty(STDERR_FILENO) == 1;
}

void Console::Pass(bool show) {
  _traces->Show(show);
  RegisterLogCallbackFunction(show ? OnLogLine : nullptr);
  _shows_library_lines = show;
}

}  // namespace libmfx::host
