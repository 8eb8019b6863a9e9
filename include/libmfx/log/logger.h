#pragma once

#include <memory>
#include <ostream>
#include <sstream>
#include <string>

#include "libmfx/export.h"

/// \file
/// Log lines of a feature on their way to the host. Nothing is kept: without a registered callback
/// a line is dropped.

namespace libmfx::features {
class Feature;
}

namespace libmfx::log {

enum LogLevel : int {
  LOG_LEVEL_0 = 0,  ///< not used by the library
  LOG_LEVEL_1 = 1,  ///< ordinary messages
  LOG_LEVEL_2 = 2,  ///< doubts about a result
  LOG_LEVEL_3 = 3,  ///< errors
  LOG_LEVEL_4 = 4,  ///< not used by the library
};

/// Receives one line: log name, level, text with its line end. The texts are UTF-16 code units and
/// live for the duration of the call.
using LogCallback = void (*)(const wchar_t* name, int level, const wchar_t* text);

/// Stores the one callback of the process; null turns delivery off. No lock: register it before
/// features are used from other threads.
LIBMFX_EXPORT void SetLogCallback(LogCallback callback);

/// An output stream whose flushed text goes to the callback as one line.
class LIBMFX_EXPORT LibMfxLogStream : public std::ostream {
 public:
  /// Collects characters and delivers them on each flush.
  class LIBMFX_EXPORT LibMfxLogBuf : public std::stringbuf {
   public:
    LibMfxLogBuf(std::string name, int level);
    /// Delivers what is left, once more, unless Close did.
    ~LibMfxLogBuf() override;
    LibMfxLogBuf(const LibMfxLogBuf&) = delete;
    LibMfxLogBuf& operator=(const LibMfxLogBuf&) = delete;

    int level() const { return _level; }
    /// The delivery of the end of life, while an exception can still reach the writer.
    /// \throws std::range_error "bad conversion" if the text is not valid UTF-8
    void Close();

   protected:
    int sync() override;

   private:
    std::string _name;
    int _level;
    bool _closed = false;
  };

  /// Takes the buffer over.
  explicit LibMfxLogStream(LibMfxLogBuf* buffer);
  ~LibMfxLogStream() override;
  LibMfxLogStream(const LibMfxLogStream&) = delete;
  LibMfxLogStream& operator=(const LibMfxLogStream&) = delete;

  LibMfxLogBuf& buffer() { return *_buffer; }

 private:
  LibMfxLogBuf* _buffer;
};

/// Ends with the object that it is a member of, and never goes over to a copy of that object: who
/// holds it weakly can tell whether the object still exists. An assignment leaves it alone.
class LIBMFX_EXPORT Life {
 public:
  Life() : _token(std::make_shared<Token>()) {}
  Life(const Life&) : Life() {}
  // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): nothing is assigned
  Life& operator=(const Life&) noexcept { return *this; }
  ~Life() = default;

  std::weak_ptr<const void> Watch() const { return _token; }

 private:
  struct Token {};
  std::shared_ptr<Token> _token;
};

/// Used as `logger[level] << values << endl`. Belongs to the one thread that uses its feature.
class LIBMFX_EXPORT LibMfxLogger {
 public:
  LibMfxLogger() = default;
  explicit LibMfxLogger(const std::string& name) : _name(name) {}
  /// \param owner names the lines by its FeatureName(); not owned, may be null
  explicit LibMfxLogger(features::Feature* owner) : _owner(owner), _self(owner) {}
  /// A copy takes owner and name over and starts without a stream of its own. It watches the owner:
  /// once that is gone, its lines go out under the name of the feature that it was made for itself,
  /// or under its own name where it was made for none.
  LibMfxLogger(const LibMfxLogger& other) { *this = other; }
  LibMfxLogger& operator=(const LibMfxLogger& other);
  virtual ~LibMfxLogger();

  /// The stream for a level, which is clamped to 0..4. Unless the logger has a name of its own and
  /// the level is the one of the current stream, that stream ends here (what was written without a
  /// line end is delivered) and a fresh one begins.
  LibMfxLogStream& operator[](int level);
  LibMfxLogStream& operator[](LogLevel level) { return (*this)[static_cast<int>(level)]; }
  operator LibMfxLogStream&() { return (*this)[LOG_LEVEL_1]; }
  /// Flushes the current stream, if there is one.
  void Flush();

 private:
  /// The feature that names the lines, or null.
  features::Feature* Owner() const;
  /// The life of the owner, also where this logger was made for it.
  std::weak_ptr<const void> OwnerLife() const;

  features::Feature* _owner = nullptr;
  std::string _name;
  LibMfxLogStream* _stream = nullptr;
  features::Feature* _self = nullptr;       ///< the feature that this logger was made for
  bool _took_owner = false;                 ///< from the logger that this one is a copy of
  std::weak_ptr<const void> _owner_life{};  ///< of an owner that was taken over
};

}  // namespace libmfx::log
