#include "libmfx/features/cylinder_feature.h"

#include <ostream>
#include <utility>

#include "features/shared/directions.h"
#include "features/shared/plan_limits.h"
#include "features/shared/request.h"
#include "features/shared/result_message.h"
#include "features/shared/search.h"
#include "libmfx/geometry/plane.h"

namespace libmfx::features {

CylinderFeature::CylinderFeature(const CylinderKind& kind) : _kind(kind) {}

bool CylinderFeature::ReadRequest(const std::string& json) {
  const shared::Request request(json);
  if (!request.ok()) return Fail("Unable to parse JSON message!");
  const shared::Value root = request.root();
  const shared::Value feature = request.feature();
  root.Read("$id", _uuid);
  root.Read("FixAxis", _fix_axis);
  root.Read("FixRadius", _fix_radius);
  root.Read("PointSpacing", _point_spacing);
  root.Read("LineSpacing", _line_spacing);
  root.Read(_kind.quality_key, _quality_threshold);
  root.Read("MinIncidentAngle", _min_incident_angle);
  feature.Read("Name", _name);
  root.Read("ScanOrigin", _scan_origin);
  root.Read(shared::SearchKeys{_rescan_threshold, _search_point_spacing, _search_radius_multiplier,
                               _search_enabled});

  if (!feature.Has("Location") || !feature.Has("Axis")) {
    return Fail("Request does not contain nominal location and/or axis!");
  }
  const auto read_size = [&feature](const char* key, double& size) {
    return feature.Read(key, size) && size > 0.0;
  };
  if (!read_size("Radius", _nominal_cylinder._radius)) {
    return Fail("Request does not contain valid nominal radius!");
  }
  if (!read_size("Offset", _bottom_offset)) {
    return Fail("Request does not contain valid nominal offset!");
  }
  if (!read_size("Height", _height)) {
    return Fail("Request does not contain valid nominal height!");
  }
  const auto read_tolerance = [&feature](const char* key, double& tolerance) {
    double value = 0.0;
    if (feature.Read(key, value) && value > 0.0) tolerance = value;
  };
  read_tolerance("RadiusTolerance", _radius_tolerance);
  read_tolerance("PlaneTolerance", _plane_tolerance);
  feature.Read("Location", _nominal_cylinder._center);
  VectorXYZW axis;
  feature.Read("Axis", axis);
  _nominal_cylinder._axis = PointXYZW(axis.normalized().eigen());
  return true;
}

bool CylinderFeature::SetRawData(const std::vector<RawDataPoint>& samples,
                                 std::queue<Position>& next) {
  return SetRawDataStaged(samples, next);
}

VectorXYZW CylinderFeature::NominalAxis() const {
  return VectorXYZW(_nominal_cylinder._axis.xyz());
}

double CylinderFeature::FacingOfAxis() const {
  return shared::UnitFromTo(_nominal_cylinder._center, _scan_origin).dot(NominalAxis());
}

std::string CylinderFeature::RefusePlan() const {
  return shared::PlanCheck()
      .Finite("The nominal centre", _nominal_cylinder._center)
      .Finite("The nominal axis", NominalAxis())
      .Finite("Radius", _nominal_cylinder._radius)
      .Finite("Height", _height)
      .Finite("Offset", _bottom_offset)
      .Positive("LineSpacing", _line_spacing)
      .Finite("PointSpacing", _point_spacing)
      .Count("LineSpacing", 4.0 * _nominal_cylinder._radius / _line_spacing)
      .refusal();
}

VectorXYZW CylinderFeature::AcrossDirection() const {
  const PointXYZW& center = _nominal_cylinder._center;
  const VectorXYZW axis = NominalAxis();
  const geometry::Plane plane(center, axis);
  // The line of sight to the far end, laid into the plane; none is left when it runs along the
  // axis.
  const VectorXYZW sight = shared::UnitFromTo(PointXYZW(), center + axis * _height);
  VectorXYZW t = plane.Project(center + sight * _height) - center;
  t = t.isZero(shared::kZeroDirection) ? plane.Tangent() : t.normalized();
  const VectorXYZW b = t.cross(axis).normalized();
  return b.isZero(shared::kZeroDirection) ? plane.Bitangent() : b;
}

std::queue<Position> CylinderFeature::GenerateDrivePoints() {
  if (_has_error) {
    _last_drive_points = {};
    return {};
  }
  const PointXYZW& center = _nominal_cylinder._center;
  const VectorXYZW axis = NominalAxis();
  const double radius = _nominal_cylinder._radius;
  if (_search) {
    return GenerateSearchPattern(center, axis, 2.0 * radius * _search_radius_multiplier);
  }
  _last_drive_points = {};
  const std::string refusal = RefusePlan();
  if (!refusal.empty()) return Refuse(refusal);
  const VectorXYZW b = AcrossDirection();
  const int lines = static_cast<int>(2.0 * radius / _line_spacing + _kind.rounding);
  std::queue<Position> raster;
  for (int i = 0; i < lines; ++i) {
    const PointXYZW p = center - axis * (0.5 * _height) + b * (i * _line_spacing - radius);
    const PointXYZW e = p + axis * (2.0 * _height);
    raster.emplace(AzElRange(i % 2 == 0 ? p : e), 0.0);
    raster.emplace(AzElRange(i % 2 == 0 ? e : p), _point_spacing);
  }
  return HandOut(std::move(raster), center);
}

void CylinderFeature::UpdateNominals(const std::vector<RawDataPoint>& samples) {
  const double diameter = 2.0 * _nominal_cylinder._radius;
  const shared::SearchRules rules{
      .boundary_limit = diameter - 2.0 * _search_point_spacing,
      .max_distance = diameter * _search_radius_multiplier,
      .quality_threshold = _quality_threshold,
      .point_spacing = _search_point_spacing,
      .scan_origin = _scan_origin,
      .words = {.original_center = "Original _nominal_cylinder._center: ",
                .original_normal = "Original _nominal_cylinder._axis: ",
                .updated_center = "Updated _nominal_cylinder._center: ",
                .updated_normal = "Updated _nominal_cylinder._axis: "},
      .points_away = _kind.axis_points_away};
  VectorXYZW axis = NominalAxis();
  const std::string error = shared::MoveNominal(samples, rules, _nominal_cylinder._center, axis);
  if (!error.empty()) {
    SetError(error);
    return;
  }
  _nominal_cylinder._axis = PointXYZW(axis.eigen());
}

std::string CylinderFeature::GenerateResult() const {
  return shared::FramedResult(
      {_kind.result_type, GetIsSuccessful(), _error, _uuid, _name, GetWarnings()},
      [this](shared::ResultMessage& message) {
        message.Add("Location", _fitted_cylinder._center)
            .Add("Axis", _fitted_cylinder._axis)
            .Add("Radius", _fitted_cylinder._radius);
      },
      [this](shared::ResultMessage& message) { message.AddScanData(_raw_data); });
}

}  // namespace libmfx::features
