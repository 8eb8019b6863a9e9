#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/process_driver.h"
#include "host/scene_driver.h"
#include "inspection/inspect.h"
#include "inspection/steps.h"

/// \file
/// What an inspection is carried out with, and what is told of it on the way.

namespace libmfx::host {

/// Virtual instruments in front of the scene of each station. Every conversation has draws of its
/// own, by its name, whatever was measured before.
class SceneInstruments final : public inspection::Instruments {
 public:
  /// \param files of the scenes, one for each station
  /// \throws CallError if one cannot be read
  explicit SceneInstruments(const std::vector<std::string>& files);

  std::uint64_t FirstSeed() const { return _scenes.front().seed; }
  void SetSeed(std::uint64_t seed) { _seed = seed; }

  Driver& At(std::size_t station, const std::string& step) override;
  std::string Name(std::size_t station) const override;

 private:
  std::vector<std::string> _files;
  std::vector<sim::Scene> _scenes;
  std::uint64_t _seed = 1;
  std::unique_ptr<SceneDriver> _driver;
};

/// An instrument process for each station, started when it is first needed and ended when the next
/// one is.
class ProcessInstruments final : public inspection::Instruments {
 public:
  ProcessInstruments(std::vector<std::string> commands, std::chrono::milliseconds timeout)
      : _commands(std::move(commands)), _timeout(timeout) {}

  Driver& At(std::size_t station, const std::string& step) override;
  std::string Name(std::size_t station) const override { return "process " + _commands[station]; }

 private:
  std::vector<std::string> _commands;
  std::chrono::milliseconds _timeout;
  std::size_t _station = 0;
  std::unique_ptr<ProcessDriver> _driver;
};

/// On a terminal a bar on standard error with the feature's name, what the instrument does and the
/// time that is left; else a line a feature there.
class InspectionProgress {
 public:
  InspectionProgress();
  ~InspectionProgress();
  InspectionProgress(const InspectionProgress&) = delete;
  InspectionProgress& operator=(const InspectionProgress&) = delete;

  /// What an inspection tells it. It has to outlive it.
  inspection::Listener Listening();

 private:
  using Clock = std::chrono::steady_clock;
  void Draw();
  void Clear();

  bool _on_terminal;
  Clock::time_point _start = Clock::now();
  Clock::time_point _last;
  std::string _feature;
  std::string _step;
  std::size_t _done = 0;
  std::size_t _all = 0;
  bool _drawn = false;
};

}  // namespace libmfx::host
