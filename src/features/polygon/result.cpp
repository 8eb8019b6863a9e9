#include "features/shared/result_keys.h"
#include "libmfx/features/polygon.h"

namespace libmfx::features {

shared::ResultKeys Polygon::ResultTable() {
  return shared::ResultKeys("PolygonTargetResult")
      .Add("Location", &Polygon::MeasuredPoint)
      .Add("Normal", &Polygon::MeasuredNormal)
      .Add("Axis", &Polygon::MeasuredAxis)
      .Add("Radius", &Polygon::_measured_radius)
      .Add("Sides", &Polygon::Sides)
      .Add("Quality", &Polygon::_quality)
      .Cloud(&Polygon::_scan_cloud);
}

}  // namespace libmfx::features
