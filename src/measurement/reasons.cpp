#include "measurement/reasons.h"

#include <array>
#include <charconv>

#include "libmfx/measurement/measurement.h"

namespace libmfx::measurement {
namespace {

/// Four digits: for people.
std::string Short(double value) {
  std::array<char, 32> text;
  const auto end =
      std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::general, 4);
  return {text.data(), end.ptr};
}

}  // namespace

std::string WhyStillMoving(int rescans) {
  return "the measured location is still farther from the nominal than the re-scan threshold "
         "after " +
         std::to_string(rescans) + (rescans == 1 ? " re-scan" : " re-scans");
}

std::string WhyItStopped(const features::Stages& stages) {
  if (stages.verdicts.empty() || stages.verdicts.back().passed) {
    return "the analysis gave no reason";
  }
  const features::StageVerdict& last = stages.verdicts.back();
  return std::string("the samples do not show what was asked for: ") + last.what + ": " +
         Short(last.value) + ", limit " + Short(last.limit);
}

std::string WhyNothingToDrive(features::Feature& feature) {
  if (feature.GetError().empty()) {
    // A path whose data goes out by segment succeeds even where there was nothing to drive.
    feature.OutputDataBySegment(false);
    feature.AnalyzeFeature();
  }
  const std::string error = feature.GetError();
  return error.empty() ? "the request leads to nothing to drive" : error;
}

}  // namespace libmfx::measurement
