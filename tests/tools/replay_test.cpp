// Recordings: their form, and that they replay to the same bytes.

#include <cstdlib>
#include <fstream>

#include "examples.h"

namespace mfx_test {
namespace {

const std::string kRequest = Source("examples/requests/scan_path.json");
const std::string kWall = Source("examples/instrument/flat_wall.py");
const char* const kPath =
    R"({"$id": "p1", "PointSpacing": 0.5, "Feature": {"$type": "ScanPathFeature",
        "Path": {"Segments": [[[-1, 0, 2], [1, 0, 2]]]}}})";
/// Numbers that show what is lost on the way: a negative zero, more digits than most, a lost range.
const char* const kAwkward =
    "while read -r line; do echo '{\"samples\": [[-0.0, 0.1000000000000000055511151231257827, "
    "2.0000000000000004, 90, 1], [0.3, 0.2, null, 90, 1], [1e-320, 0, 2, 50, -1]]}'; done";

Ended Record(const Folder& folder, const std::string& request, const std::string& instrument,
             std::vector<std::string> more = {}) {
  std::vector<std::string> arguments = {"measure",      folder.Write("request", request),
                                        "--instrument", instrument,
                                        "--record",     folder.Path("r.jsonl")};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return RunMfx(arguments);
}

TEST(ReplayTest, ARecordingHoldsTheWholeConversationInOrder) {
  Folder folder;
  const Ended measured =
      RunMfx({"measure", kRequest, "--instrument", kWall, "--record", folder.Path("r.jsonl")});
  ASSERT_EQ(measured.status, 0) << measured.err;
  const auto lines = Lines(folder.Read("r.jsonl"));
  ASSERT_THAT(lines, SizeIs(4));
  std::ifstream request(kRequest);
  EXPECT_THAT(lines[0], StartsWith("{\"request\":{"));
  EXPECT_EQ(json::parse(lines[0])["request"], json::parse(request));
  EXPECT_EQ(lines[1] + "\n", RunMfx({"plan", kRequest}).out);
  EXPECT_GT(json::parse(lines[2])["samples"].size(), 10u);
  EXPECT_EQ(lines[3] + "\n",
            "{\"result\":" + measured.out.substr(0, measured.out.size() - 1) + "}\n");
  EXPECT_THAT(folder.Names(), testing::ElementsAre("r.jsonl"));
}

TEST(ReplayTest, ReplaysToTheSameBytes) {
  Folder folder;
  for (const char* form : {"json", "binary", "none"}) {
    for (const std::string& instrument : {kWall, std::string(kAwkward)}) {
      const Ended measured = Record(folder, kPath, instrument, {"--scan-data", form});
      EXPECT_EQ(measured.status, 0) << measured.err;
      const Ended replayed = RunMfx({"replay", folder.Path("r.jsonl")});
      EXPECT_EQ(replayed.status, 0) << replayed.err;
      EXPECT_EQ(replayed.out, measured.out);
      EXPECT_THAT(replayed.err, Not(HasSubstr("note:")));
    }
  }
}

TEST(ReplayTest, AFailedMeasurementReplaysToItsFailure) {
  Folder folder;
  const Ended measured =
      Record(folder, kPath, "read -r line; echo '{\"samples\": [[0, 0, 2, 1, 1]]}'; cat");
  EXPECT_EQ(measured.status, 1);
  const Ended replayed = RunMfx({"replay", folder.Path("r.jsonl")});
  EXPECT_EQ(replayed.status, 1);
  EXPECT_EQ(replayed.out, measured.out);
  EXPECT_THAT(replayed.err, HasSubstr("All points filtered out"));
}

TEST(ReplayTest, AnAnswerThatWasEmptyOnceReplays) {
  Folder folder;
  const Ended measured =
      Record(folder, kPath, std::string("read -r line; echo '{\"samples\": []}'; ") + kAwkward);
  EXPECT_EQ(measured.status, 0);
  EXPECT_THAT(Lines(folder.Read("r.jsonl")), SizeIs(6));
  EXPECT_EQ(RunMfx({"replay", folder.Path("r.jsonl")}).out, measured.out);
}

TEST(ReplayTest, RequestsThatAreNoPlainObjectReplayToo) {
  Folder folder;
  const std::string deep = "{\"a\":" + std::string(100000, '[') + std::string(100000, ']') + "}";
  const std::string comments = std::string("// a path\n") + kPath;
  const std::string trailing = std::string(kPath) + " and more";
  const std::string unread = "{\"X\":[1e400,\"\\ud800\",\"\xff\"]," + std::string(kPath).substr(1);
  std::string endless = kPath;
  endless.insert(endless.find("\"PointSpacing\":") + 15, "1e400,\"Y\":");
  for (const std::string& request :
       {std::string(), std::string("not JSON \xff"), std::string("[1]"),
        std::string("{\"$type\": \"x\", \"$type\": \"y\"}"), deep, comments, trailing, unread,
        endless}) {
    const Ended measured = Record(folder, request, kAwkward);
    const Ended replayed = RunMfx({"replay", folder.Path("r.jsonl")});
    EXPECT_EQ(replayed.status, measured.status) << replayed.err;
    EXPECT_EQ(replayed.out, measured.out);
    EXPECT_FALSE(replayed.out.empty());
  }
}

TEST(ReplayTest, ARecordingByAnotherHandIsUnderstood) {
  Folder folder;
  const std::string recording = folder.Write(
      "r.jsonl", "{ \"request\": " + json::parse(kPath).dump() + " }\r\n" +
                     R"({"step": "INITIAL", "drive": [[0, 0, 2, 0], [0.1, 0, 2, 0.5]]})" + "\n" +
                     R"({"samples": [[0, 0, 2, 90, 1]]})" + "\n" +
                     R"( { "result" : {"anything": 1} })" + "\n");
  const Ended replayed = RunMfx({"replay", recording});
  EXPECT_EQ(replayed.status, 0) << replayed.err;
  EXPECT_EQ(json::parse(replayed.out)["ScanData"]["Count"], 1);
  EXPECT_THAT(replayed.err, HasSubstr("note: the library now asks for other drive points"));
}

TEST(ReplayTest, ARecordingThatEndsEarlySaysSo) {
  Folder folder;
  const std::string head = "{\"request\":" + json::parse(kPath).dump() + "}\n";
  const Ended none = RunMfx({"replay", folder.Write("r.jsonl", head)});
  EXPECT_EQ(none.status, 2);
  EXPECT_THAT(none.err, HasSubstr("the recording holds 0 exchanges, and the measurement asks for "
                                  "one more"));
}

TEST(ReplayTest, WhatIsLeftOverIsNoted) {
  Folder folder;
  Record(folder, kPath, kAwkward);
  const auto lines = Lines(folder.Read("r.jsonl"));
  std::string longer = lines[0] + "\n";
  for (int i = 0; i < 2; ++i) longer += lines[1] + "\n" + lines[2] + "\n";
  const Ended replayed = RunMfx({"replay", folder.Write("r.jsonl", longer)});
  EXPECT_EQ(replayed.status, 0);
  EXPECT_THAT(replayed.err, HasSubstr("ended after 1 of 2 recorded exchanges"));
}

TEST(ReplayTest, BrokenRecordingsNameTheLine) {
  Folder folder;
  const std::string head = "{\"request\":" + json::parse(kPath).dump() + "}\n";
  const std::string drive = R"({"drive": [[0, 0, 2, 0]]})"
                            "\n";
  const std::string samples = R"({"samples": [[0, 0, 2, 90, 1]]})"
                              "\n";
  const auto refused = [&](const std::string& text, const std::string& why) {
    const Ended ended = RunMfx({"replay", folder.Write("r.jsonl", text)});
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.out, IsEmpty());
    EXPECT_THAT(Lines(ended.err), SizeIs(1)) << ended.err;
    EXPECT_THAT(ended.err, HasSubstr("r.jsonl, " + why));
  };
  refused("", "line 1: it is empty");
  refused("[]\n", "line 1: it is no object with \"request\"");
  refused("{\"request\"\n", "line 1: it is no object");
  refused(std::string(200000, '[') + "\n", "line 1: it is no object");
  refused(head + "nonsense\n", "line 2: it is not JSON at byte");
  refused(head + samples, "line 2: it has no \"drive\"");
  refused(head +
              R"({"drive": [[0, 0, 2]]})"
              "\n" +
              samples,
          "line 2: drive row 0 has 3 values");
  refused(head + drive, "line 3: the samples of the last drive are missing");
  refused(head + drive + drive, "line 3: it has neither");
  refused(head + drive +
              R"({"samples": [[0, 0, 2, 90]]})"
              "\n",
          "line 3: samples row 0 has 4");
  refused(head + drive + samples + "{\"result\": {}\n", "line 4: the result is not JSON");
  refused(head + drive + samples + "{\"result\": {}}\n" + drive,
          "line 5: there is something after");
  refused("{\"request\": {}, \"options\": {\"max_passes\": -1}}\n",
          "line 1: \"options\" has a value");
}

TEST(ReplayTest, ARecordingThatCannotBeWrittenEndsTheCallBeforeTheInstrumentStarts) {
  Folder folder;
  const Ended ended = RunMfx({"measure", folder.Write("request", kPath), "--instrument",
                              "touch " + folder.Path("started"), "--record", "/no/such/folder/r"});
  EXPECT_EQ(ended.status, 2);
  EXPECT_THAT(ended.err, HasSubstr("cannot write recording /no/such/folder/r"));
  EXPECT_THAT(folder.Names(), testing::ElementsAre("request"));
}

TEST(ReplayTest, ABrokenMeasurementLeavesTheOldRecordingAsItWas) {
  Folder folder;
  folder.Write("r.jsonl", "old");
  EXPECT_EQ(Record(folder, kPath, "read -r line; exit 1").status, 2);
  EXPECT_EQ(folder.Read("r.jsonl"), "old");
  EXPECT_THAT(folder.Names(), testing::ElementsAre("r.jsonl", "request"));
}

TEST(ReplayTest, ARecordingCanGoToADevice) {
  Folder folder;
  EXPECT_EQ(RunMfx({"measure", folder.Write("request", kPath), "--instrument", kAwkward, "--record",
                    "/dev/null"})
                .status,
            0);
}

// ---- the same bytes under a comma locale

/// A folder with a compiled German locale, or nothing where the machine cannot make one.
std::string GermanLocale(const Folder& folder) {
  const std::string command = "localedef -i de_DE -f UTF-8 " + folder.Path("de_DE.UTF-8") +
                              " >/dev/null 2>&1 && test -d " + folder.Path("de_DE.UTF-8");
  return std::system(command.c_str()) == 0 ? folder.Path("") : std::string();
}

TEST(CommaLocaleTest, EveryCallGivesTheSameBytes) {
  Folder locales;
  How german{.program = LIBMFX_MFX_COMMA};
  const std::string folder_of_locales = GermanLocale(locales);
  if (!folder_of_locales.empty()) {
    german.environment = {"LOCPATH=" + folder_of_locales, "MFX_TEST_LOCALE=de_DE.UTF-8"};
  }
  Folder folder;
  const std::string request = folder.Write("request", kPath);
  const std::string recording = folder.Path("r.jsonl");
  const std::vector<std::vector<std::string>> calls = {
      {"features", "--json"},
      {"features"},
      {"plan", request},
      {"plan", request, "--format", "csv"},
      {"measure", request, "--instrument", kAwkward, "--record", recording, "--timeout", "12.5"},
      {"measure", request, "--instrument", kAwkward, "--scan-data", "binary"},
      {"replay", recording}};
  std::string recorded;
  for (const auto& call : calls) {
    const Ended plain = RunMfx(call);
    if (call[0] == "measure" && recorded.empty()) recorded = WithoutTime(folder.Read("r.jsonl"));
    const Ended comma = RunMfx(call, german);
    EXPECT_EQ(comma.status, 0) << comma.err;
    EXPECT_EQ(comma.out, plain.out) << call[0];
    EXPECT_FALSE(comma.out.empty());
    if (!folder_of_locales.empty()) {
      EXPECT_THAT(comma.err, HasSubstr("decimal point of the C locale: ,"));
    }
  }
  EXPECT_EQ(WithoutTime(folder.Read("r.jsonl")), recorded);
}

TEST(CommaLocaleTest, TheEnvironmentAloneChangesNothing) {
  const Ended plain = RunMfx({"plan", kRequest});
  const Ended german = RunMfx({"plan", kRequest}, {.environment = {"LC_ALL=de_DE.UTF-8"}});
  EXPECT_EQ(german.out, plain.out);
}

}  // namespace
}  // namespace mfx_test
