#pragma once

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "program_test.h"

/// \file
/// Jobs of a batch, and a batch that a test talks to.

namespace mfx_test {

/// A request for a short path in front of the instrument.
inline json Path(const std::string& id) {
  return {{"$id", id},
          {"PointSpacing", 0.02},
          {"Feature",
           {{"$type", "ScanPathFeature"},
            {"Path", {{"Segments", {{{-0.05, 0.0, 2.0}, {0.05, 0.0, 2.0}}}}}}}}};
}

/// A scene of a plane (m away).
inline json Plane(double distance) {
  return {{"part", {{"type", "plane"}}}, {"pose", {{"position", {0.0, 0.0, distance}}}}};
}

/// Job `i`, with its line's end.
inline std::string Job(int i) {
  return json{{"id", i},
              {"request", Path("r" + std::to_string(i))},
              {"scene", Plane(2.0 + 0.01 * i)}}
             .dump() +
         "\n";
}

inline std::string Jobs(int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += Job(i);
  return text;
}

/// Runs a batch whose standard input and output are pipes held by the test.
struct LiveBatch {
  int to = -1;
  int from = -1;
  pid_t pid = 0;

  /// \param more arguments behind "batch -"
  explicit LiveBatch(int error_file, std::vector<const char*> more = {}) {
    int in[2], out[2];
    EXPECT_EQ(pipe2(in, O_CLOEXEC) + pipe2(out, O_CLOEXEC), 0);
    pid = fork();
    if (pid == 0) {
      dup2(in[0], 0);
      dup2(out[1], 1);
      dup2(error_file, 2);
      more.insert(more.begin(), {"mfx", "batch", "-"});
      more.push_back(nullptr);
      execv(LIBMFX_MFX_PROGRAM, const_cast<char* const*>(more.data()));
      _exit(127);
    }
    close(in[0]);
    close(out[1]);
    to = in[1];
    from = out[0];
  }
  ~LiveBatch() {
    End();
    close(from);
  }
  void End() {
    if (to >= 0) close(to);
    to = -1;
    if (pid > 0) waitpid(pid, nullptr, 0);
    pid = 0;
  }
  void Send(const std::string& text) {
    EXPECT_EQ(write(to, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
  std::string ReadLine() {
    std::string line;
    for (char c = 0; read(from, &c, 1) == 1 && c != '\n';) line += c;
    return line;
  }
};

}  // namespace mfx_test
