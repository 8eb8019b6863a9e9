#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "features/shared/plan_checks.h"
#include "features/shared/request_keys.h"
#include "features/shared/result_keys.h"
#include "features/shared/search.h"
#include "features/shared/settings.h"

/// \file
/// What a feature class says of itself, once, as tables. `Feature` reads requests, refuses plans,
/// searches, writes results and reaches settings by them, so that a class has code only for what it
/// alone does.

namespace libmfx::features::shared {

/// What a search moves, and how large what it looks for is. Lengths are metres.
struct SearchNominal {
  using Length = std::function<double(const Feature&)>;

  Member center;
  Member normal;
  Member quality_threshold;
  Member scan_origin;
  Length spiral;   ///< radius of the pattern around the centre, search radius multiplier included
  Length reach;    ///< from the centre to the farthest sample that counts, the same
  Length opening;  ///< least width of the gap in the surface
  SearchWords words = {};
  bool points_away = false;
};

/// A function of a class as the tables keep it.
template <typename T>
std::function<double(const Feature&)> NumberOf(double (*number)(const T&)) {
  return [number](const Feature& feature) { return number(static_cast<const T&>(feature)); };
}

struct FeatureClass {
  std::string name;                                              ///< of log lines
  std::shared_ptr<win32_support::FeatureDescriptor> descriptor;  ///< null: it has no settings
  RequestKeys request = {};
  PlanChecks plan = {};
  ResultKeys result = {};
  std::optional<SearchNominal> search = {};  ///< none: its measurement has no stages
};

/// Reaches the protected side of a feature for the tables.
struct FeatureAccess {
  static Member Id() { return &Feature::_uuid; }
  static Member Name() { return &Feature::_name; }
  static Member RescanThreshold() { return &Feature::_rescan_threshold; }
  static Member SearchEnabled() { return &Feature::_search_enabled; }
  static Member SearchPointSpacing() { return &Feature::_search_point_spacing; }
  static Member SearchRadiusMultiplier() { return &Feature::_search_radius_multiplier; }
  static void* Address(const Feature& feature, const std::wstring& name) {
    return feature.AddressOfSetting(name);
  }
  /// The result message of a failure that the feature has no text for, with this one. The feature
  /// stays as it is: its host may go on with it.
  static std::string ResultTelling(Feature& feature, std::string why) {
    feature._error.swap(why);
    std::string result = feature.GetResult();
    feature._error.swap(why);
    return result;
  }
  static const FeatureClass& ClassOf(const Feature& feature) { return feature.Class(); }
};

/// The class T by its tables.
template <typename T>
FeatureClass MakeClass(const Settings& settings, RequestKeys request = {}, PlanChecks plan = {},
                       ResultKeys result = {}, std::optional<SearchNominal> search = {}) {
  std::shared_ptr<win32_support::FeatureDescriptor> descriptor = MakeDescriptor<T>(settings);
  T probe;
  descriptor->_request = request.Described(settings.name(), probe);
  return {settings.name(), std::move(descriptor), std::move(request),
          std::move(plan), std::move(result),     std::move(search)};
}

/// The descriptor of a live feature's class.
/// \throws std::out_of_range if the class has none
std::shared_ptr<win32_support::FeatureDescriptor> DescriptorOf(const Feature& feature);

/// What T::FeatureDescriptor() returns.
template <typename T>
std::shared_ptr<win32_support::FeatureDescriptor> DescriptorOf() {
  static const std::shared_ptr<win32_support::FeatureDescriptor> descriptor =
      FeatureAccess::ClassOf(T()).descriptor;
  return Captured(descriptor);
}

}  // namespace libmfx::features::shared
