#include <cmath>

#include "features/shared/directions.h"
#include "features/shared/feature_class.h"
#include "libmfx/features/edge.h"
#include "libmfx/geometry/line.h"
#include "messages/request.h"

namespace libmfx::features {
namespace {

/// From this incidence on it matters from which side the edge is seen: 5 degrees.
constexpr double kSteepView = 0.08726646259971647;

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

Edge::Edge(std::string json) : Edge(messages::Request(json)) {}

Edge::Edge(const messages::Request& request) {
  _nominals_valid = ReadRequest(request) && DeriveFromRequest();
}

shared::RequestKeys Edge::RequestTable() {
  return shared::RequestKeys(&Edge::_scan_origin)
      .Root("QualityThreshold", &Edge::_quality_threshold, "ClearanceZone", &Edge::_clearance_zone,
            "ScanLines", &Edge::_scan_lines, "PointSpacing", &Edge::_point_spacing,
            "UseNominalOffset", &Edge::_use_nominal_offset)
      .Need({"SurfacePoint", "SurfaceNormal", "EdgePoint"},
            "Request does not contain nominal point, nominal surface vector, or nominal edge "
            "point!")
      .Nominal("SurfacePoint", &Edge::_surface_point, "EdgePoint", &Edge::_edge_point)
      .Unit("SurfaceNormal", &Edge::_surface_normal, "Axis is zero!");
}

bool Edge::DeriveFromRequest() {
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

shared::Settings Edge::SettingsTable() {
  return shared::Settings("Edge", L"Edge")
      .Nominal(L"NominalSurfacePoint", &Edge::_surface_point, L"NominalSurfaceNormal",
               &Edge::_surface_normal, L"NominalEdgePoint", &Edge::_edge_point)
      .Parameter(L"PointSpacing", &Edge::_point_spacing, L"QualityThreshold",
                 &Edge::_quality_threshold, L"ClearanceZone", &Edge::_clearance_zone,
                 L"UseNominalOffset", &Edge::_use_nominal_offset)
      .SearchAndRescan()
      .Parameter(L"IDCMethod", &Edge::_idc_method)
      .Result(L"MeasuredPoint", &Edge::_measured_point, L"Quality", &Edge::_quality);
}

const shared::FeatureClass& Edge::Class() const {
  static const auto edge =
      shared::MakeClass<Edge>(SettingsTable(), RequestTable(), PlanTable(), ResultTable());
  return edge;
}

std::shared_ptr<win32_support::FeatureDescriptor> Edge::FeatureDescriptor() {
  return shared::DescriptorOf<Edge>();
}

}  // namespace libmfx::features
