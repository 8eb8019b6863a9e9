#pragma once

#include <memory>
#include <string>
#include <vector>

#include "features/shared/member.h"
#include "libmfx/features/feature.h"
#include "libmfx/win32_support/feature_descriptor.h"

/// \file
/// The one mechanism behind every settings table. A class states its table once, as rows; offsets,
/// defaults, resets and typed access follow from it.

namespace libmfx::features::shared {

/// The settings of a class, in order.
///
/// A row has a name and a label. Names that several classes have mostly carry the same label:
/// that one stands in the source of this class, and a row names its own only where it differs.
class Settings {
 public:
  Settings& Nominal(const wchar_t* name, Member member, const wchar_t* label = nullptr) {
    return Add(name, label, win32_support::KIND_NOMINAL, std::move(member));
  }
  Settings& Parameter(const wchar_t* name, Member member, const wchar_t* label = nullptr) {
    return Add(name, label, win32_support::KIND_PARAMETER, std::move(member));
  }
  Settings& Result(const wchar_t* name, Member member, const wchar_t* label = nullptr) {
    return Add(name, label, win32_support::KIND_RESULT, std::move(member));
  }
  /// "SearchEnabled" and "RescanThreshold".
  Settings& SearchAndRescan();
  /// Gives the row just added another type tag than its member's.
  Settings& Tagged(int tag);

  /// Writes the rows into a descriptor.
  /// \param probe an instance of the class, to find the offsets with
  void WriteTo(win32_support::FeatureDescriptor& descriptor, Feature& probe) const;

 private:
  struct Row {
    const wchar_t* name;
    const wchar_t* label;
    int kind;
    Member member;
    int tag;
  };

  Settings& Add(const wchar_t* name, const wchar_t* label, int kind, Member member);

  std::vector<Row> _rows;
};

/// A descriptor of class T.
template <typename T>
std::shared_ptr<win32_support::FeatureDescriptor> MakeDescriptor(const wchar_t* name,
                                                                 const wchar_t* label,
                                                                 const Settings& settings) {
  auto descriptor = std::make_shared<win32_support::FeatureDescriptorT<T>>(name, label);
  T probe;
  settings.WriteTo(*descriptor, probe);
  return descriptor;
}

/// Reads every default from a default-constructed instance, once.
void CaptureDefaults(win32_support::FeatureDescriptor& descriptor);

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
