#include "features/shared/feature_class.h"
#include "libmfx/features/polygon.h"

namespace libmfx::features {

Polygon::Polygon() = default;

Polygon::Polygon(std::string json) { ReadRequest(json); }

shared::RequestKeys Polygon::RequestTable() {
  return shared::RequestKeys(&Polygon::_scan_origin)
      .Root("ScanQualityThreshold", &Polygon::QualityThreshold)
      .Root("ClearanceZone", &Polygon::ClearanceZone)
      .Root("ScansPerSide", &Polygon::ScansPerSide)
      .Root("PointSpacing", &Polygon::PointSpacing)
      .SearchAndRescan()
      .Need({"Location", "Normal", "Axis", "Sides", "Radius"},
            "Request does not contain valid nominal location, orientation, and/or geometry!")
      .Nominal("Location", &Polygon::NominalPoint)
      .Unit("Normal", &Polygon::NominalNormal, "Nominal normal is zero!")
      .Unit("Axis", &Polygon::NominalAxis, "Nominal axis is zero!")
      .Nominal("Sides", &Polygon::Sides)
      .Nominal("Radius", &Polygon::_input_radius);
}

shared::Settings Polygon::SettingsTable() {
  // The axes' settings reach the normals and "MeasuredRadius" the nominal radius: hosts know it so.
  return shared::Settings()
      .Nominal(L"NominalPoint", &Polygon::NominalPoint,
               L"Nominal polygon center in cartesian coordinates")
      .Nominal(L"NominalNormal", &Polygon::NominalNormal,
               L"Nominal polygon normal in cartesian coordinates")
      .Nominal(L"NominalAxis", &Polygon::NominalNormal,
               L"Nominal polygon axis of symmetry in cartesian coordinates")
      .Nominal(L"NominalRadius", &Polygon::_unused_nominal_radius)
      .Nominal(L"Sides", &Polygon::Sides, L"Number of sides")
      .Parameter(L"QualityThreshold", &Polygon::QualityThreshold)
      .Parameter(L"PointSpacing", &Polygon::PointSpacing)
      .Parameter(L"ClearanceZone", &Polygon::ClearanceZone)
      .Parameter(L"ScansPerSide", &Polygon::ScansPerSide, L"Scans per side")
      .SearchAndRescan()
      .Parameter(L"IDCMethod", &Polygon::IDCMethod)
      .Result(L"MeasuredPoint", &Polygon::MeasuredPoint,
              L"Measured polygon center in cartesian coordinates")
      .Result(L"MeasuredNormal", &Polygon::MeasuredNormal,
              L"Measured polygon normal in cartesian coordinates")
      .Result(L"MeasuredAxis", &Polygon::MeasuredNormal,
              L"Measured polygon axis of symmetry in cartesian coordinates")
      .Result(L"MeasuredRadius", &Polygon::_input_radius, L"Measured radius")
      .Result(L"Quality", &Polygon::_quality);
}

shared::SearchNominal Polygon::SearchTable() {
  shared::SearchWords words = shared::kOpeningSearchWords;
  words.updated_center = "Updated _input_location: ";
  return {.center = &Polygon::NominalPoint,
          .normal = &Polygon::NominalNormal,
          .quality_threshold = &Polygon::QualityThreshold,
          .scan_origin = &Polygon::_scan_origin,
          .spiral = shared::NumberOf(
              +[](const Polygon& p) { return p._search_radius_multiplier * p._input_radius; }),
          .reach = shared::NumberOf(+[](const Polygon& p) {
            return 2.0 * p._input_radius * p._search_radius_multiplier;
          }),
          .opening = shared::NumberOf(+[](const Polygon& p) { return 2.0 * p._input_radius; }),
          .words = words};
}

const shared::FeatureClass& Polygon::Class() const {
  static const auto polygon =
      shared::MakeClass<Polygon>("Polygon", L"Polygon", SettingsTable(), RequestTable(),
                                 PlanTable(), ResultTable(), SearchTable());
  return polygon;
}

std::shared_ptr<win32_support::FeatureDescriptor> Polygon::FeatureDescriptor() {
  return shared::DescriptorOf<Polygon>();
}

}  // namespace libmfx::features
