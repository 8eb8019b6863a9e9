#include "features/shared/result_keys.h"

#include "features/shared/feature_class.h"
#include "messages/result_message.h"

namespace libmfx::features::shared {

using messages::ResultMessage;

std::string ResultKeys::Write(const Feature& feature) const {
  ResultMessage message;
  message.Add("$type", _type);
  if (feature.GetIsSuccessful()) {
    for (const Key& row : _keys) {
      row.member.In(const_cast<Feature&>(feature), [&](const auto& value) {
        if constexpr (requires { message.Add(row.key, value); }) message.Add(row.key, value);
      });
    }
  } else {
    message.Add("ErrorMessage", feature.GetError());
  }
  if (_cloud.empty()) {
    message.AddScanData(feature.GetRawData());
  } else {
    message.AddScanData("LR_XYZ", _cloud.front().As<PointCloud>(feature));
  }
  const std::string& name = FeatureAccess::Name().As<std::string>(feature);
  message.Add("Success", feature.GetIsSuccessful())
      .Add("Target", FeatureAccess::Id().As<std::string>(feature));
  if (!name.empty()) message.Add("Name", name);
  return message.AddEnd(feature.GetWarnings()).Finish();
}

std::vector<ResultValue> ResultKeys::Values(const Feature& feature) const {
  std::vector<ResultValue> values;
  for (const Key& row : _keys) {
    row.member.In(const_cast<Feature&>(feature), [&](const auto& value) {
      using Value = std::decay_t<decltype(value)>;
      if constexpr (std::is_same_v<Value, unsigned int>) {
        values.push_back({std::string(row.key), static_cast<int>(value)});
      } else if constexpr (std::is_constructible_v<decltype(ResultValue::value), Value> &&
                           !std::is_same_v<Value, bool>) {
        values.push_back({std::string(row.key), value});
      }
    });
  }
  return values;
}

}  // namespace libmfx::features::shared
