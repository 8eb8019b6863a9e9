#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <utility>

namespace libmfx::host {

/// A bar on standard error, when that is a terminal; otherwise nothing.
class Progress {
 public:
  /// \param noun what is counted
  explicit Progress(std::string noun = "jobs");
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// \param done and `total` measure the work; a total of 0 is unknown
  /// \param jobs or whatever is counted, `errors` of them by an error
  void Show(std::size_t done, std::size_t total, std::size_t jobs, std::size_t errors);

 private:
  using Clock = std::chrono::steady_clock;
  void Draw(const std::string& line);

  std::string _noun;
  bool _on_terminal;
  Clock::time_point _start = Clock::now();
  Clock::time_point _last;
  bool _drawn = false;
};

}  // namespace libmfx::host
