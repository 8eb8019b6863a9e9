#include "host/interrupts.h"

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstring>

namespace libmfx::host {
namespace {

// Everything that the handler reads is lock-free or written before its flag.
struct DoomedFile {
  std::atomic<bool> set{false};
  char path[4096] = {};
};

constinit std::array<DoomedFile, 8> g_files;
std::atomic<pid_t> g_group{0};
std::array<std::atomic<pid_t>, kMostProcesses> g_processes{};
std::atomic<int> g_holders{0};
std::atomic<int> g_waiting{0};

/// Calls only what a signal handler may call.
[[noreturn]] void Leave(int signal) {
  const pid_t group = g_group.load();
  if (group > 0) {
    kill(-group, SIGKILL);
    waitpid(group, nullptr, 0);
  }
  for (const std::atomic<pid_t>& process : g_processes) {
    const pid_t doomed = process.load();
    if (doomed > 0) kill(doomed, SIGKILL);
  }
  for (const DoomedFile& file : g_files) {
    if (file.set.load()) unlink(file.path);
  }
  _exit(128 + signal);
}

void OnSignal(int signal) {
  int none = 0;
  // A second signal does not wait for anything.
  if (g_holders.load() > 0 && g_waiting.compare_exchange_strong(none, signal)) return;
  Leave(signal);
}

}  // namespace

void HandleSignals() {
  struct sigaction action {};
  action.sa_handler = OnSignal;
  sigemptyset(&action.sa_mask);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    // A signal that the caller had ignored, as nohup does, stays ignored.
    struct sigaction before {};
    if (sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_IGN) continue;
    sigaction(signal, &action, nullptr);
  }
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
}

Uninterrupted::Uninterrupted() { ++g_holders; }

Uninterrupted::~Uninterrupted() {
  if (--g_holders == 0) LeaveIfAsked();
}

void Uninterrupted::LeaveIfAsked() {
  if (const int signal = g_waiting.load()) Leave(signal);
}

bool Uninterrupted::IsAsked() { return g_waiting.load() != 0; }

void KillGroupOnSignal(pid_t group) { g_group = group; }

void KillOnSignal(pid_t process) {
  for (std::atomic<pid_t>& place : g_processes) {
    pid_t none = 0;
    if (place.compare_exchange_strong(none, process)) return;
  }
}

void ForgetProcess(pid_t process) {
  for (std::atomic<pid_t>& place : g_processes) {
    pid_t same = process;
    if (place.compare_exchange_strong(same, 0)) return;
  }
}

void RemoveOnSignal(const std::string& path) {
  for (DoomedFile& file : g_files) {
    if (file.set.load() || path.size() >= sizeof file.path) continue;
    std::memcpy(file.path, path.c_str(), path.size() + 1);
    file.set = true;
    return;
  }
}

void KeepOnSignal(const std::string& path) {
  for (DoomedFile& file : g_files) {
    if (file.set.load() && path == file.path) file.set = false;
  }
}

}  // namespace libmfx::host
