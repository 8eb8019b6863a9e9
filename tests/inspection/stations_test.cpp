#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "bracket.h"
#include "inspection/adjustment.h"
#include "inspection/inspect.h"
#include "inspection/writers.h"

namespace inspection_test {
namespace {

using libmfx::inspection::Folder;
using libmfx::inspection::Sheet;

/// The bracket seen from two stations: H1 is measured from the first, P1 from the second.
json PlanOfTwo() {
  json plan = PlanWith({"B1", "B2", "B3", "H1", "P1"});
  json second = plan["stations"][0];
  second["name"] = "right";
  second["pose"] = {{"position", {300, -200, 2900}},
                    {"normal", {-0.2, 0.3, -0.9}},
                    {"tangent", {-0.9, 0.0, 0.2}}};
  plan["stations"].push_back(second);
  plan["features"][3]["stations"] = {"front"};
  plan["features"][4]["stations"] = {"right"};
  plan["characteristics"].push_back({{"name", "H1 to P1"},
                                     {"type", "coordinate"},
                                     {"features", {"P1"}},
                                     {"quantity", "z"},
                                     {"tolerance", 0.05}});
  return plan;
}

std::vector<json> ScenesOfTwo() {
  json second = Example("scene.json");
  second["pose"] = {{"position", {0.309, -0.204, 2.894}},
                    {"normal", {-0.23, 0.29, -0.9}},
                    {"tangent", {-0.9, 0.02, 0.22}}};
  return {Example("scene.json"), second};
}

Sheet Carry(const json& plan, Folder& folder, Virtual* instruments) {
  return Inspect(Read(plan), folder, instruments, {.program = "test", .processes = 1}, {});
}

TEST(InspectionStations, SeveralAreBundledIntoOneFrame) {
  if (!libmfx::inspection::CanAdjust()) GTEST_SKIP() << "this build adjusts one station only";
  const TemporaryFolder temporary;
  const json plan = PlanOfTwo();
  Folder folder = Begin(temporary / "f", plan);
  const std::vector<json> scenes = ScenesOfTwo();
  Virtual instruments(scenes);
  const Sheet sheet = Carry(plan, folder, &instruments);
  ASSERT_EQ(sheet.stations.size(), 2U);
  for (std::size_t s = 0; s < 2; ++s) {
    const auto truth = libmfx::sim::Scene::FromJson(scenes[s], ExampleFile("")).pose;
    const Eigen::Isometry3d& pose = sheet.stations[s].pose;
    // What an inspection from one station is meant for holds for each of two.
    EXPECT_LT((pose.translation() - truth.position).norm(), 4e-5) << s;
    EXPECT_LT(Eigen::AngleAxisd(pose.linear() * truth.rotation.transpose()).angle(), 1e-4) << s;
  }
  ASSERT_TRUE(sheet.features[3].is_measured);
  ASSERT_TRUE(sheet.features[4].is_measured);
  EXPECT_EQ(*sheet.features[3].station, 0U);
  EXPECT_EQ(*sheet.features[4].station, 1U);
  // A point of the face, from the second station, in the frame of both: some ten micrometres.
  EXPECT_NEAR(sheet.features[4].measured.place.z(), 0.0, 4e-5);
  EXPECT_GT(sheet.characteristics.back().standard, 0.0);
}

TEST(InspectionStations, GoOnAndAreComputedAgainToTheSameBytes) {
  if (!libmfx::inspection::CanAdjust()) GTEST_SKIP() << "this build adjusts one station only";
  const TemporaryFolder temporary;
  const json plan = PlanOfTwo();
  Folder whole = Begin(temporary / "whole", plan);
  Virtual instruments(ScenesOfTwo());
  const std::string result = ResultJson(Carry(plan, whole, &instruments));
  // It dies when it has been carried to the second station.
  const std::string path = temporary / "broken";
  {
    Folder folder = Begin(path, plan);
    Virtual mortal(ScenesOfTwo());
    mortal.dies_before = instruments.asked - 2;
    EXPECT_THROW(Carry(plan, folder, &mortal), libmfx::host::CallError);
  }
  {
    Folder folder = Folder::Open(path, true);
    Virtual next(ScenesOfTwo());
    EXPECT_EQ(ResultJson(Carry(plan, folder, &next)), result);
    EXPECT_EQ(next.asked, 2);
  }
  Folder again = Folder::Open(path, false);
  EXPECT_EQ(ResultJson(Carry(plan, again, nullptr)), result);
}

}  // namespace
}  // namespace inspection_test
