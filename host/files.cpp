#include "host/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "host/errors.h"
#include "host/interrupts.h"

namespace libmfx::host {
namespace {

constexpr std::size_t kChunk = std::size_t{1} << 16;

std::string Reason() { return strerror(errno); }

std::string Named(const std::string& what, const std::string& path) {
  return what + " " + (path == "-" ? "on standard input" : OneLine(path));
}

/// A descriptor to read from; 0 is standard input itself.
int OpenToRead(const std::string& path, const std::string& what) {
  if (path == "-") return STDIN_FILENO;
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) throw CallError("cannot read " + Named(what, path) + ": " + Reason());
  return file;
}

/// Appends the next bytes to `text`.
/// \returns their number, 0 at the end, -1 on an error
ssize_t ReadSome(int file, std::string& text) {
  std::array<char, kChunk> chunk;
  ssize_t n = 0;
  do {
    n = read(file, chunk.data(), chunk.size());
  } while (n < 0 && errno == EINTR);
  if (n > 0) text.append(chunk.data(), static_cast<std::size_t>(n));
  return n;
}

/// The file that a path leads to, through links that exist.
std::string Resolved(const std::string& path) {
  char buffer[PATH_MAX];
  return realpath(path.c_str(), buffer) == nullptr ? path : std::string(buffer);
}

/// Whether a file is there to stay: one that nobody may write, or this process may not. Moving
/// another into its place would take no more than the right to write its folder.
bool IsProtected(const std::string& path, const struct stat& status) {
  constexpr mode_t kWritable = S_IWUSR | S_IWGRP | S_IWOTH;
  return (status.st_mode & kWritable) == 0 ||
         faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0;
}

}  // namespace

std::string ReadText(const std::string& path, const std::string& what) {
  const int file = OpenToRead(path, what);
  std::string text;
  ssize_t n = 0;
  while ((n = ReadSome(file, text)) > 0 && text.size() <= kLongestText) {
  }
  const std::string reason = Reason();
  if (file != STDIN_FILENO) close(file);
  if (n < 0) throw CallError("cannot read " + Named(what, path) + ": " + reason);
  if (text.size() > kLongestText) {
    throw CallError(Named(what, path) + " is longer than 256 MiB");
  }
  return text;
}

WholeFile::WholeFile(std::string path, std::string what)
    : _path(Resolved(path)), _what(std::move(what)) {
  struct stat status {};
  const bool exists = stat(_path.c_str(), &status) == 0;
  if (exists && !S_ISREG(status.st_mode)) {
    _file = open(_path.c_str(), O_WRONLY | O_CLOEXEC);
    if (_file < 0) Fail();
    return;
  }
  if (exists && IsProtected(_path, status)) {
    throw CallError("cannot write " + Named(_what, _path) + ": it is write-protected");
  }
  _temporary = _path + ".mfx-" + std::to_string(getpid());
  const Uninterrupted registered;
  _file = open(_temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (_file < 0) Fail();
  RemoveOnSignal(_temporary);
}

WholeFile::~WholeFile() {
  if (_file >= 0) close(_file);
  if (_temporary.empty()) return;
  unlink(_temporary.c_str());
  KeepOnSignal(_temporary);
}

void WholeFile::Fail() const {
  throw CallError("cannot write " + Named(_what, _path) + ": " + Reason());
}

void WholeFile::Write(std::string_view text) {
  _pending += text;
  if (_pending.size() >= kChunk) Flush();
}

void WholeFile::Flush() {
  std::string_view rest = _pending;
  while (!rest.empty()) {
    const ssize_t n = write(_file, rest.data(), rest.size());
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) Fail();
    rest.remove_prefix(static_cast<std::size_t>(n));
  }
  _pending.clear();
}

void WholeFile::Commit() {
  Flush();
  if (close(std::exchange(_file, -1)) != 0) Fail();
  if (_temporary.empty()) return;
  const Uninterrupted moved;
  if (rename(_temporary.c_str(), _path.c_str()) != 0) Fail();
  KeepOnSignal(_temporary);
  _temporary.clear();
}

LineReader::LineReader(const std::string& path, std::string what, Packing packing)
    : _what(Named(what, path)),
      _file(OpenToRead(path, what)),
      _may_be_packed(packing == Packing::kMayBeGzip) {
  struct stat status {};
  if (fstat(_file, &status) == 0 && S_ISREG(status.st_mode)) {
    _total = static_cast<std::size_t>(status.st_size);
  }
}

LineReader::~LineReader() {
  if (_file != STDIN_FILENO) close(_file);
}

void LineReader::Fill() {
  _buffer.erase(0, std::exchange(_next, 0));
  std::string packed;
  const ssize_t n = ReadSome(_file, _unpacker ? packed : _buffer);
  if (n < 0) throw CallError("cannot read " + _what + ": " + Reason());
  _at_end = n == 0;
  if (_may_be_packed && GzipUnpacker::IsPacked(_buffer)) {
    _unpacker.emplace(kLongestText);
    std::swap(packed, _buffer);
  }
  _may_be_packed = _may_be_packed && !_unpacker && _buffer == "\x1f";
  if (_unpacker) Unpack(packed);
}

void LineReader::Unpack(std::string_view bytes) {
  try {
    _unpacker->Add(bytes, _buffer);
    if (_at_end) _unpacker->End();
  } catch (const CallError& error) {
    throw CallError("cannot read " + _what + ": " + error.what());
  }
}

LineReader::Got LineReader::Next(std::string& line) {
  for (;;) {
    if (const std::optional<Got> got = Buffered(line)) return *got;
    Fill();
  }
}

std::optional<LineReader::Got> LineReader::Buffered(std::string& line) {
  if (_back) {
    const auto [got, again] = *std::exchange(_back, std::nullopt);
    line = again;
    return got;
  }
  const std::size_t end = _buffer.find('\n', _next + _searched);
  _had_end = end != std::string::npos;
  if (!_had_end) {
    _searched = _buffer.size() - _next;
    if (_searched > kLongestText) {
      _too_long = true;
      _taken += std::exchange(_searched, 0);
      _buffer = {};
      _next = 0;
    }
    if (!_at_end) return std::nullopt;
  }
  line.assign(_buffer, _next, _had_end ? end - _next : std::string::npos);
  _taken += line.size() + (_had_end ? 1 : 0);
  _next = _had_end ? end + 1 : _buffer.size();
  _searched = 0;
  if (std::exchange(_too_long, false)) return Got::kTooLong;
  return _had_end || !line.empty() ? Got::kLine : Got::kEnd;
}

}  // namespace libmfx::host
