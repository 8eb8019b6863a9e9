// Every built-in part, read from a scene, and what the reader refuses about it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "sim/scenario.h"
#include "thrown.h"

namespace libmfx::sim {
namespace {

using nlohmann::json;
using ::testing::AllOf;
using ::testing::HasSubstr;

Scene SceneOf(const json& part) {
  return Scene::FromJson({{"part", part}, {"pose", {{"position", {0, 0, 2}}}}});
}

std::string Refusal(const char* part) {
  return test::TextThrown<SceneError>([&] { SceneOf(json::parse(part)); });
}

double TruthValue(const char* part, const char* name) {
  return SceneOf(json::parse(part)).part->truth().values.at(name);
}

TEST(SceneParts, OpeningsOfEveryShapeAreRead) {
  EXPECT_EQ(TruthValue(R"({"type": "plate", "opening": {"shape": "rectangle", "length": 0.02,
                           "width": 0.01, "corner_radius": 0.001}})",
                       "length"),
            0.02);
  EXPECT_EQ(TruthValue(R"({"type": "plate", "opening": {"shape": "polygon", "sides": 5,
                           "radius": 0.01}})",
                       "sides"),
            5);
  EXPECT_EQ(TruthValue(R"({"type": "plate", "opening": {"shape": "obround", "length": 0.02,
                           "width": 0.01}})",
                       "width"),
            0.01);
  EXPECT_NEAR(TruthValue(R"({"type": "plate", "opening": {"shape": "round", "radius": 0.005,
                             "chamfer_depth": 0.001, "chamfer_angle_deg": 45}})",
                         "rim_radius"),
              0.006, 1e-15);
  EXPECT_EQ(TruthValue(R"({"type": "plate", "thickness": 0.02,
                           "opening": {"shape": "round", "radius": 0.005, "depth": 0.004}})",
                       "depth"),
            0.004);
}

TEST(SceneParts, OpeningsThatDoNotFitAreRefused) {
  EXPECT_THAT(Refusal(R"({"type": "plate", "opening": {"shape": "oval"}})"),
              HasSubstr("part.opening.shape: \"oval\" is not one of: round, rectangle"));
  EXPECT_EQ(Refusal(R"({"type": "plate", "opening": {"shape": "obround", "length": 0.01,
                        "width": 0.02}})"),
            "part.opening.length: 0.01 of an obround is below its width");
  EXPECT_EQ(Refusal(R"({"type": "plate", "opening": {"shape": "rectangle", "length": 0.02,
                        "width": 0.01, "corner_radius": 0.006}})"),
            "part.opening.corner_radius: 0.006 does not fit into the outline");
  EXPECT_EQ(Refusal(R"({"type": "plate", "opening": {"shape": "polygon", "sides": 2,
                        "radius": 0.01}})"),
            "part.opening.sides: 2 is not between 3 and 64");
  EXPECT_THAT(Refusal(R"({"type": "plate", "opening": {"shape": "round", "radius": 0.095,
                          "chamfer_depth": 0.006}})"),
              HasSubstr("is wider than the plate of 0.2 m by 0.2 m"));
  EXPECT_EQ(Refusal(R"({"type": "plate", "opening": {"shape": "round", "radius": 0.005,
                        "chamfer_depth": 0.01}})"),
            "part.opening.chamfer_depth: 0.01 leaves no wall");
  EXPECT_EQ(Refusal(R"({"type": "plate", "border_radius": 0.2,
                        "opening": {"shape": "round", "radius": 0.005}})"),
            "part.border_radius: 0.2 does not fit into the plate");
  EXPECT_EQ(Refusal(R"({"type": "plate"})"), "part.opening: missing");
}

TEST(SceneParts, EdgesAreRead) {
  EXPECT_EQ(TruthValue(R"({"type": "edge", "fillet": 0.002, "wall_angle_deg": -10})", "fillet"),
            0.002);
  EXPECT_EQ(TruthValue(R"({"type": "edge", "chamfer": 0.001, "ledge": 0.003})", "depth"), 0.003);
  EXPECT_EQ(Refusal(R"({"type": "edge", "fillet": 0.02})"),
            "part.fillet: 0.02 leaves no front or no wall");
  EXPECT_EQ(Refusal(R"({"type": "edge", "chamfer": 0.01})"),
            "part.chamfer: 0.01 leaves no front or no wall");
  EXPECT_EQ(Refusal(R"({"type": "edge", "chamfer": 0.001, "fillet": 0.001})"),
            "part.chamfer: 0.001 stands beside a fillet");
  EXPECT_EQ(Refusal(R"({"type": "edge", "wall_angle_deg": 90})"),
            "part.wall_angle_deg: 90 is not between -60 and 85");
}

TEST(SceneParts, BallsAreRead) {
  EXPECT_EQ(TruthValue(R"({"type": "ball", "radius": 0.01})", "radius"), 0.01);
  EXPECT_EQ(Refusal(R"({"type": "ball", "radius": 0.01, "stem_radius": 0.01})"),
            "part.stem_radius: 0.01 is not below the ball's radius");
  EXPECT_EQ(Refusal(R"({"type": "ball", "radius": 0.01, "stem_length": 0.01})"),
            "part.stem_length: 0.01 ends inside the ball");
}

TEST(SceneParts, StudsAndBoresAreReadSmoothAndThreaded) {
  EXPECT_EQ(TruthValue(R"({"type": "stud", "radius": 0.003, "height": 0.02})", "radius"), 0.003);
  EXPECT_EQ(TruthValue(R"({"type": "stud", "thread": "M6"})", "major_radius"), 0.003);
  EXPECT_EQ(TruthValue(R"({"type": "bore", "thread": {"major_diameter": 0.008, "pitch": 0.001}})",
                       "pitch"),
            0.001);
  EXPECT_EQ(TruthValue(R"({"type": "bore", "radius": 0.004, "through": true})", "radius"), 0.004);
}

TEST(SceneParts, ThreadsOfOtherDepthAngleAndHandAreRead) {
  EXPECT_EQ(TruthValue(R"({"type": "stud", "thread": "M24"})", "pitch"), 0.003);
  EXPECT_EQ(TruthValue(R"({"type": "bore", "thread": {"name": "M22"}})", "major_radius"), 0.011);
  EXPECT_NEAR(
      TruthValue(R"({"type": "stud", "thread": {"name": "M8", "depth": 0.8}})", "minor_radius"),
      0.004 - 0.8 * 0.541266 * 0.00125, 1e-9);
  EXPECT_NEAR(TruthValue(R"({"type": "bore", "thread": {"major_diameter": 0.02, "pitch": 0.004,
                             "flank_angle_deg": 30, "depth": 1.05}})",
                         "minor_radius"),
              0.01 - 1.05 * 0.5 * 0.004, 1e-15);
  // What is told as it is by default is the thread of its name.
  EXPECT_EQ(TruthValue(R"({"type": "bore", "thread": {"name": "M8", "depth": 1,
                           "flank_angle_deg": 60, "left_handed": false}})",
                       "minor_radius"),
            Thread::Metric("M8")->MinorRadius());
  const Scene left =
      SceneOf({{"type", "stud"}, {"thread", {{"name", "M8"}, {"left_handed", true}}}});
  EXPECT_EQ(left.TruthJson().at("left_handed"), true);
  const Scene right = SceneOf({{"type", "stud"}, {"thread", "M8"}});
  EXPECT_FALSE(right.TruthJson().contains("left_handed"));
}

TEST(SceneParts, ThreadsThatCannotBeAreRefused) {
  const auto refusal = [](const char* thread) {
    return Refusal((R"({"type": "stud", "thread": )" + std::string(thread) + "}").c_str());
  };
  EXPECT_EQ(refusal(R"({"name": "M8", "depth": 3})"),
            "part.thread.depth: 3 is not between 0.2 and 1.05");
  EXPECT_EQ(refusal(R"({"name": "M8", "depth": "deep"})"),
            "part.thread.depth: \"deep\" is not a number");
  EXPECT_EQ(refusal(R"({"name": "M8", "flank_angle_deg": 19})"),
            "part.thread.flank_angle_deg: 19 is not between 20 and 90");
  EXPECT_EQ(refusal(R"({"name": "M8", "left_handed": 1})"),
            "part.thread.left_handed: 1 is neither true nor false");
  EXPECT_EQ(refusal(R"({"name": "M9"})"),
            "part.thread.name: \"M9\" is not a coarse metric thread from \"M4\" to \"M24\"");
  EXPECT_EQ(refusal(R"({"name": "M8", "pitch": 0.001})"),
            "part.thread.pitch: unknown key with the value 0.001 (known here: crest_radius, "
            "depth, flank_angle_deg, left_handed, name, run_out, starts)");
  EXPECT_EQ(refusal(R"({"depth": 0.8})"), "part.thread.major_diameter: missing");
  // 5/16 / tan 10 degrees = 1.7723 pitches.
  EXPECT_THAT(refusal(R"({"major_diameter": 0.008, "pitch": 0.002, "flank_angle_deg": 20})"),
              AllOf(HasSubstr("part.thread.pitch: 0.002 cuts the thread 0.003544"),
                    HasSubstr(" m deep, to less than 0.3 of its major radius")));
}

TEST(SceneParts, StudsAndBoresThatCannotBeAreRefused) {
  EXPECT_EQ(Refusal(R"({"type": "stud"})"), "part.radius: missing");
  EXPECT_THAT(Refusal(R"({"type": "stud", "radius": 0.003, "thread": "M6"})"),
              HasSubstr("part.radius: unknown key with the value 0.003"));
  EXPECT_EQ(Refusal(R"({"type": "bore", "thread": "M3"})"),
            "part.thread: \"M3\" is not a coarse metric thread from \"M4\" to \"M24\"");
  EXPECT_EQ(Refusal(R"({"type": "bore", "thread": {"major_diameter": 0.004, "pitch": 0.002}})"),
            "part.thread.pitch: 0.002 is above a quarter of the diameter");
  EXPECT_EQ(Refusal(R"({"type": "stud", "radius": 0.003, "lead": 0.003})"),
            "part.lead: 0.003 leaves no end of the stud");
  EXPECT_EQ(Refusal(R"({"type": "stud", "thread": "M4", "height": 0.0005})"),
            "part.height: 0.0005 is no more than the lead");
  EXPECT_EQ(Refusal(R"({"type": "stud", "thread": "M4", "height": 0.8})"),
            "part.height: 0.8 gives the thread more than 1000 turns");
  EXPECT_EQ(Refusal(R"({"type": "bore", "radius": 0.09, "lead": 0.02})"),
            "part.radius: 0.09 makes the mouth wider than the plate");
}

/// What a wall of 4 mm radius has half way up from +x, and at its top.
double RadiusSeen(const Scene& scene, double z) {
  Hit hit;
  EXPECT_TRUE(scene.part->Intersect({{0.01, 0.0, z}, -Vec3::UnitX()}, hit));
  return 0.01 - hit.t;
}

TEST(SceneParts, ErrorsOfFormAreRead) {
  const json part = {{"type", "stud"}, {"radius", 0.004}, {"height", 0.0204}, {"lead", 0.0004}};
  const auto with = [&](const json& form) {
    json formed = part;
    formed["form"] = form;
    return SceneOf(formed);
  };
  EXPECT_NEAR(RadiusSeen(with({{"taper", 0.0001}}), 0.015), 0.004 + 0.25 * 0.0001, 1e-12);
  EXPECT_NEAR(RadiusSeen(with({{"barrel", 0.0001}}), 0.01), 0.004 + 0.0001 / 3.0, 1e-12);
  EXPECT_NEAR(RadiusSeen(with({{"bend", 0.0001}, {"bend_deg", 180}}), 0.01), 0.004 - 0.0001 / 3.0,
              1e-12);
  const json oval = {{"count", 2}, {"amplitude", 0.0001}, {"crest_deg", 90}};
  const json wave = {{"count", 5}, {"amplitude", 0.00002}};
  EXPECT_NEAR(RadiusSeen(with({{"lobes", {oval, wave}}}), 0.01), 0.004 - 0.0001 + 0.00002, 1e-12);
  EXPECT_EQ(RadiusSeen(with(json::object()), 0.01), RadiusSeen(SceneOf(part), 0.01));
}

TEST(SceneParts, ErrorsOfFormThatCannotBeAreRefused) {
  const auto refusal = [](const std::string& form) {
    return Refusal((R"({"type": "bore", "radius": 0.004, "form": )" + form + "}").c_str());
  };
  EXPECT_EQ(refusal("3"), "part.form: 3 is not an object");
  EXPECT_EQ(refusal(R"({"taper": 0.0003})"),
            "part.form.taper: 0.0003 is more than 5 % of the radius of 0.004 m");
  EXPECT_EQ(refusal(R"({"barrel": -0.0003})"),
            "part.form.barrel: -0.0003 is more than 5 % of the radius of 0.004 m");
  EXPECT_EQ(refusal(R"({"bend": "much"})"), "part.form.bend: \"much\" is not a number");
  EXPECT_EQ(refusal(R"({"bend_deg": 400})"), "part.form.bend_deg: 400 is not between -360 and 360");
  EXPECT_EQ(refusal(R"({"oval": 1})"),
            "part.form.oval: unknown key with the value 1 (known here: barrel, bend, bend_deg, "
            "lobes, taper)");
  EXPECT_EQ(refusal(R"({"lobes": 3})"), "part.form.lobes: 3 is not an array");
  EXPECT_EQ(refusal(R"({"lobes": [3]})"), "part.form.lobes[0]: 3 is not an object");
  EXPECT_EQ(refusal(R"({"lobes": [{"count": 1, "amplitude": 0}]})"),
            "part.form.lobes[0].count: 1 is not between 2 and 100");
  EXPECT_EQ(refusal(R"({"lobes": [{"count": 3}]})"), "part.form.lobes[0].amplitude: missing");
  EXPECT_EQ(refusal(R"({"lobes": [{"count": 3, "amplitude": 0, "phase": 1}]})"),
            "part.form.lobes[0].phase: unknown key with the value 1 (known here: amplitude, count, "
            "crest_deg)");
  const std::string wave = R"({"count": 3, "amplitude": 0.000125})";
  EXPECT_EQ(
      refusal(R"({"lobes": [)" + wave + ", " + wave + "]}"),
      "part.form.lobes: [..., ...] has amplitudes that add up to 0.00025, more than 5 % of the "
      "radius of 0.004 m");
  std::string many = wave;
  for (int i = 0; i < 16; ++i) many += ", " + wave;
  EXPECT_THAT(refusal(R"({"lobes": [)" + many + "]}"), HasSubstr("has more than 16 entries"));
  EXPECT_EQ(Refusal(R"({"type": "bore", "radius": 0.09, "lead": 0, "form": {"taper": 1e-5}})"),
            "part.radius: 0.09 makes the mouth wider than the plate");
}

TEST(SceneParts, ABackgroundBetweenInstrumentAndPartIsRefused) {
  const json scene = {{"part", {{"type", "ball"}}},
                      {"pose", {{"position", {0, 0, 2}}, {"normal", {0, 0, 1}}}},
                      {"behind", 0.5}};
  try {
    Scene::FromJson(scene);
    FAIL() << "the background hides the ball";
  } catch (const SceneError& e) {
    EXPECT_STREQ(e.what(), "behind: 0.5 puts the background between the instrument and the part");
  }
}

}  // namespace
}  // namespace libmfx::sim
