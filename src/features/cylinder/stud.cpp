#include "libmfx/features/stud.h"

#include "features/cylinder/request.h"
#include "messages/request.h"

namespace libmfx::features {
namespace {

constexpr CylinderKind kStud{.name = "Stud",
                             .label = L"Performs cylinder fitting for stud scan data",
                             .quality_key = "QualityThreshold",
                             .result_type = "StudTargetResult",
                             .rounding = 0.0,
                             .axis_points_away = false};

}  // namespace

Stud::Stud() : CylinderFeature(kStud) {}

Stud::Stud(std::string json) : Stud(messages::Request(json)) {}

Stud::Stud(const messages::Request& request) : Stud() {
  if (ReadRequest(request)) Stud::ValidateNominals();
}

const shared::FeatureClass& Stud::Class() const {
  static const shared::FeatureClass stud = TablesOf<Stud>(kStud);
  return stud;
}

std::shared_ptr<win32_support::FeatureDescriptor> Stud::FeatureDescriptor() {
  return shared::DescriptorOf<Stud>();
}

bool Stud::ValidateNominals() {
  if (!_nominals_valid) return Fail("Original JSON was invalid!");
  if (!(FacingOfAxis() >= _min_incident_angle)) {
    return Fail("The angle of the feature is too small for a reliable extraction!");
  }
  return true;
}

}  // namespace libmfx::features
