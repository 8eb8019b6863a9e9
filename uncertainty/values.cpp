#include "uncertainty/values.h"

#include <algorithm>
#include <memory>
#include <variant>

#include "libmfx/features/feature.h"

namespace libmfx::uncertainty {
namespace {

using data_structures::PointXYZW;
using data_structures::VectorXYZW;

bool IsHeld(const features::Feature& feature, const wchar_t* name) {
  return feature.GetSetting<bool>(name);
}

/// Whether the result repeats what the request tells under the key.
bool IsRepeated(const features::Feature& feature, const std::string& type, std::string_view key) {
  if (key == "Radius" && (type == "RobustHole" || type == "MatteSphere")) return true;
  if (type != "Stud" && type != "ThreadedHole") return false;
  return (key == "Radius" && IsHeld(feature, L"FixRadius")) ||
         (key == "Axis" && IsHeld(feature, L"FixAxis"));
}

/// The name of the class. Asking it changes nothing, though the call is not const.
std::string TypeOf(const measurement::Measurement& measurement) {
  return const_cast<features::Feature&>(measurement.feature()).FeatureName();
}

}  // namespace

const Value* Find(const Values& values, std::string_view key) {
  const auto found =
      std::find_if(values.begin(), values.end(), [&](const Value& v) { return v.key == key; });
  return found == values.end() ? nullptr : &*found;
}

Values MeasuredValues(const measurement::Measurement& measurement) {
  const std::string type = TypeOf(measurement);
  Values values;
  for (const features::ResultValue& row : measurement.values()) {
    if (row.key == "Quality" || IsRepeated(measurement.feature(), type, row.key)) continue;
    // A class may hold its axis as a point: what a triple is, its key tells.
    const Kind kind = row.key == "Location" ? Kind::kPlace : Kind::kDirection;
    if (const auto* point = std::get_if<PointXYZW>(&row.value)) {
      values.push_back({row.key, kind, point->xyz()});
    } else if (const auto* vector = std::get_if<VectorXYZW>(&row.value)) {
      values.push_back({row.key, kind, vector->xyz()});
    } else if (const auto* size = std::get_if<double>(&row.value)) {
      values.push_back({row.key, Kind::kSize, Eigen::VectorXd::Constant(1, *size)});
    }
  }
  return values;
}

std::vector<std::string> RepeatedKeys(const std::string& request) {
  const std::unique_ptr<features::Feature> feature(features::Feature::Create(request));
  const std::string type = feature->FeatureName();
  std::vector<std::string> keys;
  for (const char* key : {"Axis", "Radius"}) {
    if (IsRepeated(*feature, type, key)) keys.emplace_back(key);
  }
  return keys;
}

}  // namespace libmfx::uncertainty
