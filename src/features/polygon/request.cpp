#include "messages/request.h"
#include "features/shared/feature_class.h"
#include "libmfx/features/polygon.h"

namespace libmfx::features {

Polygon::Polygon() = default;

Polygon::Polygon(std::string json) : Polygon(messages::Request(json)) {}

Polygon::Polygon(const messages::Request& request) { ReadRequest(request); }

shared::RequestKeys Polygon::RequestTable() {
  return shared::RequestKeys(&Polygon::_scan_origin)
      .Root("ScanQualityThreshold", &Polygon::QualityThreshold, "ClearanceZone",
            &Polygon::ClearanceZone, "ScansPerSide", &Polygon::ScansPerSide, "PointSpacing",
            &Polygon::PointSpacing)
      .With(SharedKeys)
      .Need({"Location", "Normal", "Axis", "Sides", "Radius"},
            "Request does not contain valid nominal location, orientation, and/or geometry!")
      .Nominal("Location", &Polygon::NominalPoint)
      .Unit("Normal", &Polygon::NominalNormal, "Nominal normal is zero!")
      .Unit("Axis", &Polygon::NominalAxis, "Nominal axis is zero!")
      .Nominal("Sides", &Polygon::Sides, "Radius", &Polygon::_input_radius);
}

shared::Settings Polygon::SettingsTable() {
  // The axes' settings reach the normals and "MeasuredRadius" the nominal radius: hosts know it so.
  return shared::Settings("Polygon", L"Polygon")
      .Nominal(L"NominalPoint", &Polygon::NominalPoint, L"NominalNormal", &Polygon::NominalNormal,
               L"NominalAxis", &Polygon::NominalNormal, L"NominalRadius",
               &Polygon::_unused_nominal_radius, L"Sides", &Polygon::Sides)
      .Parameter(L"QualityThreshold", &Polygon::QualityThreshold, L"PointSpacing",
                 &Polygon::PointSpacing, L"ClearanceZone", &Polygon::ClearanceZone, L"ScansPerSide",
                 &Polygon::ScansPerSide)
      .With(SharedSettings)
      .Parameter(L"IDCMethod", &Polygon::IDCMethod)
      .Result(L"MeasuredPoint", &Polygon::MeasuredPoint, L"MeasuredNormal",
              &Polygon::MeasuredNormal, L"MeasuredAxis", &Polygon::MeasuredNormal,
              L"MeasuredRadius", &Polygon::_input_radius, L"Quality", &Polygon::_quality);
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
  static const auto polygon = shared::MakeClass<Polygon>(SettingsTable(), RequestTable(),
                                                         PlanTable(), ResultTable(), SearchTable());
  return polygon;
}

std::shared_ptr<win32_support::FeatureDescriptor> Polygon::FeatureDescriptor() {
  return shared::DescriptorOf<Polygon>();
}

}  // namespace libmfx::features
