#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/conversation.h"
#include "host/driver.h"
#include "host/errors.h"
#include "host/files.h"

/// \file
/// A conversation on file, as JSON lines: {"request": {...}} first, then a {"drive": ...} and a
/// {"samples": ...} line for each exchange, and {"result": {...}} last. The first line also has
/// "options" where a measurement was not held with the default ones. A request that is no JSON
/// object stands as a text.

namespace libmfx::host {

/// One scan as it was driven.
struct Exchange {
  std::vector<Position> points;
  std::string step;
  std::vector<RawDataPoint> samples;
};

/// The first line of a recording.
std::string RequestLine(const std::string& request, const ConversationOptions& options);

/// Writes a recording while the conversation is held. The file appears with Finish.
class RecordingWriter {
 public:
  /// \throws CallError if the file cannot be made
  RecordingWriter(const std::string& path, const std::string& request,
                  const ConversationOptions& options);
  /// A file that takes no more is told of by Finish: the measurement does not end with it.
  void Write(const Exchange& exchange);
  /// \throws CallError if the file could not be written
  void Finish(const std::string& result);

 private:
  WholeFile _file;
  std::optional<CallError> _failure;  ///< what Write came to
};

/// A recording in memory.
struct Recording {
  std::string request;  ///< the text that the library was given
  ConversationOptions options;
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

  std::string Name() const override { return "samples of a recording"; }
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
