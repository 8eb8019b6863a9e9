#include "libmfx/features/pvi.h"

#include <ostream>

#include "features/shared/directions.h"
#include "features/shared/request.h"
#include "features/shared/result_message.h"
#include "features/shared/settings.h"
#include "features/shared/trace.h"

namespace libmfx::features {

PVI::PVI() { _high_speed_allowed = false; }

PVI::PVI(std::string json) : PVI() { _nominals_valid = ReadRequest(json); }

bool PVI::ReadRequest(const std::string& json) {
  const shared::Request request(json);
  if (!request.ok()) return Fail("Unable to parse JSON message!");
  const shared::Value root = request.root();
  root.Read("$id", _uuid);
  double box = 0.0;
  if (root.Read("BoxDimension", box) && box > 0.0) _box_dimension = box;
  root.Read("NumberOfScanLines", _number_of_scan_lines);
  root.Read("NumberOfPoints", _number_of_points);
  root.Read("QualityThreshold", _quality_threshold);
  root.Read("AngleThresh", _angle_thresh);
  root.Read("Nom2MeasAngCheck", _nominal_to_measured_angle);
  root.Read("DistanceThreshold", _distance_threshold);
  shared::Trace() << "DistanceThreshold: " << _distance_threshold << std::endl;
  const shared::Value feature = request.feature();
  feature.Read("Name", _name);
  root.Read("ScanOrigin", _scan_origin);
  root.Read("RescanThreshold", _rescan_threshold);
  if (!feature.Has("Location") || !feature.Has("Normal")) {
    return Fail("Request does not contain nominal location and/or normal!");
  }
  feature.Read("Location", _nominal_point);
  feature.Read("Normal", _nominal_normal);
  if (_nominal_normal.isZero(shared::kZeroDirection)) return Fail("Nominal normal is zero!");
  _nominal_normal.normalize();
  return true;
}

const std::string& PVI::FeatureName() {
  static const std::string name = "PVI";
  return name;
}

std::shared_ptr<win32_support::FeatureDescriptor> PVI::FeatureDescriptor() {
  using shared::Row;
  constexpr int kNominal = win32_support::KIND_NOMINAL;
  constexpr int kParameter = win32_support::KIND_PARAMETER;
  constexpr int kResult = win32_support::KIND_RESULT;
  constexpr int kPoint = win32_support::SETTING_POINT_XYZ;
  static const auto descriptor = shared::MakeDescriptor<PVI>(
      L"PVI", L"Plane-Vector Intersect",
      Row(L"NominalPoint", L"Nominal cartesian point on the surface", kNominal,
          &PVI::_nominal_point),
      Row(L"NominalNormal", L"Nominal cartesian normal of the surface", kNominal,
          &PVI::_nominal_normal, kPoint),
      Row(L"BoxDimension", L"Box dimension", kParameter, &PVI::_box_dimension),
      Row(L"NumberOfScanLines", L"Number of scan lines", kParameter, &PVI::_number_of_scan_lines),
      Row(L"NumberOfPoints", L"Number of points", kParameter, &PVI::_number_of_points),
      Row(L"QualityThreshold", L"Quality threshold", kParameter, &PVI::_quality_threshold),
      Row(L"MaxIterations", L"Maximum iterations", kParameter, &PVI::_max_iterations),
      Row(L"AngleThresh", L"Angle Threshold (degrees)", kParameter, &PVI::_angle_thresh),
      Row(L"MinScanTimeOut", L"Minimum scan timeout", kParameter, &PVI::_min_scan_timeout),
      Row(L"MaxFiltertPrct", L"Maximum filter percentage", kParameter,
          &PVI::_max_filter_percentage),
      Row(L"RangeFilterMultiplier", L"Range filter multiplier", kParameter,
          &PVI::_range_filter_multiplier),
      Row(L"Nom2MeasAngCheck", L"Nominal to measured angle check (degrees)", kParameter,
          &PVI::_nominal_to_measured_angle),
      Row(L"FilterCutRatio", L"Filter cut ratio", kParameter, &PVI::_filter_cut_ratio),
      Row(L"ScanElevation", L"Scan elevation direction?", kParameter, &PVI::_scan_elevation),
      Row(L"SearchEnabled", L"The search functionality to be enabled", kParameter,
          &PVI::_search_enabled),
      Row(L"RescanThreshold", L"The threshold distance for the re-scan", kParameter,
          &PVI::_rescan_threshold),
      Row(L"DistanceThreshold",
          L"Threshold for the distance between measured point and intercept of nominal line and "
          L"plane",
          kParameter, &PVI::_distance_threshold),
      Row(L"IDCMethod", shared::kIdcMethodLabel, kParameter, &PVI::_idc_method),
      Row(L"MeasuredPoint", L"Measured point in cartesian coordinates", kResult,
          &PVI::_measured_point),
      Row(L"MeasuredNormal", L"Measured normal in cartesian coordinates", kResult,
          &PVI::_measured_normal, kPoint),
      Row(L"Quality", L"Quality metric", kResult, &PVI::_quality));
  return shared::Captured(descriptor);
}

std::size_t PVI::OffsetOfSetting(const std::wstring& name) const {
  return shared::OffsetIn(*FeatureDescriptor(), name);
}

void PVI::ResetSettings() { shared::ResetToDefaults(*this, *FeatureDescriptor()); }

std::string PVI::GenerateResult() const {
  return shared::FramedResult(
      {"PVITargetResult", GetIsSuccessful(), _error, _uuid, _name, GetWarnings()},
      [this](shared::ResultMessage& message) {
        message.Add("Location", _measured_point)
            .Add("Normal", _measured_normal)
            .Add("Quality", _quality);
      },
      [this](shared::ResultMessage& message) { message.AddScanData("LR_XYZ", _scan_data); });
}

}  // namespace libmfx::features
