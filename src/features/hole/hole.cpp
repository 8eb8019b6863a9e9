#include "libmfx/features/hole.h"

#include <cmath>
#include <numbers>
#include <ostream>

#include "features/shared/directions.h"
#include "features/shared/request.h"
#include "features/shared/search.h"
#include "features/shared/settings.h"
#include "features/shared/text.h"

namespace libmfx::features {

Hole::Hole() = default;

Hole::Hole(std::string json) {
  _nominals_valid = ReadRequest(json);
  if (_nominals_valid) DeriveFromRequest();
}

bool Hole::ReadRequest(const std::string& json) {
  const shared::Request request(json);
  if (!request.ok()) return Fail("jsonRoot is Nothing");
  const shared::Value root = request.root();
  const shared::Value feature = request.feature();
  root.Read("$id", _uuid);
  root.Read("ClearanceZone", _clearance_zone);
  root.Read("ScanLines", _scan_lines);
  root.Read("PointSpacing", _point_spacing);
  root.Read("ScanQualityThreshold", _quality_threshold);
  feature.Read("Name", _name);
  root.Read("ChamferDepth", _chamfer_depth);
  root.Read("ChamferAngle", _chamfer_angle);
  root.Read("ScanOrigin", _scan_origin);
  root.Read("RescanThreshold", _rescan_threshold);
  root.Read("SearchPointSpacing", _search_point_spacing);
  root.Read("SearchRadiusMultiplier", _search_radius_multiplier);
  root.Read("SearchEnabled", _search_enabled);
  if (!feature.Has("Location") || !feature.Has("Radius")) {
    return Fail("Request does not contain nominal location and/or radius!");
  }
  feature.Read("Radius", _radius);
  _nominal_radius = _radius;
  feature.Read("Location", _input_center_pt);

  // Without a normal of its own the hole is taken to face the instrument; unlike a fitted normal
  // this one points away from it.
  _input_normal = shared::UnitFromTo(_scan_origin, _input_center_pt);
  VectorXYZW normal;
  if (feature.Read("Normal", normal) && !normal.isZero(shared::kZeroDirection)) {
    _logger[log::LOG_LEVEL_1] << "use nominal _input_normal: " << shared::TextOf(normal)
                              << std::endl;
    _input_normal = normal.normalized();
  }
  return true;
}

void Hole::DeriveFromRequest() {
  const double angle = std::abs(_chamfer_angle) >= std::numbers::pi / 2 ? 0.0 : _chamfer_angle;
  _chamfer_offset = std::tan(angle) * _chamfer_depth;
  _radius += _chamfer_offset;
  _has_chamfer = _chamfer_offset > 0.0;
  _use_fast_star = _radius > _clearance_zone;
  _isolation_radius = 5.0 * _point_spacing;
}

const std::string& Hole::FeatureName() {
  static const std::string name = "RobustHole";
  return name;
}

std::shared_ptr<win32_support::FeatureDescriptor> Hole::FeatureDescriptor() {
  using shared::Row;
  using win32_support::KIND_NOMINAL;
  using win32_support::KIND_PARAMETER;
  using win32_support::KIND_RESULT;
  static const auto descriptor = shared::MakeDescriptor<Hole>(
      L"RobustHole", L"Robust Hole",
      Row(L"NominalPoint", L"Nominal cartesian point of the hole centroid", KIND_NOMINAL,
          &Hole::_input_center_pt),
      Row(L"NominalNormal", L"Nominal cartesian normal of the hole surface", KIND_NOMINAL,
          &Hole::_input_normal),
      // The working radius: a host that sets it leaves the radius of the search alone.
      Row(L"NominalRadius", L"Nominal radius of the hole", KIND_NOMINAL, &Hole::_radius),
      Row(L"NumScanLines", L"Number of scan lines in the user pattern", KIND_PARAMETER,
          &Hole::_scan_lines),
      Row(L"ClearanceZone", L"The distance to search for the edge of the hole", KIND_PARAMETER,
          &Hole::_clearance_zone),
      Row(L"PointSpacing", L"The pointspacing for the scan", KIND_PARAMETER, &Hole::_point_spacing),
      Row(L"QualityThreshold", L"Minimum required quality of the scan data", KIND_PARAMETER,
          &Hole::_quality_threshold),
      Row(L"SearchEnabled", L"The search functionality to be enabled", KIND_PARAMETER,
          &Hole::_search_enabled),
      Row(L"RescanThreshold", L"The threshold distance for the re-scan", KIND_PARAMETER,
          &Hole::_rescan_threshold),
      Row(L"IDCMethod", shared::kIdcMethodLabel, KIND_PARAMETER, &Hole::_idc_method),
      Row(L"ChamferDepth", L"The depth of the chamfer cut", KIND_PARAMETER, &Hole::_chamfer_depth),
      Row(L"ChamferAngle", L"The angle of the chamfer cut", KIND_PARAMETER, &Hole::_chamfer_angle),
      Row(L"MeasuredPoint", L"Measured point in cartesian coordinates", KIND_RESULT,
          &Hole::_measured_center),
      Row(L"MeasuredNormal", L"Measured normal in cartesian coordinates", KIND_RESULT,
          &Hole::_measured_normal),
      Row(L"Quality", L"Quality metric", KIND_RESULT, &Hole::_quality),
      Row(L"Radius", L"Measured output radius", KIND_RESULT, &Hole::_measured_radius));
  return shared::Captured(descriptor);
}

std::size_t Hole::OffsetOfSetting(const std::wstring& name) const {
  return shared::OffsetIn(*FeatureDescriptor(), name);
}

void Hole::ResetSettings() { shared::ResetToDefaults(*this, *FeatureDescriptor()); }

bool Hole::SetRawData(const std::vector<RawDataPoint>& samples, std::queue<Position>& next) {
  return SetRawDataStaged(samples, next);
}

void Hole::UpdateNominals(const std::vector<RawDataPoint>& samples) {
  const shared::SearchRules rules{
      .boundary_limit = 2.0 * _nominal_radius - 2.0 * _search_point_spacing,
      .max_distance = 2.0 * _nominal_radius * _search_radius_multiplier,
      .quality_threshold = _quality_threshold,
      .point_spacing = _search_point_spacing,
      .scan_origin = _scan_origin,
      .words = {}};
  const std::string error = shared::MoveNominal(samples, rules, _input_center_pt, _input_normal);
  if (!error.empty()) SetError(error);
}

}  // namespace libmfx::features
