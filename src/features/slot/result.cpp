#include "features/shared/result_keys.h"
#include "libmfx/features/slot.h"

namespace libmfx::features {

shared::ResultKeys Slot::ResultTable() {
  return shared::ResultKeys("SlotTargetResult")
      .Add("Location", &Slot::MeasuredPoint, "Normal", &Slot::MeasuredNormal, "Tangent",
           &Slot::MeasuredTangent, "Length", &Slot::MeasuredLength, "Width", &Slot::MeasuredWidth)
      .Cloud(&Slot::_scan_cloud);
}

}  // namespace libmfx::features
