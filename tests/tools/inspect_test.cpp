// `mfx inspect`, run as a script would.

#include <algorithm>
#include <csignal>
#include <fstream>
#include <iterator>
#include <map>
#include <utility>

#include "program_test.h"

namespace mfx_test {
namespace {

const std::vector<std::string> kSheet = {"points.ply", "report.html", "result.csv", "result.json",
                                         "result.qif"};

std::string ExampleFile(const std::string& name) { return Source("examples/inspection/" + name); }

std::string TextOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// The plan of the example with some of its features, and some of what is asked about them.
json PlanWith(const std::vector<std::string>& features, const std::vector<std::string>& asked) {
  json plan = json::parse(TextOf(ExampleFile("plan.json")), nullptr, true, true);
  const auto keep = [&plan](const char* list, const std::vector<std::string>& names) {
    json kept = json::array();
    for (const json& one : plan[list]) {
      if (std::find(names.begin(), names.end(), one["name"]) != names.end()) kept.push_back(one);
    }
    plan[list] = kept;
  };
  keep("features", features);
  keep("characteristics", asked);
  return plan;
}

/// Inspects without trials.
Ended Inspect(const Folder& folder, const json& plan, const std::vector<std::string>& more = {}) {
  std::vector<std::string> words = {"inspect", folder.Write("plan.json", plan.dump(1)),
                                    "--scene", ExampleFile("scene.json"),
                                    "--out",   folder.Path("out")};
  if (std::find(more.begin(), more.end(), "--resume") == more.end()) {
    words.insert(words.end(), {"--trials", "0"});
  }
  words.insert(words.end(), more.begin(), more.end());
  return RunMfx(words);
}

const std::vector<std::string> kBalls = {"B1", "B2", "B3"};
std::vector<std::string> With(std::vector<std::string> names) {
  names.insert(names.begin(), kBalls.begin(), kBalls.end());
  return names;
}

TEST(InspectCall, EndsWith0WhereEverythingConforms) {
  const Folder folder;
  const Ended ended = Inspect(folder, PlanWith(With({"H1", "P1"}), {"H1 position", "face at P1"}));
  EXPECT_EQ(ended.status, 0) << ended.err;
  EXPECT_THAT(ended.out, HasSubstr("H1 position"));
  EXPECT_THAT(ended.out, HasSubstr("2 conforms, 0 does not conform"));
  EXPECT_THAT(ended.err, HasSubstr("mfx: P1: measured\n"));
  for (const std::string& name : kSheet) {
    EXPECT_GT(std::filesystem::file_size(folder.Path("out/" + name)), 100U) << name;
  }
  const json result = json::parse(TextOf(folder.Path("out/result.json")));
  EXPECT_EQ(result["verdict"], "conforms");
}

TEST(InspectCall, EndsWith1WhereSomethingDoesNotConformOrIsNotMeasured) {
  const Folder off;
  EXPECT_EQ(Inspect(off, PlanWith(With({"H2"}), {"H2 position"})).status, 1);
  const Folder hidden;
  const Ended ended = Inspect(hidden, PlanWith(With({"H3"}), {"H3 position"}));
  EXPECT_EQ(ended.status, 1);
  EXPECT_THAT(ended.out, HasSubstr("not measured: \"H3\": "));
}

TEST(InspectCall, EndsWith3WhereSomethingCannotBeDecided) {
  const Folder folder;
  const Ended ended = Inspect(folder, PlanWith(With({"W1"}), {"window width"}));
  EXPECT_EQ(ended.status, 3) << ended.out << ended.err;
}

TEST(InspectCall, ComputesTheSameBytesAgain) {
  const Folder folder;
  Inspect(folder, PlanWith(With({"H1", "P1"}), {"H1 position", "face at P1"}));
  std::map<std::string, std::string> first;
  for (const std::string& name : kSheet) {
    first[name] = TextOf(folder.Path("out/" + name));
    std::filesystem::remove(folder.Path("out/" + name));
  }
  const Ended again = RunMfx({"inspect", "--again", folder.Path("out")});
  EXPECT_EQ(again.status, 0) << again.err;
  for (const std::string& name : kSheet) {
    EXPECT_EQ(TextOf(folder.Path("out/" + name)) == first[name], true) << name;
  }
}

TEST(InspectCall, EndsAfterTheRunningScanAndGoesOn) {
  const Folder folder;
  const json plan = PlanWith(With({"H1", "P1"}), {"H1 position", "face at P1"});
  const std::string first = folder.Path("out/recordings/001-search_B1.rec");
  const std::string file = folder.Write("plan.json", plan.dump());
  const Ended ended = RunMfx({"inspect", file, "--scene", ExampleFile("scene.json"), "--out",
                              folder.Path("out"), "--trials", "0"},
                             {.signal = SIGINT, .signal_when = first});
  EXPECT_EQ(ended.status, 130) << ended.err;
  EXPECT_THAT(ended.err, HasSubstr("--resume goes on"));
  EXPECT_FALSE(std::filesystem::exists(folder.Path("out/result.json")));
  const Ended resumed = RunMfx({"inspect", file, "--scene", ExampleFile("scene.json"), "--out",
                                folder.Path("out"), "--resume"});
  EXPECT_EQ(resumed.status, 0) << resumed.err;
  const std::string result = TextOf(folder.Path("out/result.json"));
  EXPECT_EQ(RunMfx({"inspect", "--again", folder.Path("out")}).status, 0);
  EXPECT_EQ(TextOf(folder.Path("out/result.json")) == result, true);
}

TEST(InspectCall, TellsOnATerminalWhatTheInstrumentDoes) {
  const Folder folder;
  const std::string plan =
      folder.Write("plan.json", PlanWith(With({"H2"}), {"H2 position"}).dump());
  const Ended ended = RunMfx({"inspect", plan, "--scene", ExampleFile("scene.json"), "--out",
                              folder.Path("out"), "--trials", "0"},
                             {.terminal = Terminal::kBoth});
  EXPECT_EQ(ended.status, 1);
  EXPECT_THAT(ended.out, HasSubstr("] references from front, ranges"));
  EXPECT_THAT(ended.out, HasSubstr("] H2, scans again"));
  EXPECT_THAT(ended.out, HasSubstr("mfx: H2: measured"));
}

TEST(InspectCall, GoesOnWithAnInstrumentThatWentAway) {
  const Folder folder;
  const json plan = PlanWith(With({"H1"}), {"H1 position"});
  const std::string file = folder.Write("plan.json", plan.dump());
  const std::string instrument =
      "'" LIBMFX_VIRTUAL_INSTRUMENT "' '" + ExampleFile("scene.json") + "'";
  // It takes five drives, and then it is gone.
  const std::vector<std::string> words = {"inspect", file, "--out", folder.Path("out")};
  std::vector<std::string> mortal = words;
  mortal.insert(mortal.end(), {"--instrument", "sed -u 5q | " + instrument, "--trials", "0"});
  const Ended gone = RunMfx(mortal);
  EXPECT_EQ(gone.status, 2);
  EXPECT_THAT(gone.err, HasSubstr("--resume goes on"));
  std::vector<std::string> next = words;
  next.insert(next.end(), {"--instrument", instrument, "--resume"});
  const Ended resumed = RunMfx(next);
  EXPECT_EQ(resumed.status, 0) << resumed.err;
  EXPECT_THAT(resumed.out, HasSubstr("1 conforms"));
}

TEST(InspectCall, TellsWhatIsWrongWithAPlanBeforeAnythingIsDriven) {
  const Folder folder;
  json plan = PlanWith(With({"H1"}), {"H1 position"});
  plan["features"][3]["nominal"]["Radus"] = 6;
  const Ended ended = Inspect(folder, plan);
  EXPECT_EQ(ended.status, 2);
  EXPECT_THAT(ended.err, testing::ContainsRegex("plan.json:[0-9]+:[0-9]+: error: .*Radus"));
  EXPECT_THAT(ended.err, HasSubstr("the plan cannot be carried out"));
  EXPECT_FALSE(std::filesystem::exists(folder.Path("out")));
}

TEST(InspectCall, RefusesOptionsThatContradictEachOther) {
  const Folder folder;
  const std::string plan = ExampleFile("plan.json");
  const std::string scene = ExampleFile("scene.json");
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{}, "nothing to inspect"},
      {{plan}, "--out FOLDER"},
      {{plan, "--out", folder.Path("a")}, "--scene SCENE or --instrument"},
      {{plan, "--out", folder.Path("a"), "--scene", scene, "--instrument", "x"}, "--instrument"},
      {{plan, "--out", folder.Path("a"), "--scene", scene, "--scene", scene}, "1 stations"},
      {{plan, "--out", folder.Path("a"), "--scene", scene, "--resume", "--trials", "3"},
       "its folder tells"},
      {{plan, "--again", folder.Path("a")}, "give nothing else"},
      {{"--again", folder.Path("a")}, "no inspection was begun there"}};
  for (const auto& [words, text] : cases) {
    std::vector<std::string> all = {"inspect"};
    all.insert(all.end(), words.begin(), words.end());
    const Ended ended = RunMfx(all);
    EXPECT_EQ(ended.status, 2) << text;
    EXPECT_THAT(ended.err, HasSubstr(text));
    EXPECT_THAT(ended.out, IsEmpty());
  }
}

TEST(InspectCall, KeepsWhatIsInAFolderAlready) {
  const Folder folder;
  const json plan = PlanWith(With({"P1"}), {"face at P1"});
  EXPECT_EQ(Inspect(folder, plan).status, 0);
  const std::string result = TextOf(folder.Path("out/result.json"));
  EXPECT_EQ(Inspect(folder, plan).status, 2);
  EXPECT_EQ(TextOf(folder.Path("out/result.json")) == result, true);
  const Ended other = Inspect(folder, PlanWith(With({"H1"}), {"H1 position"}), {"--resume"});
  EXPECT_EQ(other.status, 2);
  EXPECT_THAT(other.err, HasSubstr("is not the one that"));
}

}  // namespace
}  // namespace mfx_test
