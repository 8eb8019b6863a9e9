#include "inspecting.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "host/errors.h"
#include "host/numbers.h"
#include "sim/rng.h"

namespace libmfx::host {
namespace {

constexpr std::size_t kWidth = 30;
constexpr std::chrono::milliseconds kPause{100};

/// A drive step in words.
std::string WordsOf(const std::string& step) {
  if (step == "INITIAL" || step == "FEATURE_SCAN_PATTERN") return "scans";
  if (step == "SURFACE_RANGE") return "ranges";
  if (step == "SEARCH") return "searches";
  if (step == "RESCAN") return "scans again";
  return step;
}

void WriteOut(const std::string& text) {
  // What a terminal does not take is not worth a word.
  [[maybe_unused]] const ssize_t n = write(STDERR_FILENO, text.data(), text.size());
}

}  // namespace

SceneInstruments::SceneInstruments(const std::vector<std::string>& files) : _files(files) {
  for (const std::string& file : files) _scenes.push_back(ReadScene(file));
}

Driver& SceneInstruments::At(std::size_t station, const std::string& step) {
  const std::uint64_t seed = sim::DeriveSeed(_seed, std::to_string(station) + " " + step);
  _driver = std::make_unique<SceneDriver>(_scenes[station], seed, _files[station]);
  return *_driver;
}

std::string SceneInstruments::Name(std::size_t station) const {
  return "virtual, scene " + _files[station] + ", seed " + std::to_string(_seed);
}

Driver& ProcessInstruments::At(std::size_t station, const std::string&) {
  if (!_driver || _station != station) {
    if (_driver) _driver->Finish();
    _driver.reset();
    _driver = std::make_unique<ProcessDriver>(_commands[station], _timeout);
    _station = station;
  }
  return *_driver;
}

InspectionProgress::InspectionProgress() : _on_terminal(isatty(STDERR_FILENO) == 1) {}

InspectionProgress::~InspectionProgress() { Clear(); }

inspection::Listener InspectionProgress::Listening() {
  return {.begins =
              [this](const std::string& feature, std::size_t done, std::size_t all) {
                _feature = OneLine(feature);
                _step.clear();
                _done = done;
                _all = all;
                _last = {};
                Draw();
              },
          .drives =
              [this](const std::string& step) {
                _step = WordsOf(step);
                _last = {};  // the next word may be long in coming
                Draw();
              },
          .ended =
              [this](const std::string& feature, const std::string& how) {
                Clear();
                WriteOut("mfx: " + OneLine(feature) + ": " + OneLine(how) + "\n");
              },
          .tries =
              [this](long long done, long long most) {
                _feature = "how sure it is";
                _step = std::to_string(done) + " of " + std::to_string(most) + " trials";
                if (most > 0) {
                  _done = static_cast<std::size_t>(done);
                  _all = static_cast<std::size_t>(most);
                }
                Draw();
              }};
}

void InspectionProgress::Draw() {
  if (!_on_terminal) return;
  const Clock::time_point now = Clock::now();
  if (_drawn && now - _last < kPause) return;
  _last = now;
  _drawn = true;
  const std::size_t filled = _all > 0 ? std::min(kWidth, _done * kWidth / _all) : 0;
  std::string line = "\r\x1b[K[" + std::string(filled, '#') + std::string(kWidth - filled, '.') +
                     "] " + _feature + (_step.empty() ? "" : ", " + _step);
  const double seconds = std::chrono::duration<double>(now - _start).count();
  if (_done > 0 && _all > _done && seconds > 0.5) {
    const double left = seconds * static_cast<double>(_all - _done) / static_cast<double>(_done);
    line += ", " + Rounded(left, 2) + " s left";
  }
  WriteOut(line);
}

void InspectionProgress::Clear() {
  if (_drawn) WriteOut("\r\x1b[K");
  _drawn = false;
}

}  // namespace libmfx::host
