#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "features/shared/settings.h"
#include "libmfx/features/custom_scan.h"
#include "libmfx/features/unknown_feature.h"
#include "libmfx/win32_support/exports.h"

namespace libmfx::win32_support {
namespace {

using features::CustomScan;
using features::Feature;
using features::PointXYZW;
using features::VectorXYZW;

/// Exit status 0 if a name is found only after the list was asked for.
int LookUpBeforeAndAfter() {
  if (InstantiateFeature(L"CustomScan") != nullptr) return 1;
  if (InstantiateFeature(L"Stud") != nullptr) return 1;
  GetFeatureDescriptors();
  const std::unique_ptr<Feature> scan(InstantiateFeature(L"CustomScan"));
  if (scan == nullptr || scan->FeatureName() != "CustomScan") return 2;
  const std::unique_ptr<Feature> stud(InstantiateFeature(L"Stud"));
  return stud != nullptr && stud->FeatureName() == "Stud" ? 0 : 3;
}

TEST(Descriptors, NothingIsFoundBeforeTheListIsAskedFor) {
  // A process of its own, in which nobody has asked for the list yet.
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_EXIT(std::exit(LookUpBeforeAndAfter()), testing::ExitedWithCode(0), "");
}

TEST(Descriptors, UnknownNamesAndNullGiveNull) {
  GetFeatureDescriptors();
  EXPECT_EQ(InstantiateFeature(L"Hole"), nullptr);
  EXPECT_EQ(InstantiateFeature(L"Sphere"), nullptr);
  EXPECT_EQ(InstantiateFeature(L"customscan"), nullptr);
  EXPECT_EQ(InstantiateFeature(L""), nullptr);
  EXPECT_EQ(InstantiateFeature(nullptr), nullptr);
}

TEST(Descriptors, TheListIsTheSameOnEveryCall) {
  const auto* list = GetFeatureDescriptors();
  const std::size_t size = list->size();
  EXPECT_EQ(GetFeatureDescriptors(), list);
  EXPECT_EQ(list->size(), size);
  for (const auto& descriptor : *list) {
    EXPECT_TRUE(descriptor->_defaults_captured);
    EXPECT_NE(std::unique_ptr<Feature>(InstantiateFeature(descriptor->_name.c_str())), nullptr);
  }
}

// The whole list; a class that the library does not have yet is missing from its place.
TEST(Descriptors, NamesAndLabelsStandInTheirOrder) {
  const std::vector<std::pair<std::wstring, std::wstring>> whole = {
      {L"PVI", L"Plane-Vector Intersect"},
      {L"MatteSphere", L"Matte Sphere"},
      {L"RobustHole", L"Robust Hole"},
      {L"CustomScan", L"Custom Scan"},
      {L"UnknownFeature", L"A feature that is not recognized by this library"},
      {L"Slot", L"Slot"},
      {L"Edge", L"Edge"},
      {L"Polygon", L"Polygon"},
      {L"Rectangle", L"Rectangle"},
      {L"ThreadedHole", L"Performs threaded hole detection"},
      {L"Stud", L"Performs cylinder fitting for stud scan data"}};
  auto place = whole.begin();
  for (const auto& descriptor : *GetFeatureDescriptors()) {
    place = std::find(place, whole.end(), std::pair(descriptor->_name, descriptor->_label));
    ASSERT_NE(place, whole.end()) << std::string(descriptor->_name.begin(),
                                                 descriptor->_name.end());
    ++place;
  }
  EXPECT_GE(GetFeatureDescriptors()->size(), 8U);
}

TEST(Descriptors, TheListHoldsAllClassesInOrder) {
  const std::vector<std::wstring> names = {
      L"PVI",  L"MatteSphere", L"RobustHole", L"CustomScan", L"UnknownFeature",
      L"Slot", L"Edge",        L"Polygon",    L"Rectangle",  L"ThreadedHole",
      L"Stud"};
  const auto* list = GetFeatureDescriptors();
  ASSERT_EQ(list->size(), names.size());
  for (std::size_t i = 0; i < names.size(); ++i) EXPECT_EQ((*list)[i]->_name, names[i]);
}

TEST(Descriptors, EveryDescriptorNamesItsClass) {
  for (const auto& descriptor : *GetFeatureDescriptors()) {
    const std::unique_ptr<Feature> made = descriptor->Instantiate();
    const std::string& name = made->FeatureName();
    EXPECT_EQ(descriptor->_name, std::wstring(name.begin(), name.end()));
  }
}

TEST(Descriptors, TableOfTheScanPath) {
  const auto descriptor = CustomScan::FeatureDescriptor();
  EXPECT_EQ(descriptor, CustomScan::FeatureDescriptor());
  EXPECT_EQ(descriptor->_label, L"Custom Scan");
  ASSERT_EQ(descriptor->_settings.size(), 2U);
  const FeatureSetting& quality = descriptor->_settings[0];
  EXPECT_EQ(quality.type, SETTING_DOUBLE);
  EXPECT_EQ(quality.name, L"QualityThreshold");
  EXPECT_EQ(quality.label, L"Quality threshold");
  EXPECT_EQ(quality.kind, KIND_PARAMETER);
  EXPECT_EQ(quality.default_double, 50.0);
  const FeatureSetting& idc = descriptor->_settings[1];
  EXPECT_EQ(idc.type, SETTING_INT);
  EXPECT_EQ(idc.name, L"IDCMethod");
  EXPECT_EQ(idc.label, L"Enhanced Measurement Mode (0=off,1=Speed,2=Optimized)");
  EXPECT_EQ(idc.kind, KIND_PARAMETER);
  EXPECT_EQ(idc.default_int, -1);
}

TEST(Descriptors, TheUnknownFeatureHasNoSettings) {
  const auto descriptor = features::UnknownFeature::FeatureDescriptor();
  EXPECT_TRUE(descriptor->_settings.empty());
  EXPECT_EQ(descriptor->_label, L"A feature that is not recognized by this library");
}

TEST(Descriptors, LiveSettingsAreReadAndWrittenByName) {
  CustomScan scan;
  EXPECT_EQ(scan.GetSetting<double>(L"QualityThreshold"), 50.0);
  scan.SetSetting(L"QualityThreshold", 12.5);
  scan.SetSetting(L"IDCMethod", 2);
  EXPECT_EQ(scan.QualityThreshold(), 12.5);
  EXPECT_EQ(scan.GetSetting<int>(L"IDCMethod"), 2);
}

TEST(Descriptors, WrongTypeIsADomainErrorWithTheTextOfTheTypeAskedFor) {
  CustomScan scan;
  const auto text_of = [](auto call) {
    try {
      call();
    } catch (const std::domain_error& error) {
      return std::string(error.what());
    }
    return std::string("no error");
  };
  EXPECT_EQ(text_of([&] { scan.GetSetting<int>(L"QualityThreshold"); }),
            "setting is not type int/enum");
  EXPECT_EQ(text_of([&] { scan.GetSetting<double>(L"IDCMethod"); }), "setting is not type double");
  EXPECT_EQ(text_of([&] { scan.GetSetting<bool>(L"IDCMethod"); }), "setting is not type bool");
  EXPECT_EQ(text_of([&] { scan.GetSetting<PointXYZW>(L"IDCMethod"); }),
            "setting is not type PointXYZ");
  EXPECT_EQ(text_of([&] { scan.GetSetting<features::AzElRange>(L"IDCMethod"); }),
            "setting is not type PointAER");
  EXPECT_EQ(text_of([&] { scan.SetSetting(L"IDCMethod", VectorXYZW()); }),
            "setting is not type VectorXYZ");
  EXPECT_EQ(scan.GetSetting<int>(L"IDCMethod"), -1);
}

TEST(Descriptors, UnknownSettingNamesClassAndSetting) {
  CustomScan scan;
  try {
    scan.GetSetting<double>(L"Nothing");
    FAIL() << "no exception";
  } catch (const std::out_of_range& error) {
    EXPECT_NE(std::string(error.what()).find("CustomScan"), std::string::npos);
    EXPECT_NE(std::string(error.what()).find("Nothing"), std::string::npos);
  }
}

TEST(Descriptors, DefaultsWrittenByAHostArriveWithTheNextReset) {
  const auto descriptor = CustomScan::FeatureDescriptor();
  CustomScan scan;
  scan.SetSetting(L"QualityThreshold", 1.0);
  descriptor->_settings[0].SetDefault(33.0);
  scan.Reset(true, false);
  EXPECT_EQ(scan.QualityThreshold(), 1.0);
  scan.Reset(false, false);
  EXPECT_EQ(scan.QualityThreshold(), 33.0);
  descriptor->_settings[0].SetDefault(50.0);
}

/// A class whose table holds a setting of each type.
class Kinds : public features::UnknownFeature {
 public:
  enum Mode : int { kOff = 0, kOn = 5 };
  double number = 1.5;
  int count = 3;
  unsigned int lines = 4;
  bool flag = true;
  Mode mode = kOn;
  PointXYZW point{1, 2, 3};
  features::AzElRange aer{0.1, 0.2, 0.3};
  VectorXYZW vector{4, 5, 6};
  VectorXYZW direction{7, 8, 9, 1};

  static std::shared_ptr<win32_support::FeatureDescriptor> FeatureDescriptor() {
    static const auto descriptor = features::shared::MakeDescriptor<Kinds>(
        features::shared::Settings("Kinds", L"")
            .Nominal(L"number", features::shared::Setting(&Kinds::number, L""), L"count",
                     features::shared::Setting(&Kinds::count, L""), L"lines",
                     features::shared::Setting(&Kinds::lines, L""), L"flag",
                     features::shared::Setting(&Kinds::flag, L""))
            .Parameter(L"mode", features::shared::Setting(&Kinds::mode, L""))
            .Result(L"point", features::shared::Setting(&Kinds::point, L""), L"aer",
                    features::shared::Setting(&Kinds::aer, L""), L"vector",
                    features::shared::Setting(&Kinds::vector, L""), L"direction",
                    features::shared::Setting(&Kinds::direction, L"", SETTING_POINT_XYZ)));
    return descriptor;
  }

 private:
  std::size_t OffsetOfSetting(const std::wstring& name) const override {
    return features::shared::OffsetIn(*FeatureDescriptor(), name);
  }
  void ResetSettings() override { features::shared::ResetToDefaults(*this, *FeatureDescriptor()); }
};

TEST(Descriptors, EveryTypeIsCapturedAndReset) {
  const auto descriptor = features::shared::Captured(Kinds::FeatureDescriptor());
  const auto& rows = descriptor->_settings;
  const int tags[] = {0, 1, 1, 2, 3, 4, 5, 6, 4};
  for (std::size_t i = 0; i < rows.size(); ++i) EXPECT_EQ(rows[i].type, tags[i]);
  EXPECT_EQ(rows[0].Default<double>(), 1.5);
  EXPECT_EQ(rows[2].Default<int>(), 4);
  EXPECT_TRUE(rows[3].Default<bool>());
  EXPECT_EQ(rows[4].Default<int>(), 5);
  EXPECT_EQ(rows[6].Default<features::AzElRange>().range, 0.3);
  EXPECT_EQ(rows[8].Default<PointXYZW>(), PointXYZW(7, 8, 9, 1));

  Kinds changed;
  changed.number = changed.aer.azimuth = 0.0;
  changed.count = 0;
  changed.lines = 0;
  changed.flag = false;
  changed.mode = Kinds::kOff;
  changed.point = PointXYZW();
  changed.vector = changed.direction = VectorXYZW();
  changed.Reset(false, false);
  EXPECT_EQ(changed.number, 1.5);
  EXPECT_EQ(changed.count, 3);
  EXPECT_EQ(changed.lines, 4U);
  EXPECT_TRUE(changed.flag);
  EXPECT_EQ(changed.mode, Kinds::kOn);
  EXPECT_EQ(changed.point, PointXYZW(1, 2, 3));
  EXPECT_EQ(changed.aer.azimuth, 0.1);
  EXPECT_EQ(changed.vector, VectorXYZW(4, 5, 6));
  EXPECT_EQ(changed.direction, VectorXYZW(7, 8, 9, 1));
}

TEST(Descriptors, AnUnknownTagIsAFaultOfTheProgram) {
  FeatureDescriptorT<Kinds> descriptor(L"Kinds", L"");
  descriptor._settings.emplace_back(7, L"number", L"", KIND_NOMINAL, 0);
  try {
    features::shared::CaptureDefaults(descriptor);
    FAIL() << "no exception";
  } catch (const std::exception& error) {
    EXPECT_STREQ(error.what(), "Unknown setting type.");
  }
}

TEST(Descriptors, RowDefaultsBeforeAnyCapture) {
  const FeatureSetting row(SETTING_POINT_AER, L"n", L"l", KIND_RESULT, 8);
  EXPECT_EQ(row.default_point, PointXYZW(0, 0, 0, 1));
  EXPECT_EQ(row.default_aer.range, 2.0);
  EXPECT_EQ(row.default_vector, VectorXYZW(0, 0, 0, 0));
  EXPECT_EQ(row.offset, 8U);
}

}  // namespace
}  // namespace libmfx::win32_support
