#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "features/shared/member.h"
#include "libmfx/features/feature.h"
#include "libmfx/win32_support/feature_descriptor.h"

/// \file
/// The one mechanism behind every settings table. A class states its table once, as rows; offsets,
/// defaults, resets and typed access follow from it.

namespace libmfx::features::shared {

/// What a row of a settings table says beside its name.
struct Setting {
  Member member;
  const wchar_t* label = nullptr;  ///< null: LabelOf
  int tag = -1;                    ///< -1: that of the member's type

  template <typename M>
  Setting(M place) : member(place) {}
  template <typename M>
  Setting(M place, const wchar_t* own_label, int own_tag = -1)
      : member(place), label(own_label), tag(own_tag) {}
  template <typename M>
  Setting(M place, int own_tag) : member(place), tag(own_tag) {}
};

/// The text for people of a setting: one source has them all.
/// \param feature key of the class
/// \param name of the setting
/// \throws std::logic_error if there is none
const wchar_t* LabelOf(std::string_view feature, std::wstring_view name);

/// The settings of a class, in order.
class Settings {
 public:
  /// \param name key of the class
  /// \param label text for people
  Settings(const char* name, const wchar_t* label) : _name(name), _label(label) {}

  /// Rows of one kind: name and setting in turn.
  template <typename... Rows>
  Settings& Nominal(const Rows&... rows) {
    return Add(win32_support::KIND_NOMINAL, rows...);
  }
  template <typename... Rows>
  Settings& Parameter(const Rows&... rows) {
    return Add(win32_support::KIND_PARAMETER, rows...);
  }
  template <typename... Rows>
  Settings& Result(const Rows&... rows) {
    return Add(win32_support::KIND_RESULT, rows...);
  }
  /// Rows that several classes have, as one function adds them.
  Settings& With(void (*add)(Settings&)) {
    add(*this);
    return *this;
  }
  /// "SearchEnabled" and "RescanThreshold".
  Settings& SearchAndRescan();

  const std::string& name() const { return _name; }
  const wchar_t* label() const { return _label; }
  /// Writes the rows into a descriptor.
  /// \param probe an instance of the class, to find the offsets with
  void WriteTo(win32_support::FeatureDescriptor& descriptor, Feature& probe) const;

 private:
  struct Row {
    int kind;
    const wchar_t* name;
    Setting setting;
  };

  Settings& Add(int) { return *this; }
  template <typename... Rest>
  Settings& Add(int kind, const wchar_t* name, const Setting& setting, const Rest&... rest) {
    _rows.push_back({kind, name, setting});
    return Add(kind, rest...);
  }

  std::string _name;
  const wchar_t* _label;
  std::vector<Row> _rows;
};

/// A descriptor of class T.
template <typename T>
std::shared_ptr<win32_support::FeatureDescriptor> MakeDescriptor(const Settings& settings) {
  auto descriptor = std::make_shared<win32_support::FeatureDescriptorT<T>>(
      std::wstring(settings.name().begin(), settings.name().end()), settings.label());
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
