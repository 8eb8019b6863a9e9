#pragma once

#include <sys/types.h>

#include <string>

/// \file
/// What a signal that ends the process may leave behind: nothing. A running instrument's process
/// group is killed, files that are not whole are removed, and the exit status is 128 plus the
/// signal's number (130 for Ctrl-C).

namespace libmfx::host {

/// Handles SIGINT, SIGTERM and SIGHUP as told above; a closed pipe and
/// a file that may not grow become an error of the write.
void HandleSignals();

/// While one lives, a signal waits for its end: for a step that must not be left half done.
class Uninterrupted {
 public:
  Uninterrupted();
  ~Uninterrupted();
  Uninterrupted(const Uninterrupted&) = delete;
  Uninterrupted& operator=(const Uninterrupted&) = delete;

  /// Ends the process if a signal is waiting: for a step that has not begun yet.
  static void LeaveIfAsked();
  /// Whether a signal is waiting: for work that can end early and keep what stands.
  static bool IsAsked();
};

/// Names the process group to kill; 0 for none.
void KillGroupOnSignal(pid_t group);

/// Names a process to kill, until it is forgotten. At most kMostProcesses at a time.
inline constexpr int kMostProcesses = 256;
void KillOnSignal(pid_t process);
void ForgetProcess(pid_t process);

/// Names a file to remove, until it is forgotten. At most 8 at a time, each a path of less than
/// 4096 bytes: what goes beyond is not removed.
void RemoveOnSignal(const std::string& path);
void KeepOnSignal(const std::string& path);

}  // namespace libmfx::host
