#include "features/shared/result_keys.h"
#include "libmfx/features/rectangle.h"

namespace libmfx::features {

shared::ResultKeys Rectangle::ResultTable() {
  return shared::ResultKeys("RectangleTargetResult")
      .Add("Location", &Rectangle::MeasuredPoint)
      .Add("Normal", &Rectangle::MeasuredNormal)
      .Add("Tangent", &Rectangle::MeasuredTangent)
      .Add("Length", &Rectangle::MeasuredLength)
      .Add("Width", &Rectangle::MeasuredWidth)
      .Cloud(&Rectangle::_scan_cloud);
}

}  // namespace libmfx::features
