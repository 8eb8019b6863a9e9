#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "libmfx/data_structures/point.h"
#include "libmfx/data_structures/records.h"
#include "libmfx/export.h"
#include "libmfx/win32_support/request_key.h"

/// \file
/// The reflection of feature types: for each class a table of named, typed settings that knows
/// where each value lives inside an instance.

namespace libmfx::features {
class Feature;
}

namespace libmfx::win32_support {

/// Type tags of a setting.
enum SettingType : int {
  SETTING_DOUBLE = 0,
  SETTING_INT = 1,
  SETTING_BOOL = 2,
  SETTING_ENUM = 3,
  SETTING_POINT_XYZ = 4,
  SETTING_POINT_AER = 5,
  SETTING_VECTOR_XYZ = 6,
};

/// What a setting is for.
enum SettingKind : int { KIND_NOMINAL = 0, KIND_PARAMETER = 1, KIND_RESULT = 2 };

/// One row of a settings table. The default fields are writable: what a host writes there arrives
/// in an instance with the next `Reset(false, ...)`.
struct LIBMFX_EXPORT FeatureSetting {
  int type = SETTING_DOUBLE;
  std::wstring name;
  std::wstring label;
  int kind = KIND_NOMINAL;
  double default_double = 0.0;
  int default_int = 0;
  bool default_bool = false;
  data_structures::PointXYZW default_point;
  data_structures::AzElRange default_aer;
  data_structures::VectorXYZW default_vector;
  std::size_t offset = 0;  ///< bytes from the start of an instance

  FeatureSetting() = default;
  FeatureSetting(int type_tag, std::wstring setting_name, std::wstring setting_label,
                 int setting_kind, std::size_t field_offset);

  /// The default as a T: double, int, bool, PointXYZW, AzElRange or VectorXYZW.
  /// \throws std::domain_error with the tag's text if the row holds another type
  template <typename T>
  T Default() const;
  /// Writes the default; the same types and errors.
  template <typename T>
  void SetDefault(const T& value);
};

/// A feature class as a host sees it: key, label and settings.
class LIBMFX_EXPORT FeatureDescriptor {
 public:
  /// A new default-constructed instance of the class.
  virtual std::unique_ptr<features::Feature> Instantiate() const = 0;

  std::wstring _name;                     ///< key of the type, as InstantiateFeature takes it
  std::wstring _label;                    ///< text for people
  std::vector<FeatureSetting> _settings;  ///< the table, in order
  bool _defaults_captured = false;        ///< set once the defaults have been read
  /// "$type" of the "Feature" of its requests, empty where none asks for it; GetFeatureDescriptors
  /// fills it in.
  std::string _request_type;
  std::vector<RequestKey> _request;  ///< what it reads from a request, in reading order

 protected:
  FeatureDescriptor(std::wstring name, std::wstring label);
  ~FeatureDescriptor() = default;
};

/// The descriptor of class T.
template <typename T>
class FeatureDescriptorT final : public FeatureDescriptor {
 public:
  FeatureDescriptorT(std::wstring name, std::wstring label)
      : FeatureDescriptor(std::move(name), std::move(label)) {}
  std::unique_ptr<features::Feature> Instantiate() const override { return std::make_unique<T>(); }
};

/// The text with which a wrong use of a type tag is refused.
/// \throws std::runtime_error "Unknown setting type." for a tag outside 0 to 6
LIBMFX_EXPORT const char* WrongTypeText(int type);

}  // namespace libmfx::win32_support
