#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>

#include "host/driver.h"
#include "host/errors.h"

namespace libmfx::host {

/// What an instrument process did instead of answering as it should.
enum class ProcessFault {
  kNotStarted,
  kSilent,   ///< no whole line came in time
  kEnded,    ///< it closed its pipe, or ended
  kUnasked,  ///< it said more than it was asked
  kUnusable  ///< any other: what it said cannot be used
};

/// An instrument process that cannot be used any further.
class ProcessError : public CallError {
 public:
  ProcessError(ProcessFault what, std::optional<int> ended_with, const std::string& text)
      : CallError(text), fault(what), exit_status(ended_with) {}

  ProcessFault fault;
  std::optional<int> exit_status;  ///< where the process has ended by itself
};

/// An instrument that runs as another process: one line out to its standard input, one line back
/// from its standard output, until its input is closed. It runs in a process group of its own, of
/// which nothing is left when the driver goes.
class ProcessDriver final : public Driver {
 public:
  /// Starts `/bin/sh -c command`.
  /// \param timeout for each answer, from the first byte of the question to the last of the answer
  /// \throws CallError if it cannot be started
  ProcessDriver(const std::string& command, std::chrono::milliseconds timeout);
  ~ProcessDriver() override;
  ProcessDriver(const ProcessDriver&) = delete;
  ProcessDriver& operator=(const ProcessDriver&) = delete;

  std::string Name() const override { return "process " + _command; }
  std::vector<RawDataPoint> Drive(const std::vector<Position>& points,
                                  const std::string& step) override;
  void Finish() override;

  /// Sends a line and waits for one line back, which is not looked into; neither has its line end.
  /// \throws ProcessError
  std::string Ask(const std::string& line);
  /// Waits for a line that nobody asked for.
  /// \returns nothing if none came within `patience`, or the process closed its pipe
  std::optional<std::string> Overhear(std::chrono::milliseconds patience);
  /// What has come of a line whose end has not.
  const std::string& Unfinished() const { return _received; }
  /// Says that no further line will come, and goes on listening.
  void CloseInput();
  /// Closes its pipes and waits for its end; what it still says is lost.
  /// \returns whether it ended by itself, in the time that an instrument has
  bool End();

 private:
  using Clock = std::chrono::steady_clock;

  void Start();
  struct Ready {
    bool readable = false;  ///< `_from` holds bytes, or has ended
    bool ended = false;     ///< the process has
    bool writable = false;  ///< `_to` takes bytes
  };
  Ready Wait(bool to_write, Clock::time_point deadline);
  void WriteSome(std::string_view& rest);
  bool ReadSome();
  void RefuseUnasked(std::chrono::milliseconds grace);
  /// Takes the first whole line out of what was received, if there is one.
  /// \param searched how much of it holds no line end
  std::optional<std::string> TakeLine(std::size_t searched);
  /// The pipe ended: tells whether in an answer, and how the process did.
  [[noreturn]] void FailAsEnded();
  /// Ends the process group within `grace`, at first by closing its pipes.
  /// \returns whether the process ended without a signal
  bool Stop(std::chrono::milliseconds grace);
  bool WaitForEnd(std::chrono::milliseconds grace);
  [[noreturn]] void Fail(ProcessFault fault, const std::string& what,
                         std::optional<int> exit_status = std::nullopt);

  std::string _command;
  std::chrono::milliseconds _timeout;
  pid_t _process = 0;
  int _to = -1;
  int _from = -1;
  int _handle = -1;  ///< readable once the process has ended
  int _exchanges = 0;
  bool _ended_well = false;
  std::string _received;
};

}  // namespace libmfx::host
