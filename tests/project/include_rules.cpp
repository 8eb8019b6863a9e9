#include "include_rules.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <sstream>

namespace project {
namespace {

namespace fs = std::filesystem;

/// What a room may include besides itself, the standard library and the export macro.
struct Rules {
  std::set<std::string> rooms;
  std::set<std::string> packages;  ///< first part of the path of a header of another package
};

const std::map<std::string, Rules>& LibraryRooms() {
  static const std::set<std::string> all = {
      "data_structures", "math",     "geometry", "log",
      "win32_support",   "messages", "features", "measurement"};
  static const std::map<std::string, Rules> rooms = {
      {"data_structures", {{}, {"Eigen", "sys", "cpuid.h", "immintrin.h"}}},
      {"math", {{"data_structures"}, {"Eigen"}}},
      {"geometry", {{"data_structures", "math"}, {"Eigen", "nanoflann.hpp"}}},
      {"log", {{}, {"utf8.h"}}},
      {"win32_support", {{"data_structures"}, {}}},
      {"messages", {{"data_structures"}, {"Eigen", "nlohmann", "immintrin.h", "utf8.h"}}},
      {"features",
       {{"data_structures", "math", "geometry", "log", "win32_support", "messages"},
        {"Eigen", "nlohmann", "locale.h"}}},
      {"measurement", {{"data_structures", "win32_support", "features"}, {"Eigen"}}},
      {"root", {all, {}}},
  };
  return rooms;
}

/// The few files that look further than their room: a logger asks its feature for its name, the
/// reader of requests keeps what a public header promises, and the exported functions know the
/// extractors that they list and the callback that they register.
const std::map<std::string, std::set<std::string>>& Exceptions() {
  static const std::map<std::string, std::set<std::string>> files = {
      {"src/log/logger.cpp", {"features"}},
      {"src/messages/json_reader.h", {"features"}},
      {"src/win32_support/exports.cpp", {"features", "log"}},
      {"include/libmfx/win32_support/exports.h", {"features", "log"}},
  };
  return files;
}

/// Programs outside the library, and the folders of the project that each may include.
const std::map<std::string, std::set<std::string>>& OutsideRooms() {
  static const std::map<std::string, std::set<std::string>> rooms = {
      {"sim", {"include", "sim"}},
      {"host", {"include", "sim", "host"}},
      {"report", {"include", "host", "report"}},
      {"uncertainty", {"include", "sim", "host", "uncertainty"}},
      {"inspection", {"include", "sim", "host", "report", "uncertainty", "inspection"}},
      {"tools", {"include", "sim", "host", "report", "uncertainty", "inspection", "tools"}},
      {"examples", {"include", "examples"}},
      {"tests",
       {"include", "src", "sim", "host", "report", "uncertainty", "inspection", "tools", "tests"}},
      // A benchmark may measure on the scenes that a test judges, a fuzzer judge by its checks.
      {"bench", {"include", "src", "sim", "tests", "bench"}},
      {"fuzz", {"include", "src", "tests", "fuzz"}},
  };
  return rooms;
}

std::string FirstPart(const std::string& path) { return path.substr(0, path.find('/')); }

/// A header of the C++ or C standard library: no folder and no ending.
bool IsStandard(const std::string& target) {
  return target.find_first_of("/.") == std::string::npos;
}

bool MayIncludeRoom(const std::string& path, const std::string& room, const std::string& other) {
  if (other == room) return true;
  if (const auto found = Exceptions().find(path);
      found != Exceptions().end() && found->second.contains(other)) {
    return true;
  }
  return LibraryRooms().at(room).rooms.contains(other);
}

/// What is wrong with one include line of a file of the library, or empty.
std::string LibraryFault(const std::string& path, const std::string& room, const Include& include,
                         const std::string& file) {
  if (include.target == "libmfx/export.h") return {};
  const bool is_public = path.starts_with("include/");
  if (file.empty()) {
    const std::string package = FirstPart(include.target);
    if (!LibraryRooms().at(room).packages.contains(package)) {
      return "the room " + room + " does not use " + package;
    }
    if (is_public && package != "Eigen") return "public headers show no package but Eigen";
    return {};
  }
  if (is_public && !file.starts_with("include/")) return "a public header needs a private one";
  const std::string other = RoomOf(file);
  if (!LibraryRooms().contains(other)) return "the library includes nothing outside itself";
  if (other == "root") return "a room names the headers that it needs, not all of them";
  if (!MayIncludeRoom(path, room, other)) {
    return "the room " + room + " may not include the room " + other;
  }
  return {};
}

std::string OutsideFault(const std::string& room, const Include& include, const std::string& file) {
  if (file.empty()) {
    return include.in_angles ? std::string() : "no such file in this project";
  }
  const std::string top = FirstPart(file);
  if (!OutsideRooms().at(room).contains(top)) return room + " may not include " + top;
  return {};
}

}  // namespace

std::string Resolve(const std::string& from, const std::string& target,
                    const std::set<std::string>& files) {
  const std::string beside = (fs::path(from).parent_path() / target).lexically_normal().string();
  for (const std::string& candidate :
       {beside, "include/" + target, "src/" + target, "sim/include/" + target, "sim/" + target,
        "tools/mfx/" + target, "tests/support/" + target, "tests/geometry/" + target, target}) {
    if (files.contains(candidate)) return candidate;
  }
  return {};
}

std::vector<Include> IncludesOf(const std::string& text) {
  static const std::regex pattern(R"re(^\s*#\s*include\s*(["<])([^">]+)[">])re");
  std::vector<Include> includes;
  std::istringstream lines(text);
  std::string line;
  for (int number = 1; std::getline(lines, line); ++number) {
    std::smatch match;
    if (line.find("include") == std::string::npos || !std::regex_search(line, match, pattern)) {
      continue;
    }
    includes.push_back({match[2], match[1] == "<", number});
  }
  return includes;
}

std::string RoomOf(const std::string& path) {
  const std::string top = FirstPart(path);
  if (OutsideRooms().contains(top)) return top;
  std::string rest;
  if (path.starts_with("include/libmfx/")) rest = path.substr(15);
  if (path.starts_with("src/")) rest = path.substr(4);
  if (rest.empty()) return {};
  const std::string room = FirstPart(rest);
  return room == rest ? "root" : room;
}

std::vector<std::string> BrokenRules(const std::string& path, const std::string& text,
                                     const std::set<std::string>& files) {
  const std::string room = RoomOf(path);
  const bool in_library = LibraryRooms().contains(room);
  if (!in_library && !OutsideRooms().contains(room)) return {path + ": lies in no room"};
  std::vector<std::string> broken;
  for (const Include& include : IncludesOf(text)) {
    if (include.in_angles && IsStandard(include.target)) continue;
    const std::string file = Resolve(path, include.target, files);
    const std::string fault =
        in_library ? LibraryFault(path, room, include, file) : OutsideFault(room, include, file);
    if (!fault.empty()) {
      broken.push_back(path + ":" + std::to_string(include.line) + ": " + include.target + ": " +
                       fault);
    }
  }
  return broken;
}

std::set<std::string> SourceFiles(const fs::path& root) {
  std::set<std::string> files;
  for (const char* folder : {"include", "src", "sim", "host", "report", "uncertainty", "inspection",
                             "tools", "examples", "tests", "bench", "fuzz"}) {
    if (!fs::is_directory(root / folder)) continue;
    for (const auto& entry : fs::recursive_directory_iterator(root / folder)) {
      const std::string ending = entry.path().extension().string();
      const bool is_source = ending == ".h" || ending == ".hpp" || ending == ".cpp";
      if (entry.is_regular_file() && is_source) {
        files.insert(fs::relative(entry.path(), root).generic_string());
      }
    }
  }
  return files;
}

std::string ReadFile(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace project
