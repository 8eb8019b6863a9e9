#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "host/gzip.h"

namespace libmfx::host {

/// The longest text that is taken from outside in one piece: a file, an answer, a job.
inline constexpr std::size_t kLongestText = std::size_t{256} << 20;

/// The whole of a file, or of standard input for "-".
/// \param what names the file's role in an error
/// \throws CallError
std::string ReadText(const std::string& path, const std::string& what);

/// A file that appears whole or not at all: it is written beside its place and moved there by
/// Commit. A place that is no regular file (a device, a pipe) is written as it stands; a file that
/// is write-protected is not replaced.
class WholeFile {
 public:
  /// \param what names the file's role in an error
  /// \throws CallError if the file cannot be made
  WholeFile(std::string path, std::string what);
  ~WholeFile();
  WholeFile(const WholeFile&) = delete;
  WholeFile& operator=(const WholeFile&) = delete;

  void Write(std::string_view text);
  void Commit();

 private:
  void Flush();
  [[noreturn]] void Fail() const;

  std::string _path;
  std::string _what;
  std::string _temporary;  ///< empty: written in place
  std::string _pending;
  int _file = -1;
};

/// The lines of a file, one at a time, in memory that does not grow with their number.
class LineReader {
 public:
  enum class Got { kLine, kTooLong, kEnd };
  /// Whether a file may be packed as gzip, which its first bytes tell. It may unpack to
  /// kLongestText.
  enum class Packing { kNone, kMayBeGzip };

  /// \param path a file, or "-" for standard input
  /// \throws CallError if it cannot be opened
  LineReader(const std::string& path, std::string what, Packing packing = Packing::kNone);
  ~LineReader();
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;

  /// The next line without its end. A line of more than kLongestText is passed over.
  Got Next(std::string& line);
  /// The same from what was read already; nothing while the line is not whole.
  std::optional<Got> Buffered(std::string& line);
  /// Reads once, and waits for it where nothing has come yet.
  /// \throws CallError if it cannot be read or unpacked
  void Fill();
  /// Makes a line the next one again.
  void PutBack(Got got, std::string line) { _back.emplace(got, std::move(line)); }

  /// Whether the last line had an end; the last one of a file may lack it.
  bool had_end() const { return _had_end; }
  /// What can be waited for before Fill.
  int file() const { return _file; }
  /// Bytes taken so far, unpacked, and in all if that is known; else 0.
  std::size_t taken() const { return _taken; }
  std::size_t total() const { return _total; }

 private:
  void Unpack(std::string_view bytes);

  std::string _what;
  int _file = -1;
  bool _at_end = false;
  bool _may_be_packed;  ///< as long as too little was read to tell
  std::optional<GzipUnpacker> _unpacker;
  std::string _buffer;
  std::size_t _next = 0;      ///< in `_buffer`
  std::size_t _searched = 0;  ///< bytes from there without a line's end
  bool _too_long = false;     ///< what went before of this line is dropped
  bool _had_end = false;
  std::optional<std::pair<Got, std::string>> _back;
  std::size_t _taken = 0;
  std::size_t _total = 0;
};

}  // namespace libmfx::host
