// Batches that carry out several jobs at a time: the same bytes in the same order, whatever becomes
// of the processes.

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <thread>

#include "batch_jobs.h"

namespace mfx_test {
namespace {

/// A job that takes long enough to be caught at it.
std::string LongJob(int i) {
  json request = Path("long");
  request["PointSpacing"] = 2e-7;
  return json{{"id", i}, {"request", request}, {"scene", Plane(2.0)}}.dump() + "\n";
}

/// Jobs of every kind, good and bad, short and long.
std::string MixedJobs() {
  std::string text;
  for (int i = 0; i < 60; ++i) {
    if (i % 7 == 3) text += "nonsense " + std::to_string(i) + "\n";
    if (i % 11 == 5) text += "{\"id\": [" + std::to_string(i) + ", \"ä\"]}\n";
    if (i % 13 == 0) {
      json request = Path("fine");
      request["PointSpacing"] = 1e-4;
      text += json{{"id", i}, {"request", request}, {"scene", Plane(2.0)}}.dump() + "\n";
    }
    text += Job(i);
  }
  return text + "{\"id\": \"without an end\"}";
}

std::vector<pid_t> ChildrenOf(pid_t process) {
  const std::string id = std::to_string(process);
  std::ifstream file("/proc/" + id + "/task/" + id + "/children");
  std::vector<pid_t> children;
  for (pid_t child = 0; file >> child;) children.push_back(child);
  return children;
}

/// Waits until something is so, at most half a minute.
template <typename IsSo>
bool Eventually(IsSo is_so) {
  for (int i = 0; i < 3000 && !is_so(); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return is_so();
}

/// Processor time that a process has used, in ticks of the system's clock.
long TicksOf(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  std::string word;
  for (int i = 0; i < 14; ++i) file >> word;
  return file ? std::stol(word) : 0;
}

bool IsGone(pid_t process) { return kill(process, 0) != 0; }

int Nowhere() {
  static const int file = open("/dev/null", O_WRONLY | O_CLOEXEC);
  return file;
}

TEST(BatchWorkersTest, TheAnswersAreTheSameHoweverManyAreAtWork) {
  Folder folder;
  const std::string jobs = folder.Write("jobs", MixedJobs());
  const Ended one = RunMfx({"batch", jobs});
  ASSERT_THAT(Lines(one.out), SizeIs(Lines(MixedJobs()).size()));
  for (const char* count : {"1", "2", "7", "0"}) {
    const Ended several = RunMfx({"batch", jobs, "-j", count});
    EXPECT_EQ(several.status, 0) << several.err;
    EXPECT_EQ(several.out, one.out) << count;
    EXPECT_THAT(several.err, IsEmpty());
    EXPECT_EQ(RunMfx({"batch", "-", "-j", count}, {.input = MixedJobs()}).out, one.out);
  }
}

TEST(BatchWorkersTest, NothingToDoIsDone) {
  const Ended ended = RunMfx({"batch", "-", "-j", "3"});
  EXPECT_EQ(ended.status, 0);
  EXPECT_THAT(ended.out + ended.err, IsEmpty());
  EXPECT_EQ(RunMfx({"batch", "/no/such/jobs", "-j", "3"}).status, 2);
  for (const char* count : {"-1", "257", "x", "1.5"}) {
    EXPECT_EQ(RunMfx({"batch", "-", "-j", count}).status, 2) << count;
  }
}

// Whoever sends a job and waits for its answer gets it, with the next job still to come.
TEST(BatchWorkersTest, AnAnswerIsFlushedAsSoonAsItIsDue) {
  LiveBatch batch(Nowhere(), {"-j", "3"});
  for (int i = 0; i < 5; ++i) {
    batch.Send(Job(i));
    EXPECT_EQ(json::parse(batch.ReadLine())["id"], i);
  }
  // Half a job is none yet.
  const std::string job = Job(5);
  batch.Send(job.substr(0, 20));
  pollfd answers{batch.from, POLLIN, 0};
  EXPECT_EQ(poll(&answers, 1, 100), 0);
  batch.Send(job.substr(20));
  EXPECT_EQ(json::parse(batch.ReadLine())["id"], 5);
}

TEST(BatchWorkersTest, AProcessThatDiesAnswersItsJobAndIsReplaced) {
  LiveBatch batch(Nowhere(), {"-j", "2"});
  batch.Send(LongJob(1) + Job(2));
  std::vector<pid_t> children;
  ASSERT_TRUE(Eventually([&] { return (children = ChildrenOf(batch.pid)).size() == 2; }));
  // The first one has the long job.
  const pid_t first = std::min(children[0], children[1]);
  ASSERT_TRUE(Eventually([&] { return TicksOf(first) >= 5; }));
  ASSERT_EQ(kill(first, SIGKILL), 0);
  const json answer = json::parse(batch.ReadLine());
  EXPECT_EQ(answer["id"], 1);
  EXPECT_THAT(answer["error"].get<std::string>(),
              HasSubstr("the process that carried out the job was ended by signal 9"));
  EXPECT_EQ(json::parse(batch.ReadLine())["id"], 2);
  for (int i = 3; i < 9; ++i) batch.Send(Job(i));
  for (int i = 3; i < 9; ++i) {
    const json later = json::parse(batch.ReadLine());
    EXPECT_EQ(later["id"], i);
    EXPECT_TRUE(later.contains("result"));
  }
}

TEST(BatchWorkersTest, AProcessThatDiesIdleCostsNoJob) {
  LiveBatch batch(Nowhere(), {"-j", "2"});
  batch.Send(Job(1));
  batch.ReadLine();
  for (const pid_t child : ChildrenOf(batch.pid)) kill(child, SIGKILL);
  for (int i = 2; i < 6; ++i) {
    batch.Send(Job(i));
    EXPECT_TRUE(json::parse(batch.ReadLine()).contains("result")) << i;
  }
}

// Texts beyond what is shared at a time: they go in pieces, or alone.
TEST(BatchWorkersTest, LongJobsAndLongAnswersPass) {
  Folder folder;
  json request = Path("fine");
  request["PointSpacing"] = 4e-6;
  std::string text;
  for (int i = 0; i < 3; ++i) {
    text += Job(10 * i);
    text += json{{"id", "fine"}, {"request", request}, {"scene", Plane(2.0)}}.dump() + "\n";
    text += std::string(std::size_t{600} << 10, ' ') + Job(10 * i + 1);
    text += std::string(std::size_t{3} << 20, ' ') + Job(10 * i + 2);
  }
  const std::string jobs = folder.Write("jobs", text);
  const Ended one = RunMfx({"batch", jobs});
  const auto lines = Lines(one.out);
  ASSERT_THAT(lines, SizeIs(12));
  EXPECT_GT(lines[1].size(), std::size_t{1} << 20);
  for (const std::string& line : lines) EXPECT_TRUE(json::parse(line).contains("result"));
  EXPECT_EQ(RunMfx({"batch", jobs, "-j", "2"}).out, one.out);
}

// Whatever was measured is told: a process that dies costs the job that it is at, and no other.
TEST(BatchWorkersTest, ProcessesThatDieOneAfterTheOtherCostOneJobEach) {
  Folder folder;
  constexpr int kJobs = 8'000;
  std::string text;
  for (int i = 0; i < kJobs; ++i) {
    text += json{{"id", i}, {"request", Path("r")}, {"scene", Plane(2.0)}}.dump() + "\n";
  }
  const std::string jobs = folder.Write("jobs", text);
  const std::string answers = folder.Path("answers");
  const pid_t batch = fork();
  if (batch == 0) {
    dup2(open(answers.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666), STDOUT_FILENO);
    execl(LIBMFX_MFX_PROGRAM, "mfx", "batch", jobs.c_str(), "-j", "3", nullptr);
    _exit(127);
  }
  // Where processes start slowly, as many as there are jobs would end before they did anything.
  constexpr int kMostKills = 12;
  int kills = 0;
  int status = 0;
  while (waitpid(batch, &status, WNOHANG) == 0) {
    const std::vector<pid_t> children = ChildrenOf(batch);
    const bool may_kill = kills < kMostKills && !children.empty();
    if (may_kill && kill(children.front(), SIGKILL) == 0) ++kills;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  EXPECT_EQ(status, 0);
  EXPECT_GT(kills, 3);
  std::ifstream file(answers);
  int number = 0;
  int errors = 0;
  for (std::string line; std::getline(file, line); ++number) {
    const json answer = json::parse(line);
    ASSERT_EQ(answer["id"], number);
    if (answer.contains("result")) continue;
    ++errors;
    EXPECT_THAT(answer["error"].get<std::string>(), HasSubstr("was ended by signal 9"));
  }
  EXPECT_EQ(number, kJobs);
  EXPECT_LE(errors, kills);
}

TEST(BatchWorkersTest, TheEndOfTheBatchEndsItsProcesses) {
  for (const int signal : {SIGINT, SIGTERM, SIGKILL}) {
    LiveBatch batch(Nowhere(), {"-j", "2"});
    batch.Send(Job(0) + LongJob(1) + LongJob(2));
    std::string seen = batch.ReadLine() + "\n";
    std::vector<pid_t> children;
    ASSERT_TRUE(Eventually([&] { return (children = ChildrenOf(batch.pid)).size() == 2; }));
    kill(batch.pid, signal);
    int status = 0;
    waitpid(batch.pid, &status, 0);
    batch.pid = 0;
    if (signal != SIGKILL) {
      EXPECT_TRUE(WIFEXITED(status));
      EXPECT_EQ(WEXITSTATUS(status), 128 + signal);
    }
    for (const pid_t child : children) {
      EXPECT_TRUE(Eventually([&] { return IsGone(child); })) << "signal " << signal;
    }
    for (char c = 0; read(batch.from, &c, 1) == 1;) seen += c;
    EXPECT_EQ(seen.back(), '\n');
    for (const std::string& line : Lines(seen)) EXPECT_TRUE(json::accept(line)) << line;
  }
}

TEST(BatchWorkersTest, AReaderThatIsGoneEndsTheBatch) {
  const Ended ended = RunMfx({"batch", "-", "-j", "2"}, {.input = Jobs(40), .close_output = true});
  EXPECT_EQ(ended.status, 2);
  EXPECT_THAT(ended.err, HasSubstr("cannot write standard output"));
}

}  // namespace
}  // namespace mfx_test
