// The conversation from the outside: what a host drives, hands in and reads.

#include "libmfx/measurement/measurement.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "host/scene_driver.h"

namespace {

using namespace libmfx;
using data_structures::PointXYZW;
using data_structures::RawDataPoint;
using measurement::Measurement;
using measurement::MeasurementOptions;
using nlohmann::json;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

std::string TextOf(const std::string& path) {
  std::ifstream file(std::string(LIBMFX_SOURCE_DIR) + "/" + path);
  return {std::istreambuf_iterator<char>(file), {}};
}

struct Example {
  explicit Example(const std::string& name, const std::string& scene = {})
      : request(json::parse(TextOf("examples/requests/" + name + ".json"), nullptr, true, true)),
        driver(sim::Scene::FromJson(json::parse(
                   TextOf("examples/scenes/" + (scene.empty() ? name : scene) + ".json"), nullptr,
                   true, true)),
               std::nullopt) {}

  void Drive(Measurement& measurement) {
    while (!measurement.done()) {
      measurement.take(
          driver.Drive(measurement.drive(), measurement::StepName(measurement.step())));
    }
  }

  json request;
  host::SceneDriver driver;
};

class EveryType : public testing::TestWithParam<const char*> {};

TEST_P(EveryType, IsMeasuredByTheSameLoopWithTypedValues) {
  Example example(GetParam());
  Measurement measurement(example.request.dump());
  example.Drive(measurement);
  ASSERT_TRUE(measurement.successful()) << measurement.error();
  EXPECT_THAT(measurement.error(), IsEmpty());
  EXPECT_THAT(measurement.drive(), IsEmpty());
  const json result = json::parse(measurement.result());
  if (std::string(GetParam()) == "scan_path") {
    EXPECT_THAT(measurement.values(), IsEmpty());
    return;
  }
  ASSERT_THAT(measurement.values(), Not(IsEmpty()));
  const auto location = measurement.value<PointXYZW>("Location");
  ASSERT_TRUE(location);
  for (int i = 0; i < 3; ++i) {
    EXPECT_NEAR(location->xyz()[i], result["Location"][static_cast<std::size_t>(i)].get<double>(),
                6e-9);
  }
  for (const features::ResultValue& row : measurement.values()) {
    ASSERT_TRUE(result.contains(row.key)) << row.key;
    if (const double* number = std::get_if<double>(&row.value)) {
      EXPECT_NEAR(*number, result[row.key].get<double>(), 6e-3) << row.key;
    }
    if (const int* number = std::get_if<int>(&row.value)) {
      EXPECT_EQ(*number, result[row.key].get<int>()) << row.key;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(All, EveryType,
                         testing::Values("edge", "hole", "matte-sphere", "polygon", "rectangle",
                                         "scan_path", "slot", "stud", "surface-normal",
                                         "threaded-hole"),
                         [](const auto& type) {
                           std::string name = type.param;
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

TEST(MeasurementTest, AValueOfAnotherTypeOrKeyIsNone) {
  Example example("hole");
  Measurement measurement(example.request.dump());
  example.Drive(measurement);
  EXPECT_TRUE(measurement.value<double>("Radius"));
  EXPECT_FALSE(measurement.value<int>("Radius"));
  EXPECT_FALSE(measurement.value<double>("radius"));
  EXPECT_FALSE(measurement.value<double>("Location"));
}

TEST(MeasurementTest, ARequestThatCannotBeCarriedOutIsDoneAtOnce) {
  for (const char* request : {"", "{", "[]", R"({"Feature": {"$type": "Gear"}})",
                              R"({"Feature": {"$type": "HoleFeature"}})"}) {
    Measurement measurement(request);
    EXPECT_TRUE(measurement.done()) << request;
    EXPECT_FALSE(measurement.broken_off());
    EXPECT_FALSE(measurement.successful());
    EXPECT_THAT(measurement.error(), Not(IsEmpty())) << request;
    EXPECT_THAT(measurement.values(), IsEmpty());
    measurement.take({RawDataPoint(0.0, 0.0, 1.0, 90.0, 0)});  // passed over
    EXPECT_TRUE(measurement.done());
  }
}

TEST(MeasurementTest, NoSamplesAreDrivenAgainOnceAndThenBreakItOff) {
  Example example("hole");
  Measurement measurement(example.request.dump());
  const auto first = measurement.drive().size();
  measurement.take({});
  EXPECT_FALSE(measurement.done());
  EXPECT_EQ(measurement.drive().size(), first);
  measurement.take({});
  EXPECT_TRUE(measurement.done());
  EXPECT_TRUE(measurement.broken_off());
  EXPECT_FALSE(measurement.successful());
  EXPECT_THAT(measurement.error(), HasSubstr("no samples twice in a row"));
}

TEST(MeasurementTest, TheMessageOfAFailureSaysThatTheRescansWereUsedUp) {
  Example example("hole");
  Measurement measurement(example.request.dump(), {.max_passes = 0});
  example.Drive(measurement);
  EXPECT_FALSE(measurement.successful());
  EXPECT_EQ(json::parse(measurement.result())["ErrorMessage"],
            "the measured location is still farther from the nominal than the re-scan threshold "
            "after 0 re-scans");
  EXPECT_EQ(measurement.feature().GetDriveStep(), features::RESCAN);
}

TEST(MeasurementTest, TheMessageOfAFailureSaysThatThereIsNoSurface) {
  for (const std::string name : {"polygon", "rectangle", "slot"}) {
    Example example(name, "matte-sphere");
    Measurement measurement(example.request.dump());
    example.Drive(measurement);
    EXPECT_FALSE(measurement.successful());
    EXPECT_EQ(json::parse(measurement.result())["ErrorMessage"],
              "the samples do not show what was asked for: samples of a surface near the nominal: "
              "0, limit 3")
        << name;
    EXPECT_EQ(json::parse(measurement.result())["ErrorMessage"], measurement.error());
  }
}

TEST(MeasurementTest, ASearchIsFurtherTurnsOfTheSameLoop) {
  Example example("hole");
  example.request["Feature"]["Location"] = {0.26, 0.1, 2.2};
  Measurement plain(example.request.dump());
  example.Drive(plain);
  EXPECT_FALSE(plain.successful());
  EXPECT_FALSE(plain.searched());
  Measurement measurement(example.request.dump(), {.search = true});
  std::vector<features::DRIVE_STEP> steps;
  while (!measurement.done()) {
    steps.push_back(measurement.step());
    measurement.take(
        example.driver.Drive(measurement.drive(), measurement::StepName(measurement.step())));
  }
  EXPECT_TRUE(measurement.searched());
  EXPECT_TRUE(measurement.successful()) << measurement.error();
  EXPECT_THAT(steps, testing::Contains(features::SEARCH));
  EXPECT_NEAR(measurement.value<PointXYZW>("Location")->x(), 0.25, 1e-4);
}

TEST(MeasurementTest, ManyPassesAreAsManyAsCanBeAskedFor) {
  Example example("hole");
  example.request["RescanThreshold"] = 1e-9;
  Measurement measurement(example.request.dump(), {.max_passes = 2});
  example.Drive(measurement);
  EXPECT_EQ(measurement.rescans(), 2);
  Measurement none(example.request.dump(), {.max_passes = -5});
  example.Drive(none);
  EXPECT_EQ(none.rescans(), 0);
}

}  // namespace
