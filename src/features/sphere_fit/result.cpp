#include <ostream>

#include "features/shared/result_keys.h"
#include "libmfx/features/sphere_fit.h"
#include "messages/result_message.h"

namespace libmfx::features {

shared::ResultKeys SphereFit::ResultTable() {
  return shared::ResultKeys("MatteSphereTargetResult")
      .Add("Location", &SphereFit::MeasuredPoint, "Radius", &SphereFit::MeasuredRadius, "Quality",
           &SphereFit::Quality);
}

// Of its own: its failure has a place too, and what stands around the samples differs.
std::string SphereFit::GenerateResult() const {
  _logger[log::LOG_LEVEL_1] << "GenerateResult() called." << std::endl;
  messages::ResultMessage message;
  message.Add("$type", "MatteSphereTargetResult");
  if (GetIsSuccessful()) {
    message.Add("Location", MeasuredPoint).Add("Radius", MeasuredRadius);
  } else {
    message.Add("ErrorMessage", GetError()).Add("Location", PointXYZW(), 1);
  }
  message.AddScanData("LR_AER", _scan_data);
  message.Add("Quality", Quality, 2);
  message.Add("Success", GetIsSuccessful()).Add("Target", _target_uuid);
  if (!_name.empty()) message.Add("Name", _name);
  message.Add("FinalFitcount", _final_fit_count).AddEnd(GetWarnings());
  std::string text = message.Finish();
  _logger[log::LOG_LEVEL_1] << "GenerateResult() done." << std::endl;
  return text;
}

}  // namespace libmfx::features
