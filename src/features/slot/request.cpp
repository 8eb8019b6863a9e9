#include "features/shared/feature_class.h"
#include "libmfx/features/slot.h"

namespace libmfx::features {

Slot::Slot() = default;

Slot::Slot(std::string json) { ReadRequest(json); }

shared::RequestKeys Slot::RequestTable() {
  return shared::RequestKeys(&Slot::_scan_origin)
      .Root("ScanQualityThreshold", &Slot::QualityThreshold)
      .Root("PointSpacing", &Slot::PointSpacing)
      .Root("ClearanceZone", &Slot::ClearanceZone)
      .Root("ScanPassesPerSide", &Slot::ScanPassesPerSide)
      .SearchAndRescan()
      .Root("ScanPassesPerArc", &Slot::ScanPassesPerArc, shared::Rule::kPositive,
            "Request does not contain valid scan passes number for slot arcs!")
      .Oblong(&Slot::NominalPoint, &Slot::NominalNormal, &Slot::NominalTangent, &Slot::Length,
              &Slot::Width);
}

shared::Settings Slot::SettingsTable() {
  // "Length" and "Width" stand twice: by name a host reaches the nominal.
  return shared::Settings()
      .Nominal(L"Length", &Slot::Length, L"Slot Length")
      .Nominal(L"Width", &Slot::Width, L"Slot Width")
      .Nominal(L"NominalPoint", &Slot::NominalPoint)
      .Nominal(L"NominalNormal", &Slot::NominalNormal)
      .Nominal(L"NominalTangent", &Slot::NominalTangent)
      .Parameter(L"QualityThreshold", &Slot::QualityThreshold)
      .Parameter(L"ClearanceZone", &Slot::ClearanceZone)
      .Parameter(L"ScanPassesPerArc", &Slot::ScanPassesPerArc, L"Scan passes per arc")
      .Parameter(L"ScanPassesPerSide", &Slot::ScanPassesPerSide)
      .Parameter(L"PointSpacing", &Slot::PointSpacing, L"Scan point spacing")
      .SearchAndRescan()
      .Parameter(L"IDCMethod", &Slot::IDCMethod)
      .Result(L"MeasuredPoint", &Slot::MeasuredPoint)
      .Result(L"MeasuredNormal", &Slot::MeasuredNormal)
      .Result(L"MeasuredTangent", &Slot::MeasuredTangent)
      .Result(L"Length", &Slot::MeasuredLength, L"Slot Length")
      .Result(L"Width", &Slot::MeasuredWidth, L"Slot Width");
}

shared::SearchNominal Slot::SearchTable() {
  const auto reach = shared::NumberOf(
      +[](const Slot& slot) { return slot.Length * slot._search_radius_multiplier; });
  return {.center = &Slot::NominalPoint,
          .normal = &Slot::NominalNormal,
          .quality_threshold = &Slot::QualityThreshold,
          .scan_origin = &Slot::_scan_origin,
          .spiral = reach,
          .reach = reach,
          .opening = shared::NumberOf(+[](const Slot& slot) { return slot.Width; }),
          .words = shared::kOpeningSearchWords};
}

const shared::FeatureClass& Slot::Class() const {
  static const auto slot = shared::MakeClass<Slot>("Slot", L"Slot", SettingsTable(), RequestTable(),
                                                   PlanTable(), ResultTable(), SearchTable());
  return slot;
}

std::shared_ptr<win32_support::FeatureDescriptor> Slot::FeatureDescriptor() {
  return shared::DescriptorOf<Slot>();
}

}  // namespace libmfx::features
