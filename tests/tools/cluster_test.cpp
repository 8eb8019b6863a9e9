// The scripts of examples/cluster around mfx, without the engines: an archive is cut into chunks,
// each chunk answered by itself, and all answers together are those of one batch.

#include <filesystem>
#include <fstream>

#include "batch_jobs.h"

namespace mfx_test {
namespace {

namespace fs = std::filesystem;

/// An archive of seven recordings, some in folders, and what the scripts make of it.
class ClusterTest : public testing::Test {
 protected:
  void SetUp() override {
    const std::string request = _folder.Write("request", Path("wall").dump());
    const std::string scene = _folder.Write("scene", Plane(2.0).dump());
    fs::create_directories(_folder.Path("archive/a b"));
    for (const std::string& path : kPaths) {
      const Ended ended = RunMfx({"measure", request, "--scene", scene, "--seed",
                                  std::to_string(path.size()), "--record", Archived(path)});
      ASSERT_EQ(ended.status, 0) << ended.err;
    }
  }

  std::string Archived(const std::string& path) const { return _folder.Path("archive/" + path); }
  std::string Answers(const std::string& name) const { return _folder.Path("answers/" + name); }

  /// Runs a line of a shell with $cluster, $mfx and $work set.
  Ended Shell(const std::string& line, const std::string& input = {}) const {
    return RunMfx({"-c", line},
                  {.input = input,
                   .program = "/bin/sh",
                   .environment = {"cluster=" + Source("examples/cluster"),
                                   "mfx=" + std::string(LIBMFX_MFX_PROGRAM),
                                   "work=" + _folder.Path(""), "TMPDIR=" + _folder.Path("")}});
  }

  Ended Cut(const std::string& list, const std::string& size = "3",
            const std::string& option = "") const {
    return Shell(
        "\"$cluster/make_chunks.sh\" " + option + " \"$work/archive\" \"$work/chunks\" " + size,
        list);
  }

  Ended AnswerChunk(const std::string& name) const {
    return Shell("\"$cluster/answer_chunk.sh\" \"$mfx\" \"$work/chunks\" \"$work/answers\" " +
                 name);
  }

  Ended Unfinished() const {
    return Shell("\"$cluster/unfinished.sh\" \"$work/chunks\" \"$work/answers\"");
  }

  Ended Join() const {
    return Shell("\"$cluster/join_answers.sh\" \"$work/chunks\" \"$work/answers\"");
  }

  /// What one batch answers to all jobs.
  std::string OneBatch() const {
    return Shell("cd \"$work/archive\" && cat ../chunks/*/*.jobs | \"$mfx\" batch -").out;
  }

  static std::string List() {
    std::string list;
    for (const std::string& path : kPaths) list += path + "\n";
    return list;
  }

  // What a name may hold: blanks, quotes, a backslash, letters of other scripts.
  static inline const std::vector<std::string> kPaths = {
      "1.rec",        "2.rec.gz",       "a b/3.rec", "a b/it's \"4\".rec",
      "a b/5\\n.rec", "a b/\u00b5.rec", "7"};

  Folder _folder;
};

TEST_F(ClusterTest, ChunksAnsweredByThemselvesAreTheBatch) {
  ASSERT_EQ(Cut(List()).status, 0);
  EXPECT_EQ(Unfinished().out, "0000/0000\n0000/0001\n0000/0002\n");
  EXPECT_EQ(Join().status, 1);
  for (const char* name : {"0000/0002", "0000/0000", "0000/0001", "0000/0001"}) {
    const Ended ended = AnswerChunk(name);
    EXPECT_EQ(ended.status, 0) << ended.err;
  }
  EXPECT_EQ(Unfinished().out, "");
  const Ended joined = Join();
  EXPECT_EQ(joined.status, 0) << joined.err;
  EXPECT_THAT(joined.err, HasSubstr("7 answers, 0 with errors"));
  ASSERT_THAT(Lines(joined.out), SizeIs(kPaths.size()));
  for (std::size_t i = 0; i < kPaths.size(); ++i) {
    const json answer = json::parse(Lines(joined.out)[i]);
    EXPECT_EQ(answer["id"], kPaths[i]);
    EXPECT_EQ(answer["result"]["Success"], true);
  }
  EXPECT_EQ(joined.out, OneBatch());
  // Neither locks nor halves are left behind.
  for (const auto& entry : fs::directory_iterator(Answers("0000"))) {
    EXPECT_EQ(entry.path().extension(), ".answers");
  }
}

TEST_F(ClusterTest, PackedChunksGiveTheSameAnswers) {
  if (Shell("command -v zstd").status != 0) GTEST_SKIP() << "there is no zstd here";
  fs::remove(Archived("1.rec"));
  const Ended cut = Cut(List(), "4", "--pack");
  ASSERT_EQ(cut.status, 0) << cut.err;
  EXPECT_THAT(cut.err, HasSubstr("cannot read " + Archived("1.rec")));
  const std::string expected = OneBatch();
  // The archive is no longer needed.
  fs::remove_all(Archived(""));
  for (const char* name : {"0000/0000", "0000/0001"}) {
    const Ended ended = AnswerChunk(name);
    EXPECT_EQ(ended.status, 0) << ended.err;
  }
  EXPECT_EQ(Join().out, expected);
  for (const std::string& name : _folder.Names()) EXPECT_THAT(name, Not(StartsWith("mfx-")));
}

TEST_F(ClusterTest, ABrokenPackageIsTold) {
  if (Shell("command -v zstd").status != 0) GTEST_SKIP() << "there is no zstd here";
  ASSERT_EQ(Cut(List(), "4", "--pack").status, 0);
  fs::resize_file(_folder.Path("chunks/0000/0000.tar.zst"), 50);
  const Ended broken = AnswerChunk("0000/0000");
  EXPECT_EQ(broken.status, 1);
  EXPECT_THAT(broken.err, HasSubstr("chunk 0000/0000: cannot unpack"));
  EXPECT_EQ(AnswerChunk("0000/0001").status, 0);
  EXPECT_EQ(Unfinished().out, "0000/0000\n");
}

TEST_F(ClusterTest, ARecordingThatCannotBeReadIsAnAnswer) {
  fs::remove(Archived("1.rec"));
  fs::resize_file(Archived("a b/3.rec"), 40);
  fs::resize_file(Archived("7"), 0);
  ASSERT_EQ(Cut(List(), "7").status, 0);
  EXPECT_EQ(AnswerChunk("0000/0000").status, 0);
  const Ended joined = Join();
  EXPECT_THAT(joined.err, HasSubstr("7 answers, 3 with errors"));
  EXPECT_EQ(joined.out, OneBatch());
}

TEST_F(ClusterTest, AChunkGoesOnWhereItWasBrokenOff) {
  ASSERT_EQ(Cut(List(), "7").status, 0);
  const std::string expected = OneBatch();
  fs::create_directories(Answers("0000"));
  // The first answer is taken as it stands, so that one can tell it from a new one.
  std::string first = Lines(expected)[0] + "\n";
  first.replace(first.find("true"), 4, "fals");
  for (const std::size_t half : {std::size_t{0}, std::size_t{9}, expected.size() / 3}) {
    std::ofstream(Answers("0000/0000.partial"))
        << (first + expected.substr(first.size())).substr(0, first.size() + half);
    const Ended ended = AnswerChunk("0000/0000");
    EXPECT_EQ(ended.status, 0) << ended.err;
    EXPECT_EQ(Join().out, first + expected.substr(first.size()));
    fs::remove(Answers("0000/0000.answers"));
  }
}

TEST_F(ClusterTest, AnswersOfOtherJobsAreNotPublished) {
  ASSERT_EQ(Cut(List(), "7").status, 0);
  fs::create_directories(Answers("0000"));
  std::ofstream(Answers("0000/0000.partial")) << "{\"id\":\"2.rec.gz\",\"error\":\"\"}\n";
  const Ended ended = AnswerChunk("0000/0000");
  EXPECT_EQ(ended.status, 1);
  EXPECT_THAT(ended.err, HasSubstr("it is no answer to the job there"));
  EXPECT_FALSE(fs::exists(Answers("0000/0000.answers")));
}

// Two calls for one chunk: what they would write into one file would be nobody's answers.
TEST_F(ClusterTest, OneCallWaitsForTheOther) {
  ASSERT_EQ(Cut(List(), "7").status, 0);
  const std::string call =
      "\"$cluster/answer_chunk.sh\" \"$mfx\" \"$work/chunks\" \"$work/answers\" 0000/0000";
  const Ended both = Shell(call + " & " + call + " && wait $!");
  EXPECT_EQ(both.status, 0) << both.err;
  EXPECT_EQ(Join().out, OneBatch());
  fs::remove(Answers("0000/0000.answers"));
  const Ended held = Shell("exec 8>\"$work/answers/0000/0000.lock\" && flock 8 && LOCK_SECONDS=0 " +
                           call + " 8>&-");
  EXPECT_EQ(held.status, 1);
  EXPECT_THAT(held.err, HasSubstr("another call has had"));
}

TEST_F(ClusterTest, ListsThatAreNoneAreRefused) {
  const std::vector<std::pair<std::string, std::string>> lists = {
      {"", "LIST is empty: there are no recordings"},
      {"1.rec\n/etc/passwd\n", "LIST, line 2: a path that is empty, absolute or has a \"..\""},
      {"1.rec\n\n7\n", "LIST, line 2: a path that is empty"},
      {"a/../../7\n", "LIST, line 1: a path that is empty, absolute or has a \"..\""},
      {"1.rec\n7\n1.rec\n", "a path that stands there twice"},
      {"7\na\tb\n", "LIST, line 2: a path with a control character"},
      {"\xff\n", "LIST, line 1: a path that is no UTF-8"}};
  for (const auto& [list, text] : lists) {
    const Ended ended = Cut(list);
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.err, HasSubstr(text));
    EXPECT_THAT(_folder.Names(), testing::ElementsAre("archive", "request", "scene"));
  }
  for (const char* size : {"0", "-1", "x", "1e3", "99999999"}) {
    EXPECT_THAT(Cut(List(), size).err, HasSubstr("SIZE has to be a number"));
  }
  EXPECT_EQ(Cut(List()).status, 0);
  EXPECT_THAT(Cut(List()).err, HasSubstr("exists already"));
  fs::remove_all(Archived(""));
  fs::remove_all(_folder.Path("chunks"));
  EXPECT_THAT(Cut(List()).err, HasSubstr("no such folder"));
}

TEST_F(ClusterTest, AnswersOfOtherChunksAreRefused) {
  ASSERT_EQ(Cut(List()).status, 0);
  EXPECT_EQ(Unfinished().status, 0);
  const Ended other = Shell(
      "cp -r \"$work/chunks\" \"$work/more\" && "
      "\"$cluster/unfinished.sh\" \"$work/more\" \"$work/answers\"");
  EXPECT_EQ(other.status, 2);
  EXPECT_THAT(other.err, HasSubstr("has the answers of other chunks"));
  EXPECT_EQ(Shell("\"$cluster/unfinished.sh\" \"$work/archive\" \"$work/answers\"").status, 2);
}

}  // namespace
}  // namespace mfx_test
