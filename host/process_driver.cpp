#include "host/process_driver.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <thread>
#include <utility>

#include "host/drivable.h"
#include "host/errors.h"
#include "host/files.h"
#include "host/interrupts.h"

extern char** environ;

namespace libmfx::host {
namespace {

using std::chrono::milliseconds;

/// How long an instrument may take to end once its input is closed.
constexpr milliseconds kGraceToEnd{2000};
/// How long it may take to end once it was asked to by a signal.
constexpr milliseconds kGraceToTerminate{300};
/// How long the host listens for a line too many before it closes the pipe.
constexpr milliseconds kGraceForUnasked{20};

void CloseFile(int& file) {
  if (file >= 0) close(std::exchange(file, -1));
}

}  // namespace

ProcessDriver::ProcessDriver(const std::string& command, milliseconds timeout)
    : _command(command), _timeout(timeout) {
  Start();
}

ProcessDriver::~ProcessDriver() { Stop(_ended_well ? kGraceToEnd : milliseconds{0}); }

void ProcessDriver::Start() {
  int to[2];
  int from[2];
  if (pipe2(to, O_CLOEXEC) != 0)
    Fail(ProcessFault::kNotStarted, std::string("cannot be started: ") + strerror(errno));
  if (pipe2(from, O_CLOEXEC) != 0) {
    const std::string reason = strerror(errno);
    close(to[0]);
    close(to[1]);
    Fail(ProcessFault::kNotStarted, "cannot be started: " + reason);
  }
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_adddup2(&files, to[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&files, from[1], STDOUT_FILENO);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t defaults;
  sigemptyset(&defaults);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGXFSZ}) sigaddset(&defaults, signal);
  posix_spawnattr_setsigdefault(&attributes, &defaults);
  posix_spawnattr_setpgroup(&attributes, 0);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF);
  char* const arguments[] = {const_cast<char*>("sh"), const_cast<char*>("-c"), _command.data(),
                             nullptr};
  int status = 0;
  {
    const Uninterrupted named;
    status = posix_spawn(&_process, "/bin/sh", &files, &attributes, arguments, environ);
    if (status == 0) KillGroupOnSignal(_process);
  }
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&files);
  close(to[0]);
  close(from[1]);
  _to = to[1];
  _from = from[0];
  if (status != 0) {
    _process = 0;
    CloseFile(_to);
    CloseFile(_from);
    Fail(ProcessFault::kNotStarted, std::string("cannot be started: ") + strerror(status));
  }
  _handle = static_cast<int>(syscall(SYS_pidfd_open, _process, 0));  // -1 on an old kernel
  fcntl(_to, F_SETFL, O_NONBLOCK);
  fcntl(_from, F_SETFL, O_NONBLOCK);
}

std::vector<RawDataPoint> ProcessDriver::Drive(const std::vector<Position>& points,
                                               const std::string& step) {
  RequireDrivable(points);
  const std::string line = Ask(DriveLine(points, step));
  Answer answer;
  try {
    answer = ReadAnswer(line);
  } catch (const CallError& error) {
    Fail(ProcessFault::kUnusable,
         std::string("sent an answer that cannot be used: ") + error.what());
  }
  if (answer.error) Fail(ProcessFault::kUnusable, "says: " + OneLine(*answer.error));
  return std::move(answer.samples);
}

std::string ProcessDriver::Ask(const std::string& line) {
  if (_exchanges > 0) RefuseUnasked(milliseconds{0});
  ++_exchanges;
  const Clock::time_point deadline = Clock::now() + _timeout;
  const std::string question = line + "\n";
  std::string_view rest = question;
  std::size_t searched = 0;
  for (;;) {
    if (std::optional<std::string> answer = TakeLine(searched)) {
      if (!rest.empty() && _to >= 0) {
        Fail(ProcessFault::kUnasked, "answered before it had taken the whole line");
      }
      return std::move(*answer);
    }
    searched = _received.size();
    if (searched > kLongestText) {
      Fail(ProcessFault::kUnusable, "sent more than 256 MiB without ending the line");
    }
    const Ready ready = Wait(!rest.empty() && _to >= 0, deadline);
    if (ready.writable) WriteSome(rest);
    // What a process wrote before it ended can still be read; after that, nothing more will come,
    // even if something that it has started keeps the pipe open.
    if (ready.readable ? !ReadSome() : ready.ended) FailAsEnded();
  }
}

std::optional<std::string> ProcessDriver::TakeLine(std::size_t searched) {
  const std::size_t end = _received.find('\n', searched);
  if (end == std::string::npos) return std::nullopt;
  std::string line = _received.substr(0, end);
  _received.erase(0, end + 1);
  return line;
}

std::optional<std::string> ProcessDriver::Overhear(milliseconds patience) {
  const Clock::time_point deadline = Clock::now() + patience;
  for (std::size_t searched = 0;;) {
    if (std::optional<std::string> line = TakeLine(searched)) return line;
    searched = _received.size();
    const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now()).count();
    if (left < 0 || searched > kLongestText) return std::nullopt;
    pollfd file{_from, POLLIN, 0};
    const int n = poll(&file, 1, static_cast<int>(left) + 1);
    if (n > 0 && !ReadSome()) return std::nullopt;
  }
}

void ProcessDriver::CloseInput() { CloseFile(_to); }

bool ProcessDriver::End() { return Stop(kGraceToEnd); }

ProcessDriver::Ready ProcessDriver::Wait(bool to_write, Clock::time_point deadline) {
  // A descriptor below 0 is passed over.
  pollfd files[] = {{_from, POLLIN, 0}, {_handle, POLLIN, 0}, {to_write ? _to : -1, POLLOUT, 0}};
  const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now()).count();
  const int wait = static_cast<int>(std::clamp<long long>(left + 1, 0, 3'600'000));
  const int n = left < 0 ? 0 : poll(files, 3, wait);
  if (n < 0 && errno != EINTR) {
    Fail(ProcessFault::kUnusable, std::string("cannot be waited for: ") + strerror(errno));
  }
  if (n == 0 && Clock::now() >= deadline) {
    Fail(ProcessFault::kSilent,
         "gave no whole answer within " + std::to_string(_timeout.count()) + " ms");
  }
  if (n <= 0) return {};
  return {files[0].revents != 0, files[1].revents != 0, files[2].revents != 0};
}

void ProcessDriver::WriteSome(std::string_view& rest) {
  const ssize_t n = write(_to, rest.data(), rest.size());
  if (n >= 0) {
    rest.remove_prefix(static_cast<std::size_t>(n));
  } else if (errno != EINTR && errno != EAGAIN) {
    // It reads no further; whether it answers all the same shows on the other pipe.
    CloseFile(_to);
  }
}

bool ProcessDriver::ReadSome() {
  char buffer[1 << 16];
  const ssize_t n = read(_from, buffer, sizeof buffer);
  if (n > 0) _received.append(buffer, static_cast<std::size_t>(n));
  return n > 0 || (n < 0 && (errno == EINTR || errno == EAGAIN));
}

void ProcessDriver::RefuseUnasked(milliseconds grace) {
  pollfd file{_from, POLLIN, 0};
  if (_received.empty() && poll(&file, 1, static_cast<int>(grace.count())) > 0) ReadSome();
  const std::size_t text = _received.find_first_not_of(" \t\r\n");
  if (text == std::string::npos) {
    _received.clear();
    return;
  }
  Fail(ProcessFault::kUnasked,
       "sent more than one line for one drive: " + Excerpt(_received.substr(text, 80)));
}

void ProcessDriver::Finish() {
  if (_exchanges > 0) RefuseUnasked(kGraceForUnasked);
  _ended_well = true;
  Stop(kGraceToEnd);
}

void ProcessDriver::FailAsEnded() {
  const std::string what = _received.empty() ? "closed its pipe before it answered"
                                             : "closed its pipe in the middle of its answer";
  siginfo_t info{};
  for (int i = 0; i < 20; ++i) {
    if (waitid(P_PID, static_cast<id_t>(_process), &info, WEXITED | WNOHANG | WNOWAIT) != 0) break;
    if (info.si_pid == 0) {
      std::this_thread::sleep_for(milliseconds{5});
      continue;
    }
    const std::string number = std::to_string(info.si_status);
    if (info.si_code != CLD_EXITED) {
      Fail(ProcessFault::kEnded, what + " (it was ended by signal " + number + ")");
    }
    Fail(ProcessFault::kEnded, what + " (it ended with exit status " + number + ")",
         info.si_status);
  }
  Fail(ProcessFault::kEnded, what + " (it is still running)");
}

bool ProcessDriver::WaitForEnd(milliseconds grace) {
  const Clock::time_point deadline = Clock::now() + grace;
  for (milliseconds pause{1};; pause = std::min(pause * 2, milliseconds{50})) {
    siginfo_t info{};
    // The process stays a zombie, so that its group's number cannot be given to another.
    const int status =
        waitid(P_PID, static_cast<id_t>(_process), &info, WEXITED | WNOHANG | WNOWAIT);
    if (status != 0 || info.si_pid != 0) return true;
    if (Clock::now() >= deadline) return false;
    std::this_thread::sleep_for(pause);
  }
}

bool ProcessDriver::Stop(milliseconds grace) {
  CloseFile(_to);
  CloseFile(_from);
  CloseFile(_handle);
  if (_process <= 0) return true;
  const bool ended = WaitForEnd(grace);
  if (!ended) {
    kill(-_process, SIGTERM);
    WaitForEnd(kGraceToTerminate);
  }
  // Whatever it has started goes with it.
  const Uninterrupted reaped;
  kill(-_process, SIGKILL);
  waitpid(_process, nullptr, 0);
  KillGroupOnSignal(0);
  _process = 0;
  return ended;
}

void ProcessDriver::Fail(ProcessFault fault, const std::string& what,
                         std::optional<int> exit_status) {
  const std::string place = _exchanges > 0 ? ", exchange " + std::to_string(_exchanges) : "";
  throw ProcessError(fault, exit_status, "instrument " + Excerpt(_command) + place + ": " + what);
}

}  // namespace libmfx::host
