#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "program_test.h"

namespace mfx_test {

/// A JSON file, which may hold comments.
json ReadJson(const std::string& path);

/// A measurement with its report.
struct Reported {
  Ended ended;
  std::string html;
};

/// A request of the examples and its scene, for a test to change before they are measured.
struct Example {
  explicit Example(const std::string& name);

  json request;
  json scene;

  Reported Report(const Folder& folder, const std::vector<std::string>& more = {}) const;
  Reported Report(const std::vector<std::string>& more = {}) const;
};

/// A recording without the time of its measurement, which no two of them share.
std::string WithoutTime(const std::string& recording);

/// How often a text contains another one.
std::size_t CountOf(const std::string& text, const std::string& part);

/// The number that stands before some words of a report; -1 if they are not there.
double NumberBefore(const std::string& html, const std::string& words);

}  // namespace mfx_test
