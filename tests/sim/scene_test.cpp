#include "sim/scene.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>

namespace libmfx::sim {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;

json Sound() {
  return json::parse(R"({
    "name": "plate with a hole",
    "part": {"type": "plate", "thickness": 0.01, "length": 0.1, "width": 0.1,
             "opening": {"shape": "round", "radius": 0.005}},
    "pose": {"position": [0, 0, 2], "normal": [0, 0.1, -1], "tangent": [1, 0, 0]},
    "behind": 0.05,
    "noise": {"stray": 0.01, "lost": "zero"},
    "seed": 17})");
}

/// The refusal of a scene in which the value at `pointer` is `value`.
std::string RefusalWith(const char* pointer, const json& value) {
  json scene = Sound();
  scene[json::json_pointer(pointer)] = value;
  try {
    Scene::FromJson(scene);
  } catch (const SceneError& e) {
    EXPECT_THAT(e.what(), ::testing::Not(HasSubstr("\n")));
    return e.what();
  }
  return "";
}

TEST(Scene, ASoundSceneIsRead) {
  const Scene scene = Scene::FromText(Sound().dump());
  EXPECT_EQ(scene.behind, 0.05);
  EXPECT_EQ(scene.seed, 17U);
  EXPECT_EQ(scene.noise.stray, 0.01);
  EXPECT_EQ(scene.noise.range, Noise().range);
  EXPECT_EQ(scene.noise.lost, LostReturn::kZero);
  EXPECT_NEAR(scene.pose.rotation.col(2).y(), 0.1 / std::sqrt(1.01), 1e-15);
  EXPECT_EQ(scene.part->truth().values.at("radius"), 0.005);
}

TEST(Scene, TruthStandsInTheInstrumentsFrame) {
  const json truth = Scene::FromJson(Sound()).TruthJson();
  EXPECT_EQ(truth["center"], json({0.0, 0.0, 2.0}));
  EXPECT_NEAR(truth["normal"][1].get<double>(), 0.1 / std::sqrt(1.01), 1e-15);
  EXPECT_EQ(truth["radius"], 0.005);
}

TEST(Scene, NoiseCanBeSwitchedOff) {
  json scene = Sound();
  scene["noise"] = false;
  EXPECT_EQ(Scene::FromJson(scene).noise.rays, 1);
  EXPECT_EQ(Scene::FromJson(scene).noise.range, 0.0);
  scene["noise"] = true;
  EXPECT_EQ(Scene::FromJson(scene).noise.rays, 13);
  scene.erase("noise");
  EXPECT_EQ(Scene::FromJson(scene).noise.range, 8e-6);
}

TEST(Scene, ARotationMayBeToldInsteadOfNormalAndTangent) {
  json scene = Sound();
  scene["pose"] = {{"position", {0, 0, 2}}, {"rotation", {{-1, 0, 0}, {0, 1, 0}, {0, 0, -1}}}};
  EXPECT_EQ(Scene::FromJson(scene).pose.rotation.col(2), Vec3(0, 0, -1));
  EXPECT_THAT(RefusalWith("/pose/rotation", {{1, 0, 0}, {0, 1, 0}, {0, 0, 2}}),
              HasSubstr("pose.rotation: [..., ..., ...] is not a rotation"));
  EXPECT_THAT(RefusalWith("/pose/rotation", {{1, 0, 0}, {0, 1, 0}, {0, 0, -1}}),
              HasSubstr("is not a rotation"));
  EXPECT_THAT(RefusalWith("/pose/rotation", {1, 2, 3}), HasSubstr("three rows"));
}

TEST(Scene, RefusalsNameTheKeyAndTheValue) {
  EXPECT_EQ(RefusalWith("/noise/range", -1e-5), "noise.range: -1e-05 is not between 0 and 1");
  EXPECT_EQ(RefusalWith("/part/opening/radius", -0.005),
            "part.opening.radius: -0.005 is not between 1e-06 and 1000");
  EXPECT_EQ(RefusalWith("/part/opening/radius", "5 mm"),
            "part.opening.radius: \"5 mm\" is not a number");
  EXPECT_EQ(RefusalWith("/part/opening/radius", 1e300),
            "part.opening.radius: 1e+300 is not between 1e-06 and 1000");
  EXPECT_THAT(RefusalWith("/part/type", "gear"),
              HasSubstr("part.type: \"gear\" is not a known part (known: mesh, ball, "));
  EXPECT_THAT(RefusalWith("/part/thicknes", 0.01),
              HasSubstr("part.thicknes: unknown key with the value 0.01 (known here: "));
  EXPECT_THAT(RefusalWith("/colour", "red"), HasSubstr("colour: unknown key with the value"));
  EXPECT_EQ(RefusalWith("/part", 5), "part: 5 is not an object");
  EXPECT_EQ(RefusalWith("/noise", "off"), "noise: \"off\" is not an object");
  EXPECT_EQ(RefusalWith("/noise/rays", 12),
            "noise.rays: 12 is not odd: the rays lie in pairs "
            "around a middle one");
  EXPECT_EQ(RefusalWith("/noise/lost", "kept"),
            "noise.lost: \"kept\" is not one of: drop, zero, nan");
  EXPECT_EQ(RefusalWith("/seed", -1), "seed: -1 is not between 0 and 9007199254740992");
  EXPECT_EQ(RefusalWith("/seed", 1.5), "seed: 1.5 is not a whole number");
  EXPECT_EQ(RefusalWith("/behind", nullptr), "behind: null is not a number");
  EXPECT_EQ(RefusalWith("/pose/position", {0, 2}),
            "pose.position: [0, 2] is not an array of three numbers");
  EXPECT_THAT(RefusalWith("/pose/position", {0, 0, 1e300}), HasSubstr("[0, 0, 1e+300] has a comp"));
  EXPECT_EQ(RefusalWith("/pose/normal", {0, 0, 0}), "pose.normal: [0, 0, 0] has no direction");
  EXPECT_EQ(RefusalWith("/pose/tangent", {0, -0.2, 2}),
            "pose.tangent: [0, -0.2, 2] is parallel to the normal");
  EXPECT_EQ(RefusalWith("/full_circle", 1), "full_circle: 1 is neither true nor false");
  EXPECT_EQ(RefusalWith("/part/opening/depth", 0.02),
            "part.opening.depth: 0.02 reaches through the plate");
  EXPECT_THAT(RefusalWith("/part/opening/radius", 0.06),
              HasSubstr("part.opening: an object is wid"));
}

TEST(Scene, MissingKeysAreNamed) {
  json scene = Sound();
  scene.erase("part");
  EXPECT_THROW(Scene::FromJson(scene), SceneError);
  scene = Sound();
  scene["part"]["opening"].erase("radius");
  try {
    Scene::FromJson(scene);
    FAIL() << "a hole without a radius was read";
  } catch (const SceneError& e) {
    EXPECT_STREQ(e.what(), "part.opening.radius: missing");
  }
}

TEST(Scene, APartBehindTheInstrumentOrWithItsBackToItIsRefused) {
  EXPECT_THAT(RefusalWith("/pose/position", {0, 0, -2}),
              HasSubstr("pose.position: [0, 0, -2] puts the part behind the instrument"));
  EXPECT_THAT(RefusalWith("/pose/normal", {0, 0, 1}), HasSubstr("turns its back"));
  EXPECT_THAT(RefusalWith("/pose/position", {0, 0, 0}), HasSubstr("where the instrument stands"));
  json scene = Sound();
  scene["pose"] = {{"position", {0, 0, -2}}};
  scene["full_circle"] = true;
  EXPECT_EQ(Scene::FromJson(scene).pose.rotation.col(2), Vec3(0, 0, 1));
}

TEST(Scene, TextThatIsNotJsonIsRefusedInOneLine) {
  for (const char* text :
       {"", "{", "nonsense", "{\"part\": NaN}", "{\"seed\": 1e999}", "\xff\xfe"}) {
    try {
      Scene::FromText(text);
      FAIL() << text;
    } catch (const SceneError& e) {
      EXPECT_THAT(e.what(), HasSubstr("scene: not JSON: "));
      EXPECT_THAT(e.what(), ::testing::Not(HasSubstr("\n")));
    }
  }
  EXPECT_THROW(Scene::FromText("[]"), SceneError);
}

TEST(Scene, DeepNestingIsRefusedWithoutHarm) {
  const std::string deep = std::string(200000, '[') + std::string(200000, ']');
  EXPECT_THROW(Scene::FromText("{\"part\": " + deep + "}"), SceneError);
  EXPECT_THROW(Scene::FromText("{\"behind\": " + deep + "}"), SceneError);
}

TEST(Scene, FilesAreNamedInTheirRefusals) {
  const std::string path = ::testing::TempDir() + "scene_test.json";
  try {
    Scene::FromFile(path + ".absent");
    FAIL();
  } catch (const SceneError& e) {
    EXPECT_THAT(e.what(), HasSubstr("scene_test.json.absent: cannot be read"));
  }
  EXPECT_THROW(Scene::FromFile(::testing::TempDir()), SceneError);
  std::ofstream(path) << R"({"part": {"type": "plane"}, "pose": {"position": [0, 0, 2]}, "x": 1})";
  try {
    Scene::FromFile(path);
    FAIL();
  } catch (const SceneError& e) {
    EXPECT_THAT(e.what(), HasSubstr("scene_test.json: x: unknown key with the value 1"));
  }
  std::ofstream(path) << R"({"part": {"type": "ball"}, "pose": {"position": [0, 0, 2]}})";
  EXPECT_FALSE(Scene::FromFile(path).part->HasFront());
  std::remove(path.c_str());
}

}  // namespace
}  // namespace libmfx::sim
