#include "features/shared/settings.h"

#include <algorithm>
#include <stdexcept>

#include "features/shared/feature_class.h"

namespace libmfx::features {

using win32_support::FeatureSetting;

namespace {

/// Four doubles at `address`: a point and a vector have the same layout, and some tables give a
/// direction the tag of a point.
Eigen::Map<Eigen::Vector4d> FourDoubles(void* address) {
  return Eigen::Map<Eigen::Vector4d>(static_cast<double*>(address));
}

/// Copies between the default of a row and the place in an instance, in the direction asked for.
void CopyDefault(FeatureSetting& setting, void* address, bool to_instance) {
  const auto move = [to_instance](auto& in_row, auto& in_instance) {
    to_instance ? static_cast<void>(in_instance = in_row) : static_cast<void>(in_row = in_instance);
  };
  switch (setting.type) {
    case win32_support::SETTING_DOUBLE:
      return move(setting.default_double, *static_cast<double*>(address));
    case win32_support::SETTING_INT:
    case win32_support::SETTING_ENUM:
      return move(setting.default_int, *static_cast<int*>(address));
    case win32_support::SETTING_BOOL:
      return move(setting.default_bool, *static_cast<bool*>(address));
    case win32_support::SETTING_POINT_XYZ: {
      auto place = FourDoubles(address);
      return move(setting.default_point.eigen(), place);
    }
    case win32_support::SETTING_POINT_AER:
      return move(setting.default_aer, *static_cast<AzElRange*>(address));
    case win32_support::SETTING_VECTOR_XYZ: {
      auto place = FourDoubles(address);
      return move(setting.default_vector.eigen(), place);
    }
    default:
      throw std::runtime_error("Unknown setting type.");
  }
}

/// The row of a live feature's table, as a copy.
/// \throws std::out_of_range if its class or the setting is unknown
FeatureSetting RowOf(const Feature& feature, const std::wstring& name) {
  const auto descriptor = shared::DescriptorOf(feature);
  const auto& rows = descriptor->_settings;
  // A name may stand twice in a table; the first row then speaks for both.
  const auto row = std::find_if(rows.begin(), rows.end(),
                                [&](const FeatureSetting& r) { return r.name == name; });
  if (row == rows.end()) shared::OffsetIn(*descriptor, name);
  return *row;
}

}  // namespace

namespace shared {

Settings& Settings::SearchAndRescan() {
  return Parameter(L"SearchEnabled", FeatureAccess::SearchEnabled(), L"RescanThreshold",
                   FeatureAccess::RescanThreshold());
}

void Settings::WriteTo(win32_support::FeatureDescriptor& descriptor, Feature& probe) const {
  const char* start = reinterpret_cast<const char*>(&probe);
  descriptor._settings.reserve(descriptor._settings.size() + _rows.size());
  for (const auto& [kind, name, setting] : _rows) {
    const char* place = static_cast<const char*>(setting.member.AddressIn(probe));
    descriptor._settings.emplace_back(
        setting.tag < 0 ? setting.member.tag() : setting.tag, name,
        setting.label == nullptr ? LabelOf(_name, name) : setting.label, kind,
        static_cast<std::size_t>(place - start));
  }
}

std::shared_ptr<win32_support::FeatureDescriptor> DescriptorOf(const Feature& feature) {
  const auto& descriptor = FeatureAccess::ClassOf(feature).descriptor;
  if (descriptor != nullptr) return Captured(descriptor);
  // The name is a constant of the class; asking for it does not change the feature.
  throw std::out_of_range("Class " + const_cast<Feature&>(feature).FeatureName() +
                          " has no settings table");
}

void CaptureDefaults(win32_support::FeatureDescriptor& descriptor) {
  descriptor._defaults_captured = true;
  const std::unique_ptr<Feature> instance = descriptor.Instantiate();
  for (FeatureSetting& setting : descriptor._settings) {
    CopyDefault(setting, FeatureAccess::Address(*instance, setting.name), false);
  }
}

std::size_t OffsetIn(const win32_support::FeatureDescriptor& descriptor, const std::wstring& name) {
  for (const FeatureSetting& setting : descriptor._settings) {
    if (setting.name == name) return setting.offset;
  }
  // Names are plain ASCII in every table; anything else is told by a question mark.
  const auto narrow = [](const std::wstring& wide) {
    std::string text;
    for (const wchar_t c : wide) text += c > 0 && c < 128 ? static_cast<char>(c) : '?';
    return text;
  };
  throw std::out_of_range("Class " + narrow(descriptor._name) + " has no setting \"" +
                          narrow(name) + "\"");
}

void ResetToDefaults(Feature& feature, const win32_support::FeatureDescriptor& descriptor) {
  for (const FeatureSetting& setting : descriptor._settings) {
    FeatureSetting row = setting;
    CopyDefault(row, FeatureAccess::Address(feature, setting.name), true);
  }
}

}  // namespace shared

template <typename T>
T Feature::GetSetting(const std::wstring& name) const {
  FeatureSetting row = RowOf(*this, name);
  CopyDefault(row, AddressOfSetting(name), false);
  return row.Default<T>();
}

template <typename T>
void Feature::SetSetting(const std::wstring& name, const T& value) {
  FeatureSetting row = RowOf(*this, name);
  row.SetDefault<T>(value);
  CopyDefault(row, AddressOfSetting(name), true);
}

#define LIBMFX_SETTING_ACCESS(T)                                                   \
  template LIBMFX_EXPORT T Feature::GetSetting<T>(const std::wstring& name) const; \
  template LIBMFX_EXPORT void Feature::SetSetting<T>(const std::wstring& name, const T& value);
LIBMFX_SETTING_ACCESS(double)
LIBMFX_SETTING_ACCESS(int)
LIBMFX_SETTING_ACCESS(bool)
LIBMFX_SETTING_ACCESS(PointXYZW)
LIBMFX_SETTING_ACCESS(AzElRange)
LIBMFX_SETTING_ACCESS(VectorXYZW)
#undef LIBMFX_SETTING_ACCESS

}  // namespace libmfx::features
