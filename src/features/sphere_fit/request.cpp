#include "messages/request.h"
#include "features/shared/feature_class.h"
#include "libmfx/features/sphere_fit.h"

namespace libmfx::features {

SphereFit::SphereFit() = default;

SphereFit::SphereFit(std::string json) : SphereFit(messages::Request(json)) {}

SphereFit::SphereFit(const messages::Request& request) {
  if (ReadRequest(request)) _nominal_aer = AzElRange(NominalPoint);
}

shared::RequestKeys SphereFit::RequestTable() {
  using shared::Rule;
  // The switches of this class are numbers in a request: a string that says "true" is 0.
  return shared::RequestKeys()
      .Root("$id", &SphereFit::_target_uuid)
      .Nominal("Name", &SphereFit::_name)
      .Root("QualityThreshold", &SphereFit::QualityThreshold, "ScanLines", &SphereFit::ScanLines,
            "NumPointsPerLine", &SphereFit::NumPointsPerLine, "ScanElevation",
            shared::RequestKey(&SphereFit::ScanElevation, Rule::kSwitch), "BoxDimensionRatio",
            &SphereFit::BoxDimensionRatio, "UseStarPattern",
            shared::RequestKey(&SphereFit::StarScanPattern, Rule::kSwitch), "StdMultiplier",
            &SphereFit::StdMultiplier, "ScanOrigin", &SphereFit::_scan_origin)
      .Need({"Location"}, "Request does not contain nominal location!")
      .Nominal("Radius", shared::RequestKey(&SphereFit::NominalRadius, Rule::kValue), "Location",
               &SphereFit::NominalPoint);
}

shared::Settings SphereFit::SettingsTable() {
  return shared::Settings("MatteSphere", L"Matte Sphere")
      .Nominal(L"NominalPoint", &SphereFit::NominalPoint, L"NominalRadius",
               &SphereFit::NominalRadius)
      .Parameter(L"ScanLines", &SphereFit::ScanLines, L"NumPointsPerLine",
                 &SphereFit::NumPointsPerLine, L"ScanElevation", &SphereFit::ScanElevation,
                 L"QualityThreshold", &SphereFit::QualityThreshold, L"BoxDimensionRatio",
                 &SphereFit::BoxDimensionRatio, L"AdvancedFilter", &SphereFit::AdvancedFilter,
                 L"StarScanPattern", &SphereFit::StarScanPattern, L"UserFilters",
                 &SphereFit::UserFilters, L"FitTolerance", &SphereFit::FitTolerance,
                 L"FilterTolerance", &SphereFit::FilterTolerance, L"StdMultiplier",
                 &SphereFit::StdMultiplier, L"NumSamplePoints", &SphereFit::NumSamplePoints)
      .SearchAndRescan()
      .Parameter(L"IDCMethod", &SphereFit::IDCMethod)
      .Result(L"MeasuredPoint", &SphereFit::MeasuredPoint, L"MeasuredRadius",
              &SphereFit::MeasuredRadius, L"Quality", &SphereFit::Quality);
}

const shared::FeatureClass& SphereFit::Class() const {
  static const auto sphere =
      shared::MakeClass<SphereFit>(SettingsTable(), RequestTable(), PlanTable(), ResultTable());
  return sphere;
}

std::shared_ptr<win32_support::FeatureDescriptor> SphereFit::FeatureDescriptor() {
  return shared::DescriptorOf<SphereFit>();
}

}  // namespace libmfx::features
