#include "features/shared/result_message.h"

#include <ostream>

#include "libmfx/features/hole.h"

namespace libmfx::features {

std::string Hole::GenerateResult() const {
  _logger[log::LOG_LEVEL_1] << "GenerateResult() called." << std::endl;
  std::string text = shared::FramedResult(
      {"HoleTargetResult", GetIsSuccessful(), GetError(), _uuid, _name, GetWarnings()},
      [this](shared::ResultMessage& message) {
        message.Add("Location", _measured_center)
            .Add("Normal", _measured_normal)
            .Add("Radius", _measured_radius)
            .Add("Quality", _quality);
      },
      [this](shared::ResultMessage& message) { message.AddScanData("LR_XYZ", _scan_cloud); });
  _logger[log::LOG_LEVEL_1] << "GenerateResult() done." << std::endl;
  return text;
}

}  // namespace libmfx::features
