#include <ostream>

#include "features/shared/result_keys.h"
#include "libmfx/features/hole.h"

namespace libmfx::features {

shared::ResultKeys Hole::ResultTable() {
  return shared::ResultKeys("HoleTargetResult")
      .Add("Location", &Hole::_measured_center, "Normal", &Hole::_measured_normal, "Radius",
           &Hole::_measured_radius, "Quality", &Hole::_quality)
      .Cloud(&Hole::_scan_cloud);
}

std::string Hole::GenerateResult() const {
  _logger[log::LOG_LEVEL_1] << "GenerateResult() called." << std::endl;
  std::string text = Feature::GenerateResult();
  _logger[log::LOG_LEVEL_1] << "GenerateResult() done." << std::endl;
  return text;
}

}  // namespace libmfx::features
