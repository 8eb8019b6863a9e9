#include "libmfx/features/unknown_feature.h"

#include "features/shared/feature_class.h"
#include "messages/request.h"
#include "messages/result_message.h"

namespace libmfx::features {

UnknownFeature::UnknownFeature() = default;

UnknownFeature::UnknownFeature(std::string json) : UnknownFeature(messages::Request(json)) {}

UnknownFeature::UnknownFeature(const messages::Request& request) {
  if (request.ok()) Class().request.Read(request, *this);
}

const shared::FeatureClass& UnknownFeature::Class() const {
  static const auto unknown = shared::MakeClass<UnknownFeature>(
      shared::Settings("UnknownFeature", L"A feature that is not recognized by this library"),
      shared::RequestKeys()
          .Root("$id", &UnknownFeature::_id, "$type", &UnknownFeature::_type)
          .Nominal("Name", &UnknownFeature::_name));
  return unknown;
}

std::shared_ptr<win32_support::FeatureDescriptor> UnknownFeature::FeatureDescriptor() {
  return shared::DescriptorOf<UnknownFeature>();
}

std::queue<Position> UnknownFeature::GenerateDrivePoints() { return {}; }

bool UnknownFeature::Analyze() { return Fail("Unknown feature"); }

std::string UnknownFeature::GenerateResult() const {
  messages::ResultMessage message;
  // "Success" is the text in quotes here, not a boolean: hosts rely on it.
  message.Add("$type", _type).Add("$id", _id).Add("Success", "false");
  if (!_name.empty()) message.Add("Name", _name);
  message.Add("ErrorMessage", "The feature type requested is not supported!");
  return message.AddEnd(GetWarnings()).Finish();
}

}  // namespace libmfx::features
