// The built program with the virtual instrument.

#include "program_test.h"

namespace mfx_test {
namespace {

const std::string kRequest = Source("examples/requests/scan_path.json");
const std::string kPlate = Source("examples/scenes/scan_path.json");
const std::string kMesh = Source("examples/scenes/stl_plate.json");

Ended Measure(const std::string& scene, const std::vector<std::string>& more = {}) {
  std::vector<std::string> arguments = {"measure", kRequest, "--scene", scene};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return RunMfx(arguments);
}

TEST(SceneTest, AScanPathOverAPlateAndOverItsMeshFile) {
  for (const std::string& scene : {kPlate, kMesh}) {
    const Ended ended = Measure(scene);
    EXPECT_EQ(ended.status, 0) << ended.err;
    ASSERT_THAT(Lines(ended.out), SizeIs(1));
    const json result = json::parse(ended.out);
    EXPECT_EQ(result["Success"], true);
    EXPECT_GT(result["ScanData"]["Count"], 10);
  }
}

TEST(SceneTest, TheSeedDecidesTheNoise) {
  const std::string own = Measure(kPlate).out;
  EXPECT_EQ(Measure(kPlate).out, own);
  EXPECT_EQ(Measure(kPlate, {"--seed", "1"}).out, own);  // the scene's own seed
  EXPECT_NE(Measure(kPlate, {"--seed", "2"}).out, own);
  EXPECT_EQ(Measure(kPlate, {"--seed", "18446744073709551615"}).status, 0);
}

TEST(SceneTest, AMeasurementReplaysToTheSameBytes) {
  Folder folder;
  for (const std::string& scene : {kPlate, kMesh}) {
    for (const char* form : {"json", "binary"}) {
      const Ended measured =
          Measure(scene, {"--record", folder.Path("r.jsonl"), "--scan-data", form});
      const Ended replayed = RunMfx({"replay", folder.Path("r.jsonl")});
      EXPECT_EQ(replayed.status, 0) << replayed.err;
      EXPECT_EQ(replayed.out, measured.out);
    }
  }
}

TEST(SceneTest, LostReturnsThatAreNoNumberReplayToo) {
  Folder folder;
  const std::string scene = folder.Write("scene.json", R"({
      "part": {"type": "plane", "length": 0.1, "width": 0.3}, "pose": {"position": [0, 0, 2]},
      "noise": {"lost": "nan"}})");
  const Ended measured = Measure(scene, {"--record", folder.Path("r.jsonl")});
  EXPECT_THAT(folder.Read("r.jsonl"), HasSubstr(",null,0,"));
  EXPECT_EQ(measured.status, 0) << measured.err;
  EXPECT_EQ(RunMfx({"replay", folder.Path("r.jsonl")}).out, measured.out);
}

TEST(SceneTest, AWrongSceneIsToldInOneLineWithKeyAndValue) {
  Folder folder;
  const auto refused = [&](const std::string& text, const std::string& key,
                           const std::string& value) {
    const Ended ended = Measure(folder.Write("scene.json", text));
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.out, IsEmpty());
    EXPECT_THAT(Lines(ended.err), SizeIs(1)) << ended.err;
    EXPECT_THAT(ended.err, StartsWith("mfx: scene "));
    EXPECT_THAT(ended.err, HasSubstr("scene.json"));
    EXPECT_THAT(ended.err, HasSubstr(key));
    EXPECT_THAT(ended.err, HasSubstr(value));
  };
  const std::string pose = R"("pose": {"position": [0, 0, 2]})";
  const std::string plane = R"("part": {"type": "plane"})";
  refused("{" + pose + R"(, "part": {"type": "teapot"}})", "part.type", "teapot");
  refused("{" + pose + R"(, "part": {"type": "mesh", "file": "x.stl"}})", "part.unit", "");
  refused("{" + pose + R"(, "part": {"type": "mesh", "file": "x.stl", "unit": "mm"}})", "part.file",
          "x.stl");
  refused("{" + plane + R"(, "pose": {"position": [0, 0, -2]}})", "pose.position", "behind");
  refused("{" + plane + "," + pose + R"(, "noise": {"range": -1}})", "noise.range", "-1");
  refused("{" + plane + "," + pose + R"(, "nosie": false})", "nosie", "");
  refused("no scene", "not JSON", "");
  const Ended missing = Measure("/no/such/scene.json");
  EXPECT_EQ(missing.status, 2);
  EXPECT_THAT(missing.err, HasSubstr("scene /no/such/scene.json"));
}

TEST(SceneTest, OneInstrumentAtATime) {
  for (const std::vector<std::string>& wrong :
       {std::vector<std::string>{"--instrument", "cat"}, std::vector<std::string>{"--seed", "-1"},
        std::vector<std::string>{"--seed", "1.5"}}) {
    const Ended ended = Measure(kPlate, wrong);
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(Lines(ended.err), SizeIs(1));
  }
  EXPECT_EQ(RunMfx({"measure", kRequest, "--instrument", "cat", "--seed", "1"}).status, 2);
}

TEST(SceneTest, ASceneThatIsNeverHitEndsTheMeasurement) {
  Folder folder;
  const Ended ended = Measure(folder.Write(
      "scene.json",
      R"({"part": {"type": "plane", "length": 0.01, "width": 0.01}, "pose": {"position": [0, 1, 2]}})"));
  EXPECT_EQ(ended.status, 2);
  EXPECT_THAT(ended.err, HasSubstr("no samples twice in a row"));
}

}  // namespace
}  // namespace mfx_test
