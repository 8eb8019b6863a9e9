#include "console.h"

#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <iostream>
#include <streambuf>
#include <utility>
#include <vector>

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

/// How many pieces of memory one call of the system writes.
constexpr std::size_t kMostPieces = IOV_MAX;

/// What is left of pieces of memory after so many bytes of them were written.
std::span<iovec> Unwritten(std::span<iovec> pieces, std::size_t written) {
  while (!pieces.empty() && written >= pieces.front().iov_len) {
    written -= pieces.front().iov_len;
    pieces = pieces.subspan(1);
  }
  if (written > 0) {
    iovec& first = pieces.front();
    first.iov_base = static_cast<char*>(first.iov_base) + written;
    first.iov_len -= written;
  }
  return pieces;
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

void Console::Result(std::string_view line) { Results({&line, 1}); }

void Console::Results(std::span<const std::string_view> lines) {
  char end[] = "\n";
  std::vector<iovec> pieces;
  pieces.reserve(2 * lines.size());
  for (const std::string_view line : lines) {
    pieces.push_back({const_cast<char*>(line.data()), line.size()});
    pieces.push_back({end, 1});
  }
  const Uninterrupted whole_lines;
  bool is_begun = false;
  for (std::span<iovec> rest = pieces; !rest.empty();) {
    const ssize_t n =
        writev(_out, rest.data(), static_cast<int>(std::min(rest.size(), kMostPieces)));
    if (n < 0 && errno == EINTR) {
      if (!is_begun) Uninterrupted::LeaveIfAsked();
      continue;
    }
    if (n < 0) throw CallError(std::string("cannot write standard output: ") + strerror(errno));
    is_begun = true;
    rest = Unwritten(rest, static_cast<std::size_t>(n));
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
