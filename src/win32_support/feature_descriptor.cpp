#include "libmfx/win32_support/feature_descriptor.h"

#include <stdexcept>
#include <utility>

namespace libmfx::win32_support {

using data_structures::AzElRange;
using data_structures::PointXYZW;
using data_structures::VectorXYZW;

FeatureSetting::FeatureSetting(int type_tag, std::wstring setting_name, std::wstring setting_label,
                               int setting_kind, std::size_t field_offset)
    : type(type_tag),
      name(std::move(setting_name)),
      label(std::move(setting_label)),
      kind(setting_kind),
      offset(field_offset) {}

FeatureDescriptor::FeatureDescriptor(std::wstring name, std::wstring label)
    : _name(std::move(name)), _label(std::move(label)) {}

const char* WrongTypeText(int type) {
  switch (type) {
    case SETTING_DOUBLE:
      return "setting is not type double";
    case SETTING_INT:
    case SETTING_ENUM:
      return "setting is not type int/enum";
    case SETTING_BOOL:
      return "setting is not type bool";
    case SETTING_POINT_XYZ:
      return "setting is not type PointXYZ";
    case SETTING_POINT_AER:
      return "setting is not type PointAER";
    case SETTING_VECTOR_XYZ:
      return "setting is not type VectorXYZ";
    default:
      throw std::runtime_error("Unknown setting type.");
  }
}

namespace {

/// \throws std::domain_error that names the type asked for, unless the row holds it
void RequireType(const FeatureSetting& setting, int wanted) {
  const bool both_int = wanted == SETTING_INT && setting.type == SETTING_ENUM;
  if (setting.type != wanted && !both_int) throw std::domain_error(WrongTypeText(wanted));
}

}  // namespace

template <>
double FeatureSetting::Default<double>() const {
  RequireType(*this, SETTING_DOUBLE);
  return default_double;
}
template <>
int FeatureSetting::Default<int>() const {
  RequireType(*this, SETTING_INT);
  return default_int;
}
template <>
bool FeatureSetting::Default<bool>() const {
  RequireType(*this, SETTING_BOOL);
  return default_bool;
}
template <>
PointXYZW FeatureSetting::Default<PointXYZW>() const {
  RequireType(*this, SETTING_POINT_XYZ);
  return default_point;
}
template <>
AzElRange FeatureSetting::Default<AzElRange>() const {
  RequireType(*this, SETTING_POINT_AER);
  return default_aer;
}
template <>
VectorXYZW FeatureSetting::Default<VectorXYZW>() const {
  RequireType(*this, SETTING_VECTOR_XYZ);
  return default_vector;
}

template <>
void FeatureSetting::SetDefault<double>(const double& value) {
  RequireType(*this, SETTING_DOUBLE);
  default_double = value;
}
template <>
void FeatureSetting::SetDefault<int>(const int& value) {
  RequireType(*this, SETTING_INT);
  default_int = value;
}
template <>
void FeatureSetting::SetDefault<bool>(const bool& value) {
  RequireType(*this, SETTING_BOOL);
  default_bool = value;
}
template <>
void FeatureSetting::SetDefault<PointXYZW>(const PointXYZW& value) {
  RequireType(*this, SETTING_POINT_XYZ);
  default_point = value;
}
template <>
void FeatureSetting::SetDefault<AzElRange>(const AzElRange& value) {
  RequireType(*this, SETTING_POINT_AER);
  default_aer = value;
}
template <>
void FeatureSetting::SetDefault<VectorXYZW>(const VectorXYZW& value) {
  RequireType(*this, SETTING_VECTOR_XYZ);
  default_vector = value;
}

}  // namespace libmfx::win32_support
