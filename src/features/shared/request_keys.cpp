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
  _group = win32_support::REQUEST_COMMON;
  Root("$id", FeatureAccess::Id(), "ScanOrigin", scan_origin);
  Nominal("Name", FeatureAccess::Name());
  _group = win32_support::REQUEST_OWN;
}

RequestKeys& RequestKeys::Unit(std::string_view key, Member member, std::string_view refusal) {
  _rows.push_back({win32_support::REQUEST_FEATURE, {}, {std::move(member)}, key, true, refusal});
  return *this;
}

RequestKeys& RequestKeys::Own(win32_support::RequestPlace place, std::string_view key,
                              win32_support::RequestKind kind) {
  _rows.push_back({place, {}, {}, key, false, {}, win32_support::REQUEST_OWN, kind});
  return *this;
}

RequestKeys& RequestKeys::Need(std::initializer_list<std::string_view> keys,
                               std::string_view refusal) {
  _rows.push_back({win32_support::REQUEST_FEATURE, keys, {}, {}, false, refusal});
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
  _group = win32_support::REQUEST_COMMON;
  Root("RescanThreshold", FeatureAccess::RescanThreshold());
  _group = win32_support::REQUEST_OWN;
  return *this;
}

RequestKeys& RequestKeys::SearchAndRescan() {
  Rescan();
  _group = win32_support::REQUEST_SEARCH;
  Root("SearchPointSpacing", FeatureAccess::SearchPointSpacing(), "SearchRadiusMultiplier",
       FeatureAccess::SearchRadiusMultiplier(), "SearchEnabled", FeatureAccess::SearchEnabled());
  _group = win32_support::REQUEST_OWN;
  return *this;
}

RequestKeys& RequestKeys::Unreadable(std::string_view refusal) {
  _unreadable = refusal;
  return *this;
}

std::string RequestKeys::Read(const Request& request, Feature& feature) const {
  if (!request.ok()) return std::string(_unreadable);
  for (const Row& row : _rows) {
    const bool at_root = row.place == win32_support::REQUEST_ROOT;
    const Value object = at_root ? request.root() : request.feature();
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

namespace {

/// Writes the kind and the default of a member into a row of the public table.
struct DescribeMember {
  win32_support::RequestKey& told;
  bool unit;
  Rule rule;

  template <typename T>
  void operator()(const T& value) const {
    if constexpr (std::is_arithmetic_v<T>) {
      told.kind = KindOf<T>();
      // What is read where it is missing reads like null.
      if (rule != Rule::kValue) told.default_number = static_cast<double>(value);
    } else if constexpr (std::is_same_v<T, std::string>) {
      told.kind = win32_support::REQUEST_TEXT;
    } else if constexpr (std::is_same_v<T, PointXYZW>) {
      told.kind = unit ? win32_support::REQUEST_DIRECTION : win32_support::REQUEST_POINT;
      told.default_point = value;
    } else if constexpr (std::is_same_v<T, VectorXYZW>) {
      told.kind = win32_support::REQUEST_DIRECTION;
      told.default_point = PointXYZW(value.eigen());
    }
  }

  template <typename T>
  int KindOf() const {
    if (rule == Rule::kSwitch) return win32_support::REQUEST_SWITCH;
    if (std::is_same_v<T, bool>) return win32_support::REQUEST_BOOL;
    if (std::is_same_v<T, double>) return win32_support::REQUEST_NUMBER;
    return std::is_unsigned_v<T> ? win32_support::REQUEST_COUNT : win32_support::REQUEST_WHOLE;
  }
};

int PublicRule(Rule rule, bool refuses_zero) {
  if (refuses_zero) return win32_support::REQUEST_NOT_ZERO;
  switch (rule) {
    case Rule::kIfPositive:
      return win32_support::REQUEST_IF_POSITIVE;
    case Rule::kPositive:
    case Rule::kGivenPositive:
      return win32_support::REQUEST_POSITIVE;
    default:
      return win32_support::REQUEST_ANY;
  }
}

}  // namespace

std::vector<win32_support::RequestKey> RequestKeys::Described(const std::string& feature,
                                                              Feature& probe) const {
  const auto is_needed = [this](std::string_view key) {
    return std::any_of(_rows.begin(), _rows.end(), [&](const Row& row) {
      return std::find(row.needed.begin(), row.needed.end(), key) != row.needed.end();
    });
  };
  std::vector<win32_support::RequestKey> keys;
  keys.reserve(_rows.size() + 1);
  const auto add = [&](std::string_view key, win32_support::RequestPlace place) {
    const auto [unit, meaning] = TextOfKey(feature, key);
    keys.emplace_back();
    keys.back().key = key;
    keys.back().place = place;
    keys.back().unit = unit;
    keys.back().meaning = meaning;
    return &keys.back();
  };
  auto* type = add("$type", win32_support::REQUEST_FEATURE);
  type->kind = win32_support::REQUEST_TEXT;
  type->group = win32_support::REQUEST_COMMON;
  type->required = true;
  for (const Row& row : _rows) {
    if (row.key.empty()) continue;
    auto* told = add(row.key, row.place);
    told->group = row.group;
    told->required = row.own_kind >= 0 || is_needed(row.key);
    if (row.own_kind >= 0) told->kind = row.own_kind;
    for (const RequestKey& read : row.read) {
      read.member.In(probe, DescribeMember{*told, row.unit, read.rule});
      told->rule = PublicRule(read.rule, row.unit && !row.refusal.empty());
      told->required = told->required || read.rule == Rule::kGivenPositive ||
                       (read.rule == Rule::kPositive && !(told->default_number > 0.0));
    }
  }
  return keys;
}

}  // namespace libmfx::features::shared
