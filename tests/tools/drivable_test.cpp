// Points that no instrument can drive end a call before anything moves.

#include "host/drivable.h"

#include <limits>

#include "examples.h"
#include "program_test.h"

namespace mfx_test {
namespace {

using libmfx::host::Position;
using libmfx::host::WhyUndrivable;

Position Point(double azimuth, double elevation, double range, double spacing) {
  Position point;
  point.azimuth = azimuth;
  point.elevation = elevation;
  point.range = range;
  point.point_spacing = spacing;
  return point;
}

TEST(DrivableTest, PointsAndSpacingsThatCannotBeAreNamed) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(WhyUndrivable({}), "");
  EXPECT_EQ(WhyUndrivable({Point(4.0, -2.0, 1e-6, 0.0), Point(0, 0, 2, 0.1)}), "");
  EXPECT_THAT(WhyUndrivable({Point(0, 0, 2, 0), Point(0, 0, 2, -0.1)}),
              HasSubstr("drive point 1: its point spacing is -0.1 m"));
  EXPECT_THAT(WhyUndrivable({Point(0, 0, 2, kInfinity)}), HasSubstr("spacing is infinite"));
  EXPECT_THAT(WhyUndrivable({Point(0, 0, 2, nan)}), HasSubstr("spacing is no number"));
  EXPECT_THAT(WhyUndrivable({Point(0, 0, 0, 0)}), HasSubstr("range is 0 m"));
  EXPECT_THAT(WhyUndrivable({Point(0, 0, -1, 0)}), HasSubstr("range is -1 m"));
  EXPECT_THAT(WhyUndrivable({Point(nan, 0, 1, 0)}), HasSubstr("azimuth is no number"));
  EXPECT_THAT(WhyUndrivable({Point(0, kInfinity, 1, 0)}), HasSubstr("elevation is infinite"));
}

/// A request whose plan no instrument can drive, and the library hands out.
struct Undrivable {
  const char* example;
  const char* where;  ///< a JSON pointer
  json value;
};

const std::vector<Undrivable>& Undrivables() {
  static const std::vector<Undrivable> cases = {
      {"hole", "/PointSpacing", -0.0001},
      {"rectangle", "/PointSpacing", -0.0001},
      {"polygon", "/PointSpacing", -0.0001},
      {"slot", "/PointSpacing", -0.0001},
      {"stud", "/PointSpacing", -0.0001},
      {"threaded-hole", "/PointSpacing", -0.0001},
      {"edge", "/PointSpacing", -0.0001},
      {"scan_path", "/PointSpacing", -0.02},
      {"scan_path", "/Feature/Path/Segments/0/1", {0, 0, 0}},
  };
  return cases;
}

TEST(DrivableTest, APlanThatCannotBeDrivenIsNotPrinted) {
  for (const Undrivable& c : Undrivables()) {
    Example example(c.example);
    example.request[json::json_pointer(c.where)] = c.value;
    for (const char* checking : {"notes", "off"}) {
      const Ended plan =
          RunMfx({"plan", "-", "--check", checking}, {.input = example.request.dump()});
      EXPECT_EQ(plan.status, 2) << c.example << ": " << plan.err;
      EXPECT_THAT(plan.out, IsEmpty());
      EXPECT_THAT(plan.err, HasSubstr("no instrument can drive to drive point ")) << c.example;
    }
  }
}

TEST(DrivableTest, NothingIsDrivenThatCannotBe) {
  for (const Undrivable& c : Undrivables()) {
    Example example(c.example);
    example.request[json::json_pointer(c.where)] = c.value;
    const Folder folder;
    const std::string request = folder.Write("request.json", example.request.dump());
    const Ended process =
        RunMfx({"measure", request, "--record", folder.Path("r.jsonl"), "--instrument",
                "while read line; do echo \"$line\" >> '" + folder.Path("driven") +
                    "'; echo '{\"samples\": []}'; done"});
    EXPECT_EQ(process.status, 2) << c.example;
    EXPECT_THAT(process.out, IsEmpty());
    EXPECT_THAT(folder.Names(), testing::ElementsAre("request.json"));
    const Ended scene =
        RunMfx({"measure", request, "--scene", folder.Write("scene.json", example.scene.dump())});
    EXPECT_EQ(scene.status, 2) << c.example;
    EXPECT_THAT(scene.err, HasSubstr("no instrument can drive to drive point "));
    const json job = {{"request", example.request}, {"scene", example.scene}};
    const Ended batch = RunMfx({"batch", "-", "--check=off"}, {.input = job.dump() + "\n"});
    EXPECT_EQ(batch.status, 0);
    EXPECT_THAT(json::parse(batch.out).value("error", ""),
                HasSubstr("no instrument can drive to drive point "));
  }
}

// What was recorded before keeps its result, whatever would be driven today.
TEST(DrivableTest, ARecordingOfSuchPointsCanBeReplayed) {
  json request = Example("scan_path").request;
  request["PointSpacing"] = -0.02;
  const std::string recording = json{{"request", request}}.dump() + "\n" +
                                R"({"drive":[[0,0,2,0],[0.1,0,2,-0.02]],"step":"INITIAL"})" + "\n" +
                                R"({"samples":[[0,0,2,90,1]]})" + "\n";
  const Folder folder;
  const Ended replay = RunMfx({"replay", folder.Write("r.jsonl", recording)});
  EXPECT_EQ(replay.status, 0) << replay.err;
  EXPECT_EQ(json::parse(replay.out)["ScanData"]["Count"], 1);
}

TEST(DrivableTest, ABallWhosePatternHasNoSpacingEndsAtItsPattern) {
  Example ball("matte-sphere");
  ball.request["NumPointsPerLine"] = 0;
  const json job = {{"request", ball.request}, {"scene", ball.scene}};
  const Ended batch = RunMfx({"batch", "-"}, {.input = job.dump() + "\n"});
  EXPECT_THAT(json::parse(batch.out).value("error", ""),
              HasSubstr("its point spacing is infinite"));
}

}  // namespace
}  // namespace mfx_test
