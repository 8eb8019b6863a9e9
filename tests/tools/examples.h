#pragma once

#include <cstddef>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include "program_test.h"

namespace mfx_test {

/// A JSON file, which may hold comments.
inline json ReadJson(const std::string& path) {
  std::ifstream file(path);
  return json::parse(file, nullptr, true, true);
}

/// A measurement with its report.
struct Reported {
  Ended ended;
  std::string html;
};

/// A request of the examples and its scene, for a test to change before they are measured.
struct Example {
  explicit Example(const std::string& name)
      : request(ReadJson(Source("examples/requests/" + name + ".json"))),
        scene(ReadJson(Source("examples/scenes/" + name + ".json"))) {}

  json request;
  json scene;

  Reported Report(const Folder& folder, const std::vector<std::string>& more = {}) const {
    std::vector<std::string> arguments = {"measure",  folder.Write("request.json", request.dump()),
                                          "--scene",  folder.Write("scene.json", scene.dump()),
                                          "--report", folder.Path("r.html")};
    arguments.insert(arguments.end(), more.begin(), more.end());
    Reported reported{RunMfx(arguments), {}};
    reported.html = folder.Read("r.html");
    return reported;
  }
  Reported Report(const std::vector<std::string>& more = {}) const {
    return Report(Folder(), more);
  }
};

/// A recording without the time of its measurement, which no two of them share.
inline std::string WithoutTime(const std::string& recording) {
  return std::regex_replace(recording, std::regex(R"re("time":"[0-9TZ:-]{20}",)re"), "");
}

/// How often a text contains another one.
inline std::size_t CountOf(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

/// The number that stands before some words of a report; -1 if they are not there.
inline double NumberBefore(const std::string& html, const std::string& words) {
  std::smatch match;
  const std::regex pattern("([0-9.]+) " + words);
  return std::regex_search(html, match, pattern) ? std::stod(match[1]) : -1.0;
}

}  // namespace mfx_test
