// How long a person waits for mfx to start: the whole life of a process that only lists the feature
// types. Beside it the life of a process that does nothing, and the 2 ms that a call may take on an
// idle core: a script that makes a thousand calls then waits two seconds for them to start.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <string>

extern char** environ;

namespace {

/// Runs a program to its end with its output thrown away; whether it succeeded.
bool RunOnce(const char* program, const char* argument) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  std::string name = program;
  std::string word = argument;
  char* const arguments[] = {name.data(), word.data(), nullptr};
  pid_t child = 0;
  const int failed = posix_spawn(&child, program, &actions, nullptr, arguments, environ);
  posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  return failed == 0 && waitpid(child, &status, 0) == child && status == 0;
}

void StartMfx(benchmark::State& state) {
  for (auto _ : state) {
    if (!RunOnce(LIBMFX_MFX_PROGRAM, "features")) state.SkipWithError("mfx features failed");
  }
}

void StartNothing(benchmark::State& state) {
  for (auto _ : state) {
    if (!RunOnce("/bin/true", "")) state.SkipWithError("/bin/true failed");
  }
}

void TwoMilliseconds(benchmark::State& state) {
  for (auto _ : state) state.SetIterationTime(0.002);
  state.counters["max_ratio"] = 1.0;
}

BENCHMARK(StartMfx)->Name("mfx features/ours")->UseRealTime();
BENCHMARK(StartNothing)->Name("mfx features/an empty process")->UseRealTime();
BENCHMARK(TwoMilliseconds)->Name("mfx features/2 ms")->UseManualTime()->Iterations(1);

}  // namespace
