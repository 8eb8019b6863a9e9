#include "libmfx/features/stud.h"

#include "features/cylinder/table.h"

namespace libmfx::features {
namespace {

constexpr auto kStud = CylinderKind{.quality_key = "QualityThreshold",
                                    .result_type = "StudTargetResult",
                                    .rounding = 0.0,
                                    .axis_points_away = false};

}  // namespace

Stud::Stud() : CylinderFeature(kStud) {}

Stud::Stud(std::string json) : Stud() {
  _nominals_valid = ReadRequest(json);
  if (_nominals_valid) Stud::ValidateNominals();
}

const std::string& Stud::FeatureName() {
  static const std::string name = "Stud";
  return name;
}

std::shared_ptr<win32_support::FeatureDescriptor> Stud::FeatureDescriptor() {
  static const auto descriptor =
      MakeTable<Stud>(L"Stud", L"Performs cylinder fitting for stud scan data",
                      L"The minimum angle to the feature to extract a Stud reliably (rad)");
  return shared::Captured(descriptor);
}

std::size_t Stud::OffsetOfSetting(const std::wstring& name) const {
  return shared::OffsetIn(*FeatureDescriptor(), name);
}

void Stud::ResetSettings() { shared::ResetToDefaults(*this, *FeatureDescriptor()); }

bool Stud::ValidateNominals() {
  if (!_nominals_valid) return Fail("Original JSON was invalid!");
  if (!(FacingOfAxis() >= _min_incident_angle)) {
    return Fail("The angle of the feature is too small for a reliable extraction!");
  }
  return true;
}

}  // namespace libmfx::features
