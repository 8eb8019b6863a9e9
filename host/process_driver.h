#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>

#include "host/driver.h"

namespace libmfx::host {

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

 private:
  using Clock = std::chrono::steady_clock;

  void Start();
  std::string Exchange(const std::string& question);
  struct Ready {
    bool readable = false;  ///< `_from` holds bytes, or has ended
    bool ended = false;     ///< the process has
    bool writable = false;  ///< `_to` takes bytes
  };
  Ready Wait(bool to_write, Clock::time_point deadline);
  void WriteSome(std::string_view& rest);
  bool ReadSome();
  void RefuseUnasked(std::chrono::milliseconds grace);
  /// How the process ended, if it has, as words to append to an error.
  std::string HowItEnded();
  /// Ends the process group within `grace`, at first by closing its pipes.
  void Stop(std::chrono::milliseconds grace);
  bool WaitForEnd(std::chrono::milliseconds grace);
  [[noreturn]] void Fail(const std::string& what);

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
