// The built program with instruments that behave and instruments that do not.

#include <chrono>
#include <cmath>
#include <csignal>
#include <fstream>
#include <thread>

#include "program_test.h"

namespace mfx_test {
namespace {

const char* const kPath =
    R"({"$id": "p1", "QualityThreshold": 50, "PointSpacing": 0.5, "Feature": {"$type":
        "ScanPathFeature", "Name": "Path", "Path": {"Segments": [[[-1, 0, 2], [1, 0, 2]]]}}})";

const std::string kWall = Source("examples/instrument/flat_wall.py");
/// One sample of quality 90.
const std::string kOne = R"({"samples": [[0.1, 0.2, 2.5, 90, 1]]})";

Ended Measure(const std::string& instrument, std::vector<std::string> more = {},
              const std::string& request = kPath) {
  std::vector<std::string> arguments = {"measure", "-", "--instrument", instrument};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return RunMfx(arguments, {.input = request});
}

/// Answers every line with `text`.
std::string Answering(const std::string& text) {
  return "while read -r line; do printf '%s\\n' '" + text + "'; done";
}

void ExpectRefused(const Ended& ended, const std::string& why) {
  EXPECT_EQ(ended.status, 2);
  EXPECT_THAT(ended.out, IsEmpty());
  ASSERT_THAT(Lines(ended.err), SizeIs(1)) << ended.err;
  EXPECT_THAT(ended.err, StartsWith("mfx: instrument "));
  EXPECT_THAT(ended.err, HasSubstr(why));
}

/// Whether a process still runs. One that has ended but that nobody has asked for does not.
bool Runs(const std::string& pid) {
  for (int i = 0; i < 100; ++i) {
    std::ifstream file("/proc/" + std::to_string(std::stoi(pid)) + "/stat");
    std::string stat;
    if (!std::getline(file, stat)) return false;
    if (stat[stat.rfind(')') + 2] == 'Z') return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

TEST(MeasureTest, AScanPathOverAWall) {
  const Ended ended =
      RunMfx({"measure", Source("examples/requests/scan_path.json"), "--instrument", kWall});
  EXPECT_EQ(ended.status, 0) << ended.err;
  ASSERT_THAT(Lines(ended.out), SizeIs(1));
  const json result = json::parse(ended.out);
  EXPECT_EQ(result["Success"], true);
  EXPECT_EQ(result["Target"], "wall-grid");
  EXPECT_GT(result["ScanData"]["Count"], 10);
  for (const json& row : result["ScanData"]["Data"]) {
    const double az = row[0], el = row[1], range = row[2];
    EXPECT_NEAR(std::cos(az) * std::cos(el) * range, 2.0, 1e-12);
  }
}

TEST(MeasureTest, TheFormOfTheSamplesCanBeChosen) {
  const Ended text = Measure(Answering(kOne), {"--scan-data", "json"});
  EXPECT_EQ(json::parse(text.out)["ScanData"]["Count"], 1);
  EXPECT_EQ(text.out, Measure(Answering(kOne)).out);
  const Ended binary = Measure(Answering(kOne), {"--scan-data", "binary"});
  EXPECT_EQ(binary.status, 0);
  // One record of 48 bytes after a head of 8: 76 characters, in lines of at most 72.
  EXPECT_EQ(json::parse(binary.out)["ScanData"].get<std::string>().size(), 78u);
  ASSERT_THAT(Lines(binary.out), SizeIs(1));
  const Ended none = Measure(Answering(kOne), {"--scan-data", "none"});
  EXPECT_EQ(none.status, 0);
  EXPECT_EQ(json::parse(none.out)["ScanData"]["Count"], 0);
}

TEST(MeasureTest, AFailedMeasurementHasItsResultAndStatus1) {
  const Ended ended = Measure(Answering(R"({"samples": [[0.1, 0.2, 2.5, 10, 1]]})"));
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(json::parse(ended.out)["Success"], false);
  EXPECT_THAT(ended.err, HasSubstr("mfx: the measurement failed: All points filtered out\n"));
}

TEST(MeasureTest, ARequestThatCannotBeUnderstoodFailsInItsResult) {
  for (const char* request :
       {"", "not JSON", "[1, 2]", "{}", R"({"Feature": {"$type": "Moon"}})"}) {
    const Ended ended = Measure("echo never asked >&2; cat", {}, request);
    EXPECT_EQ(ended.status, 1) << request;
    EXPECT_THAT(ended.out, HasSubstr("The feature type requested is not supported!"));
    EXPECT_THAT(ended.err, HasSubstr("Unknown feature"));
  }
}

TEST(MeasureTest, ARefusedRequestIsNoSuccessWithoutScanData) {
  const Ended ended = Measure(Answering(kOne), {"--scan-data", "none"},
                              R"({"Feature": {"$type": "ScanPathFeature"}})");
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(json::parse(ended.out)["Success"], false);
  EXPECT_THAT(ended.err, HasSubstr("PointSpacing not specified!"));
}

TEST(MeasureTest, TheInstrumentHearsOneLineADrive) {
  Folder folder;
  const std::string heard = folder.Path("heard");
  Measure("read -r line; printf '%s\\n' \"$line\" >" + heard + "; echo '" + kOne + "'; cat >>" +
          heard);
  const auto lines = Lines(folder.Read("heard"));
  ASSERT_THAT(lines, SizeIs(1));
  EXPECT_EQ(lines[0] + "\n", RunMfx({"plan", "-"}, {.input = kPath}).out);
}

TEST(MeasureTest, WhatTheInstrumentTellsTheOperatorPassesThrough) {
  const Ended ended = Measure("echo warming up >&2; " + Answering(kOne));
  EXPECT_EQ(ended.status, 0);
  EXPECT_THAT(ended.err, HasSubstr("warming up\n"));
}

TEST(MeasureTest, OneEmptyAnswerIsAskedAgain) {
  const Ended ended = Measure("read -r line; echo '{\"samples\": []}'; " + Answering(kOne));
  EXPECT_EQ(ended.status, 0) << ended.err;
  EXPECT_EQ(json::parse(ended.out)["ScanData"]["Count"], 1);
}

TEST(MeasureTest, TwoEmptyAnswersInARow) {
  const Ended ended = Measure(Answering(R"({"samples": []})"));
  EXPECT_EQ(ended.status, 2);
  EXPECT_THAT(ended.out, IsEmpty());
  ASSERT_THAT(Lines(ended.err), SizeIs(1));
  EXPECT_THAT(ended.err, HasSubstr("no samples twice in a row"));
}

TEST(MeasureTest, Garbage) {
  ExpectRefused(Measure(Answering("what?")),
                "exchange 1: sent an answer that cannot be used: it is "
                "not JSON at byte 1: 'what?'");
  ExpectRefused(Measure("head -c 300 /dev/urandom | tr -d '\\n'; echo; cat"), "cannot be used");
  ExpectRefused(Measure(Answering("")), "not JSON");
}

TEST(MeasureTest, SamplesOfTheWrongShape) {
  ExpectRefused(Measure(Answering(R"({"samples": [[1,2,3,4]]})")),
                "samples row 0 has 4 values, not 5");
  ExpectRefused(Measure(Answering(R"({"samples": [["a",2,3,4,5]]})")), "holds a text");
  ExpectRefused(Measure(Answering(R"({"sample": []})")), "neither");
}

TEST(MeasureTest, AnErrorOfTheInstrument) {
  ExpectRefused(Measure(Answering(R"({"error": "the beam\nis blocked"})")),
                "says: the beam is blocked");
}

TEST(MeasureTest, NothingAtAll) {
  ExpectRefused(Measure("true"),
                "closed its pipe before it answered (it ended with exit status 0)");
  ExpectRefused(Measure("read -r line; exec >&-; sleep 30"), "it is still running");
}

TEST(MeasureTest, Dies) {
  ExpectRefused(Measure("read -r line; exit 7"), "exit status 7");
  ExpectRefused(Measure("read -r line; kill -9 $$"), "ended by signal 9");
  ExpectRefused(Measure("read -r line; printf '{\"samples\": [[1,'; exit 3"),
                "in the middle of its answer (it ended with exit status 3)");
  const Ended missing = Measure("/no/such/instrument");
  EXPECT_EQ(missing.status, 2);
  EXPECT_THAT(missing.err, HasSubstr("exit status 127"));
}

TEST(MeasureTest, TooMuch) {
  ExpectRefused(Measure("read -r line; printf '%s\\n%s\\n' '" + kOne + "' '" + kOne + "'; cat"),
                "more than one line for one drive");
  ExpectRefused(Measure("yes '" + kOne + "'"), "more than one line for one drive");
  // The first answer is empty, and the second one is there before it was asked for.
  ExpectRefused(
      Measure("read -r line; printf '%s\\n%s\\n' '{\"samples\": []}' '" + kOne + "'; sleep 30"),
      "more than one line for one drive");
}

TEST(MeasureTest, AnAnswerThatNeverEnds) {
  ExpectRefused(Measure("cat /dev/zero"), "256 MiB without ending the line");
  const Ended slow = Measure("while :; do printf 1; sleep 0.05; done", {"--timeout", "0.5"});
  ExpectRefused(slow, "no whole answer within 500 ms");
  EXPECT_LT(slow.seconds, 30.0);
}

TEST(MeasureTest, Hangs) {
  const Ended ended = Measure("sleep 60", {"--timeout", "0.3"});
  ExpectRefused(ended, "no whole answer within 300 ms");
  EXPECT_LT(ended.seconds, 30.0);
}

TEST(MeasureTest, HangsWithoutReading) {
  // More drive points than a pipe holds.
  std::string segment;
  for (int i = 0; i < 5000; ++i) {
    segment += (i ? ",[" : "[") + std::to_string(0.0001 * i) + ",0,2]";
  }
  ExpectRefused(Measure("sleep 60", {"--timeout", "0.3"},
                        R"({"PointSpacing": 0.5, "Feature": {"$type": "ScanPathFeature", "Path":
                            {"Segments": [[)" +
                            segment + "]]}}}"),
                "no whole answer within 300 ms");
}

TEST(MeasureTest, NothingIsLeftOfTheInstrument) {
  Folder folder;
  // A child of its own, which ignores the polite signal.
  const std::string pids = "(trap '' TERM HUP; sleep 300 & echo $! >" + folder.Path("pid") +
                           "; wait) & while ! [ -s " + folder.Path("pid") + " ]; do :; done; ";
  EXPECT_EQ(Measure(pids + Answering(kOne)).status, 0);
  EXPECT_FALSE(Runs(folder.Read("pid")));
  std::filesystem::remove(folder.Path("pid"));  // or the next one would not wait for its own
  // What it leaves behind keeps the pipe open; its end is noticed all the same.
  const Ended died = Measure(pids + "read -r line; exit 5");
  ExpectRefused(died, "closed its pipe before it answered (it ended with exit status 5)");
  EXPECT_LT(died.seconds, 30.0);
  EXPECT_FALSE(Runs(folder.Read("pid")));
}

TEST(MeasureTest, AnInstrumentThatStaysAfterItsPipeIsClosedIsEnded) {
  const Ended ended =
      Measure("trap '' TERM; read -r line; echo '" + kOne + "'; sleep 300; sleep 300");
  EXPECT_EQ(ended.status, 0);
  EXPECT_LT(ended.seconds, 60.0);
}

TEST(MeasureTest, CtrlCEndsTheInstrumentAndLeavesNoFile) {
  Folder folder;
  const std::string instrument = "echo $$ >" + folder.Path("pid") + "; read -r line; touch " +
                                 folder.Path("ready") + "; sleep 300";
  const Ended ended = RunMfx(
      {"measure", "-", "--instrument", instrument, "--record", folder.Path("recording.jsonl")},
      {.input = kPath, .signal = SIGINT, .signal_when = folder.Path("ready")});
  EXPECT_EQ(ended.status, 130);
  EXPECT_THAT(ended.out, IsEmpty());
  EXPECT_FALSE(Runs(folder.Read("pid")));
  EXPECT_THAT(folder.Names(), testing::ElementsAre("pid", "ready"));
}

}  // namespace
}  // namespace mfx_test
