#include "host/batch_workers.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <thread>
#include <utility>

#include "host/errors.h"
#include "host/files.h"
#include "host/interrupts.h"

namespace libmfx::host {
namespace {

/// Stands before an answer on its way from a process.
struct Header {
  std::uint64_t line = 0;        ///< bytes of JobAnswer::line
  std::uint64_t comparison = 0;  ///< bytes of JobAnswer::comparison, which follow it
  std::uint64_t is_error = 0;
};

constexpr int kAnswers = STDERR_FILENO + 1;

/// What a process says once it has a whole job, of one byte.
constexpr std::string_view kBegun = "B";

/// How often a job is handed out again because its process died before it had all of it.
constexpr int kMostAttempts = 3;

/// \returns whether everything was written
bool WriteAll(int file, std::string_view text) {
  while (!text.empty()) {
    const ssize_t n = write(file, text.data(), text.size());
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    text.remove_prefix(static_cast<std::size_t>(n));
  }
  return true;
}

std::string Packed(const JobAnswer& answer) {
  const Header header{answer.line.size(), answer.comparison.size(), answer.is_error ? 1U : 0U};
  std::string bytes(sizeof header, '\0');
  std::memcpy(bytes.data(), &header, sizeof header);
  return bytes + answer.line + answer.comparison;
}

/// The life of a process that carries out jobs: lines in, answers out, until there are no more. It
/// keeps nothing open that the others need to see closed.
[[noreturn]] void Work(pid_t parent, int jobs, int answers, const JobWorkers::Carry& carry) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(0);
  // Ctrl-C goes to the whole group of a terminal; the parent is the one to end for it.
  std::signal(SIGINT, SIG_IGN);
  std::signal(SIGHUP, SIG_IGN);
  std::signal(SIGTERM, SIG_DFL);
  // Out of the way of the descriptors that they are to become.
  jobs = fcntl(jobs, F_DUPFD_CLOEXEC, kAnswers + 1);
  answers = fcntl(answers, F_DUPFD_CLOEXEC, kAnswers + 1);
  dup2(jobs, STDIN_FILENO);
  dup2(answers, kAnswers);
  close_range(kAnswers + 1, ~0U, 0);
  try {
    LineReader lines("-", "jobs");
    std::string job;
    while (lines.Next(job) == LineReader::Got::kLine && WriteAll(kAnswers, kBegun)) {
      if (!WriteAll(kAnswers, Packed(carry(job)))) break;
    }
  } catch (...) {
    _exit(1);
  }
  _exit(0);
}

JobAnswer Refused(const std::string& how, const std::string& job) {
  return RefuseJob("the process that carried out the job " + how, IdOfJob(job));
}

void CloseFile(int& file) {
  if (file >= 0) close(std::exchange(file, -1));
}

}  // namespace

JobWorkers::JobWorkers(int count, Carry carry, Take take)
    : _most(static_cast<std::size_t>(count)), _carry(std::move(carry)), _take(std::move(take)) {}

JobWorkers::~JobWorkers() {
  for (Worker& worker : _workers) {
    CloseFile(worker.to);
    if (worker.is_busy) kill(worker.process, SIGKILL);
  }
  for (Worker& worker : _workers) End(worker);
}

JobWorkers::Worker& JobWorkers::Start() {
  int to[2];
  int from[2];
  const auto fail = [] {
    throw CallError(std::string("cannot start a process for jobs: ") + strerror(errno));
  };
  if (pipe2(to, O_CLOEXEC) != 0) fail();
  if (pipe2(from, O_CLOEXEC) != 0) {
    close(to[0]);
    close(to[1]);
    fail();
  }
  Worker worker;
  worker.to = to[1];
  worker.from = from[0];
  const pid_t parent = getpid();
  {
    const Uninterrupted named;
    worker.process = fork();
    if (worker.process == 0) Work(parent, to[0], from[1], _carry);
    if (worker.process > 0) KillOnSignal(worker.process);
  }
  const int reason = errno;
  close(to[0]);
  close(from[1]);
  if (worker.process < 0) {
    CloseFile(worker.to);
    CloseFile(worker.from);
    errno = reason;
    fail();
  }
  fcntl(worker.from, F_SETFL, O_NONBLOCK);
  _workers.push_back(std::move(worker));
  return _workers.back();
}

JobWorkers::Worker& JobWorkers::Idle() {
  const auto idle = std::find_if(_workers.begin(), _workers.end(),
                                 [](const Worker& worker) { return !worker.is_busy; });
  return idle == _workers.end() ? Start() : *idle;
}

void JobWorkers::Give(std::size_t number, std::string job) { HandOut(number, std::move(job), 0); }

// A process that dies before it has all of a job takes none along: another one gets the job.
void JobWorkers::HandOut(std::size_t number, std::string job, int attempts) {
  std::string how;
  while (attempts++ < kMostAttempts) {
    Worker& worker = Idle();
    if (WriteAll(worker.to, job) && WriteAll(worker.to, "\n")) {
      worker.is_busy = true;
      worker.has_begun = false;
      worker.attempts = attempts;
      worker.number = number;
      worker.job = std::move(job);
      ++_busy;
      return;
    }
    how = End(worker);
    _workers.erase(_workers.begin() + (&worker - _workers.data()));
  }
  _take(number, Refused(how, job));
}

bool JobWorkers::Wait(int file) {
  std::vector<pollfd> files = {{file, POLLIN, 0}};  // one below 0 is passed over
  for (const Worker& worker : _workers) files.push_back({worker.from, POLLIN, 0});
  if (poll(files.data(), files.size(), -1) < 0) {
    if (errno == EINTR) return false;
    throw CallError(std::string("cannot wait for the processes: ") + strerror(errno));
  }
  // From the back: one that has died leaves the list.
  for (std::size_t i = _workers.size(); i > 0; --i) {
    if (files[i].revents != 0) Listen(_workers[i - 1]);
  }
  return files[0].revents != 0;
}

void JobWorkers::Listen(Worker& worker) {
  char buffer[1 << 16];
  ssize_t n = 0;
  while ((n = read(worker.from, buffer, sizeof buffer)) > 0) {
    worker.received.append(buffer, static_cast<std::size_t>(n));
    if (!std::exchange(worker.has_begun, true)) worker.received.erase(0, kBegun.size());
    if (TakeAnswer(worker)) return;
  }
  if (n < 0 && (errno == EAGAIN || errno == EINTR)) return;
  const std::string how = End(worker);
  const auto place = _workers.begin() + (&worker - _workers.data());
  Worker dead = std::move(*place);
  _workers.erase(place);
  if (!dead.is_busy) return;
  --_busy;
  if (!dead.has_begun && dead.attempts < kMostAttempts) {
    HandOut(dead.number, std::move(dead.job), dead.attempts);
  } else {
    _take(dead.number, Refused(how, dead.job));
  }
}

bool JobWorkers::TakeAnswer(Worker& worker) {
  Header header;
  if (worker.received.size() < sizeof header) return false;
  std::memcpy(&header, worker.received.data(), sizeof header);
  if (worker.received.size() - sizeof header < header.line + header.comparison) return false;
  JobAnswer answer;
  answer.line = worker.received.substr(sizeof header, header.line);
  answer.comparison = worker.received.substr(sizeof header + header.line, header.comparison);
  answer.is_error = header.is_error != 0;
  worker.received = {};
  worker.job = {};
  worker.is_busy = false;
  --_busy;
  _take(worker.number, std::move(answer));
  return true;
}

std::string JobWorkers::End(Worker& worker) {
  CloseFile(worker.to);
  // One that was seen to end has closed its pipe, and is about to be gone with a status of its own.
  siginfo_t info{};
  const auto look = [&] {
    return waitid(P_PID, static_cast<id_t>(worker.process), &info, WEXITED | WNOHANG | WNOWAIT);
  };
  for (int i = 0; i < 200 && look() == 0 && info.si_pid == 0; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  CloseFile(worker.from);
  const Uninterrupted reaped;
  kill(worker.process, SIGKILL);
  int status = 0;
  waitpid(worker.process, &status, 0);
  ForgetProcess(worker.process);
  if (WIFSIGNALED(status)) return "was ended by signal " + std::to_string(WTERMSIG(status));
  return "ended with exit status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace libmfx::host
