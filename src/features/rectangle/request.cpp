#include "libmfx/features/rectangle.h"

#include "features/shared/feature_class.h"

namespace libmfx::features {

Rectangle::Rectangle() = default;

Rectangle::Rectangle(std::string json) { ReadRequest(json); }

shared::RequestKeys Rectangle::RequestTable() {
  return shared::RequestKeys(&Rectangle::_scan_origin)
      .Root("ScanQualityThreshold", &Rectangle::QualityThreshold)
      .Root("ClearanceZone", &Rectangle::ClearanceZone)
      .Root("ScansPerSide", &Rectangle::ScanPassesPerSide)
      .Root("PointSpacing", &Rectangle::PointSpacing)
      .SearchAndRescan()
      .Oblong(&Rectangle::NominalPoint, &Rectangle::NominalNormal, &Rectangle::NominalTangent,
              &Rectangle::NominalLength, &Rectangle::NominalWidth);
}

shared::Settings Rectangle::SettingsTable() {
  return shared::Settings()
      .Nominal(L"NominalLength", &Rectangle::NominalLength, L"Rectangle Length")
      .Nominal(L"NominalWidth", &Rectangle::NominalWidth, L"Rectangle Width")
      .Nominal(L"NominalPoint", &Rectangle::NominalPoint)
      .Nominal(L"NominalNormal", &Rectangle::NominalNormal)
      .Nominal(L"NominalTangent", &Rectangle::NominalTangent)
      .Parameter(L"QualityThreshold", &Rectangle::QualityThreshold)
      .Parameter(L"ClearanceZone", &Rectangle::ClearanceZone)
      .Parameter(L"ScanPassesPerSide", &Rectangle::ScanPassesPerSide)
      .Parameter(L"PointSpacing", &Rectangle::PointSpacing, L"Scan point spacing")
      .SearchAndRescan()
      .Parameter(L"IDCMethod", &Rectangle::IDCMethod)
      .Result(L"MeasuredPoint", &Rectangle::MeasuredPoint)
      .Result(L"MeasuredNormal", &Rectangle::MeasuredNormal)
      .Result(L"MeasuredTangent", &Rectangle::MeasuredTangent)
      .Result(L"MeasuredLength", &Rectangle::MeasuredLength, L"Rectangle Length")
      .Result(L"MeasuredWidth", &Rectangle::MeasuredWidth, L"Rectangle Width");
}

shared::SearchNominal Rectangle::SearchTable() {
  const auto reach = shared::NumberOf(+[](const Rectangle& rectangle) {
    return rectangle.NominalLength * rectangle._search_radius_multiplier;
  });
  return {.center = &Rectangle::NominalPoint,
          .normal = &Rectangle::NominalNormal,
          .quality_threshold = &Rectangle::QualityThreshold,
          .scan_origin = &Rectangle::_scan_origin,
          .spiral = reach,
          .reach = reach,
          .opening = shared::NumberOf(+[](const Rectangle& r) { return r.NominalWidth; }),
          .words = shared::kOpeningSearchWords};
}

const shared::FeatureClass& Rectangle::Class() const {
  static const auto rectangle =
      shared::MakeClass<Rectangle>("Rectangle", L"Rectangle", SettingsTable(), RequestTable(),
                                   PlanTable(), ResultTable(), SearchTable());
  return rectangle;
}

std::shared_ptr<win32_support::FeatureDescriptor> Rectangle::FeatureDescriptor() {
  return shared::DescriptorOf<Rectangle>();
}

}  // namespace libmfx::features
