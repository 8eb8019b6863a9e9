// A stud most of which hides behind something: what is left of its thread must not mislead, and
// must not end the process.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "host/conversation.h"
#include "host/scene_driver.h"

namespace libmfx::features {
namespace {

using nlohmann::json;

/// An M6 at 4.5 m across whose line of sight hangs a cable.
TEST(HiddenStud, WhoseGroovesNoLineOfSightEndsInIsToldOneWayOrTheOther) {
  const json request = {
      {"LineSpacing", 0.00015},
      {"Feature",
       {{"$type", "StudFeature"},
        {"Axis", {-0.6834971745878263, -0.25108642946339765, -0.685410254715948}},
        {"Location", {-0.31942802929347, -2.0019596968783713, 3.9885973156028687}},
        {"Height", 0.01425},
        {"Offset", 0.0012},
        {"PlaneTolerance", 0.001},
        {"Radius", 0.003},
        {"RadiusTolerance", 0.003}}}};
  const json scene = json::parse(R"({
    "obstacles": [{"type": "cylinder", "radius": 0.0026011989010970467,
      "from": [0.05312310151510839, 0.24052926334417202, 0.023337438766805232],
      "to": [-0.03225151975184931, -0.1502535075702115, 0.023337438766805232]}],
    "part": {"type": "stud", "height": 0.015,
             "thread": {"name": "M6", "depth": 0.8163789663715892}},
    "pose": {"position": [-0.31942802929347, -2.0019596968783713, 3.9885973156028687],
             "normal": [-0.6834971745878263, -0.25108642946339765, -0.685410254715948],
             "tangent": [-0.4819924013299002, 0.8604120430762054, 0.16545223235020606]}})");
  host::SceneDriver driver(sim::Scene::FromJson(scene), 12349695091461900290U);
  const host::Conversation held = host::Measure(request.dump(), driver, {.search = true});
  const json result = json::parse(held.result);
  EXPECT_EQ(held.successful, held.error.empty());
  if (!held.successful || held.IsDoubtful()) return;
  EXPECT_NEAR(result["Radius"], 0.003, 0.0002);
}

}  // namespace
}  // namespace libmfx::features
