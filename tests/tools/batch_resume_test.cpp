// Batches that go on where another one ended, and recordings that are analysed anew.

#include <sys/stat.h>

#include <filesystem>
#include <random>

#include "batch_jobs.h"

namespace mfx_test {
namespace {

namespace fs = std::filesystem;

/// A folder with jobs and the answers to them.
struct Batch : Folder {
  explicit Batch(const std::string& jobs = Jobs(8) + "nonsense\n{\"id\": 1}\n" + Job(8)) {
    Write("jobs", jobs);
    whole = RunMfx({"batch", Path("jobs")}).out;
    EXPECT_THAT(Lines(whole), SizeIs(Lines(jobs).size()));
  }

  /// Runs a line of a shell in the folder, with mfx to be found.
  Ended Shell(const std::string& line) const {
    const std::string mfx = fs::path(LIBMFX_MFX_PROGRAM).parent_path();
    return RunMfx({"-c", "cd '" + Path("") + "' && PATH='" + mfx + "':$PATH && " + line},
                  {.program = "/bin/sh"});
  }

  void ExpectRefused(const std::string& answers, const std::string& why) const {
    Write("answers", answers);
    const Ended ended = Shell("mfx batch jobs --resume answers >> answers");
    EXPECT_EQ(ended.status, 2) << answers;
    EXPECT_THAT(ended.err, HasSubstr(why));
    EXPECT_THAT(Lines(ended.err), SizeIs(1));
    EXPECT_EQ(Read("answers"), answers);
  }

  std::string whole;
};

TEST(BatchResumeTest, ABatchThatWasKilledAtAnyByteIsCompleted) {
  const Batch batch;
  std::mt19937 draw(20260101);
  std::vector<std::size_t> cuts = {0, 1, 5, batch.whole.size() - 1, batch.whole.size()};
  const std::size_t first_end = batch.whole.find('\n');
  cuts.insert(cuts.end(), {first_end - 1, first_end, first_end + 1, first_end + 2});
  for (int i = 0; i < 12; ++i) cuts.push_back(draw() % batch.whole.size());
  for (const std::size_t cut : cuts) {
    SCOPED_TRACE(cut);
    for (const char* call : {"mfx batch jobs --resume answers >> answers",
                             "mfx batch - --resume answers -j 2 < jobs >> answers",
                             "mfx batch jobs --resume answers > new && cat new >> answers"}) {
      batch.Write("answers", batch.whole.substr(0, cut));
      const Ended ended = batch.Shell(call);
      EXPECT_EQ(ended.status, 0) << ended.err;
      EXPECT_EQ(batch.Read("answers"), batch.whole) << call;
      EXPECT_THAT(ended.err, IsEmpty());
    }
  }
}

TEST(BatchResumeTest, WhatIsAnsweredIsNotCarriedOutAgain) {
  const Batch batch;
  std::string answers = batch.whole;
  // An answer of its own kind shows that it was kept.
  answers.replace(0, answers.find('\n'), "{\"id\":0,\"error\":\"kept\"}");
  const auto lines = Lines(answers);
  batch.Write("answers", lines[0] + "\n" + lines[1] + "\n");
  EXPECT_EQ(batch.Shell("mfx batch jobs --resume answers >> answers").status, 0);
  EXPECT_EQ(batch.Read("answers"), answers);
  const Ended again = batch.Shell("mfx batch jobs --resume answers");
  EXPECT_EQ(again.status, 0);
  EXPECT_THAT(again.out, IsEmpty());
}

TEST(BatchResumeTest, AFileThatHoldsAnythingElseIsRefusedAndLeftAsItIs) {
  const Batch batch;
  const auto lines = Lines(batch.whole);
  batch.ExpectRefused(lines[1] + "\n", "line 1: it is no answer to the job there, whose id is '0'");
  batch.ExpectRefused(lines[0] + "\n" + lines[0].substr(0, 20), "line 2: it is no answer");
  batch.ExpectRefused(lines[0] + "\n\n", "line 2: it is no answer");
  batch.ExpectRefused(Job(0) + Job(1), "line 1: it is no answer");
  batch.ExpectRefused(Job(0).substr(0, 30), "line 1: it is no answer");
  batch.ExpectRefused("some text without an end", "line 1: it is no answer");
  // What two batches leave that wrote behind half a line.
  for (std::size_t length = 1; length < lines[0].size(); length += 29) {
    batch.ExpectRefused(lines[0].substr(0, length) + lines[0] + "\n", "line 1: it is no answer");
  }
  batch.ExpectRefused(batch.whole + lines[0] + "\n", "there are no more than 11 jobs");
  batch.ExpectRefused(batch.whole + "{", "there are no more than 11 jobs");
}

TEST(BatchResumeTest, TheAnswersAreNotWrittenOver) {
  const Batch batch;
  batch.Write("answers", batch.whole);
  // A shell empties the file before any program could look; here it is opened and left as it is.
  const Ended over = batch.Shell("mfx batch jobs --resume answers 1<> answers");
  EXPECT_EQ(over.status, 2);
  EXPECT_THAT(over.err, HasSubstr("standard output would write over answers answers"));
  EXPECT_EQ(batch.Read("answers"), batch.whole);
  EXPECT_THAT(batch.Shell("mfx batch jobs --resume ./jobs").err, HasSubstr("are one file"));
  EXPECT_THAT(batch.Shell("mfx batch jobs --resume answers >> jobs").err,
              HasSubstr("are one file"));
  EXPECT_EQ(Lines(batch.Read("jobs")).size(), 11u);
  EXPECT_EQ(batch.Shell("mfx batch jobs --resume none").status, 2);
  EXPECT_THAT(batch.Shell("mfx batch jobs --resume - < answers").err, HasSubstr("wants a file"));
}

// ---- recordings with other settings, and what changed

/// A folder with the recording of a hole.
struct Recorded : Folder {
  Recorded() {
    measured = RunMfx({"measure", Source("examples/requests/hole.json"), "--scene",
                       Source("examples/scenes/hole.json"), "--record", Path("r.jsonl")});
    EXPECT_EQ(measured.status, 0) << measured.err;
  }

  Ended Run(const json& job, std::vector<std::string> more = {}) const {
    more.insert(more.begin(), {"batch", "-"});
    return RunMfx(more, {.input = job.dump() + "\n"});
  }
  json Answer(const json& changes, const std::vector<std::string>& more = {}) const {
    return json::parse(
        Run({{"id", 1}, {"recording", Path("r.jsonl")}, {"request", changes}}, more).out);
  }
  json Result() const { return json::parse(measured.out); }

  Ended measured;
};

TEST(BatchChangesTest, KeysOfARequestReplaceThoseOfTheRecording) {
  const Recorded recorded;
  EXPECT_EQ(recorded.Answer(json::object())["result"], recorded.Result());
  const json named = recorded.Answer({{"Name", "another"}, {"$id", "x"}});
  EXPECT_EQ(named["result"]["Name"], recorded.Result()["Name"]);  // the feature's own name counts
  EXPECT_EQ(named["result"]["Target"], "x");
  // Within "Feature" the other keys stay.
  const json renamed = recorded.Answer({{"Feature", {{"Name", "another"}}}});
  EXPECT_EQ(renamed["result"]["Success"], true);
  EXPECT_EQ(renamed["result"]["Name"], "another");
  const json strict = recorded.Answer({{"ScanQualityThreshold", 1000}});
  EXPECT_EQ(strict["result"]["Success"], false);
  const json wrong = recorded.Answer({{"Feature", {{"Radius", 0.5}}}});
  EXPECT_EQ(wrong["result"]["Success"], false);
  EXPECT_THAT(wrong["notes"].dump(), HasSubstr("asks for other drive points than were recorded"));
}

TEST(BatchChangesTest, BadChangesAreAnswered) {
  const Recorded recorded;
  EXPECT_THAT(recorded.Answer(5)["error"].dump(), HasSubstr("is no object"));
  const json both = {
      {"recording", recorded.Path("r.jsonl")}, {"request", json::object()}, {"scene", Plane(2.0)}};
  EXPECT_THAT(recorded.Run(both).out, HasSubstr("both a \\\"recording\\\" and a \\\"scene\\\""));
  auto lines = Lines(recorded.Read("r.jsonl"));
  recorded.Write("r.jsonl", "{\"request\":\"no JSON\"}\n" + lines[1] + "\n" + lines[2] + "\n");
  EXPECT_THAT(recorded.Answer(json::object())["error"].dump(),
              HasSubstr("the recorded request is no JSON object"));
}

TEST(BatchChangesTest, CompareTellsWhatChanged) {
  const Recorded recorded;
  const json same = {{"id", 1}, {"recording", recorded.Path("r.jsonl")}};
  const Ended plain = recorded.Run(same);
  const Ended compared = recorded.Run(same, {"--compare"});
  EXPECT_EQ(compared.out, plain.out);
  EXPECT_THAT(plain.err, IsEmpty());
  EXPECT_EQ(compared.err,
            "mfx: compared 1 recordings: 1 same, 0 changed; failed then 0, failed now 0; not "
            "compared 0\n");

  // A recorded result that lay elsewhere.
  std::string text = recorded.Read("r.jsonl");
  auto lines = Lines(text);
  nlohmann::ordered_json result = nlohmann::ordered_json::parse(lines.back());
  auto& radius = result["result"]["Radius"];
  const double was = radius.get<double>() + 0.001;
  radius = was;
  result["result"]["Gone"] = "x";
  lines.back() = result.dump();
  text.clear();
  for (const std::string& line : lines) text += line + "\n";
  recorded.Write("r.jsonl", text);
  const Ended changed = recorded.Run(same, {"--compare"});
  const json answer = json::parse(changed.out);
  EXPECT_EQ(answer["changed"].size(), 2u) << answer["changed"];
  EXPECT_EQ(answer["changed"]["Radius"]["was"], was);
  EXPECT_EQ(answer["changed"]["Radius"]["is"], recorded.Result()["Radius"]);
  EXPECT_EQ(answer["changed"]["Gone"], (json{{"was", "x"}}));
  EXPECT_EQ(answer["result"], recorded.Result());
  const auto notes = Lines(changed.err);
  ASSERT_THAT(notes, SizeIs(2));
  EXPECT_THAT(notes[0], HasSubstr("0 same, 1 changed"));
  EXPECT_THAT(notes[1], StartsWith("mfx: largest change of Radius: 0.00"));
  EXPECT_THAT(notes[1], HasSubstr("job on line 1"));
}

TEST(BatchChangesTest, TheSummaryCountsEveryRecording) {
  const Recorded recorded;
  const std::string file = recorded.Path("r.jsonl");
  auto lines = Lines(recorded.Read("r.jsonl"));
  lines.pop_back();
  std::string open;
  for (const std::string& line : lines) open += line + "\n";
  std::string input = Job(1);  // nothing to compare
  input += json{{"recording", file}}.dump() + "\n";
  input += json{{"recording", recorded.Write("open", open)}}.dump() + "\n";
  input += json{{"recording", "/no/such/file"}}.dump() + "\n";
  input += json{{"recording", file}, {"request", {{"ScanQualityThreshold", 1000}}}}.dump() + "\n";
  const Ended one = RunMfx({"batch", "-", "--compare"}, {.input = input});
  EXPECT_THAT(one.err, StartsWith("mfx: compared 2 recordings: 1 same, 1 changed; failed then 0, "
                                  "failed now 1; not compared 2\n"));
  const json failed = json::parse(Lines(one.out).at(4));
  EXPECT_EQ(failed["changed"]["Success"], (json{{"was", true}, {"is", false}}));
  EXPECT_FALSE(failed["changed"]["Radius"].contains("is"));
  EXPECT_THAT(failed["changed"]["ScanData.Data"]["was"].get<std::string>(), HasSubstr(" values"));
  const Ended two = RunMfx({"batch", "-", "--compare", "-j", "2"}, {.input = input});
  EXPECT_EQ(two.out, one.out);
  EXPECT_EQ(two.err, one.err);
}

}  // namespace
}  // namespace mfx_test
