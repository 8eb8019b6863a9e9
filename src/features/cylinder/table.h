#pragma once

#include "features/shared/settings.h"
#include "libmfx/features/cylinder_feature.h"

namespace libmfx::features {

template <typename T>
std::shared_ptr<win32_support::FeatureDescriptor> CylinderFeature::MakeTable(
    const wchar_t* name, const wchar_t* label, const wchar_t* least_angle) {
  using shared::Row;
  using win32_support::KIND_NOMINAL;
  using win32_support::KIND_PARAMETER;
  using win32_support::KIND_RESULT;
  using C = CylinderFeature;
  return shared::MakeDescriptor<T>(
      name, label,
      Row(L"FixAxis", L"Fix the cylinder axis during fitting", KIND_PARAMETER, &C::_fix_axis),
      Row(L"FixRadius", L"Fix the cylinder radius during fitting", KIND_PARAMETER, &C::_fix_radius),
      Row(L"PointSpacing", L"The point spacing for the scan", KIND_PARAMETER, &C::_point_spacing),
      Row(L"LineSpacing", L"The line spacing for the scan", KIND_PARAMETER, &C::_line_spacing),
      Row(L"QualityThreshold", L"Minimum required quality of the scan data", KIND_PARAMETER,
          &C::_quality_threshold),
      Row(L"SearchEnabled", L"The search functionality to be enabled", KIND_PARAMETER,
          &C::_search_enabled),
      Row(L"RescanThreshold", L"The threshold distance for the re-scan", KIND_PARAMETER,
          &C::_rescan_threshold),
      Row(L"IDCMethod", shared::kIdcMethodLabel, KIND_PARAMETER, &C::_idc_method),
      Row(L"NominalCylinderAxis", L"The axis of the nominal cylinder", KIND_NOMINAL,
          [](C& c) -> PointXYZW& { return c._nominal_cylinder._axis; }),
      Row(L"NominalCylinderCenter", L"The center of the nominal cylinder", KIND_NOMINAL,
          [](C& c) -> PointXYZW& { return c._nominal_cylinder._center; }),
      Row(L"NominalCylinderRadius", L"The radius of the nominal cylinder", KIND_NOMINAL,
          [](C& c) -> double& { return c._nominal_cylinder._radius; }),
      Row(L"NominalCylinderBottomOffset",
          L"Any points whose distance to the nominal plane is less than this offset will be "
          L"rejected before fitting. The nominal plane is defined as the plane passing the nominal "
          L"cylinder center and perpendicular to the nominal cylinder axis.",
          KIND_NOMINAL, &C::_bottom_offset),
      Row(L"NominalCylinderHeight", L"The height of the nominal cylinder", KIND_NOMINAL,
          &C::_height),
      Row(L"RadiusTolerance", L"The tolerance of the radius of the cylinder", KIND_NOMINAL,
          &C::_radius_tolerance),
      Row(L"PlaneTolerance", L"The tolerance of the distance from the base plane", KIND_NOMINAL,
          &C::_plane_tolerance),
      Row(L"MinIncidentAngle", least_angle, KIND_NOMINAL, &C::_min_incident_angle),
      Row(L"FittedCylinderAxis", L"The axis of the fitted cylinder", KIND_RESULT,
          [](C& c) -> PointXYZW& { return c._fitted_cylinder._axis; }),
      Row(L"FittedCylinderCenter", L"The center of the fitted cylinder", KIND_RESULT,
          [](C& c) -> PointXYZW& { return c._fitted_cylinder._center; }),
      Row(L"FittedCylinderRadius", L"The radius of the fitted cylinder", KIND_RESULT,
          [](C& c) -> double& { return c._fitted_cylinder._radius; }));
}

}  // namespace libmfx::features
