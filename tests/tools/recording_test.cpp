// What the first line of a recording tells, and recordings that are packed.

#include <filesystem>

#include "examples.h"
#include "host/recording.h"
#include "program_test.h"

namespace mfx_test {
namespace {

namespace fs = std::filesystem;

/// A folder with a request and a scene.
struct Measured : Folder {
  Measured() {
    const Example example("scan_path");
    Write("q.json", example.request.dump());
    Write("s.json", example.scene.dump());
  }

  Ended Measure(const std::string& name, std::vector<std::string> more = {}) const {
    more.insert(more.begin(),
                {"measure", Path("q.json"), "--scene", Path("s.json"), "--record", Path(name)});
    return RunMfx(more);
  }
  json Head(const std::string& name) const { return json::parse(Lines(Read(name)).at(0)); }

  /// Runs a line of a shell in the folder, with mfx to be found.
  Ended Shell(const std::string& line) const {
    const std::string mfx = fs::path(LIBMFX_MFX_PROGRAM).parent_path();
    return RunMfx({"-c", "cd '" + Path("") + "' && PATH='" + mfx + "':$PATH && " + line},
                  {.program = "/bin/sh"});
  }
};

TEST(RecordingTest, TheFirstLineTellsHowWhenAndWithWhatItWasMeasured) {
  const Measured folder;
  const std::string before = libmfx::host::UtcNow();
  ASSERT_EQ(folder
                .Measure("r.jsonl",
                         {"--seed", "7", "--search", "--label", "part=17 a", "--label", "part="})
                .status,
            0);
  const json head = folder.Head("r.jsonl");
  EXPECT_EQ(head["format"], 1);
  EXPECT_EQ(head["program"], "mfx " LIBMFX_VERSION);
  EXPECT_EQ(head["instrument"], "virtual, scene " + folder.Path("s.json") + ", seed 7");
  EXPECT_EQ(head["labels"], json::parse(R"([["part", "17 a"], ["part", ""]])"));
  EXPECT_EQ(head["options"]["search"], true);
  // The text of a time sorts as the time does.
  EXPECT_LE(before, head["time"].get<std::string>());
  EXPECT_LE(head["time"].get<std::string>(), libmfx::host::UtcNow());
  EXPECT_THAT(before, testing::MatchesRegex("20..-..-..T..:..:..Z"));

  ASSERT_EQ(folder.Measure("plain").status, 0);
  EXPECT_FALSE(folder.Head("plain").contains("labels"));
  EXPECT_FALSE(folder.Head("plain").contains("options"));
}

TEST(RecordingTest, AReportOfARecordingTellsWhatTheRecordingTells) {
  const Measured folder;
  folder.Measure("r.jsonl", {"--label", "part=17"});
  const Ended replayed = RunMfx({"replay", folder.Path("r.jsonl"), "--report", folder.Path("page"),
                                 "--label", "operator=me"});
  EXPECT_EQ(replayed.status, 0) << replayed.err;
  const std::string time = folder.Head("r.jsonl")["time"];
  EXPECT_THAT(folder.Read("page"), HasSubstr("samples of a recording of " + time + ", virtual"));
  const auto recorded = libmfx::host::ReadRecording(folder.Path("r.jsonl"));
  EXPECT_EQ(recorded.labels, (libmfx::host::Labels{{"part", "17"}}));
  EXPECT_EQ(recorded.time, time);
}

TEST(RecordingTest, OlderRecordingsReplayAndNewerOnesAreRefused) {
  const Measured folder;
  const Ended measured = folder.Measure("r.jsonl");
  auto lines = Lines(folder.Read("r.jsonl"));
  const json head = folder.Head("r.jsonl");
  const auto replay = [&](const json& first) {
    std::string text = first.dump() + "\n";
    for (std::size_t i = 1; i < lines.size(); ++i) text += lines[i] + "\n";
    return RunMfx({"replay", folder.Write("changed", text)});
  };
  EXPECT_EQ(replay({{"request", head["request"]}}).out, measured.out);
  const auto refused = [&](const char* key, const json& value, const std::string& why) {
    json first = head;
    first[key] = value;
    const Ended ended = replay(first);
    EXPECT_EQ(ended.status, 2) << first;
    EXPECT_THAT(ended.out, IsEmpty());
    EXPECT_THAT(ended.err, HasSubstr("changed, line 1: " + why));
  };
  refused("format", 2, "it has the format 2, and this program knows none above 1");
  refused("format", 0, "\"format\" is no whole number from 1 on");
  refused("format", "1", "\"format\" is no whole number from 1 on");
  refused("time", 5, "\"time\" is no text");
  refused("labels", "x", "\"labels\" is no array of pairs of texts");
  refused("labels", json::parse(R"([["a"]])"), "\"labels\" is no array of pairs of texts");
  // A newer one need not have what this one has.
  EXPECT_THAT(replay({{"format", 9}}).err, HasSubstr("a newer one is needed"));
}

TEST(RecordingTest, APackedRecordingHoldsTheSameText) {
  const Measured folder;
  const Ended measured = folder.Measure("r.jsonl.gz");
  ASSERT_EQ(measured.status, 0) << measured.err;
  const Ended text = folder.Shell("gzip -dc r.jsonl.gz");
  EXPECT_EQ(text.status, 0) << text.err;
  EXPECT_THAT(Lines(text.out), SizeIs(4));
  folder.Write("unpacked", text.out);
  EXPECT_LT(fs::file_size(folder.Path("r.jsonl.gz")), text.out.size());
  for (const char* call :
       {"mfx replay r.jsonl.gz", "mfx replay - < r.jsonl.gz", "cat r.jsonl.gz | mfx replay -",
        "mfx replay unpacked", "gzip -c < unpacked > other_name && mfx replay other_name",
        "(head -c 1 r.jsonl.gz; sleep 0.2; tail -c +2 r.jsonl.gz) | mfx replay -",
        "(head -n 2 unpacked | gzip; tail -n +3 unpacked | gzip) | mfx replay -"}) {
    const Ended replayed = folder.Shell(call);
    EXPECT_EQ(replayed.status, 0) << call << replayed.err;
    EXPECT_EQ(replayed.out, measured.out) << call;
  }
  const Ended batch = folder.Shell("echo '{\"recording\": \"r.jsonl.gz\"}' | mfx batch -");
  EXPECT_EQ(batch.out, "{\"id\":null,\"result\":" + Lines(measured.out).at(0) + "}\n");
}

TEST(RecordingTest, ALargeRecordingIsPackedInPieces) {
  const Measured folder;
  json request = ReadJson(folder.Path("q.json"));
  request["PointSpacing"] = 2e-6;
  folder.Write("q.json", request.dump());
  const Ended measured = folder.Measure("r.gz", {"--scan-data", "none"});
  ASSERT_EQ(measured.status, 0) << measured.err;
  EXPECT_GT(fs::file_size(folder.Path("r.gz")), 1'000'000u);
  EXPECT_EQ(RunMfx({"replay", folder.Path("r.gz")}).out, measured.out);
}

TEST(RecordingTest, APackedRecordingThatIsBrokenIsRefused) {
  const Measured folder;
  ASSERT_EQ(folder.Measure("r.gz").status, 0);
  const std::string whole = folder.Read("r.gz");
  const auto refused = [&](const std::string& bytes, const std::string& why) {
    const Ended ended = RunMfx({"replay", folder.Write("broken", bytes)});
    EXPECT_EQ(ended.status, 2);
    EXPECT_THAT(ended.out, IsEmpty());
    EXPECT_THAT(Lines(ended.err), SizeIs(1)) << ended.err;
    EXPECT_THAT(ended.err, HasSubstr("recording " + folder.Path("broken")));
    EXPECT_THAT(ended.err, HasSubstr(why));
  };
  for (const std::size_t length : {std::size_t{2}, std::size_t{10}, std::size_t{11},
                                   whole.size() / 2, whole.size() - 9, whole.size() - 1}) {
    refused(whole.substr(0, length), "its gzip data end too early");
  }
  // The sum over the text, and its length.
  for (const std::size_t from_end : {8, 5, 4, 1}) {
    std::string bytes = whole;
    bytes[bytes.size() - from_end] ^= 0x10;
    refused(bytes, "its gzip data are broken");
  }
  refused(whole + "garbage", "its gzip data are broken");
  std::string method = whole;
  method[2] = 7;
  refused(method, "its gzip data are broken");
}

TEST(RecordingTest, ARecordingThatUnpacksToTooMuchIsRefused) {
  const Measured folder;
  ASSERT_EQ(folder.Measure("r.gz").status, 0);
  // The head of a recording, then blanks: 300 packed texts of 1 MiB each.
  const Ended made = folder.Shell(
      "gzip -dc r.gz | head -n 1 | gzip > bomb && head -c 1048576 /dev/zero | tr '\\0' ' ' | "
      "gzip > blanks && for i in $(seq 300); do cat blanks; done >> bomb");
  ASSERT_EQ(made.status, 0) << made.err;
  EXPECT_LT(fs::file_size(folder.Path("bomb")), 1'000'000u);
  const Ended ended = RunMfx({"replay", folder.Path("bomb")});
  EXPECT_EQ(ended.status, 2);
  EXPECT_THAT(ended.err, HasSubstr("it unpacks to more than 256 MiB"));
}

TEST(RecordingTest, MoreExchangesThanAMeasurementHasAreRefused) {
  const Measured folder;
  ASSERT_EQ(folder.Measure("r.jsonl").status, 0);
  std::string text = Lines(folder.Read("r.jsonl")).at(0) + "\n";
  for (int i = 0; i < 10'001; ++i) text += "{\"drive\":[]}\n{\"samples\":[]}\n";
  const Ended ended = RunMfx({"replay", folder.Write("long", text)});
  EXPECT_EQ(ended.status, 2);
  EXPECT_THAT(ended.err, HasSubstr("line 20002: it is one exchange more than the 10000"));
}

TEST(RecordingTest, AFullDiskCostsAPackedRecordingToo) {
  const Measured folder;
  fs::create_symlink("/dev/full", folder.Path("full.gz"));
  const Ended ended = folder.Measure("full.gz");
  EXPECT_EQ(ended.status, 2);
  EXPECT_THAT(ended.out, HasSubstr("\"Success\":true"));
  EXPECT_THAT(ended.err, HasSubstr("cannot write recording"));
}

}  // namespace
}  // namespace mfx_test
