#include "measurement/kept_settings.h"

#include <algorithm>
#include <string>

#include "libmfx/measurement/measurement.h"
#include "libmfx/win32_support/exports.h"

namespace libmfx::measurement {
namespace {

using data_structures::AzElRange;
using data_structures::PointXYZW;
using data_structures::VectorXYZW;
using features::Feature;
using win32_support::FeatureDescriptor;
using win32_support::FeatureSetting;

std::shared_ptr<FeatureDescriptor> DescriptorOf(const Feature& feature) {
  // The name is a constant of the class; asking for it does not change the feature.
  const std::string& name = const_cast<Feature&>(feature).FeatureName();
  const std::wstring wide(name.begin(), name.end());
  for (const auto& descriptor : *GetFeatureDescriptors()) {
    if (descriptor->_name == wide) return descriptor;
  }
  return nullptr;
}

/// Four doubles of a live setting whose row is a point or a vector.
Eigen::Vector4d FourDoubles(const Feature& feature, const FeatureSetting& row) {
  return row.type == win32_support::SETTING_VECTOR_XYZ
             ? feature.GetSetting<VectorXYZW>(row.name).eigen()
             : feature.GetSetting<PointXYZW>(row.name).eigen();
}

/// Writes the live value into the default of `row`. A name may stand twice in a table: both rows
/// then address the field of the first, whose type `first` tells.
void KeepLive(const Feature& feature, const FeatureSetting& first, FeatureSetting& row) {
  switch (row.type) {
    case win32_support::SETTING_DOUBLE:
      row.default_double = feature.GetSetting<double>(row.name);
      return;
    case win32_support::SETTING_INT:
    case win32_support::SETTING_ENUM:
      row.default_int = feature.GetSetting<int>(row.name);
      return;
    case win32_support::SETTING_BOOL:
      row.default_bool = feature.GetSetting<bool>(row.name);
      return;
    case win32_support::SETTING_POINT_XYZ:
      row.default_point.eigen() = FourDoubles(feature, first);
      return;
    case win32_support::SETTING_POINT_AER:
      row.default_aer = feature.GetSetting<AzElRange>(row.name);
      return;
    case win32_support::SETTING_VECTOR_XYZ:
      row.default_vector.eigen() = FourDoubles(feature, first);
      return;
    default:
      return;
  }
}

}  // namespace

KeptSettings::KeptSettings(const Feature& feature) : _descriptor(DescriptorOf(feature)) {
  if (_descriptor == nullptr) return;
  _rows = _descriptor->_settings;
  for (FeatureSetting& row : _descriptor->_settings) {
    const auto first = std::find_if(_rows.begin(), _rows.end(), [&](const FeatureSetting& other) {
      return other.name == row.name;
    });
    KeepLive(feature, *first, row);
  }
}

KeptSettings::~KeptSettings() {
  if (_descriptor != nullptr) _descriptor->_settings.swap(_rows);
}

bool ResetKeepingSettings(Feature& feature, bool search) {
  const KeptSettings kept(feature);
  return feature.Reset(false, search);
}

}  // namespace libmfx::measurement
