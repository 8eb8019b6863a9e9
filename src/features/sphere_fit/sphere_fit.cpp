#include "libmfx/features/sphere_fit.h"

#include <cmath>
#include <ostream>
#include <utility>

#include "features/shared/directions.h"
#include "features/shared/request.h"
#include "features/shared/result_message.h"
#include "features/shared/settings.h"
#include "features/shared/trace.h"

namespace libmfx::features {
namespace {

/// Whether a sample tells a direction and a distance; its quality plays no part. A range of 0 is
/// what some instruments say of a beam that was lost.
bool HasPlace(const RawDataPoint& s) {
  return std::isfinite(s.azimuth) && std::isfinite(s.elevation) && s.range > 0.0 &&
         std::isfinite(s.range);
}

/// The sample in the direction nearest to `aim`, the first of equals; null if none has a place.
const RawDataPoint* NearestInDirection(const std::vector<RawDataPoint>& samples,
                                       const AzElRange& aim) {
  const RawDataPoint* chosen = nullptr;
  double best = 0.0;
  for (const RawDataPoint& s : samples) {
    if (!HasPlace(s)) continue;
    const double az = s.azimuth - aim.azimuth;
    const double el = s.elevation - aim.elevation;
    const double distance = std::sqrt(az * az + el * el);
    if (chosen != nullptr && !(distance < best)) continue;
    chosen = &s;
    best = distance;
  }
  return chosen;
}

}  // namespace

SphereFit::SphereFit() = default;

SphereFit::SphereFit(std::string json) {
  const shared::Request request(json);
  if (!request.ok()) {
    SetError("Unable to parse JSON message!");
    _nominals_valid = false;
    return;
  }
  const shared::Value root = request.root();
  const shared::Value feature = request.feature();
  // The switches of this class are numbers in a request: a string that says "true" is 0.
  const auto read_switch = [&root](const char* key, bool& target) {
    if (root.Has(key)) target = root[key].AsInt() != 0;
  };
  root.Read("$id", _target_uuid);
  feature.Read("Name", _name);
  root.Read("QualityThreshold", QualityThreshold);
  root.Read("ScanLines", ScanLines);
  root.Read("NumPointsPerLine", NumPointsPerLine);
  read_switch("ScanElevation", ScanElevation);
  root.Read("BoxDimensionRatio", BoxDimensionRatio);
  read_switch("UseStarPattern", StarScanPattern);
  root.Read("StdMultiplier", StdMultiplier);
  root.Read("ScanOrigin", _scan_origin);

  // A location that is no array is none: there would be no nominal in it.
  if (!feature.Has("Location")) {
    SetError("Request does not contain nominal location!");
    _nominals_valid = false;
    return;
  }
  NominalRadius = feature["Radius"].AsDouble();
  NominalPoint = feature["Location"].AsPoint();
  _nominal_aer = AzElRange(NominalPoint);
}

const std::string& SphereFit::FeatureName() {
  static const std::string name = "MatteSphere";
  return name;
}

std::shared_ptr<win32_support::FeatureDescriptor> SphereFit::FeatureDescriptor() {
  using shared::Row;
  using win32_support::KIND_NOMINAL;
  using win32_support::KIND_PARAMETER;
  using win32_support::KIND_RESULT;
  static const auto descriptor = shared::MakeDescriptor<SphereFit>(
      L"MatteSphere", L"Matte Sphere",
      Row(L"NominalPoint", L"Nominal cartesian point on the surface", KIND_NOMINAL,
          &SphereFit::NominalPoint),
      Row(L"NominalRadius", L"The radius of the nominal sphere", KIND_NOMINAL,
          &SphereFit::NominalRadius),
      Row(L"ScanLines", L"Number of scan lines in the user pattern", KIND_PARAMETER,
          &SphereFit::ScanLines),
      Row(L"NumPointsPerLine", L"Number of points per scan line in user pattern", KIND_PARAMETER,
          &SphereFit::NumPointsPerLine),
      Row(L"ScanElevation", L"Toggle for W-scan direction (false will scan in azimuth)",
          KIND_PARAMETER, &SphereFit::ScanElevation),
      Row(L"QualityThreshold",
          L"Minimum acceptable quality for a valid scanned point (Quality Filter dB value)",
          KIND_PARAMETER, &SphereFit::QualityThreshold),
      Row(L"BoxDimensionRatio",
          L"Fraction of tooling ball diameter to use as the dimensions of the box that defines the "
          L"user pattern region",
          KIND_PARAMETER, &SphereFit::BoxDimensionRatio),
      Row(L"AdvancedFilter",
          L"Enables bin division and sampling sphere fit. If disabled, a sphere is naively fit to "
          L"the set only after a quality filter pass and then returned",
          KIND_PARAMETER, &SphereFit::AdvancedFilter),
      Row(L"StarScanPattern", L"Override W-Scan and use star pattern instead", KIND_PARAMETER,
          &SphereFit::StarScanPattern),
      Row(L"UserFilters", L"Use static user-defined filter values", KIND_PARAMETER,
          &SphereFit::UserFilters),
      Row(L"FitTolerance",
          L"Acceptable deviation from input nominal radius (m) (only used with UserFilters is set "
          L"to true)",
          KIND_PARAMETER, &SphereFit::FitTolerance),
      Row(L"FilterTolerance",
          L"ax point distance from fit sphere before rejection (m) (only used with UserFilters is "
          L"set to true)",
          KIND_PARAMETER, &SphereFit::FilterTolerance),
      Row(L"StdMultiplier", L"Standard deviation multiplier for distance threshold of final fit",
          KIND_PARAMETER, &SphereFit::StdMultiplier),
      Row(L"NumSamplePoints", L"Number of randomly sampled points for RANSAC", KIND_PARAMETER,
          &SphereFit::NumSamplePoints),
      Row(L"SearchEnabled", L"The search functionality to be enabled", KIND_PARAMETER,
          &SphereFit::_search_enabled),
      Row(L"RescanThreshold", L"The threshold distance for the re-scan", KIND_PARAMETER,
          &SphereFit::_rescan_threshold),
      Row(L"IDCMethod", shared::kIdcMethodLabel, KIND_PARAMETER, &SphereFit::IDCMethod),
      Row(L"MeasuredPoint", L"Measured point in cartesian coordinates", KIND_RESULT,
          &SphereFit::MeasuredPoint),
      Row(L"MeasuredRadius", L"Radius of the measured sphere", KIND_RESULT,
          &SphereFit::MeasuredRadius),
      Row(L"Quality", L"Quality metric", KIND_RESULT, &SphereFit::Quality));
  return shared::Captured(descriptor);
}

std::size_t SphereFit::OffsetOfSetting(const std::wstring& name) const {
  return shared::OffsetIn(*FeatureDescriptor(), name);
}

void SphereFit::ResetSettings() { shared::ResetToDefaults(*this, *FeatureDescriptor()); }

bool SphereFit::SetRawData(const std::vector<RawDataPoint>& samples, std::queue<Position>& next) {
  if (!_raw_data.empty()) return true;
  if (_drive_step == SURFACE_RANGE) return TakeSurfaceRange(samples, next);
  if (samples.empty() || _drive_step == INITIAL) {
    next = GenerateDrivePoints();
    // With an error the queue is empty: the host is to go on to the analysis, which reports it,
    // and not to drive nothing for ever.
    return _has_error;
  }
  _raw_data = samples;
  return true;
}

bool SphereFit::TakeSurfaceRange(const std::vector<RawDataPoint>& samples,
                                 std::queue<Position>& next) {
  const AzElRange aim(NominalPoint);
  const RawDataPoint* surface = NearestInDirection(samples, aim);
  if (surface == nullptr) {
    shared::Trace() << "Surface Measurement returned 0 points." << std::endl;
    next = {};
    _drive_step = FEATURE_SCAN_PATTERN;
    return false;
  }
  NominalPoint = AzElRange(aim.azimuth, aim.elevation, surface->range).ToPoint();
  const double box = 2.0 * NominalRadius * BoxDimensionRatio;
  if (!(0.0 < box)) {
    SetError("Box scan dimension less than or equal to 0");
    return true;
  }
  Eigen::VectorXd normal(4);
  normal << -NominalPoint.xyz(), 0.0;
  next = StarScanPattern ? ScanStar(NominalPoint, normal, box, ScanLines)
                         : ScanW(NominalPoint, normal, box, ScanLines);
  next = UnwrapDrivePoints(next, shared::SignOf(AzElRange(NominalPoint).azimuth), false);
  _last_drive_points = next;
  _drive_step = FEATURE_SCAN_PATTERN;
  return next.empty();
}

std::string SphereFit::GenerateResult() const {
  _logger[log::LOG_LEVEL_1] << "GenerateResult() called." << std::endl;
  shared::ResultMessage message;
  message.Add("$type", "MatteSphereTargetResult");
  if (GetIsSuccessful()) {
    message.Add("Location", MeasuredPoint).Add("Radius", MeasuredRadius);
  } else {
    message.Add("ErrorMessage", GetError()).Add("Location", PointXYZW(), 1);
  }
  message.AddScanData("LR_AER", _scan_data);
  message.Add("Quality", Quality, 2);
  message.Add("Success", GetIsSuccessful()).Add("Target", _target_uuid);
  if (!_name.empty()) message.Add("Name", _name);
  message.Add("FinalFitcount", _final_fit_count).AddWarnings(GetWarnings());
  std::string text = message.Finish();
  _logger[log::LOG_LEVEL_1] << "GenerateResult() done." << std::endl;
  return text;
}

}  // namespace libmfx::features
