// What `mfx batch` takes for recordings, from the file to the answer, its own start included.
// Beside it the least that anybody has to do with them: read each file, and parse each line with
// the JSON library. Times are processor times: of the processes that are begun, and of this one.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

extern char** environ;

namespace {

using nlohmann::json;

double SecondsOf(const rusage& usage) {
  const auto seconds = [](const timeval& t) {
    return static_cast<double>(t.tv_sec) + 1e-6 * static_cast<double>(t.tv_usec);
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

/// Runs mfx to its end with its output thrown away.
/// \returns the processor time that it took, in seconds; below 0 if it failed
double RunMfx(std::vector<std::string> words) {
  words.insert(words.begin(), LIBMFX_MFX_PROGRAM);
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
  pid_t child = 0;
  const int failed =
      posix_spawn(&child, LIBMFX_MFX_PROGRAM, &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  rusage usage{};
  const bool ended = failed == 0 && wait4(child, &status, 0, &usage) == child;
  return ended && status == 0 ? SecondsOf(usage) : -1.0;
}

/// A folder of its own, which goes with the program.
class Folder {
 public:
  Folder() {
    std::string name = (std::filesystem::temp_directory_path() / "mfx-bench-XXXXXX").string();
    if (mkdtemp(name.data()) != nullptr) _path = name;
  }
  ~Folder() {
    std::error_code ignored;
    if (!_path.empty()) std::filesystem::remove_all(_path, ignored);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  std::string operator/(const std::string& name) const { return _path + "/" + name; }

 private:
  std::string _path;
};

const Folder& Files() {
  static const Folder files;
  return files;
}

std::string Example(const std::string& kind, const std::string& name) {
  return std::string(LIBMFX_SOURCE_DIR) + "/examples/" + kind + "/" + name + ".json";
}

/// The scan path of the examples, along 100 lines across its wall: 100,000 samples.
std::string ManyLines() {
  std::ifstream in(Example("requests", "scan_path"));
  json request = json::parse(in);
  json segments = json::array();
  for (int i = 0; i < 100; ++i) {
    const double y = -0.2 + 0.004 * i;
    segments.push_back({{-0.25, y, 2.0}, {0.25, y, 2.0}});
  }
  request["Feature"]["Path"]["Segments"] = segments;
  request["PointSpacing"] = 0.0005;
  const std::string path = Files() / "many_lines.json";
  std::ofstream(path) << request;
  return path;
}

/// A file with as many jobs as are told, all of one recording; empty if it could not be made.
/// \param name of the example that is recorded, or "many_lines"
std::string Jobs(const std::string& name, int count) {
  const bool many = name == "many_lines";
  const std::string recording = Files() / (name + ".rec");
  const std::string request = many ? ManyLines() : Example("requests", name);
  const std::string scene = Example("scenes", many ? "scan_path" : name);
  if (!std::filesystem::exists(recording) &&
      RunMfx({"measure", request, "--scene", scene, "--record", recording}) < 0.0) {
    return "";
  }
  const std::string path = Files() / (name + std::to_string(count) + ".jobs");
  std::ofstream file(path);
  for (int i = 0; i < count; ++i) file << json{{"recording", recording}} << '\n';
  return file ? path : "";
}

void BatchOurs(benchmark::State& state, const char* name) {
  const std::string jobs = Jobs(name, static_cast<int>(state.range(0)));
  for (auto _ : state) {
    const double seconds = jobs.empty() ? -1.0 : RunMfx({"batch", jobs});
    if (seconds < 0.0) return state.SkipWithError("mfx failed");
    state.SetIterationTime(seconds);
  }
}

void BatchBare(benchmark::State& state, const char* name, double max_ratio) {
  const std::string jobs = Jobs(name, static_cast<int>(state.range(0)));
  if (jobs.empty()) return state.SkipWithError("mfx failed");
  for (auto _ : state) {
    rusage before{};
    getrusage(RUSAGE_SELF, &before);
    std::ifstream file(jobs);
    for (std::string job; std::getline(file, job);) {
      std::ifstream recording(json::parse(job)["recording"].get<std::string>());
      for (std::string line; std::getline(recording, line);) {
        const json document = json::parse(line);
        benchmark::DoNotOptimize(document.size());
      }
    }
    rusage after{};
    getrusage(RUSAGE_SELF, &after);
    state.SetIterationTime(SecondsOf(after) - SecondsOf(before));
  }
  if (max_ratio > 0.0) state.counters["max_ratio"] = max_ratio;
}

/// A case: the recorded example, how many jobs, and the ratio that it is held to, 0 for none.
void Add(const char* name, const char* told, int jobs, double max_ratio) {
  const std::string title = std::string("batch of recordings, ") + told;
  benchmark::RegisterBenchmark((title + "/ours").c_str(), BatchOurs, name)
      ->Arg(jobs)
      ->UseManualTime();
  benchmark::RegisterBenchmark((title + "/bare read and parse").c_str(), BatchBare, name, max_ratio)
      ->Arg(jobs)
      ->UseManualTime();
}

const bool kAdded = [] {
  Add("many_lines", "a scan path of 100,000 samples", 1, 1.5);
  Add("scan_path", "two short lines", 2000, 1.5);
  Add("surface-normal", "a surface normal", 1000, 1.5);
  Add("hole", "a hole", 30, 1.5);
  Add("slot", "a slot", 30, 1.5);
  // The fit of a cylinder is no matter of reading: it is told, and held to nothing here.
  Add("stud", "a stud", 3, 0.0);
  return true;
}();

}  // namespace
