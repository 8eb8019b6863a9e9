#include "libmfx/features/edge.h"

#include <cmath>
#include <utility>

#include "features/shared/directions.h"
#include "features/shared/plan_limits.h"
#include "features/shared/request.h"
#include "features/shared/result_message.h"
#include "features/shared/settings.h"
#include "libmfx/geometry/line.h"

namespace libmfx::features {
namespace {

/// From this incidence on it matters from which side the edge is seen: 5 degrees.
constexpr double kSteepView = 0.08726646259971647;

/// The sample spacing of the move to the start of the line, metres.
constexpr double kJumpSpacing = 0.00035;

/// Below 0 when the instrument stands over the plate and not over its outside. It then looks past
/// the border at what lies beyond, and a wall that goes straight down from the border is hidden.
/// The sign is that of the view along the surface's direction towards the border, which is square
/// to the normal and to the border.
double SideOfView(const PointXYZW& surface, const VectorXYZW& normal, const PointXYZW& edge,
                  const VectorXYZW& view) {
  const VectorXYZW along_border = normal.cross(edge - surface);
  return along_border.cross(normal).dot(view);
}

}  // namespace

Edge::Edge() = default;

Edge::Edge(std::string json) { _nominals_valid = ReadRequest(json); }

bool Edge::ReadRequest(const std::string& json) {
  const shared::Request request(json);
  if (!request.ok()) return Fail("Unable to parse JSON message!");
  const shared::Value root = request.root();
  const shared::Value feature = request.feature();
  root.Read("$id", _uuid);
  root.Read("QualityThreshold", _quality_threshold);
  root.Read("ClearanceZone", _clearance_zone);
  root.Read("ScanLines", _scan_lines);
  root.Read("PointSpacing", _point_spacing);
  root.Read("UseNominalOffset", _use_nominal_offset);
  feature.Read("Name", _name);
  root.Read("ScanOrigin", _scan_origin);
  if (!feature.Has("SurfacePoint") || !feature.Has("SurfaceNormal") || !feature.Has("EdgePoint")) {
    return Fail(
        "Request does not contain nominal point, nominal surface vector, or nominal edge point!");
  }
  feature.Read("SurfacePoint", _surface_point);
  feature.Read("SurfaceNormal", _surface_normal);
  feature.Read("EdgePoint", _edge_point);
  if (_surface_normal.isZero(shared::kZeroDirection)) return Fail("Axis is zero!");
  _surface_normal.normalize();

  const VectorXYZW view = shared::UnitFromTo(_surface_point, _scan_origin);
  _incidence_angle = shared::AngleOfCosine(std::abs(_surface_normal.dot(view)));
  if (SideOfView(_surface_point, _surface_normal, _edge_point, view) < 0.0 &&
      _incidence_angle > kSteepView) {
    return Fail("The angle of the feature is out of spec!");
  }
  const geometry::Line upright(_surface_point, _surface_normal);
  _nominal_offset = data_structures::Distance(_surface_point, upright.Project(_edge_point));
  return true;
}

const std::string& Edge::FeatureName() {
  static const std::string name = "Edge";
  return name;
}

std::shared_ptr<win32_support::FeatureDescriptor> Edge::FeatureDescriptor() {
  using shared::Row;
  using win32_support::KIND_NOMINAL;
  using win32_support::KIND_PARAMETER;
  using win32_support::KIND_RESULT;
  static const auto descriptor = shared::MakeDescriptor<Edge>(
      L"Edge", L"Edge",
      Row(L"NominalSurfacePoint", L"Nominal surface point in cartesian coordinates", KIND_NOMINAL,
          &Edge::_surface_point),
      Row(L"NominalSurfaceNormal", L"Nominal surface normal", KIND_NOMINAL, &Edge::_surface_normal),
      Row(L"NominalEdgePoint", L"Nominal edge point in cartesian coordinates", KIND_NOMINAL,
          &Edge::_edge_point),
      Row(L"PointSpacing", L"Point spacing", KIND_PARAMETER, &Edge::_point_spacing),
      Row(L"QualityThreshold", L"Quality threshold", KIND_PARAMETER, &Edge::_quality_threshold),
      Row(L"ClearanceZone", L"Clearance zone", KIND_PARAMETER, &Edge::_clearance_zone),
      Row(L"UseNominalOffset",
          L"If true, calcuated edge point will be the same distance below the measured surface as "
          L"the nominal edge point is below the nominal surface",
          KIND_PARAMETER, &Edge::_use_nominal_offset),
      Row(L"SearchEnabled", L"The search functionality to be enabled", KIND_PARAMETER,
          &Edge::_search_enabled),
      Row(L"RescanThreshold", L"The threshold distance for the re-scan", KIND_PARAMETER,
          &Edge::_rescan_threshold),
      Row(L"IDCMethod", shared::kIdcMethodLabel, KIND_PARAMETER, &Edge::_idc_method),
      Row(L"MeasuredPoint", L"Measured edge point in cartesian coordinates", KIND_RESULT,
          &Edge::_measured_point),
      Row(L"Quality", L"Quality metric", KIND_RESULT, &Edge::_quality));
  return shared::Captured(descriptor);
}

std::size_t Edge::OffsetOfSetting(const std::wstring& name) const {
  return shared::OffsetIn(*FeatureDescriptor(), name);
}

void Edge::ResetSettings() { shared::ResetToDefaults(*this, *FeatureDescriptor()); }

std::string Edge::RefusePlan() const {
  return shared::PlanCheck()
      .Finite("SurfacePoint", _surface_point)
      .Finite("SurfaceNormal", _surface_normal)
      .Finite("EdgePoint", _edge_point)
      .Finite("ClearanceZone", _clearance_zone)
      .Finite("PointSpacing", _point_spacing)
      .refusal();
}

std::queue<Position> Edge::GenerateDrivePoints() {
  _last_drive_points = {};
  if (_has_error) return {};
  const std::string refusal = RefusePlan();
  if (!refusal.empty()) return Refuse(refusal);
  const PointXYZW foot = geometry::Plane(_surface_point, _surface_normal).Project(_edge_point);
  std::queue<Position> line;
  // From beyond the surface point, as seen from the edge, to past the edge. Where the two points
  // stand over each other there is no direction, and the line starts on the surface point.
  line.emplace(_surface_point + shared::UnitFromTo(foot, _surface_point) * _clearance_zone,
               kJumpSpacing);
  line.emplace(_edge_point + shared::UnitFromTo(_surface_point, _edge_point) * _clearance_zone,
               _point_spacing);
  return HandOut(std::move(line), _surface_point);
}

}  // namespace libmfx::features
