#include "libmfx/features/rectangle.h"

#include "features/shared/feature_class.h"
#include "messages/request.h"

namespace libmfx::features {

Rectangle::Rectangle() = default;

Rectangle::Rectangle(std::string json) : Rectangle(messages::Request(json)) {}

Rectangle::Rectangle(const messages::Request& request) { ReadRequest(request); }

shared::RequestKeys Rectangle::RequestTable() {
  return shared::RequestKeys(&Rectangle::_scan_origin)
      .Root("ScanQualityThreshold", &Rectangle::QualityThreshold, "ClearanceZone",
            &Rectangle::ClearanceZone, "ScansPerSide", &Rectangle::ScanPassesPerSide,
            "PointSpacing", &Rectangle::PointSpacing)
      .With(SharedKeys)
      .Oblong(&Rectangle::NominalPoint, &Rectangle::NominalNormal, &Rectangle::NominalTangent,
              &Rectangle::NominalLength, &Rectangle::NominalWidth);
}

shared::Settings Rectangle::SettingsTable() {
  return shared::Settings("Rectangle", L"Rectangle")
      .Nominal(L"NominalLength", &Rectangle::NominalLength, L"NominalWidth",
               &Rectangle::NominalWidth, L"NominalPoint", &Rectangle::NominalPoint,
               L"NominalNormal", &Rectangle::NominalNormal, L"NominalTangent",
               &Rectangle::NominalTangent)
      .Parameter(L"QualityThreshold", &Rectangle::QualityThreshold, L"ClearanceZone",
                 &Rectangle::ClearanceZone, L"ScanPassesPerSide", &Rectangle::ScanPassesPerSide,
                 L"PointSpacing", &Rectangle::PointSpacing)
      .With(SharedSettings)
      .Parameter(L"IDCMethod", &Rectangle::IDCMethod)
      .Result(L"MeasuredPoint", &Rectangle::MeasuredPoint, L"MeasuredNormal",
              &Rectangle::MeasuredNormal, L"MeasuredTangent", &Rectangle::MeasuredTangent,
              L"MeasuredLength", &Rectangle::MeasuredLength, L"MeasuredWidth",
              &Rectangle::MeasuredWidth);
}

shared::SearchNominal Rectangle::SearchTable() {
  const auto reach = shared::NumberOf(+[](const Rectangle& rectangle) {
    return rectangle.NominalLength * rectangle._search_radius_multiplier;
  });
  const auto opening =
      shared::NumberOf(+[](const Rectangle& rectangle) { return rectangle.NominalWidth; });
  return {&Rectangle::NominalPoint,
          &Rectangle::NominalNormal,
          &Rectangle::QualityThreshold,
          &Rectangle::_scan_origin,
          reach,
          reach,
          opening,
          shared::kOpeningSearchWords};
}

const shared::FeatureClass& Rectangle::Class() const {
  static const auto rectangle = shared::MakeClass<Rectangle>(
      SettingsTable(), RequestTable(), PlanTable(), ResultTable(), SearchTable());
  return rectangle;
}

std::shared_ptr<win32_support::FeatureDescriptor> Rectangle::FeatureDescriptor() {
  return shared::DescriptorOf<Rectangle>();
}

}  // namespace libmfx::features
