#include "host/conversation.h"

#include <memory>
#include <utility>

#include "host/errors.h"
#include "host/kept_settings.h"

namespace libmfx::host {
namespace {

using features::Feature;

/// Most scans that may be asked for one after the other before an analysis. The longest chain that
/// a feature asks for is search, ranging scan and pattern.
constexpr int kMostStages = 8;

/// The measurement of one feature in progress.
class Session {
 public:
  Session(Feature& feature, Driver& driver, const ConversationOptions& options)
      : _feature(feature), _driver(driver), _options(options) {}

  Conversation& outcome() { return _outcome; }

  /// One measurement with its re-scans, begun by what the feature wants driven now.
  void MeasureFrom(const std::queue<Position>& first) {
    if (first.empty()) {
      WhyNothingToDrive(_feature);
      return;
    }
    TakeSamples(first);
    _feature.AnalyzeFeature();
    while (WantsRescan() && _outcome.rescans < _options.max_passes) {
      ++_outcome.rescans;
      // The moved nominal lives in the feature; a Reset would undo it.
      const std::queue<Position> around = _feature.GetDrivePoints(true);
      if (around.empty()) return;
      _feature.UpdateRawData(Drive(around));
      _feature.AnalyzeFeature();
    }
  }

  /// The analysis moved the nominal and asks for another scan; it did not fail.
  bool WantsRescan() const {
    return !_feature.GetIsSuccessful() && _feature.GetDriveStep() == features::RESCAN &&
           _feature.GetError().empty();
  }

 private:
  void TakeSamples(std::queue<Position> wanted) {
    std::queue<Position> next;
    for (int stage = 0; stage < kMostStages; ++stage) {
      if (_feature.SetRawData(Drive(wanted), next)) return;
      if (next.empty()) return;
      wanted = std::exchange(next, {});
    }
    throw CallError("the feature asks for more than " + std::to_string(kMostStages) +
                    " scans before its analysis");
  }

  std::vector<RawDataPoint> Drive(const std::queue<Position>& wanted) {
    const std::vector<Position> points = PointsOf(wanted);
    const std::string step = StepName(_feature.GetDriveStep());
    // A scan that brings nothing at all is driven once more.
    for (int attempt = 0; attempt < 2; ++attempt) {
      std::vector<RawDataPoint> samples = _driver.Drive(points, step);
      if (!samples.empty()) return samples;
    }
    throw CallError("the instrument gave no samples twice in a row for the " +
                    std::to_string(points.size()) + " drive points of step " + step);
  }

  Feature& _feature;
  Driver& _driver;
  const ConversationOptions& _options;
  Conversation _outcome;
};

/// Why a measurement failed, for a person.
std::string FailureText(const Session& session, const Feature& feature, int rescans) {
  if (!feature.GetError().empty()) return feature.GetError();
  if (session.WantsRescan()) {
    return "the measured location is still farther from the nominal than the re-scan threshold "
           "after " +
           std::to_string(rescans) + (rescans == 1 ? " re-scan" : " re-scans");
  }
  return "the analysis gave no reason";
}

}  // namespace

std::string ScanDataName(ScanData form) {
  if (form == ScanData::kNone) return "none";
  return form == ScanData::kBinary ? "binary" : "json";
}

std::optional<ScanData> ScanDataOf(std::string_view name) {
  for (const ScanData form : {ScanData::kJson, ScanData::kBinary, ScanData::kNone}) {
    if (name == ScanDataName(form)) return form;
  }
  return std::nullopt;
}

std::vector<Position> PointsOf(std::queue<Position> queue) {
  std::vector<Position> points;
  points.reserve(queue.size());
  for (; !queue.empty(); queue.pop()) points.push_back(queue.front());
  return points;
}

std::string WhyNothingToDrive(Feature& feature) {
  if (feature.GetError().empty()) {
    // A path whose data goes out by segment succeeds even where there was nothing to drive.
    feature.OutputDataBySegment(false);
    feature.AnalyzeFeature();
  }
  const std::string error = feature.GetError();
  return error.empty() ? "the request leads to nothing to drive" : error;
}

Conversation Measure(const std::string& request, Driver& driver,
                     const ConversationOptions& options) {
  const std::unique_ptr<Feature> feature(Feature::Create(request));
  return Measure(*feature, driver, options, [&] { return SearchIsEnabled(request); });
}

Conversation Measure(Feature& feature, Driver& driver, const ConversationOptions& options,
                     const std::function<bool()>& search_enabled) {
  feature.OutputDataBySegment(options.scan_data == ScanData::kNone);
  feature.SetScanPathReturnType(options.scan_data == ScanData::kBinary
                                    ? features::SCANPATH_RETURN_BINARY
                                    : features::SCANPATH_RETURN_JSON);

  Session session(feature, driver, options);
  const std::queue<Position> first = feature.GetDrivePoints(false);
  session.MeasureFrom(first);
  Conversation& outcome = session.outcome();
  // A pending re-scan beats a search, and where nothing could be driven there is nothing to find.
  const bool failed = !feature.GetIsSuccessful() && !first.empty() && outcome.rescans == 0 &&
                      feature.GetDriveStep() != features::RESCAN;
  if (failed && options.search && search_enabled()) {
    outcome.searched = ResetKeepingSettings(feature, true);
    if (outcome.searched) session.MeasureFrom(feature.GetDrivePoints(true));
  }
  driver.Finish();

  outcome.successful = feature.GetIsSuccessful();
  outcome.result = feature.GetResult();
  outcome.warnings = feature.GetWarnings();
  outcome.stages = feature.GetStages();
  if (!outcome.successful) outcome.error = FailureText(session, feature, outcome.rescans);
  return std::move(outcome);
}

}  // namespace libmfx::host
