#include "inspection/folder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>

#include "host/errors.h"
#include "host/files.h"
#include "host/json_text.h"

namespace libmfx::inspection {
namespace {

namespace fs = std::filesystem;
using host::CallError;
using nlohmann::ordered_json;

constexpr int kFormat = 1;

[[noreturn]] void Fail(const std::string& path, const std::string& what) {
  throw CallError("inspection folder " + host::OneLine(path) + ": " + what);
}

void WriteWhole(const std::string& path, const std::string& what, const std::string& text) {
  host::WholeFile file(path, what);
  file.Write(text);
  file.Commit();
}

ordered_json LineOf(const Beginning& beginning) {
  return {{"inspection", kFormat},
          {"program", beginning.program},
          {"time", beginning.time},
          {"seed", beginning.seed},
          {"trials", beginning.trials}};
}

/// Waits until what was written of a file, or of a folder's names, cannot be lost any more.
void Settle(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return;
  fsync(file);
  close(file);
}

/// Letters, digits, "-" and "_" of a name, at most 40 of them: for a file that any system takes.
std::string FileWord(const std::string& name) {
  std::string word;
  for (const char c : name) {
    const auto byte = static_cast<unsigned char>(c);
    word += byte < 0x80 && (std::isalnum(byte) != 0 || c == '-') ? c : '_';
    if (word.size() == 40) break;
  }
  return word;
}

/// Removes what a process that was killed had not finished.
void RemoveLeftovers(const fs::path& folder) {
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(folder, error)) {
    const std::string name = entry.path().filename();
    if (name.find(".mfx-") != std::string::npos) fs::remove(entry.path(), error);
  }
}

/// Whether nothing is in a folder that an inspection has not put there before its journal begins.
bool IsFresh(const fs::path& path) {
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(path, error)) {
    const std::string name = entry.path().filename();
    if (name == "recordings" && fs::is_empty(entry.path(), error)) continue;
    const bool is_ours = name.rfind("plan.json", 0) == 0 ||
                         name.rfind("instrument-model.json", 0) == 0 || name == "journal.jsonl";
    if (!is_ours) return false;
  }
  return !error;
}

}  // namespace

bool Folder::IsBegun(const std::string& path) {
  std::error_code error;
  const std::string journal = path + "/journal.jsonl";
  if (!fs::is_regular_file(journal, error)) return false;
  return host::ReadText(journal, "journal").find('\n') != std::string::npos;
}

Folder Folder::Begin(const std::string& path, const std::string& plan, const std::string& model,
                     const Beginning& beginning) {
  std::error_code error;
  if (fs::exists(path, error) &&
      (!fs::is_directory(path, error) || IsBegun(path) || !IsFresh(path))) {
    Fail(path, "it exists already; --resume goes on in the folder of an inspection");
  }
  fs::create_directories(fs::path(path) / "recordings", error);
  if (error) Fail(path, "cannot be made: " + error.message());
  Folder folder(path);
  folder._plan = plan;
  folder._beginning = beginning;
  WriteWhole(folder.File("plan.json"), "plan", plan);
  if (!model.empty()) WriteWhole(folder.File("instrument-model.json"), "instrument model", model);
  folder.OpenJournal(true);
  // What stands there is the beginning of a line that was broken off.
  if (ftruncate(folder._journal, 0) != 0) {
    Fail(path, std::string("its journal cannot be begun: ") + std::strerror(errno));
  }
  folder.Append(host::Dump(LineOf(beginning)));
  Settle(path);
  return folder;
}

Folder Folder::Open(const std::string& path, bool to_write) {
  Folder folder(path);
  if (!IsBegun(path)) Fail(path, "no inspection was begun there: it has no journal.jsonl");
  if (to_write) {
    folder.OpenJournal(true);
    for (const fs::path& one : {fs::path(path), fs::path(path) / "recordings"}) {
      RemoveLeftovers(one);
    }
  }
  const std::string text = host::ReadText(folder.File("journal.jsonl"), "journal");
  const std::size_t end = text.rfind('\n');
  // What stands behind the last line's end was broken off while it was written.
  if (to_write && end + 1 < text.size() &&
      ftruncate(folder._journal, static_cast<off_t>(end + 1)) != 0) {
    Fail(path, std::string("its journal cannot be mended: ") + std::strerror(errno));
  }
  std::string_view rest(text.data(), end + 1);
  for (int line = 1; !rest.empty(); ++line) {
    const std::size_t stop = rest.find('\n');
    const auto value = nlohmann::json::parse(rest.substr(0, stop), nullptr, false);
    rest.remove_prefix(stop + 1);
    const auto bad = [&] {
      Fail(path, "line " + std::to_string(line) + " of its journal is none");
    };
    if (!value.is_object()) bad();
    if (line > 1) {
      if (!value.contains("recording") || !value["recording"].is_string()) bad();
      folder._ended.push_back(value["recording"]);
      continue;
    }
    if (!value.contains("inspection") || !value["inspection"].is_number_integer()) bad();
    if (value["inspection"].get<long long>() > kFormat) {
      Fail(path, "it was written by a newer version of the program");
    }
    for (const char* key : {"program", "time"}) {
      if (!value.contains(key) || !value[key].is_string()) bad();
    }
    for (const char* key : {"seed", "trials"}) {
      if (!value.contains(key) || !value[key].is_number_integer()) bad();
    }
    folder._beginning = {.program = value["program"],
                         .time = value["time"],
                         .seed = value["seed"],
                         .trials = value["trials"]};
  }
  folder._plan = host::ReadText(folder.File("plan.json"), "plan");
  return folder;
}

Folder::Folder(Folder&& other) noexcept
    : _path(std::move(other._path)),
      _plan(std::move(other._plan)),
      _beginning(std::move(other._beginning)),
      _journal(std::exchange(other._journal, -1)),
      _steps(other._steps),
      _ended(std::move(other._ended)) {}

Folder::~Folder() {
  if (_journal >= 0) close(_journal);
}

std::string Folder::ModelFile() const {
  std::error_code error;
  const std::string file = File("instrument-model.json");
  return fs::exists(file, error) ? file : std::string();
}

void Folder::OpenJournal(bool to_write) {
  const std::string file = File("journal.jsonl");
  const int mode = to_write ? O_RDWR | O_CREAT | O_APPEND : O_RDONLY;
  _journal = open(file.c_str(), mode | O_CLOEXEC, 0644);
  if (_journal < 0)
    Fail(_path, std::string("its journal cannot be opened: ") + std::strerror(errno));
  if (to_write && flock(_journal, LOCK_EX | LOCK_NB) != 0) {
    Fail(_path, "another process is at work in it");
  }
}

void Folder::Append(const std::string& line) {
  const std::string text = line + "\n";
  std::size_t written = 0;
  while (written < text.size()) {
    const ssize_t n = write(_journal, text.data() + written, text.size() - written);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) Fail(_path, std::string("its journal takes no more: ") + std::strerror(errno));
    written += static_cast<std::size_t>(n);
  }
  if (fsync(_journal) != 0) {
    Fail(_path, std::string("its journal takes no more: ") + std::strerror(errno));
  }
}

std::string Folder::NextRecording(const std::string& step) {
  std::string number = std::to_string(++_steps);
  number.insert(0, number.size() < 3 ? 3 - number.size() : 0, '0');
  return "recordings/" + number + "-" + FileWord(step) + ".rec";
}

std::optional<host::Recording> Folder::Find(const std::string& recording) const {
  std::error_code error;
  const std::string file = File(recording);
  const bool is_told = std::find(_ended.begin(), _ended.end(), recording) != _ended.end();
  if (!fs::exists(file, error)) {
    if (is_told) Fail(_path, recording + " stands in its journal and is missing");
    return std::nullopt;
  }
  try {
    return host::ReadRecording(file);
  } catch (const CallError&) {
    // One of which the journal does not know may have been cut off by a loss of power.
    if (is_told) throw;
    return std::nullopt;
  }
}

void Folder::Ended(const std::string& step, const std::string& recording, bool successful) {
  if (std::find(_ended.begin(), _ended.end(), recording) != _ended.end()) return;
  Settle(File(recording));
  Settle(File("recordings"));
  const ordered_json line = {{"ended", step}, {"recording", recording}, {"successful", successful}};
  Append(host::Dump(line));
  _ended.push_back(recording);
}

}  // namespace libmfx::inspection
