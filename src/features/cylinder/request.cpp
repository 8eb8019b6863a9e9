#include "features/cylinder/request.h"

namespace libmfx::features {

CylinderFeature::CylinderFeature(const CylinderKind& kind) : _kind(kind) {}

shared::RequestKeys CylinderFeature::RequestTable(const CylinderKind& kind) {
  using shared::Rule;
  using C = CylinderFeature;
  return shared::RequestKeys(&C::_scan_origin)
      .Root("FixAxis", &C::_fix_axis, "FixRadius", &C::_fix_radius, "PointSpacing",
            &C::_point_spacing, "LineSpacing", &C::_line_spacing, kind.quality_key,
            &C::_quality_threshold, "MinIncidentAngle", &C::_min_incident_angle)
      .SearchAndRescan()
      .Need({"Location", "Axis"}, "Request does not contain nominal location and/or axis!")
      .Nominal("Radius",
               shared::RequestKey(&Parts::Radius, Rule::kGivenPositive,
                                  "Request does not contain valid nominal radius!"),
               "Offset",
               shared::RequestKey(&C::_bottom_offset, Rule::kGivenPositive,
                                  "Request does not contain valid nominal offset!"),
               "Height",
               shared::RequestKey(&C::_height, Rule::kGivenPositive,
                                  "Request does not contain valid nominal height!"),
               "RadiusTolerance", shared::RequestKey(&C::_radius_tolerance, Rule::kIfPositive),
               "PlaneTolerance", shared::RequestKey(&C::_plane_tolerance, Rule::kIfPositive),
               "Location", &Parts::Center)
      .Unit("Axis", &Parts::Axis);
}

shared::Settings CylinderFeature::SettingsTable(const CylinderKind& kind) {
  using C = CylinderFeature;
  return shared::Settings(kind.name, kind.label)
      .Parameter(L"FixAxis", &C::_fix_axis, L"FixRadius", &C::_fix_radius, L"PointSpacing",
                 &C::_point_spacing, L"LineSpacing", &C::_line_spacing, L"QualityThreshold",
                 &C::_quality_threshold)
      .SearchAndRescan()
      .Parameter(L"IDCMethod", &C::_idc_method)
      .Nominal(L"NominalCylinderAxis", &Parts::Axis, L"NominalCylinderCenter", &Parts::Center,
               L"NominalCylinderRadius", &Parts::Radius, L"NominalCylinderBottomOffset",
               &C::_bottom_offset, L"NominalCylinderHeight", &C::_height, L"RadiusTolerance",
               &C::_radius_tolerance, L"PlaneTolerance", &C::_plane_tolerance, L"MinIncidentAngle",
               &C::_min_incident_angle)
      .Result(L"FittedCylinderAxis", &Parts::FittedAxis, L"FittedCylinderCenter",
              &Parts::FittedCenter, L"FittedCylinderRadius", &Parts::FittedRadius);
}

shared::SearchNominal CylinderFeature::SearchTable(const CylinderKind& kind) {
  const auto reach = shared::NumberOf(+[](const CylinderFeature& c) {
    return 2.0 * c._nominal_cylinder._radius * c._search_radius_multiplier;
  });
  const auto opening =
      shared::NumberOf(+[](const CylinderFeature& c) { return 2.0 * c._nominal_cylinder._radius; });
  const shared::SearchWords words{.original_center = "Original _nominal_cylinder._center: ",
                                  .original_normal = "Original _nominal_cylinder._axis: ",
                                  .updated_center = "Updated _nominal_cylinder._center: ",
                                  .updated_normal = "Updated _nominal_cylinder._axis: "};
  return {&Parts::Center,
          &Parts::Axis,
          &CylinderFeature::_quality_threshold,
          &CylinderFeature::_scan_origin,
          reach,
          reach,
          opening,
          words,
          kind.axis_points_away};
}

}  // namespace libmfx::features
