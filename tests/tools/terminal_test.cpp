// What a person at a terminal sees of a result, beside what a pipe gets.

#include <cmath>
#include <sstream>

#include "examples.h"

namespace mfx_test {
namespace {

std::vector<std::string> Hole(const std::vector<std::string>& more = {}) {
  std::vector<std::string> words = {"measure", Source("examples/requests/hole.json"), "--scene",
                                    Source("examples/scenes/hole.json")};
  words.insert(words.end(), more.begin(), more.end());
  return words;
}

const How kOnTerminal = {.terminal = Terminal::kOutput};

/// The numbers of the row that begins with a name: nominal, measured, deviation.
std::vector<double> RowOf(const std::string& text, const std::string& name) {
  std::vector<double> numbers;
  for (const std::string& line : Lines(text)) {
    if (!line.starts_with("  " + name + "  ")) continue;
    std::istringstream cells(line.substr(name.size() + 2));
    for (double number = 0.0; cells >> number;) numbers.push_back(number);
  }
  return numbers;
}

TEST(TerminalTest, APersonGetsAShortText) {
  const Ended ended = RunMfx(Hole(), kOnTerminal);
  EXPECT_EQ(ended.status, 0);
  const json request = ReadJson(Source("examples/requests/hole.json"));
  EXPECT_THAT(ended.out,
              StartsWith(request["Feature"]["Name"].get<std::string>() + ": measured\n"));
  EXPECT_THAT(ended.out, Not(HasSubstr("{")));
  const json result = json::parse(RunMfx(Hole()).out);
  for (int i = 0; i < 3; ++i) {
    const std::vector<double> row = RowOf(ended.out, std::string("Location ") + "xyz"[i]);
    ASSERT_THAT(row, SizeIs(3)) << ended.out;
    // The table has 4 decimals of a millimetre.
    EXPECT_NEAR(row[1], 1000.0 * result["Location"][static_cast<std::size_t>(i)].get<double>(),
                0.5001e-4);
    EXPECT_NEAR(row[2], row[1] - row[0], 1.0001e-4);
    EXPECT_NEAR(row[0],
                1000.0 * request["Feature"]["Location"][static_cast<std::size_t>(i)].get<double>(),
                0.5001e-4);
  }
  EXPECT_THAT(RowOf(ended.out, "Radius"), SizeIs(3));
}

TEST(TerminalTest, APipeGetsWhatItAlwaysGot) {
  const Ended piped = RunMfx(Hole());
  EXPECT_TRUE(json::accept(piped.out));
  EXPECT_THAT(piped.err, HasSubstr("[RobustHole 1] "));
  const Ended asked = RunMfx(Hole({"--format", "json"}), kOnTerminal);
  EXPECT_EQ(asked.out, piped.out);
  EXPECT_EQ(asked.err, piped.err);
}

TEST(TerminalTest, ATextMayBeAskedForInAPipe) {
  const Ended text = RunMfx(Hole({"--format", "text"}));
  EXPECT_EQ(text.status, 0);
  EXPECT_EQ(text.out, RunMfx(Hole(), kOnTerminal).out);
  for (const std::string& line : Lines(text.err)) EXPECT_THAT(line, StartsWith("mfx: "));
  EXPECT_EQ(RunMfx(Hole({"--format", "xml"})).status, 2);
}

TEST(TerminalTest, LibraryLinesShowOnlyWhereTheyAreWanted) {
  EXPECT_THAT(RunMfx(Hole(), kOnTerminal).err, Not(HasSubstr("[RobustHole 1] ")));
  const Ended verbose = RunMfx(Hole({"-v"}), kOnTerminal);
  EXPECT_EQ(verbose.out, RunMfx(Hole(), kOnTerminal).out);
  EXPECT_EQ(verbose.err, RunMfx(Hole()).err);
  EXPECT_EQ(RunMfx(Hole({"-v"})).err, RunMfx(Hole()).err);
  EXPECT_THAT(RunMfx(Hole({"-q"})).err, Not(HasSubstr("[RobustHole 1] ")));
  EXPECT_EQ(RunMfx(Hole({"-q", "-v"})).status, 2);
}

TEST(TerminalTest, AFailureIsToldOnce) {
  const std::string request = R"({"$id": "f-1", "Feature": {"$type": "ScanPathFeature"}})";
  const std::vector<std::string> words = {"measure", "-", "--instrument", "cat"};
  const Ended one = RunMfx(words, {.input = request, .terminal = Terminal::kBoth});
  EXPECT_EQ(one.status, 1);
  const std::string told = "f-1: not measured\nerror: PointSpacing not specified!\n";
  // What is noted before anything is driven stands above.
  EXPECT_THAT(one.out, testing::EndsWith(told));
  EXPECT_THAT(one.out, Not(HasSubstr("the measurement failed")));
  // Whoever keeps the one and looks at the other finds it in both.
  const Ended two = RunMfx(words, {.input = request, .terminal = Terminal::kOutput});
  EXPECT_EQ(two.out, told);
  EXPECT_THAT(two.err,
              testing::EndsWith("mfx: the measurement failed: PointSpacing not specified!\n"));
}

TEST(TerminalTest, WarningsStandBelowTheQuantities) {
  // The nominal 0.6 mm off, and no re-scan that would mend it.
  Example off("rectangle");
  off.request.erase("RescanThreshold");
  off.request["Feature"]["Location"] = off.scene["pose"]["position"];
  json& x = off.request["Feature"]["Location"][0];
  x = x.get<double>() + 0.0006;
  Folder folder;
  const std::vector<std::string> words = {"measure", folder.Write("r.json", off.request.dump()),
                                          "--scene", folder.Write("s.json", off.scene.dump()),
                                          "--strict"};
  const Ended piped = RunMfx(words);
  const json result = json::parse(piped.out);
  ASSERT_TRUE(result.contains("Warnings")) << piped.out;
  EXPECT_EQ(piped.status, 1);
  const Ended shown = RunMfx(words, {.terminal = Terminal::kBoth});
  EXPECT_EQ(shown.status, 1);
  EXPECT_THAT(Lines(shown.out)[0], testing::EndsWith(": measured, with doubts"));
  for (const json& warning : result["Warnings"]) {
    EXPECT_EQ(CountOf(shown.out, "warning: " + warning.get<std::string>() + "\n"), 1u);
  }
  EXPECT_THAT(shown.out, HasSubstr("mfx: the measurement is doubtful, and --strict counts"));
}

TEST(TerminalTest, ANameCannotSteerTheTerminal) {
  Example path("scan_path");
  path.request["Feature"]["Name"] = "a\x1b[2J\nb";
  Folder folder;
  const Ended ended = RunMfx({"measure", folder.Write("r.json", path.request.dump()), "--scene",
                              folder.Write("s.json", path.scene.dump())},
                             kOnTerminal);
  EXPECT_EQ(ended.status, 0);
  EXPECT_THAT(ended.out, StartsWith("a [2J b: measured\n  "));
  EXPECT_THAT(ended.out, testing::EndsWith(" samples\n"));
}

TEST(TerminalTest, EveryExampleIsToldAndAReplayTheSame) {
  for (const auto& entry : std::filesystem::directory_iterator(Source("examples/scenes"))) {
    const std::string request = Source("examples/requests/" + entry.path().filename().string());
    if (!std::filesystem::exists(request)) continue;
    SCOPED_TRACE(entry.path());
    Folder folder;
    const Ended ended = RunMfx(
        {"measure", request, "--scene", entry.path(), "--record", folder.Path("r")}, kOnTerminal);
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(Lines(ended.out)[0], testing::EndsWith(": measured"));
    EXPECT_GE(Lines(ended.out).size(), 2u);
    EXPECT_EQ(RunMfx({"replay", folder.Path("r")}, kOnTerminal).out, ended.out);
  }
}

}  // namespace
}  // namespace mfx_test
