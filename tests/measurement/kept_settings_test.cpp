#include "measurement/kept_settings.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "libmfx/features/custom_scan.h"
#include "libmfx/measurement/measurement.h"
#include "libmfx/win32_support/exports.h"

namespace {

using namespace libmfx;

features::CustomScan PathWithThreshold() {
  return features::CustomScan(std::string(
      R"({"PointSpacing": 1, "QualityThreshold": 17.5, "Feature": {"Path": {"Segments": [[[0, 0, 2], [1, 0, 2]]]}}})"));
}

const win32_support::FeatureDescriptor& CustomScanDescriptor() {
  for (const auto& descriptor : *GetFeatureDescriptors()) {
    if (descriptor->_name == L"CustomScan") return *descriptor;
  }
  throw std::runtime_error("no CustomScan");
}

TEST(KeptSettingsTest, ResetKeepsTheLiveSettingsAndTheDescriptorItsDefaults) {
  features::CustomScan feature = PathWithThreshold();
  EXPECT_FALSE(measurement::ResetKeepingSettings(feature, true));
  EXPECT_EQ(feature.GetSetting<double>(L"QualityThreshold"), 17.5);
  EXPECT_EQ(CustomScanDescriptor()._settings[0].default_double, 50.0);
  EXPECT_EQ(CustomScanDescriptor()._settings[1].default_int, -1);
}

TEST(KeptSettingsTest, APlainResetDoesNotKeepThem) {
  features::CustomScan feature = PathWithThreshold();
  feature.Reset(false, true);
  EXPECT_EQ(feature.GetSetting<double>(L"QualityThreshold"), 50.0);
}

TEST(KeptSettingsTest, ANameThatStandsTwiceIsWrittenInBothRows) {
  auto& rows = const_cast<win32_support::FeatureDescriptor&>(CustomScanDescriptor())._settings;
  const auto before = rows;
  rows.push_back(rows[0]);
  features::CustomScan feature = PathWithThreshold();
  {
    const measurement::KeptSettings kept(feature);
    EXPECT_EQ(rows[0].default_double, 17.5);
    EXPECT_EQ(rows[2].default_double, 17.5);
  }
  EXPECT_EQ(rows[2].default_double, 50.0);
  measurement::ResetKeepingSettings(feature, false);
  EXPECT_EQ(feature.GetSetting<double>(L"QualityThreshold"), 17.5);
  rows = before;
}

}  // namespace
