#include "features/shared/result_keys.h"
#include "libmfx/features/pvi.h"

namespace libmfx::features {

shared::ResultKeys PVI::ResultTable() {
  return shared::ResultKeys("PVITargetResult")
      .Add("Location", &PVI::_measured_point, "Normal", &PVI::_measured_normal, "Quality",
           &PVI::_quality)
      .Cloud(&PVI::_scan_data);
}

}  // namespace libmfx::features
