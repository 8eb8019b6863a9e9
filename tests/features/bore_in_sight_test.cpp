// A bore that is looked into along its axis: nothing of its wall comes back, and what does is no
// wall.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <Eigen/Core>
#include <cmath>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/conversation.h"
#include "host/scene_driver.h"

namespace libmfx::features {
namespace {

using nlohmann::json;
using testing::Contains;
using testing::IsEmpty;
using testing::StartsWith;

constexpr char kInSight[] = "The measured axis lies within ";
constexpr double kDegree = 0.017453292519943295;

/// A smooth bore of 3 mm radius, 12 mm deep, straight ahead.
struct Bore {
  double distance = 1.7;    ///< metres
  double aside = 10.3;      ///< degrees between its axis and the line of sight
  std::uint64_t seed = 25;  ///< of the virtual instrument

  Eigen::Vector3d Axis() const {
    return {std::sin(aside * kDegree), 0.0, std::cos(aside * kDegree)};
  }
  host::Conversation Measured() const {
    const Eigen::Vector3d a = Axis();
    const json axis = {a.x(), a.y(), a.z()}, normal = {-a.x(), -a.y(), -a.z()};
    const json place = {0.0, 0.0, distance};
    const json request = {{"LineSpacing", 0.00015},
                          {"ScanQualityThreshold", 20.0},
                          {"Feature",
                           {{"$type", "ThreadedHoleFeature"},
                            {"Axis", axis},
                            {"Location", place},
                            {"Height", 0.0105},
                            {"Offset", 0.0012},
                            {"PlaneTolerance", 0.001},
                            {"Radius", 0.003},
                            {"RadiusTolerance", 0.003}}}};
    const json scene = {{"part", {{"type", "bore"}, {"depth", 0.012}, {"radius", 0.003}}},
                        {"pose", {{"position", place}, {"normal", normal}}}};
    host::SceneDriver driver(sim::Scene::FromJson(scene), seed);
    return host::Measure(request.dump(), driver, {});
  }
};

std::vector<std::string> WarningsOf(const host::Conversation& held) {
  return json::parse(held.result).value("Warnings", std::vector<std::string>());
}

double DegreesOff(const host::Conversation& held, const Eigen::Vector3d& is) {
  const json axis = json::parse(held.result).at("Axis");
  const Eigen::Vector3d found(axis[0], axis[1], axis[2]);
  return std::atan2(found.cross(is).norm(), std::abs(found.dot(is))) / kDegree;
}

TEST(BoreInSight, AnAxisAlongTheLineOfSightIsDoubted) {
  int misled = 0;
  for (std::uint64_t seed = 1; seed <= 20; ++seed) {
    const Bore bore{.seed = seed};
    const host::Conversation held = bore.Measured();
    if (!held.successful || DegreesOff(held, bore.Axis()) < 5.3) continue;
    ++misled;
    EXPECT_THAT(WarningsOf(held), Contains(StartsWith(kInSight))) << seed;
  }
  EXPECT_GT(misled, 0) << "the case is no longer what it was made for";
}

TEST(BoreInSight, AWallThatIsSeenIsNot) {
  const Bore bore{.aside = 20.0};
  const host::Conversation held = bore.Measured();
  ASSERT_TRUE(held.successful) << held.error;
  EXPECT_LT(DegreesOff(held, bore.Axis()), 0.1);
  EXPECT_THAT(WarningsOf(held), IsEmpty());
}

}  // namespace
}  // namespace libmfx::features
