#include "features/shared/feature_class.h"
#include "libmfx/features/sphere_fit.h"

namespace libmfx::features {

SphereFit::SphereFit() = default;

SphereFit::SphereFit(std::string json) {
  if (ReadRequest(json)) _nominal_aer = AzElRange(NominalPoint);
}

shared::RequestKeys SphereFit::RequestTable() {
  using shared::Rule;
  // The switches of this class are numbers in a request: a string that says "true" is 0.
  return shared::RequestKeys()
      .Root("$id", &SphereFit::_target_uuid)
      .Nominal("Name", &SphereFit::_name)
      .Root("QualityThreshold", &SphereFit::QualityThreshold)
      .Root("ScanLines", &SphereFit::ScanLines)
      .Root("NumPointsPerLine", &SphereFit::NumPointsPerLine)
      .Root("ScanElevation", &SphereFit::ScanElevation, Rule::kSwitch)
      .Root("BoxDimensionRatio", &SphereFit::BoxDimensionRatio)
      .Root("UseStarPattern", &SphereFit::StarScanPattern, Rule::kSwitch)
      .Root("StdMultiplier", &SphereFit::StdMultiplier)
      .Root("ScanOrigin", &SphereFit::_scan_origin)
      .Need({"Location"}, "Request does not contain nominal location!")
      .Nominal("Radius", &SphereFit::NominalRadius, Rule::kValue)
      .Nominal("Location", &SphereFit::NominalPoint);
}

shared::Settings SphereFit::SettingsTable() {
  return shared::Settings()
      .Nominal(L"NominalPoint", &SphereFit::NominalPoint)
      .Nominal(L"NominalRadius", &SphereFit::NominalRadius, L"The radius of the nominal sphere")
      .Parameter(L"ScanLines", &SphereFit::ScanLines, L"Number of scan lines in the user pattern")
      .Parameter(L"NumPointsPerLine", &SphereFit::NumPointsPerLine,
                 L"Number of points per scan line in user pattern")
      .Parameter(L"ScanElevation", &SphereFit::ScanElevation,
                 L"Toggle for W-scan direction (false will scan in azimuth)")
      .Parameter(L"QualityThreshold", &SphereFit::QualityThreshold,
                 L"Minimum acceptable quality for a valid scanned point (Quality Filter dB value)")
      .Parameter(
          L"BoxDimensionRatio", &SphereFit::BoxDimensionRatio,
          L"Fraction of tooling ball diameter to use as the dimensions of the box that defines the "
          L"user pattern region")
      .Parameter(
          L"AdvancedFilter", &SphereFit::AdvancedFilter,
          L"Enables bin division and sampling sphere fit. If disabled, a sphere is naively fit to "
          L"the set only after a quality filter pass and then returned")
      .Parameter(L"StarScanPattern", &SphereFit::StarScanPattern,
                 L"Override W-Scan and use star pattern instead")
      .Parameter(L"UserFilters", &SphereFit::UserFilters, L"Use static user-defined filter values")
      .Parameter(
          L"FitTolerance", &SphereFit::FitTolerance,
          L"Acceptable deviation from input nominal radius (m) (only used with UserFilters is set "
          L"to true)")
      .Parameter(
          L"FilterTolerance", &SphereFit::FilterTolerance,
          L"ax point distance from fit sphere before rejection (m) (only used with UserFilters is "
          L"set to true)")
      .Parameter(L"StdMultiplier", &SphereFit::StdMultiplier,
                 L"Standard deviation multiplier for distance threshold of final fit")
      .Parameter(L"NumSamplePoints", &SphereFit::NumSamplePoints,
                 L"Number of randomly sampled points for RANSAC")
      .SearchAndRescan()
      .Parameter(L"IDCMethod", &SphereFit::IDCMethod)
      .Result(L"MeasuredPoint", &SphereFit::MeasuredPoint)
      .Result(L"MeasuredRadius", &SphereFit::MeasuredRadius, L"Radius of the measured sphere")
      .Result(L"Quality", &SphereFit::Quality);
}

const shared::FeatureClass& SphereFit::Class() const {
  static const auto sphere = shared::MakeClass<SphereFit>(
      "MatteSphere", L"Matte Sphere", SettingsTable(), RequestTable(), PlanTable());
  return sphere;
}

std::shared_ptr<win32_support::FeatureDescriptor> SphereFit::FeatureDescriptor() {
  return shared::DescriptorOf<SphereFit>();
}

}  // namespace libmfx::features
