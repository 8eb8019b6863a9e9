#include "features/shared/result_keys.h"
#include "libmfx/features/slot.h"

namespace libmfx::features {

shared::ResultKeys Slot::ResultTable() {
  return shared::ResultKeys("SlotTargetResult")
      .Add("Location", &Slot::MeasuredPoint)
      .Add("Normal", &Slot::MeasuredNormal)
      .Add("Tangent", &Slot::MeasuredTangent)
      .Add("Length", &Slot::MeasuredLength)
      .Add("Width", &Slot::MeasuredWidth)
      .Cloud(&Slot::_scan_cloud);
}

}  // namespace libmfx::features
