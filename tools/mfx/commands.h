#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "console.h"
#include "conversation.h"
#include "errors.h"

/// \file
/// The calls of the program. Each returns the exit status of the process.
/// \throws CallError if the call cannot be carried out

namespace libmfx::host {

struct FeaturesCall {
  bool json = false;
};
int RunFeatures(const FeaturesCall& call, Console& console);

struct PlanCall {
  std::string request;
  bool csv = false;
  bool search = false;
};
int RunPlan(const PlanCall& call, Console& console);

struct MeasureCall {
  std::string request;
  std::optional<std::string> instrument;  ///< command of an instrument process
  std::optional<std::string> scene;       ///< file with a scene for the virtual instrument
  std::optional<std::uint64_t> seed;      ///< of the virtual instrument
  std::chrono::milliseconds timeout{60'000};
  std::string record;   ///< empty: no recording
  std::string report;   ///< empty: no report
  bool strict = false;  ///< a doubtful success ends like a failure
  ConversationOptions options;
};
int RunMeasure(const MeasureCall& call, Console& console);

struct ReplayCall {
  std::string recording;
  std::string report;
  bool search = false;            ///< search even if the recorded measurement did not
  std::optional<int> max_passes;  ///< instead of the recorded one
  std::optional<ScanData> scan_data;
  bool strict = false;  ///< as for measure
};
int RunReplay(const ReplayCall& call, Console& console);

struct BatchCall {
  std::string jobs;  ///< file with a job a line, "-" for standard input
  bool show_library_lines = false;
  bool strict = false;  ///< the answer of a doubtful success says so
  ConversationOptions options;
};
int RunBatch(const BatchCall& call, Console& console);

}  // namespace libmfx::host
