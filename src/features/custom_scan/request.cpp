#include "libmfx/features/custom_scan.h"

#include <optional>
#include <utility>

#include "features/shared/feature_class.h"
#include "messages/request.h"

namespace libmfx::features {
namespace {

/// Hands out the spacing of each point of a path, walked in order.
class Spacings {
 public:
  /// \param spacing the request's "PointSpacing": a number for the whole path, an array with a
  /// number for each segment, or an array of arrays with a number for each step
  explicit Spacings(const messages::Value& spacing) {
    if (spacing.IsNumber()) {
      _values = {spacing.AsDouble()};
      return;
    }
    const bool by_segment = spacing.At(0).IsNumber();
    _per = by_segment ? Per::kSegment : Per::kStep;
    for (std::size_t i = 0; i < spacing.Size(); ++i) {
      const messages::Value entry = spacing.At(i);
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

PathRequest ReadPath(const messages::Request& request) {
  if (!request.root().Has("PointSpacing")) return {{}, "PointSpacing not specified!"};
  const messages::Value spacing = request.root()["PointSpacing"];
  if (!spacing.IsNumber() && !spacing.IsArray()) {
    return {{}, "PointSpacing type is not double or array"};
  }
  if (spacing.IsArray() && spacing.Size() == 0) return {{}, "PointSpacing array is empty"};
  const messages::Value segments = request.feature()["Path"]["Segments"];
  if (!segments.IsArray()) return {{}, "Segments are not specified!"};

  Spacings spacings(spacing);
  PathRequest result;
  for (std::size_t s = 0; s < segments.Size(); ++s) {
    const messages::Value segment = segments.At(s);
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

CustomScan::CustomScan(std::string json) : CustomScan(messages::Request(json)) {}

CustomScan::CustomScan(const messages::Request& request) {
  if (!request.ok()) return;
  Class().request.Read(request, *this);
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

const shared::FeatureClass& CustomScan::Class() const {
  static const auto custom_scan = shared::MakeClass<CustomScan>(
      shared::Settings("CustomScan", L"Custom Scan")
          .Parameter(L"QualityThreshold", &CustomScan::_quality_threshold, L"IDCMethod",
                     &CustomScan::_idc_method),
      shared::RequestKeys()
          .Root("$id", &CustomScan::_id)
          .Nominal("Name", &CustomScan::_name)
          .Root("QualityThreshold", &CustomScan::_quality_threshold)
          .Own(win32_support::REQUEST_ROOT, "PointSpacing", win32_support::REQUEST_SPACINGS)
          .Own(win32_support::REQUEST_FEATURE, "Path", win32_support::REQUEST_OBJECT)
          .Own(win32_support::REQUEST_PATH, "Segments", win32_support::REQUEST_SEGMENTS));
  return custom_scan;
}

std::shared_ptr<win32_support::FeatureDescriptor> CustomScan::FeatureDescriptor() {
  return shared::DescriptorOf<CustomScan>();
}

std::string CustomScan::GetUuid() { return _id; }

double CustomScan::QualityThreshold() { return _quality_threshold; }

}  // namespace libmfx::features
