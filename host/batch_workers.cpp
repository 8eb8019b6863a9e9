#include "host/batch_workers.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <string_view>
#include <utility>

#include "host/errors.h"
#include "host/interrupts.h"

namespace libmfx::host {
namespace {

/// Stands before an answer on its way from a process.
struct Header {
  std::uint64_t job = 0;         ///< as WaitingJobs numbers it
  std::uint64_t line = 0;        ///< bytes of JobAnswer::line
  std::uint64_t comparison = 0;  ///< bytes of JobAnswer::comparison, which follow it
  std::uint64_t is_error = 0;
};

/// Where a process has its bell.
constexpr int kBell = STDERR_FILENO + 1;

/// How often a job is handed out again because its process died before it had all of it.
constexpr int kMostAttempts = 3;

/// Jobs that wait for each process. Those of a tenth of a millisecond last three times as long as
/// the pause.
constexpr std::size_t kWaitingEach = 64;

/// While answers flow they are taken once in so many milliseconds: waking the parent for each
/// answer costs a tenth of a job that takes a tenth of a millisecond.
constexpr int kPause = 2;

JobAnswer Refused(const std::string& how, const std::string& job) {
  return RefuseJob("the process that carried out the job " + how, IdOfJob(job));
}

void CloseFile(int& file) {
  if (file >= 0) close(std::exchange(file, -1));
}

/// Leaves a process that carries out jobs nothing but its standard streams and its bell: it keeps
/// nothing open that the others need to see closed.
void KeepOnlyBell(int bell) {
  bell = fcntl(bell, F_DUPFD_CLOEXEC, kBell + 1);  // out of the way of what it is to become
  const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
  dup2(nothing, STDIN_FILENO);
  dup2(bell, kBell);
  close_range(kBell + 1, ~0U, 0);
  fcntl(kBell, F_SETFL, O_NONBLOCK);
}

/// \returns whether anybody is there to hear it
bool Ring() {
  constexpr char kStroke = 'B';
  return write(kBell, &kStroke, 1) == 1 || errno == EAGAIN || errno == EINTR;
}

}  // namespace

struct JobWorkers::Signals {
  std::atomic<bool> ring_for_each;  ///< the parent sleeps until the next answer
};

JobWorkers::JobWorkers(int count, Carry carry, Take take)
    : _most(static_cast<std::size_t>(count)),
      _most_waiting(_most * kWaitingEach),
      _carry(std::move(carry)),
      _take(std::move(take)),
      _signals_memory(sizeof(Signals)),
      _signals(reinterpret_cast<Signals*>(_signals_memory.data())) {
  _jobs.SetLow(_most_waiting / 2);
}

JobWorkers::~JobWorkers() {
  for (const Worker& worker : _workers) kill(worker.process, SIGKILL);
  for (Worker& worker : _workers) End(worker);
}

/// The life of a process that carries out jobs: it ends by a signal, or as nobody listens.
void JobWorkers::Work(pid_t parent, Worker& worker, int bell, std::uint64_t job) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(0);
  // Ctrl-C goes to the whole group of a terminal; the parent is the one to end for it.
  std::signal(SIGINT, SIG_IGN);
  std::signal(SIGHUP, SIG_IGN);
  std::signal(SIGTERM, SIG_DFL);
  KeepOnlyBell(bell);
  bool is_heard = true;
  const auto ring = [&is_heard] { is_heard = Ring() && is_heard; };
  try {
    while (is_heard) {
      if (_jobs.IsLowAfter(job)) ring();
      const JobAnswer answer = _carry(_jobs.Begin(job));
      const Header header{job, answer.line.size(), answer.comparison.size(),
                          answer.is_error ? 1U : 0U};
      worker.answers.Write({reinterpret_cast<const char*>(&header), sizeof header}, ring);
      worker.answers.Write(answer.line, ring);
      worker.answers.Write(answer.comparison, ring);
      if (_signals->ring_for_each.exchange(false) || _jobs.size() == 0 ||
          worker.answers.IsHalfFull()) {
        ring();
      }
      if (is_heard) job = _jobs.TakeNext(worker.id);
    }
  } catch (...) {
    _exit(1);
  }
  _exit(0);
}

void JobWorkers::Start(std::uint16_t id, std::uint64_t first) {
  int bell[2];
  const auto fail = [] {
    throw CallError(std::string("cannot start a process for jobs: ") + strerror(errno));
  };
  Worker worker;
  worker.id = id;
  if (pipe2(bell, O_CLOEXEC) != 0) fail();
  worker.bell = bell[0];
  const pid_t parent = getpid();
  {
    const Uninterrupted named;
    worker.process = fork();
    if (worker.process == 0) Work(parent, worker, bell[1], first);
    if (worker.process > 0) KillOnSignal(worker.process);
  }
  const int reason = errno;
  close(bell[1]);
  if (worker.process < 0) {
    CloseFile(worker.bell);
    errno = reason;
    fail();
  }
  fcntl(worker.bell, F_SETFL, O_NONBLOCK);
  _workers.push_back(std::move(worker));
}

/// A new process gets the first job that waits, so that it never starts for nothing.
void JobWorkers::StartWhereWanted() {
  while (_workers.size() < std::min(_most, _open.size())) {
    const auto has_id = [this](const Worker& worker) { return worker.id == _last_id; };
    do {
      ++_last_id;
    } while (_last_id == 0 || std::any_of(_workers.begin(), _workers.end(), has_id));
    const auto first = _jobs.Take(_last_id);
    if (!first) return;
    Start(_last_id, *first);
  }
}

void JobWorkers::Give(std::size_t number, std::string job) {
  ++_busy;
  PutBack({.number = number, .text = std::move(job)});
}

bool JobWorkers::Put(Job& job) {
  if (!_jobs.Put(job.text, _first_open)) return false;
  ++job.attempts;
  _open.push_back(std::move(job));
  StartWhereWanted();
  _jobs.Wake();
  return true;
}

void JobWorkers::PutBack(Job job) {
  _held_back.push_back(std::move(job));
  PutHeldBack();
}

void JobWorkers::PutHeldBack() {
  while (!_held_back.empty() && Put(_held_back.front())) _held_back.pop_front();
}

bool JobWorkers::Wait(int file) {
  const bool may_pause = _flows && _jobs.size() > 0;
  _signals->ring_for_each = !may_pause;
  // What came before the bell was asked for does not ring.
  _flows = !may_pause && TakeAnswers();
  if (_flows) {
    PutHeldBack();
    return false;
  }
  std::vector<pollfd> files = {{file, POLLIN, 0}};  // one below 0 is passed over
  for (const Worker& worker : _workers) files.push_back({worker.bell, POLLIN, 0});
  if (poll(files.data(), files.size(), may_pause ? kPause : -1) < 0) {
    if (errno == EINTR) return false;
    throw CallError(std::string("cannot wait for the processes: ") + strerror(errno));
  }
  const bool has_input = files[0].revents != 0;
  _flows = TakeAnswers() || (may_pause && has_input);
  // From the back: one that has died leaves the list.
  for (std::size_t i = _workers.size(); i > 0; --i) {
    if (files[i].revents == 0 || Listen(_workers[i - 1])) continue;
    Worker dead = std::move(_workers[i - 1]);
    _workers.erase(_workers.begin() + static_cast<std::ptrdiff_t>(i - 1));
    Bury(std::move(dead));
  }
  StartWhereWanted();
  PutHeldBack();
  return has_input;
}

bool JobWorkers::TakeAnswers() {
  bool took_some = false;
  for (Worker& worker : _workers) took_some = TakeAnswersOf(worker) || took_some;
  return took_some;
}

bool JobWorkers::TakeAnswersOf(Worker& worker) {
  bool took_some = false;
  Incoming& incoming = worker.incoming;
  for (std::string_view bytes; !(bytes = worker.answers.Front()).empty();) {
    worker.answers.Pop(incoming.Add(bytes));
    if (!incoming.IsWhole()) continue;
    Incoming whole = std::exchange(incoming, {});
    --_busy;
    _take(Close(whole.job).number, std::move(whole.answer));
    took_some = true;
  }
  return took_some;
}

std::size_t JobWorkers::Incoming::Add(std::string_view bytes) {
  const std::size_t length = bytes.size();
  const auto move = [&bytes](std::string& text, std::size_t whole) {
    const std::size_t count = std::min(whole - text.size(), bytes.size());
    text.append(bytes.data(), count);
    bytes.remove_prefix(count);
  };
  if (head.size() < sizeof(Header)) {
    move(head, sizeof(Header));
    if (head.size() < sizeof(Header)) return length;
    Header header;
    std::memcpy(&header, head.data(), sizeof header);
    job = header.job;
    of_line = header.line;
    of_comparison = header.comparison;
    answer.is_error = header.is_error != 0;
    answer.line.reserve(of_line);
  }
  move(answer.line, of_line);
  move(answer.comparison, of_comparison);
  return length - bytes.size();
}

bool JobWorkers::Incoming::IsWhole() const {
  return head.size() == sizeof(Header) && answer.line.size() == of_line &&
         answer.comparison.size() == of_comparison;
}

JobWorkers::Job JobWorkers::Close(std::uint64_t job) {
  Job& open = _open[job - _first_open];
  open.is_answered = true;
  Job closed = std::move(open);
  closed.is_answered = false;
  for (; !_open.empty() && _open.front().is_answered; ++_first_open) _open.pop_front();
  return closed;
}

bool JobWorkers::Listen(Worker& worker) {
  char strokes[256];
  ssize_t n = 0;
  while ((n = read(worker.bell, strokes, sizeof strokes)) > 0) {
  }
  return n < 0 && (errno == EAGAIN || errno == EINTR);
}

// A process that dies before it had all of a job takes none along: another one gets the job. It may
// have waited when it died, and been woken for a job that is still there.
void JobWorkers::Bury(Worker dead) {
  TakeAnswersOf(dead);
  const std::string how = End(dead);
  _jobs.Wake();
  for (std::uint64_t job = _first_open; job < _first_open + _open.size(); ++job) {
    if (_open[job - _first_open].is_answered || !_jobs.IsTakenBy(job, dead.id)) continue;
    const bool is_begun = _jobs.IsBegun(job);
    Job taken = Close(job);
    if (is_begun || taken.attempts >= kMostAttempts) {
      --_busy;
      _take(taken.number, Refused(how, taken.text));
    } else {
      _jobs.Drop(job);
      PutBack(std::move(taken));
    }
    return;
  }
}

std::string JobWorkers::End(Worker& worker) {
  CloseFile(worker.bell);
  const Uninterrupted reaped;
  kill(worker.process, SIGKILL);  // one that has ended keeps the status that it ended with
  int status = 0;
  waitpid(worker.process, &status, 0);
  ForgetProcess(worker.process);
  if (WIFSIGNALED(status)) return "was ended by signal " + std::to_string(WTERMSIG(status));
  return "ended with exit status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace libmfx::host
