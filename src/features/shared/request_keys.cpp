#include "features/shared/request_keys.h"

#include <algorithm>
#include <type_traits>
#include <utility>

#include "features/shared/directions.h"
#include "features/shared/feature_class.h"
#include "messages/request.h"

namespace libmfx::features::shared {

using messages::Request;
using messages::Value;

namespace {

/// Reads one value by its rule, or as a direction.
/// \returns false if it is refused
struct ReadValue {
  const Value& object;
  std::string_view key;
  Rule rule;
  bool unit;         ///< made unit
  bool refuse_zero;  ///< a direction that is none

  template <typename T>
  bool operator()(T& target) const {
    if constexpr (std::is_arithmetic_v<T>) {
      return ReadNumber(target);
    } else if constexpr (requires { object.Read(key, target); }) {
      if (unit) return ReadUnit(target);
      if (!object.Read(key, target) && rule == Rule::kValue) target = T();
    }
    return true;
  }

  template <typename T>
  bool ReadNumber(T& target) const {
    if (rule == Rule::kSwitch) {
      if (object.Has(key)) target = static_cast<T>(object[key].AsInt() != 0);
      return true;
    }
    if (rule == Rule::kIfPositive) {
      T value = T();
      if (object.Read(key, value) && value > T()) target = value;
      return true;
    }
    const bool given = object.Read(key, target);
    if (rule == Rule::kValue && !given) target = T();
    if (rule == Rule::kGivenPositive && !given) return false;
    return (rule != Rule::kGivenPositive && rule != Rule::kPositive) || target > T();
  }

  template <typename T>
  bool ReadUnit(T& target) const {
    if constexpr (!std::is_same_v<T, std::string>) {
      VectorXYZW direction;
      object.Read(key, direction);
      if (refuse_zero && direction.isZero(kZeroDirection)) return false;
      target = T(direction.normalized().eigen());
    }
    return true;
  }
};

}  // namespace

RequestKeys::RequestKeys(Member scan_origin) {
  Root("$id", FeatureAccess::Id(), "ScanOrigin", scan_origin);
  Nominal("Name", FeatureAccess::Name());
}

RequestKeys& RequestKeys::Unit(std::string_view key, Member member, std::string_view refusal) {
  _rows.push_back({true, {}, {std::move(member)}, key, true, refusal});
  return *this;
}

RequestKeys& RequestKeys::Need(std::initializer_list<std::string_view> keys,
                               std::string_view refusal) {
  _rows.push_back({true, keys, {}, {}, false, refusal});
  return *this;
}

RequestKeys& RequestKeys::Oblong(Member point, Member normal, Member tangent, Member length,
                                 Member width) {
  return Need({"Location", "Normal", "Tangent"},
              "Request does not contain nominal location, normal, and/or tangent!")
      .Nominal("Location", point)
      .Unit("Normal", std::move(normal))
      .Unit("Tangent", std::move(tangent))
      .Nominal(
          "Length",
          RequestKey(length, Rule::kPositive, "Request does not contain valid nominal length!"),
          "Width",
          RequestKey(width, Rule::kPositive, "Request does not contain valid nominal width!"));
}

RequestKeys& RequestKeys::Rescan() {
  return Root("RescanThreshold", FeatureAccess::RescanThreshold());
}

RequestKeys& RequestKeys::SearchAndRescan() {
  return Rescan().Root("SearchPointSpacing", FeatureAccess::SearchPointSpacing(),
                       "SearchRadiusMultiplier", FeatureAccess::SearchRadiusMultiplier(),
                       "SearchEnabled", FeatureAccess::SearchEnabled());
}

RequestKeys& RequestKeys::Unreadable(std::string_view refusal) {
  _unreadable = refusal;
  return *this;
}

std::string RequestKeys::Read(const std::string& json, Feature& feature) const {
  const Request request(json);
  if (!request.ok()) return std::string(_unreadable);
  for (const Row& row : _rows) {
    const Value object = row.of_feature ? request.feature() : request.root();
    bool sound = std::all_of(row.needed.begin(), row.needed.end(),
                             [&](std::string_view key) { return object.Has(key); });
    for (const RequestKey& read : row.read) {
      sound = read.member.In(feature,
                             ReadValue{object, row.key, read.rule, row.unit, !row.refusal.empty()});
    }
    if (!sound) return std::string(row.refusal);
  }
  return {};
}

}  // namespace libmfx::features::shared
