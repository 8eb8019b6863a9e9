#include "progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace libmfx::host {
namespace {

constexpr std::size_t kWidth = 30;
constexpr std::chrono::milliseconds kPause{100};

}  // namespace

Progress::Progress(std::string noun)
    : _noun(std::move(noun)), _on_terminal(isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() {
  if (_drawn) Draw("\n");
}

void Progress::Show(std::size_t done, std::size_t total, std::size_t jobs, std::size_t errors) {
  if (!_on_terminal) return;
  const Clock::time_point now = Clock::now();
  const bool last = total > 0 && done >= total;
  if (_drawn && !last && now - _last < kPause) return;
  _last = now;
  _drawn = true;

  std::string line = "\r\x1b[K";
  if (total > 0) {
    const std::size_t filled = std::min(kWidth, done * kWidth / total);
    line += "[" + std::string(filled, '#') + std::string(kWidth - filled, '.') + "] ";
    line += std::to_string(std::min<std::size_t>(100, done * 100 / total)) + " %, ";
  }
  line += std::to_string(jobs) + " " + _noun;
  const double seconds = std::chrono::duration<double>(now - _start).count();
  if (seconds > 0.5) {
    line += ", " + std::to_string(static_cast<long long>(static_cast<double>(jobs) / seconds)) +
            " " + _noun + "/s";
  }
  if (errors > 0) line += ", " + std::to_string(errors) + " with errors";
  Draw(line);
}

void Progress::Draw(const std::string& line) {
  // What a terminal does not take is not worth a word.
  [[maybe_unused]] const ssize_t n = write(STDERR_FILENO, line.data(), line.size());
}

}  // namespace libmfx::host
