#include "messages/request.h"
#include "features/shared/feature_class.h"
#include "libmfx/features/slot.h"

namespace libmfx::features {

Slot::Slot() = default;

Slot::Slot(std::string json) : Slot(messages::Request(json)) {}

Slot::Slot(const messages::Request& request) { ReadRequest(request); }

shared::RequestKeys Slot::RequestTable() {
  return shared::RequestKeys(&Slot::_scan_origin)
      .Root("ScanQualityThreshold", &Slot::QualityThreshold, "PointSpacing", &Slot::PointSpacing,
            "ClearanceZone", &Slot::ClearanceZone, "ScanPassesPerSide", &Slot::ScanPassesPerSide)
      .With(SharedKeys)
      .Root("ScanPassesPerArc",
            shared::RequestKey(&Slot::ScanPassesPerArc, shared::Rule::kPositive,
                               "Request does not contain valid scan passes number for slot arcs!"))
      .Oblong(&Slot::NominalPoint, &Slot::NominalNormal, &Slot::NominalTangent, &Slot::Length,
              &Slot::Width);
}

shared::Settings Slot::SettingsTable() {
  // "Length" and "Width" stand twice: by name a host reaches the nominal.
  return shared::Settings("Slot", L"Slot")
      .Nominal(L"Length", &Slot::Length, L"Width", &Slot::Width, L"NominalPoint",
               &Slot::NominalPoint, L"NominalNormal", &Slot::NominalNormal, L"NominalTangent",
               &Slot::NominalTangent)
      .Parameter(L"QualityThreshold", &Slot::QualityThreshold, L"ClearanceZone",
                 &Slot::ClearanceZone, L"ScanPassesPerArc", &Slot::ScanPassesPerArc,
                 L"ScanPassesPerSide", &Slot::ScanPassesPerSide, L"PointSpacing",
                 &Slot::PointSpacing)
      .With(SharedSettings)
      .Parameter(L"IDCMethod", &Slot::IDCMethod)
      .Result(L"MeasuredPoint", &Slot::MeasuredPoint, L"MeasuredNormal", &Slot::MeasuredNormal,
              L"MeasuredTangent", &Slot::MeasuredTangent, L"Length", &Slot::MeasuredLength,
              L"Width", &Slot::MeasuredWidth);
}

shared::SearchNominal Slot::SearchTable() {
  const auto reach = shared::NumberOf(
      +[](const Slot& slot) { return slot.Length * slot._search_radius_multiplier; });
  const auto opening = shared::NumberOf(+[](const Slot& slot) { return slot.Width; });
  return {&Slot::NominalPoint,
          &Slot::NominalNormal,
          &Slot::QualityThreshold,
          &Slot::_scan_origin,
          reach,
          reach,
          opening,
          shared::kOpeningSearchWords};
}

const shared::FeatureClass& Slot::Class() const {
  static const auto slot = shared::MakeClass<Slot>(SettingsTable(), RequestTable(), PlanTable(),
                                                   ResultTable(), SearchTable());
  return slot;
}

std::shared_ptr<win32_support::FeatureDescriptor> Slot::FeatureDescriptor() {
  return shared::DescriptorOf<Slot>();
}

}  // namespace libmfx::features
