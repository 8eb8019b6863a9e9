// Batches: order, errors by line, and independence of how the lines are split.

#include <fcntl.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>

#include "batch_jobs.h"

namespace mfx_test {
namespace {

TEST(BatchTest, AnswersEveryJobInOrder) {
  const Ended ended = RunMfx({"batch", "-"}, {.input = Jobs(20)});
  EXPECT_EQ(ended.status, 0);
  EXPECT_THAT(ended.err, IsEmpty());
  const auto lines = Lines(ended.out);
  ASSERT_THAT(lines, SizeIs(20));
  for (int i = 0; i < 20; ++i) {
    const json answer = json::parse(lines[static_cast<std::size_t>(i)]);
    EXPECT_EQ(answer["id"], i);
    EXPECT_EQ(answer["result"]["Target"], "r" + std::to_string(i));
    EXPECT_EQ(answer["result"]["Success"], true);
    EXPECT_THAT(answer["result"]["ScanData"]["Data"], SizeIs(6));
  }
}

TEST(BatchTest, AFileGivesTheSameAsStandardInput) {
  Folder folder;
  EXPECT_EQ(RunMfx({"batch", folder.Write("jobs", Jobs(3))}).out,
            RunMfx({"batch", "-"}, {.input = Jobs(3)}).out);
}

TEST(BatchTest, HowTheLinesAreSplitDoesNotMatter) {
  const std::string together = RunMfx({"batch", "-"}, {.input = Jobs(12)}).out;
  std::string apart;
  for (int i = 0; i < 12; ++i) apart += RunMfx({"batch", "-"}, {.input = Job(i)}).out;
  EXPECT_EQ(apart, together);
  std::string backwards;
  std::string reversed;
  for (int i = 11; i >= 0; --i) reversed += Job(i);
  for (const std::string& line : Lines(RunMfx({"batch", "-"}, {.input = reversed}).out)) {
    backwards = line + "\n" + backwards;
  }
  EXPECT_EQ(backwards, together);
}

TEST(BatchTest, TheSeedComesFromTheJobOrItsId) {
  const auto rows = [](json job) {
    job["request"] = Path("r");
    job["scene"] = Plane(2.0);
    const Ended ended = RunMfx({"batch", "-"}, {.input = job.dump() + "\n"});
    return json::parse(ended.out)["result"]["ScanData"]["Data"].dump();
  };
  EXPECT_EQ(rows({{"seed", 5}, {"id", "a"}}), rows({{"seed", 5}, {"id", "b"}}));
  EXPECT_EQ(rows({{"id", "a"}}), rows({{"id", "a"}}));
  EXPECT_NE(rows({{"id", "a"}}), rows({{"id", "b"}}));
  EXPECT_NE(rows({{"id", 1}}), rows({{"id", "1"}}));
  EXPECT_EQ(rows(json::object()), rows({{"seed", 1}}));  // the scene's own
  EXPECT_NE(rows({{"seed", 5}}), rows({{"seed", 6}}));
}

TEST(BatchTest, AJobGivesWhatMeasureGives) {
  Folder folder;
  const std::string request = folder.Write("request", Path("r").dump());
  const std::string scene = folder.Write("scene", Plane(2.0).dump());
  const Ended measured = RunMfx({"measure", request, "--scene", scene, "--seed", "9"});
  const Ended batch =
      RunMfx({"batch", "-"},
             {.input = json{{"request", Path("r")}, {"scene", Plane(2.0)}, {"seed", 9}}.dump()});
  EXPECT_EQ(batch.out, "{\"id\":null,\"result\":" + Lines(measured.out).at(0) + "}\n");
}

TEST(BatchTest, ARecordingIsAJob) {
  Folder folder;
  const Ended measured = RunMfx({"measure", Source("examples/requests/scan_path.json"), "--scene",
                                 Source("examples/scenes/scan_path.json"), "--record",
                                 folder.Path("r.jsonl"), "--scan-data", "binary"});
  ASSERT_EQ(measured.status, 0);
  const Ended batch =
      RunMfx({"batch", "-"},
             {.input = json{{"id", {1, 2}}, {"recording", folder.Path("r.jsonl")}}.dump()});
  EXPECT_EQ(batch.out, "{\"id\":[1,2],\"result\":" + Lines(measured.out).at(0) + "}\n");
}

TEST(BatchTest, ABadLineIsAnAnswerAndNotTheEnd) {
  const std::string deep =
      "{\"id\": 1, \"request\": " + std::string(100000, '[') + std::string(100000, ']') + "}";
  const std::vector<std::pair<std::string, std::string>> bad = {
      {"", "not JSON"},
      {"nonsense", "not JSON: 'nonsense'"},
      {"[1]", "no object"},
      {"{}", "no \"request\""},
      {R"({"id": 7})", "no \"request\""},
      {R"({"id": 7, "request": {}})", "no \"scene\""},
      {R"({"id": 7, "request": {}, "scene": {}})", "scene: part"},
      {R"({"id": 7, "request": {}, "scene": {"part": {"type": "cow"}}})", "cow"},
      {R"({"id": 7, "request": {}, "scene": "file.json"})", "scene"},
      {R"({"id": 7, "recording": "/no/such/file"})", "recording /no/such/file"},
      {R"({"id": 7, "recording": "-"})", "standard input"},
      {R"({"id": 7, "recording": 5})", "no file name"},
      {R"({"id": 7, "recording": "r", "scene": {}})", "both"},
      {json{{"id", 7}, {"request", Path("r")}, {"scene", Plane(2.0)}, {"seed", -1}}.dump(),
       "\"seed\""},
      {json{{"id", 7}, {"request", Path("r")}, {"scene", Plane(2.0)}, {"seed", "x"}}.dump(),
       "\"seed\""},
      {"{\"id\": \"\xff\xfe\"}", "not JSON"},
      {deep, "too deep"}};
  std::string input;
  for (const auto& [line, error] : bad) input += line + "\n" + Job(3);
  const Ended ended = RunMfx({"batch", "-"}, {.input = input});
  EXPECT_EQ(ended.status, 0);
  const auto lines = Lines(ended.out);
  ASSERT_THAT(lines, SizeIs(2 * bad.size()));
  for (std::size_t i = 0; i < bad.size(); ++i) {
    const json answer = json::parse(lines[2 * i]);
    EXPECT_THAT(answer["error"].get<std::string>(), HasSubstr(bad[i].second));
    EXPECT_FALSE(answer.contains("result"));
    const bool has_id = bad[i].first.find("\"id\": 7") != std::string::npos ||
                        bad[i].first.find("\"id\":7") != std::string::npos;
    EXPECT_EQ(answer["id"], has_id ? json(7) : json()) << bad[i].first;
    EXPECT_EQ(json::parse(lines[2 * i + 1])["result"]["Success"], true);
  }
}

TEST(BatchTest, AMeasurementThatFailsIsAResult) {
  const json job = {
      {"id", 1}, {"request", {{"Feature", {{"$type", "Moon"}}}}}, {"scene", Plane(2)}};
  const Ended ended = RunMfx({"batch", "-"}, {.input = job.dump()});
  EXPECT_EQ(ended.status, 0);
  EXPECT_EQ(json::parse(ended.out)["result"]["Success"], "false");
}

/// A job whose request names a hole, with one of its values as `literal`.
std::string HoleJob(const std::string& literal) {
  return R"({"id":1,"request":{"X":)" + literal +
         R"(,"Feature":{"$type":"HoleFeature","Name":"n","Location":[0,0,2],"Normal":[0,0,-1],"Radius":)" +
         literal + R"(}},"scene":)" + Plane(2).dump() + "}";
}

TEST(BatchTest, ARequestIsReadAsTheLibraryReadsIt) {
  const Ended ended =
      RunMfx({"batch", "-"}, {.input = HoleJob("1e400") + "\n" + HoleJob("-1e400")});
  const auto lines = Lines(ended.out);
  ASSERT_THAT(lines, SizeIs(2));
  for (const std::string& line : lines) {
    const json answer = json::parse(line);
    EXPECT_EQ(answer["id"], 1);
    EXPECT_EQ(answer["result"]["Name"], "n") << line;
    EXPECT_EQ(answer["result"]["Success"], false) << line;
  }
  EXPECT_EQ(json::parse(lines[0])["result"]["ErrorMessage"], "Radius is not finite: inf");
}

TEST(BatchTest, TextsOfARequestAreReadAsTheLibraryReadsThem) {
  json job = {{"id", "\uFFFD"}, {"request", Path("@")}, {"scene", Plane(2)}};
  const auto answer = [&job](const std::string& id) {
    std::string line = job.dump();
    line.replace(line.find('@'), 1, id);
    return json::parse(RunMfx({"batch", "-"}, {.input = line}).out);
  };
  EXPECT_EQ(answer("@")["result"]["Target"], "@");
  // The answer to a job that had to be mended could not be told from that to another.
  EXPECT_THAT(answer("\xFF")["error"].get<std::string>(), HasSubstr("not JSON"));
  job["id"] = 7;
  EXPECT_EQ(answer("a\xFF")["result"]["Target"], "a\uFFFD");
  EXPECT_EQ(answer("a\\ud800")["result"]["Target"], "a\uFFFD");
  EXPECT_EQ(answer("a\xFF")["id"], 7);
}

TEST(BatchTest, ALineHoldsOneJob) {
  const std::string job = HoleJob("1e400");
  for (const std::string& line : {job + job, job + " // two", "/* one */" + job, job + " \xFF"}) {
    EXPECT_THAT(
        json::parse(RunMfx({"batch", "-"}, {.input = line}).out)["error"].get<std::string>(),
        HasSubstr("not JSON"))
        << line;
  }
  const std::string deep = std::string(48, '[') + "1e400" + std::string(48, ']');
  EXPECT_EQ(json::parse(RunMfx({"batch", "-"}, {.input = HoleJob(deep)}).out)["result"]["Name"],
            "n");
  EXPECT_THAT(
      json::parse(RunMfx({"batch", "-"}, {.input = HoleJob("[[" + deep + "]]")}).out)["error"]
          .get<std::string>(),
      HasSubstr("too deep"));
}

TEST(BatchTest, NothingToDoIsDone) {
  const Ended ended = RunMfx({"batch", "-"});
  EXPECT_EQ(ended.status, 0);
  EXPECT_THAT(ended.out, IsEmpty());
  EXPECT_EQ(RunMfx({"batch", "/no/such/jobs"}).status, 2);
}

TEST(BatchTest, EveryAnswerIsFlushedBeforeTheNextJobIsRead) {
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  LiveBatch batch(nowhere);
  for (int i = 0; i < 3; ++i) {
    batch.Send(Job(i));
    EXPECT_EQ(json::parse(batch.ReadLine())["id"], i);
  }
  close(nowhere);
}

TEST(BatchTest, TheProgressBarIsForTerminals) {
  int master = -1;
  int slave = -1;
  ASSERT_EQ(openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
  fcntl(master, F_SETFD, FD_CLOEXEC);
  fcntl(slave, F_SETFD, FD_CLOEXEC);
  LiveBatch batch(slave);
  batch.Send(Job(1));
  EXPECT_FALSE(batch.ReadLine().empty());
  batch.End();
  close(slave);
  std::string shown;
  char buffer[4096];
  for (ssize_t n = 0; (n = read(master, buffer, sizeof buffer)) > 0;) {
    shown.append(buffer, static_cast<std::size_t>(n));
  }
  close(master);
  EXPECT_THAT(shown, HasSubstr("1 jobs"));
}

TEST(BatchTest, CtrlCLeavesWholeLines) {
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  LiveBatch batch(nowhere);
  std::string seen;
  for (int i = 0; i < 40; ++i) batch.Send(Job(i));
  seen += batch.ReadLine() + "\n";
  kill(batch.pid, SIGINT);
  int status = 0;
  waitpid(batch.pid, &status, 0);
  batch.pid = 0;
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 130);
  for (char c = 0; read(batch.from, &c, 1) == 1;) seen += c;
  ASSERT_FALSE(seen.empty());
  EXPECT_EQ(seen.back(), '\n');
  for (const std::string& line : Lines(seen)) EXPECT_TRUE(json::accept(line)) << line;
  close(nowhere);
}

/// The most memory that a running program has had resident, KiB.
long PeakMemory(pid_t pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmHWM:")) return std::stol(line.substr(6));
  }
  ADD_FAILURE() << "no VmHWM in /proc/" << pid << "/status";
  return 0;
}

TEST(BatchTest, MemoryDoesNotGrowWithTheNumberOfLines) {
  // A sanitized program keeps freed memory in quarantine to find late uses of it: that is the
  // sanitizer's memory and grows with the work done, up to its limit. Not counted here.
  const char* set = std::getenv("ASAN_OPTIONS");
  const std::string before = set ? set : "";
  setenv("ASAN_OPTIONS", (before + ":quarantine_size_mb=0").c_str(), 1);
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  LiveBatch batch(nowhere);
  setenv("ASAN_OPTIONS", before.c_str(), 1);
  const auto carry = [&](int count) {
    for (int i = 0; i < count; ++i) {
      batch.Send(Job(i % 100));
      ASSERT_FALSE(batch.ReadLine().empty());
    }
  };
  carry(50);
  const long few = PeakMemory(batch.pid);
  carry(4950);
  const long many = PeakMemory(batch.pid);
  EXPECT_GT(few, 0);
  EXPECT_LT(many, few + few / 10);
  close(nowhere);
}

}  // namespace
}  // namespace mfx_test
