#include "libmfx/features/feature.h"

#include <cmath>
#include <numbers>
#include <ostream>

#include "features/shared/directions.h"
#include "features/shared/plan_limits.h"
#include "features/shared/search_spiral.h"
#include "features/shared/trace.h"
#include "libmfx/features/search_spiral.h"

namespace libmfx::features {

Feature::Feature() : _logger(this) {}

// By way of the assignment, which knows every field: the logger keeps the feature that it belongs
// to and takes the name over.
Feature::Feature(const Feature& other) : Feature() { *this = other; }

void* Feature::AddressOfSetting(const std::wstring& name) const {
  const char* start = reinterpret_cast<const char*>(this);
  return const_cast<char*>(start + OffsetOfSetting(name));
}

bool Feature::Reset(bool reanalyze, bool search) {
  shared::Trace() << "FeatureReset(" << (reanalyze ? "true" : "false") << "): ";
  _error.clear();
  _has_error = false;
  _is_successful = false;
  _warnings.clear();
  _stages = {};
  if (reanalyze) {
    _logger[log::LOG_LEVEL_1] << "Re-analyze!" << std::endl;
  } else {
    std::vector<RawDataPoint>().swap(_raw_data);
    if (_drive_step == RESCAN || !_search_enabled) {
      _logger[log::LOG_LEVEL_1] << "Restart! "
                                << (_drive_step == RESCAN ? "Rescanning from updated nominal.."
                                                          : "Retrying from same nominal..")
                                << std::endl;
    } else {
      _logger[log::LOG_LEVEL_1] << "Searching!" << std::endl;
      _search = search;
    }
    _drive_step = INITIAL;
    ResetSettings();
  }
  if (!ValidateNominals()) {
    _logger[log::LOG_LEVEL_1] << "Invalid nominals!" << std::endl;
    return false;
  }
  _logger[log::LOG_LEVEL_1] << "Nominals are valid." << std::endl;
  return _search;
}

bool Feature::SetRawDataStaged(const std::vector<RawDataPoint>& samples,
                               std::queue<Position>& next) {
  if (_has_error || !_raw_data.empty()) return true;
  if (_drive_step == SEARCH) {
    UpdateNominals(samples);
    _drive_step = FEATURE_SCAN_PATTERN;
    if (!ValidateNominals()) return true;
    next = GenerateDrivePoints();
    return false;
  }
  if (samples.empty() && _drive_step == INITIAL) {
    next = GenerateDrivePoints();
    _drive_step = FEATURE_SCAN_PATTERN;
    return false;
  }
  _raw_data = samples;
  _drive_step = INITIAL;
  return true;
}

void Feature::UpdateRawData(const std::vector<RawDataPoint>& samples) { _raw_data = samples; }

const std::queue<Position>& Feature::GetLastDrivePoints() { return _last_drive_points; }

const std::queue<Position>& Feature::GetDrivePoints(bool force) {
  if (!force && !_drive_points.empty()) return _drive_points;
  _drive_points = GenerateDrivePoints();
  return _drive_points;
}

void Feature::AnalyzeFeature() {
  _warnings.clear();
  _stages = {};
  _is_successful = Analyze();
}

std::string Feature::GetResult() const { return GenerateResult(); }

bool Feature::GetIsSuccessful() const { return _is_successful; }

std::string Feature::GetError() const { return _error; }

DRIVE_STEP Feature::GetDriveStep() const { return _drive_step; }

std::string Feature::GetUuid() { return {}; }

double Feature::QualityThreshold() { return 0.0; }

bool Feature::ValidateNominals() { return _nominals_valid; }

void Feature::SetError(const std::string& message) {
  _has_error = !message.empty();
  _error = message;
  if (_has_error) _logger[log::LOG_LEVEL_3] << message << std::endl;
}

bool Feature::Fail(const std::string& text) {
  SetError(text);
  return false;
}

std::queue<Position> Feature::Refuse(const std::string& why) {
  SetError(why);
  _last_drive_points = {};
  return {};
}

std::queue<Position> Feature::HandOut(std::queue<Position> path, const PointXYZW& nominal) {
  const std::string undrivable = shared::RefuseUndrivable(path);
  if (!undrivable.empty()) return Refuse(undrivable);
  _last_drive_points = UnwrapDrivePoints(path, shared::SignOf(AzElRange(nominal).azimuth), false);
  return _last_drive_points;
}

bool Feature::Passed(const char* what, double value, double limit, bool passed) {
  _stages.verdicts.push_back({what, value, limit, passed});
  return passed;
}

void Feature::Warn(const std::string& text) {
  _warnings.push_back(text);
  _logger[log::LOG_LEVEL_2] << text << std::endl;
}

void Feature::Warn(const std::vector<std::string>& texts) {
  for (const std::string& text : texts) Warn(text);
}

std::queue<Position> Feature::GenerateSearchPattern(const PointXYZW& center,
                                                    const VectorXYZW& normal, double max_radius) {
  _drive_step = SEARCH;
  _search = false;
  shared::PlanCheck check;
  check.Finite("The nominal centre", center).Finite("The nominal normal", normal);
  check.Also(shared::RefuseSpiral(max_radius, shared::kSearchPointsPerTurn, _search_point_spacing));
  std::queue<Position> spiral;
  if (check.refusal().empty()) {
    geometry::Plane plane(center, normal);
    spiral = GenerateSearchSpiral(plane, max_radius, shared::kSearchPointsPerTurn,
                                  _search_point_spacing, _search_point_spacing);
    check.Also(shared::RefuseUndrivable(spiral));
  }
  if (check.refusal().empty()) return spiral;
  // A search pattern is none of the last patterns, and so is one that is refused.
  SetError(check.refusal());
  return {};
}

bool Feature::TriggerRescan(double distance) {
  if (!(distance > _rescan_threshold)) return false;
  shared::Trace() << "Rescan triggered! " << distance << "> " << _rescan_threshold << std::endl;
  _drive_step = RESCAN;
  return true;
}

bool Feature::TakeScan(PointEmbedding embedding, double quality_threshold, PointCloud& scan,
                       const char* none_left) {
  if (_has_error) return false;
  scan = PointCloud(_raw_data, embedding, quality_threshold, true);
  return scan.cols() > 0 || Fail(none_left);
}

double Feature::Constrain180(double angle) {
  constexpr double kTurn = 2.0 * std::numbers::pi;
  if (angle <= -std::numbers::pi) return angle + kTurn;
  if (angle > std::numbers::pi) return angle - kTurn;
  return angle;
}

double Feature::Constrain360(double angle) {
  return angle < 0.0 ? angle + 2.0 * std::numbers::pi : angle;
}

std::queue<Position> Feature::UnwrapDrivePoints(std::queue<Position>& queue, int direction,
                                                bool allow_flip) {
  if (queue.empty()) return {};
  constexpr double kPi = std::numbers::pi;
  constexpr double kTurn = 2.0 * kPi;
  // The rear bands end 5 degrees short of the seam, so that a path on the seam itself stays put.
  constexpr double kBandEnd = 3.0543261909900767;
  const auto in_upper = [](double az) { return az > kPi / 2 && az < kBandEnd; };
  const auto in_lower = [](double az) { return az < -kPi / 2 && az > -kBandEnd; };

  std::vector<Position> points;
  points.reserve(queue.size());
  for (; !queue.empty(); queue.pop()) points.push_back(queue.front());

  // With no direction given, the first azimuth chooses it: it is added once for every point, and
  // the mean is therefore that azimuth itself.
  const double first = points.front().azimuth;
  const double raised_first = first < 0.0 ? first + kTurn : first;
  double sum = direction == 0 ? raised_first : 0.0;
  double a = Constrain180(first);
  bool upper = in_upper(a);
  bool lower = in_lower(a);
  bool seam = false;
  for (std::size_t i = 0; i + 1 < points.size(); ++i) {
    if (direction == 0) sum += raised_first;
    const double b = Constrain180(points[i + 1].azimuth);
    seam = seam || std::abs(a - b) > kPi;
    upper = upper || in_upper(b);
    lower = lower || in_lower(b);
    a = b;
  }
  if (direction == 0) direction = sum / static_cast<double>(points.size()) > kPi ? -1 : 1;

  const bool flip = upper && lower && allow_flip;
  std::queue<Position> result;
  for (Position p : points) {
    if (flip) {
      p.azimuth += p.azimuth > 0.0 ? -kPi : kPi;
      p.elevation = -p.elevation - kPi;
    } else if (seam) {
      const int sign = (p.azimuth > 0.0) - (p.azimuth < 0.0);
      if (sign != direction) p.azimuth += p.azimuth > 0.0 ? -kTurn : kTurn;
    }
    result.push(p);
  }
  return result;
}

}  // namespace libmfx::features
