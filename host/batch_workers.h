#pragma once

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "host/batch.h"

namespace libmfx::host {

/// Most processes that can be asked for.
inline constexpr int kMostWorkers = 256;

/// Processes that carry out jobs, one at a time each. They are started as they are needed, and go
/// with this object, and with this process however it ends.
class JobWorkers {
 public:
  using Carry = std::function<JobAnswer(const std::string& job)>;
  using Take = std::function<void(std::size_t number, JobAnswer answer)>;

  /// \param count most processes at a time
  /// \param carry is called in the processes; what it does stays there
  /// \param take is given the answers, in the order in which they come. Of a job whose process died
  /// it is an error that says so, and the next job gets another process
  JobWorkers(int count, Carry carry, Take take);
  ~JobWorkers();
  JobWorkers(const JobWorkers&) = delete;
  JobWorkers& operator=(const JobWorkers&) = delete;

  bool HasIdle() const { return _busy < _most; }
  bool HasBusy() const { return _busy > 0; }

  /// Hands a job to an idle process.
  /// \throws CallError if there is none and the system starts none
  void Give(std::size_t number, std::string job);

  /// Waits until a process says something or `file` has something to read, and takes the answers
  /// that are whole by then.
  /// \param file -1 for none
  /// \returns whether `file` has something to read, or has ended
  bool Wait(int file);

 private:
  struct Worker {
    pid_t process = 0;
    int to = -1;
    int from = -1;
    bool is_busy = false;
    bool has_begun = false;  ///< it has the whole job
    int attempts = 0;        ///< how often the job was handed out
    std::size_t number = 0;  ///< of its job
    std::string job;
    std::string received;
  };

  void HandOut(std::size_t number, std::string job, int attempts);
  Worker& Start();
  Worker& Idle();
  void Listen(Worker& worker);
  bool TakeAnswer(Worker& worker);
  /// Ends a process, if it has not ended, and tells how.
  std::string End(Worker& worker);

  std::size_t _most;
  std::size_t _busy = 0;
  Carry _carry;
  Take _take;
  std::vector<Worker> _workers;
};

}  // namespace libmfx::host
