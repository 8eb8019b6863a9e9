#include "features/shared/result_keys.h"
#include "libmfx/features/rectangle.h"

namespace libmfx::features {

shared::ResultKeys Rectangle::ResultTable() {
  return shared::ResultKeys("RectangleTargetResult")
      .Add("Location", &Rectangle::MeasuredPoint, "Normal", &Rectangle::MeasuredNormal, "Tangent",
           &Rectangle::MeasuredTangent, "Length", &Rectangle::MeasuredLength, "Width",
           &Rectangle::MeasuredWidth)
      .Cloud(&Rectangle::_scan_cloud);
}

}  // namespace libmfx::features
