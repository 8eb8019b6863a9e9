#include "libmfx/features/custom_scan.h"

#include <cmath>
#include <optional>
#include <utility>

#include "features/custom_scan/scan_path_result.h"
#include "features/shared/plan_limits.h"
#include "features/shared/request.h"
#include "features/shared/settings.h"

namespace libmfx::features {
namespace {

/// Hands out the spacing of each point of a path, walked in order.
class Spacings {
 public:
  /// \param spacing the request's "PointSpacing": a number for the whole path, an array with a
  /// number for each segment, or an array of arrays with a number for each step
  explicit Spacings(const shared::Value& spacing) {
    if (spacing.IsNumber()) {
      _values = {spacing.AsDouble()};
      return;
    }
    const bool by_segment = spacing.At(0).IsNumber();
    _per = by_segment ? Per::kSegment : Per::kStep;
    for (std::size_t i = 0; i < spacing.Size(); ++i) {
      const shared::Value entry = spacing.At(i);
      if (by_segment) {
        _values.push_back(entry.AsDouble());
      } else if (entry.IsArray()) {
        for (std::size_t j = 0; j < entry.Size(); ++j) _values.push_back(entry.At(j).AsDouble());
      }
    }
  }

  /// The spacing of the next point that is not the first of its segment; nothing past the end.
  std::optional<double> Next() {
    const std::size_t index = _per == Per::kPath ? 0 : _next;
    if (_per == Per::kStep) ++_next;
    return index < _values.size() ? std::optional<double>(_values[index]) : std::nullopt;
  }
  void EndSegment() { _next += _per == Per::kSegment ? 1 : 0; }

 private:
  enum class Per { kPath, kSegment, kStep };
  Per _per = Per::kPath;
  std::vector<double> _values;
  std::size_t _next = 0;
};

/// The path of a request, or why there is none.
struct PathRequest {
  std::queue<Position> path;
  std::string error;
};

PathRequest ReadPath(const shared::Request& request) {
  if (!request.root().Has("PointSpacing")) return {{}, "PointSpacing not specified!"};
  const shared::Value spacing = request.root()["PointSpacing"];
  if (!spacing.IsNumber() && !spacing.IsArray()) {
    return {{}, "PointSpacing type is not double or array"};
  }
  if (spacing.IsArray() && spacing.Size() == 0) return {{}, "PointSpacing array is empty"};
  const shared::Value segments = request.feature()["Path"]["Segments"];
  if (!segments.IsArray()) return {{}, "Segments are not specified!"};

  Spacings spacings(spacing);
  PathRequest result;
  for (std::size_t s = 0; s < segments.Size(); ++s) {
    const shared::Value segment = segments.At(s);
    for (std::size_t i = 0; segment.IsArray() && i < segment.Size(); ++i) {
      const std::optional<double> step = i == 0 ? 0.0 : spacings.Next();
      if (!step) return {{}, "PointSpacing array is too short for the path"};
      result.path.emplace(segment.At(i).AsPoint(), *step);
    }
    spacings.EndSegment();
  }
  return result;
}

}  // namespace

CustomScan::CustomScan() = default;

CustomScan::CustomScan(std::string json) {
  const shared::Request request(json);
  if (!request.ok()) return;
  const shared::Value root = request.root();
  root.Read("$id", _id);
  request.feature().Read("Name", _name);
  root.Read("QualityThreshold", _quality_threshold);
  _output_data_by_segment = true;

  PathRequest asked = ReadPath(request);
  if (asked.error.empty()) {
    AcceptPath(std::move(asked.path), true);
  } else {
    SetError(asked.error);
  }
}

CustomScan::CustomScan(std::queue<Position> path, double quality_threshold)
    : _quality_threshold(quality_threshold) {
  _output_data_by_segment = true;
  AcceptPath(std::move(path), false);
}

void CustomScan::AcceptPath(std::queue<Position> path, bool allow_flip) {
  const std::string refusal = shared::RefuseCount("Path", static_cast<double>(path.size()));
  if (!refusal.empty()) return SetError(refusal);
  _path = UnwrapDrivePoints(path, 0, allow_flip);
  std::queue<Position> rest = _path;
  for (; !rest.empty(); rest.pop()) {
    const Position& p = rest.front();
    std::string fault = shared::RefuseNotFinite("PointSpacing", p.point_spacing);
    if (!std::isfinite(p.azimuth) || !std::isfinite(p.elevation) || !std::isfinite(p.range)) {
      fault = "Path has a point that is not finite";
    }
    if (fault.empty()) continue;
    _path = {};
    return SetError(fault);
  }
}

const std::string& CustomScan::FeatureName() {
  static const std::string name = "CustomScan";
  return name;
}

std::shared_ptr<win32_support::FeatureDescriptor> CustomScan::FeatureDescriptor() {
  using shared::Row;
  using win32_support::KIND_PARAMETER;
  static const auto descriptor = shared::MakeDescriptor<CustomScan>(
      L"CustomScan", L"Custom Scan",
      Row(L"QualityThreshold", L"Quality threshold", KIND_PARAMETER,
          &CustomScan::_quality_threshold),
      Row(L"IDCMethod", shared::kIdcMethodLabel, KIND_PARAMETER, &CustomScan::_idc_method));
  return shared::Captured(descriptor);
}

std::size_t CustomScan::OffsetOfSetting(const std::wstring& name) const {
  return shared::OffsetIn(*FeatureDescriptor(), name);
}

void CustomScan::ResetSettings() { shared::ResetToDefaults(*this, *FeatureDescriptor()); }

std::string CustomScan::GetUuid() { return _id; }

double CustomScan::QualityThreshold() { return _quality_threshold; }

std::queue<Position> CustomScan::GenerateDrivePoints() {
  _last_drive_points = _path;
  return _path;
}

bool CustomScan::Analyze() {
  if (_output_data_by_segment) {
    _raw_data.clear();
    _filtered_data.clear();
    return true;
  }
  if (_has_error) return false;
  _filtered_data.clear();
  _filtered_data.reserve(_raw_data.size() / 8);
  for (const RawDataPoint& sample : _raw_data) {
    if (data_structures::IsUsable(sample, _quality_threshold)) _filtered_data.push_back(sample);
  }
  if (_filtered_data.empty()) {
    SetError("All points filtered out");
    return false;
  }
  return true;
}

std::string CustomScan::GenerateResult() const {
  const bool binary = _scan_path_return_type == SCANPATH_RETURN_BINARY;
  return ScanPathResult({_id, _name, _is_successful, GetWarnings()}, _filtered_data, binary);
}

}  // namespace libmfx::features
