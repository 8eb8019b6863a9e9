#pragma once

#include <string>
#include <utility>
#include <vector>

#include "libmfx/features/feature.h"
#include "libmfx/win32_support/exports.h"

namespace libmfx::test {

/// A feature of the tests: its pattern, its analysis and its search do what a test tells them.
class FeatureProbe : public features::Feature {
 public:
  bool staged = false;
  bool analysis_succeeds = true;
  int generated = 0;
  int resets = 0;
  std::vector<features::RawDataPoint> search_samples;
  std::vector<std::string> doubts;  ///< that the analysis finds

  const std::string& FeatureName() override {
    static const std::string name = "Probe";
    return name;
  }
  bool SetRawData(const std::vector<features::RawDataPoint>& samples,
                  std::queue<features::Position>& next) override {
    return staged ? SetRawDataStaged(samples, next) : Feature::SetRawData(samples, next);
  }

 protected:
  bool Analyze() override {
    Warn(doubts);
    return analysis_succeeds;
  }
  std::queue<features::Position> GenerateDrivePoints() override {
    std::queue<features::Position> queue;
    queue.emplace(static_cast<double>(++generated), 0.0, 2.0, 0.0);
    if (_search) {
      _drive_step = features::SEARCH;
      _search = false;
    } else {
      _last_drive_points = queue;
    }
    return queue;
  }
  void UpdateNominals(const std::vector<features::RawDataPoint>& samples) override {
    search_samples = samples;
  }

 private:
  std::size_t OffsetOfSetting(const std::wstring&) const override { return 0; }
  void ResetSettings() override { ++resets; }
};

/// One delivered log line.
struct LogLine {
  std::wstring name;
  int level;
  std::wstring text;
  friend bool operator==(const LogLine&, const LogLine&) = default;
};

/// Collects the log lines of the process while it lives.
class LogCollector {
 public:
  LogCollector() {
    Lines().clear();
    RegisterLogCallbackFunction([](const wchar_t* name, int level, const wchar_t* text) {
      Lines().push_back({name, level, text});
    });
  }
  ~LogCollector() { RegisterLogCallbackFunction(nullptr); }
  LogCollector(const LogCollector&) = delete;
  LogCollector& operator=(const LogCollector&) = delete;

  static std::vector<LogLine>& Lines() {
    static std::vector<LogLine> lines;
    return lines;
  }
  /// The texts that are not empty, without their line ends.
  static std::vector<std::wstring> Texts() {
    std::vector<std::wstring> texts;
    for (const LogLine& line : Lines()) {
      std::wstring text = line.text;
      while (!text.empty() && text.back() == L'\n') text.pop_back();
      if (!text.empty()) texts.push_back(text);
    }
    return texts;
  }
};

}  // namespace libmfx::test
