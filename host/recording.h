#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/conversation.h"
#include "host/driver.h"
#include "host/errors.h"
#include "host/files.h"
#include "host/gzip.h"
#include "host/labels.h"

/// \file
/// A conversation on file, as JSON lines: {"request": {...}} first, then a {"drive": ...} and a
/// {"samples": ...} line for each exchange, and {"result": {...}} last. The first line also tells
/// how, when and with what it was measured: see RecordingHead. A request that is no JSON object
/// stands as a text. The file may be packed as gzip.

namespace libmfx::host {

/// One scan as it was driven.
struct Exchange {
  std::vector<Position> points;
  std::string step;
  std::vector<RawDataPoint> samples;
};

/// The newest form of a recording that is understood, and the one that is written. Recordings that
/// name none are older than the first.
inline constexpr int kRecordingFormat = 1;

/// What the first line of a recording tells.
struct RecordingHead {
  std::string request;  ///< the text that the library was given
  ConversationOptions options;
  std::string program;     ///< with its version; empty in an older recording, like what follows
  std::string time;        ///< of the measurement's beginning, as UtcNow tells it
  std::string instrument;  ///< as its driver names it
  Labels labels;
};

/// The first line of a recording, without its end.
std::string HeadLine(const RecordingHead& head);

/// Now, to the second, in UTC: "2026-01-31T23:59:59Z".
std::string UtcNow();

/// Writes a recording while the conversation is held. The file appears with Finish. One whose name
/// ends in ".gz" is packed.
class RecordingWriter {
 public:
  /// \throws CallError if the file cannot be made
  explicit RecordingWriter(const std::string& path);
  /// Both are told by Finish of a file that takes no more: the measurement does not end with it.
  void Begin(const RecordingHead& head);
  void Write(const Exchange& exchange);
  /// \throws CallError if the file could not be written
  void Finish(const std::string& result);

 private:
  void Put(const std::string& line);

  WholeFile _file;
  std::optional<GzipPacker> _packer;
  std::optional<CallError> _failure;  ///< what Put came to
};

/// A recording in memory.
struct Recording : RecordingHead {
  std::vector<Exchange> exchanges;
  std::string result;  ///< the recorded result message; empty if there is none
};

/// \throws CallError that names the line and what is wrong with it
Recording ReadRecording(const std::string& path);

/// Passes a driver's exchanges on to an observer.
class ObservedDriver final : public Driver {
 public:
  using Observer = std::function<void(const Exchange&)>;
  ObservedDriver(Driver& driver, Observer observer)
      : _driver(driver), _observer(std::move(observer)) {}

  std::string Name() const override { return _driver.Name(); }
  std::vector<RawDataPoint> Drive(const std::vector<Position>& points,
                                  const std::string& step) override;
  void Finish() override { _driver.Finish(); }

 private:
  Driver& _driver;
  Observer _observer;
};

/// Answers with the samples of a recording, in order, whatever is driven.
class ReplayDriver final : public Driver {
 public:
  explicit ReplayDriver(const Recording& recording) : _recording(recording) {}

  std::string Name() const override;
  std::vector<RawDataPoint> Drive(const std::vector<Position>& points,
                                  const std::string& step) override;
  /// Exchanges answered so far, and how many of them had been driven along other points.
  std::size_t answered() const { return _next; }
  std::size_t deviations() const { return _deviations; }

 private:
  const Recording& _recording;
  std::size_t _next = 0;
  std::size_t _deviations = 0;
};

/// What a person should know about how a recording was analysed again, in whole sentences.
std::vector<std::string> ReplayNotes(const ReplayDriver& driver, const Recording& recording);

}  // namespace libmfx::host
