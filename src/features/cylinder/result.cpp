#include "features/cylinder/request.h"

namespace libmfx::features {

shared::ResultKeys CylinderFeature::ResultTable(const CylinderKind& kind) {
  return shared::ResultKeys(kind.result_type)
      .Add("Location", &Parts::FittedCenter, "Axis", &Parts::FittedAxis, "Radius",
           &Parts::FittedRadius);
}

}  // namespace libmfx::features
