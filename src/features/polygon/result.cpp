#include "features/shared/result_keys.h"
#include "libmfx/features/polygon.h"

namespace libmfx::features {

shared::ResultKeys Polygon::ResultTable() {
  return shared::ResultKeys("PolygonTargetResult")
      .Add("Location", &Polygon::MeasuredPoint, "Normal", &Polygon::MeasuredNormal, "Axis",
           &Polygon::MeasuredAxis, "Radius", &Polygon::_measured_radius, "Sides", &Polygon::Sides,
           "Quality", &Polygon::_quality)
      .Cloud(&Polygon::_scan_cloud);
}

}  // namespace libmfx::features
