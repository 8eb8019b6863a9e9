#pragma once

#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "libmfx/features/feature.h"
#include "libmfx/win32_support/feature_descriptor.h"

/// \file
/// The one mechanism behind every settings table. A class states its table once, as rows; offsets,
/// defaults, resets and typed access follow from it.

namespace libmfx::features {

/// Reaches the virtual operations of the settings mechanism from outside a Feature.
struct SettingAccess {
  static void* Address(const Feature& feature, const std::wstring& name) {
    return feature.AddressOfSetting(name);
  }
};

}  // namespace libmfx::features

namespace libmfx::features::shared {

/// The label that the setting "IDCMethod" carries in every table.
inline constexpr const wchar_t* kIdcMethodLabel =
    L"Enhanced Measurement Mode (0=off,1=Speed,2=Optimized)";

/// The type tag of a member of type T.
template <typename T>
constexpr int TagOf() {
  if constexpr (std::is_same_v<T, double>) {
    return win32_support::SETTING_DOUBLE;
  } else if constexpr (std::is_same_v<T, bool>) {
    return win32_support::SETTING_BOOL;
  } else if constexpr (std::is_enum_v<T>) {
    static_assert(sizeof(T) == sizeof(int));
    return win32_support::SETTING_ENUM;
  } else if constexpr (std::is_same_v<T, int> || std::is_same_v<T, unsigned int>) {
    return win32_support::SETTING_INT;
  } else if constexpr (std::is_same_v<T, PointXYZW>) {
    return win32_support::SETTING_POINT_XYZ;
  } else if constexpr (std::is_same_v<T, AzElRange>) {
    return win32_support::SETTING_POINT_AER;
  } else {
    static_assert(std::is_same_v<T, VectorXYZW>, "no setting can have this type");
    return win32_support::SETTING_VECTOR_XYZ;
  }
}

/// One row of a table: `access` is a pointer to member, or a callable from T& to the member.
template <typename Access>
struct Row {
  const wchar_t* name;
  const wchar_t* label;
  int kind;
  Access access;
  int tag = -1;  ///< -1: the tag of the member's type

  Row(const wchar_t* row_name, const wchar_t* row_label, int row_kind, Access row_access,
      int row_tag = -1)
      : name(row_name), label(row_label), kind(row_kind), access(row_access), tag(row_tag) {}
};

/// Reads every default from a default-constructed instance, once.
void CaptureDefaults(win32_support::FeatureDescriptor& descriptor);

/// A descriptor of class T with a row for each of `rows`, in order.
template <typename T, typename... Access>
std::shared_ptr<win32_support::FeatureDescriptor> MakeDescriptor(const wchar_t* name,
                                                                 const wchar_t* label,
                                                                 const Row<Access>&... rows) {
  auto descriptor = std::make_shared<win32_support::FeatureDescriptorT<T>>(name, label);
  T probe;
  [[maybe_unused]] const char* start =
      reinterpret_cast<const char*>(static_cast<const Feature*>(&probe));
  [[maybe_unused]] const auto append = [&](const auto& row) {
    auto& member = std::invoke(row.access, probe);
    using Member = std::remove_cvref_t<decltype(member)>;
    const int tag = row.tag >= 0 ? row.tag : TagOf<Member>();
    const auto offset =
        static_cast<std::size_t>(reinterpret_cast<const char*>(std::addressof(member)) - start);
    descriptor->_settings.emplace_back(tag, row.name, row.label, row.kind, offset);
  };
  (append(rows), ...);
  return descriptor;
}

/// What a class's FeatureDescriptor() returns: the descriptor with its defaults captured.
inline std::shared_ptr<win32_support::FeatureDescriptor> Captured(
    const std::shared_ptr<win32_support::FeatureDescriptor>& descriptor) {
  if (!descriptor->_defaults_captured) CaptureDefaults(*descriptor);
  return descriptor;
}

/// The offset of a setting.
/// \throws std::out_of_range that names the class and the setting, if there is none of that name
std::size_t OffsetIn(const win32_support::FeatureDescriptor& descriptor, const std::wstring& name);

/// Copies every default to its place in `feature`.
/// \throws std::runtime_error "Unknown setting type." for a tag outside 0 to 6
void ResetToDefaults(Feature& feature, const win32_support::FeatureDescriptor& descriptor);

}  // namespace libmfx::features::shared
