#include "libmfx/features/unknown_feature.h"

#include "features/shared/request.h"
#include "features/shared/result_message.h"
#include "features/shared/settings.h"

namespace libmfx::features {

UnknownFeature::UnknownFeature() = default;

UnknownFeature::UnknownFeature(std::string json) {
  const shared::Request request(json);
  if (!request.ok()) return;
  request.root().Read("$id", _id);
  request.feature().Read("Name", _name);
  request.root().Read("$type", _type);
}

const std::string& UnknownFeature::FeatureName() {
  static const std::string name = "UnknownFeature";
  return name;
}

std::shared_ptr<win32_support::FeatureDescriptor> UnknownFeature::FeatureDescriptor() {
  static const auto descriptor = shared::MakeDescriptor<UnknownFeature>(
      L"UnknownFeature", L"A feature that is not recognized by this library");
  return shared::Captured(descriptor);
}

std::size_t UnknownFeature::OffsetOfSetting(const std::wstring& name) const {
  return shared::OffsetIn(*FeatureDescriptor(), name);
}

void UnknownFeature::ResetSettings() { shared::ResetToDefaults(*this, *FeatureDescriptor()); }

std::queue<Position> UnknownFeature::GenerateDrivePoints() { return {}; }

bool UnknownFeature::Analyze() {
  SetError("Unknown feature");
  return false;
}

std::string UnknownFeature::GenerateResult() const {
  shared::ResultMessage message;
  // "Success" is the text in quotes here, not a boolean: hosts rely on it.
  message.Add("$type", _type).Add("$id", _id).Add("Success", "false");
  if (!_name.empty()) message.Add("Name", _name);
  message.Add("ErrorMessage", "The feature type requested is not supported!");
  return message.Finish();
}

}  // namespace libmfx::features
