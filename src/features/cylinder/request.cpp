#include "features/cylinder/request.h"

namespace libmfx::features {

CylinderFeature::CylinderFeature(const CylinderKind& kind) : _kind(kind) {}

shared::RequestKeys CylinderFeature::RequestTable(const CylinderKind& kind) {
  using shared::Rule;
  using C = CylinderFeature;
  return shared::RequestKeys(&C::_scan_origin)
      .Root("FixAxis", &C::_fix_axis)
      .Root("FixRadius", &C::_fix_radius)
      .Root("PointSpacing", &C::_point_spacing)
      .Root("LineSpacing", &C::_line_spacing)
      .Root(kind.quality_key, &C::_quality_threshold)
      .Root("MinIncidentAngle", &C::_min_incident_angle)
      .SearchAndRescan()
      .Need({"Location", "Axis"}, "Request does not contain nominal location and/or axis!")
      .Nominal("Radius", &Parts::Radius, Rule::kGivenPositive,
               "Request does not contain valid nominal radius!")
      .Nominal("Offset", &C::_bottom_offset, Rule::kGivenPositive,
               "Request does not contain valid nominal offset!")
      .Nominal("Height", &C::_height, Rule::kGivenPositive,
               "Request does not contain valid nominal height!")
      .Nominal("RadiusTolerance", &C::_radius_tolerance, Rule::kIfPositive)
      .Nominal("PlaneTolerance", &C::_plane_tolerance, Rule::kIfPositive)
      .Nominal("Location", &Parts::Center)
      .Unit("Axis", &Parts::Axis);
}

shared::Settings CylinderFeature::SettingsTable(const CylinderKind& kind) {
  using C = CylinderFeature;
  return shared::Settings()
      .Parameter(L"FixAxis", &C::_fix_axis, L"Fix the cylinder axis during fitting")
      .Parameter(L"FixRadius", &C::_fix_radius, L"Fix the cylinder radius during fitting")
      .Parameter(L"PointSpacing", &C::_point_spacing, L"The point spacing for the scan")
      .Parameter(L"LineSpacing", &C::_line_spacing, L"The line spacing for the scan")
      .Parameter(L"QualityThreshold", &C::_quality_threshold,
                 L"Minimum required quality of the scan data")
      .SearchAndRescan()
      .Parameter(L"IDCMethod", &C::_idc_method)
      .Nominal(L"NominalCylinderAxis", &Parts::Axis, L"The axis of the nominal cylinder")
      .Nominal(L"NominalCylinderCenter", &Parts::Center, L"The center of the nominal cylinder")
      .Nominal(L"NominalCylinderRadius", &Parts::Radius, L"The radius of the nominal cylinder")
      .Nominal(L"NominalCylinderBottomOffset", &C::_bottom_offset,
               L"Any points whose distance to the nominal plane is less than this offset will be "
               L"rejected before fitting. The nominal plane is defined as the plane passing the "
               L"nominal cylinder center and perpendicular to the nominal cylinder axis.")
      .Nominal(L"NominalCylinderHeight", &C::_height, L"The height of the nominal cylinder")
      .Nominal(L"RadiusTolerance", &C::_radius_tolerance,
               L"The tolerance of the radius of the cylinder")
      .Nominal(L"PlaneTolerance", &C::_plane_tolerance,
               L"The tolerance of the distance from the base plane")
      .Nominal(L"MinIncidentAngle", &C::_min_incident_angle, kind.least_angle)
      .Result(L"FittedCylinderAxis", &Parts::FittedAxis, L"The axis of the fitted cylinder")
      .Result(L"FittedCylinderCenter", &Parts::FittedCenter, L"The center of the fitted cylinder")
      .Result(L"FittedCylinderRadius", &Parts::FittedRadius, L"The radius of the fitted cylinder");
}

shared::SearchNominal CylinderFeature::SearchTable(const CylinderKind& kind) {
  const auto reach = shared::NumberOf(+[](const CylinderFeature& c) {
    return 2.0 * c._nominal_cylinder._radius * c._search_radius_multiplier;
  });
  return {.center = &Parts::Center,
          .normal = &Parts::Axis,
          .quality_threshold = &CylinderFeature::_quality_threshold,
          .scan_origin = &CylinderFeature::_scan_origin,
          .spiral = reach,
          .reach = reach,
          .opening = shared::NumberOf(
              +[](const CylinderFeature& c) { return 2.0 * c._nominal_cylinder._radius; }),
          .words = {.original_center = "Original _nominal_cylinder._center: ",
                    .original_normal = "Original _nominal_cylinder._axis: ",
                    .updated_center = "Updated _nominal_cylinder._center: ",
                    .updated_normal = "Updated _nominal_cylinder._axis: "},
          .points_away = kind.axis_points_away};
}

}  // namespace libmfx::features
