#include "libmfx/measurement/measurement.h"

#include <algorithm>
#include <utility>

#include "features/shared/feature_class.h"
#include "measurement/kept_settings.h"
#include "measurement/reasons.h"

namespace libmfx::measurement {

using data_structures::Position;
using data_structures::RawDataPoint;
using features::Feature;

namespace {

/// Most scans that may be asked for one after the other before an analysis. The longest chain that
/// a feature asks for is search, ranging scan and pattern.
constexpr int kMostStages = 8;

/// Whether a search may follow a failed measurement of this request. Asked of a feature of its
/// own, since asking clears the error and the samples.
bool SearchIsEnabled(const std::string& request) {
  const std::unique_ptr<Feature> probe(Feature::Create(request));
  return ResetKeepingSettings(*probe, true);
}

}  // namespace

Measurement::Measurement(const std::string& request, const MeasurementOptions& options)
    : _owned(Feature::Create(request)),
      _feature(*_owned),
      _options(options),
      _search_enabled([request] { return SearchIsEnabled(request); }) {
  Begin();
}

Measurement::Measurement(Feature& feature, const MeasurementOptions& options,
                         std::function<bool()> search_enabled)
    : _feature(feature), _options(options), _search_enabled(std::move(search_enabled)) {
  Begin();
}

Measurement::~Measurement() = default;

void Measurement::Begin() {
  _options.max_passes = std::clamp(_options.max_passes, 0, kMostPasses);
  _feature.OutputDataBySegment(_options.omit_samples);
  _feature.SetScanPathReturnType(_options.binary_samples ? features::SCANPATH_RETURN_BINARY
                                                         : features::SCANPATH_RETURN_JSON);
  const std::queue<Position> first = _feature.GetDrivePoints(false);
  _was_drivable = !first.empty();
  BeginPass(first);
}

void Measurement::BeginPass(const std::queue<Position>& first) {
  if (first.empty()) {
    WhyNothingToDrive(_feature);
    return EndPass();
  }
  _rescanning = false;
  _stages = 0;
  Ask(first);
}

void Measurement::Ask(std::queue<Position> points) {
  _step = _feature.GetDriveStep();
  _drive = PointsOf(std::move(points));
  _again = false;
}

void Measurement::take(const std::vector<RawDataPoint>& samples) {
  if (_done) return;
  if (samples.empty()) {
    if (!_again) {
      _again = true;
      return;
    }
    return BreakOff("the instrument gave no samples twice in a row for the " +
                    std::to_string(_drive.size()) + " drive points of step " + StepName(_step));
  }
  if (_rescanning) {
    _feature.UpdateRawData(samples);
    return Analyze();
  }
  std::queue<Position> next;
  if (_feature.SetRawData(samples, next) || next.empty()) return Analyze();
  if (++_stages == kMostStages) {
    return BreakOff("the feature asks for more than " + std::to_string(kMostStages) +
                    " scans before its analysis");
  }
  Ask(std::move(next));
}

void Measurement::Analyze() {
  _feature.AnalyzeFeature();
  if (!WantsRescan() || _rescans >= _options.max_passes) return EndPass();
  ++_rescans;
  // The moved nominal lives in the feature; a Reset would undo it.
  std::queue<Position> around = _feature.GetDrivePoints(true);
  if (around.empty()) return EndPass();
  _rescanning = true;
  Ask(std::move(around));
}

// The analysis moved the nominal and asks for another scan; it did not fail.
bool Measurement::WantsRescan() const {
  return !_feature.GetIsSuccessful() && _feature.GetDriveStep() == features::RESCAN &&
         _feature.GetError().empty();
}

void Measurement::EndPass() {
  // A pending re-scan beats a search, and where nothing could be driven there is nothing to find.
  const bool failed = !_feature.GetIsSuccessful() && _was_drivable && _rescans == 0 &&
                      _feature.GetDriveStep() != features::RESCAN;
  const bool may_search = failed && std::exchange(_options.search, false);
  if (may_search && _search_enabled() && ResetKeepingSettings(_feature, true)) {
    _searched = true;
    return BeginPass(_feature.GetDrivePoints(true));
  }
  End();
}

void Measurement::End() {
  _drive.clear();
  _done = true;
  if (_feature.GetIsSuccessful()) return;
  _error = _feature.GetError();
  if (_error.empty()) {
    _error = WantsRescan() ? WhyStillMoving(_rescans) : WhyItStopped(_feature.GetStages());
  }
}

std::string Measurement::result() const {
  if (_error.empty() || !_feature.GetError().empty()) return _feature.GetResult();
  return features::shared::FeatureAccess::ResultTelling(_feature, _error);
}

void Measurement::BreakOff(const std::string& why) {
  _drive.clear();
  _done = true;
  _broken_off = true;
  _error = why;
}

std::vector<ResultValue> Measurement::values() const {
  if (!successful()) return {};
  return features::shared::FeatureAccess::ClassOf(_feature).result.Values(_feature);
}

std::vector<Position> PointsOf(std::queue<Position> queue) {
  std::vector<Position> points;
  points.reserve(queue.size());
  for (; !queue.empty(); queue.pop()) points.push_back(queue.front());
  return points;
}

std::string StepName(features::DRIVE_STEP step) {
  static constexpr const char* kNames[] = {"INITIAL", "SURFACE_RANGE", "FEATURE_SCAN_PATTERN",
                                           "SEARCH", "RESCAN"};
  const int index = step;
  return index >= 0 && index < 5 ? kNames[index] : std::to_string(index);
}

}  // namespace libmfx::measurement
