#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "host/batch.h"
#include "host/batch_shared.h"

namespace libmfx::host {

/// Most processes that can be asked for.
inline constexpr int kMostWorkers = 256;

/// Processes that carry out jobs, one at a time each. They are started as they are needed, and go
/// with this object, and with this process however it ends. Jobs that wait and answers that are on
/// their way lie in shared memory, so that no process waits for this one while there is work, and
/// this one need not be woken for each answer.
class JobWorkers {
 public:
  using Carry = std::function<JobAnswer(const std::string& job)>;
  using Take = std::function<void(std::size_t number, JobAnswer answer)>;

  /// \param count most processes at a time
  /// \param carry is called in the processes; what it does stays there
  /// \param take is given the answers, in the order in which they come. Of a job whose process died
  /// it is an error that says so, and the next job gets another process
  /// \throws CallError if there is no memory to share
  JobWorkers(int count, Carry carry, Take take);
  ~JobWorkers();
  JobWorkers(const JobWorkers&) = delete;
  JobWorkers& operator=(const JobWorkers&) = delete;

  /// Whether a job that is given now is begun at once.
  bool HasIdle() const { return _busy < _most; }
  bool HasBusy() const { return _busy > 0; }
  /// Whether a job may be given that need not be begun at once.
  bool HasRoom() const { return _held_back.empty() && _jobs.size() < _most_waiting; }

  /// Hands a job to the processes.
  /// \throws CallError if there is none and the system starts none
  void Give(std::size_t number, std::string job);

  /// Waits until there are answers or `file` has something to read, and takes the answers that are
  /// whole by then. While many jobs wait, answers are taken every few milliseconds.
  /// \param file -1 for none
  /// \returns whether `file` has something to read, or has ended
  bool Wait(int file);

 private:
  /// An answer as it comes in, piece by piece.
  struct Incoming {
    std::string head;
    std::uint64_t job = 0;  ///< that it answers
    std::size_t of_line = 0;
    std::size_t of_comparison = 0;
    JobAnswer answer;

    /// \returns how many of the bytes belong to it
    std::size_t Add(std::string_view bytes);
    bool IsWhole() const;
  };
  struct Worker {
    std::uint16_t id = 0;
    pid_t process = 0;
    int bell = -1;  ///< what it rings when it is to be listened to; ends with it
    SharedStream answers;
    Incoming incoming;
  };
  /// A job that was given, until it is answered.
  struct Job {
    std::size_t number = 0;
    std::string text;
    int attempts = 0;  ///< how often it was put in
    bool is_answered = false;
  };

  /// What all processes see.
  struct Signals;

  /// \returns false where there is no room
  bool Put(Job& job);
  void PutBack(Job job);
  void PutHeldBack();
  void StartWhereWanted();
  void Start(std::uint16_t id, std::uint64_t first);
  [[noreturn]] void Work(pid_t parent, Worker& worker, int bell, std::uint64_t job);
  bool TakeAnswers();
  bool TakeAnswersOf(Worker& worker);
  /// Closes a job that was put in.
  Job Close(std::uint64_t job);
  /// \returns false when it has ended
  static bool Listen(Worker& worker);
  void Bury(Worker dead);
  /// Ends a process, if it has not ended, and tells how.
  static std::string End(Worker& worker);

  std::size_t _most;
  std::size_t _most_waiting;
  std::size_t _busy = 0;  ///< jobs that were given and are not answered
  Carry _carry;
  Take _take;
  std::vector<Worker> _workers;
  std::uint16_t _last_id = 0;
  WaitingJobs _jobs;
  SharedMemory _signals_memory;
  Signals* _signals;
  std::deque<Job> _open;  ///< in the order in which they were put in
  std::uint64_t _first_open = 0;
  std::deque<Job> _held_back;  ///< until there is room
  bool _flows = false;         ///< answers came in the last turn
};

}  // namespace libmfx::host
