// Two presets parse once what most sources of a target include, and there a source compiles whether
// or not it includes what it uses. In every other build it has to. So the text is asked: what a
// source names of those headers it includes itself or by a header of this project.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "include_rules.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Names, and the headers any of which declares them well enough.
struct Provided {
  std::vector<std::string> headers;
  std::vector<std::string> names;
};

// Left out is what every container brings along: std::size_t, std::move, std::pair.
const std::vector<Provided>& WhatHeadersProvide() {
  static const std::vector<Provided> provided = {
      {{"algorithm"},
       {"std::sort",          "std::stable_sort", "std::nth_element", "std::min",
        "std::max",           "std::minmax",      "std::min_element", "std::max_element",
        "std::clamp",         "std::find",        "std::find_if",     "std::count",
        "std::count_if",      "std::any_of",      "std::all_of",      "std::none_of",
        "std::copy_if",       "std::reverse",     "std::rotate",      "std::transform",
        "std::unique",        "std::lower_bound", "std::upper_bound", "std::fill",
        "std::equal",         "std::for_each",    "std::remove_if",   "std::is_sorted",
        "std::minmax_element"}},
      {{"array"}, {"std::array"}},
      {{"chrono"}, {"std::chrono"}},
      {{"CLI/CLI.hpp"}, {"CLI::Option", "CLI::Error", "CLI::ParseError", "CLI::Validator"}},
      {{"cmath"},
       {"std::abs",   "std::fabs", "std::sqrt",  "std::cbrt",  "std::cos",      "std::sin",
        "std::tan",   "std::acos", "std::asin",  "std::atan",  "std::atan2",    "std::hypot",
        "std::floor", "std::ceil", "std::round", "std::trunc", "std::isfinite", "std::isnan",
        "std::pow",   "std::exp",  "std::log",   "std::fmod",  "std::copysign", "std::lround"}},
      {{"cstdint"},
       {"std::uint8_t", "std::int32_t", "std::uint32_t", "std::int64_t", "std::uint64_t"}},
      {{"functional"}, {"std::function"}},
      {{"iterator"}, {"std::back_inserter"}},
      {{"limits"}, {"std::numeric_limits"}},
      {{"map"}, {"std::map"}},
      {{"memory"}, {"std::unique_ptr", "std::shared_ptr", "std::make_unique", "std::make_shared"}},
      {{"numbers"}, {"std::numbers"}},
      {{"numeric"}, {"std::accumulate", "std::iota"}},
      {{"optional"}, {"std::optional", "std::nullopt"}},
      {{"ostream", "iosfwd", "iostream", "istream", "fstream", "sstream"}, {"std::ostream"}},
      {{"queue"}, {"std::queue", "std::priority_queue"}},
      {{"set"}, {"std::set"}},
      {{"sstream"}, {"std::ostringstream", "std::istringstream", "std::stringstream"}},
      {{"stdexcept"}, {"std::runtime_error", "std::invalid_argument", "std::logic_error"}},
      {{"string", "sstream"}, {"std::string", "std::to_string"}},
      {{"string_view"}, {"std::string_view"}},
      {{"tuple"}, {"std::tuple", "std::tie"}},
      {{"variant"}, {"std::variant"}},
      {{"vector"}, {"std::vector"}},
      {{"nlohmann/json.hpp"},
       {"nlohmann::json::parse", "nlohmann::ordered_json::parse", "nlohmann::json::object",
        "nlohmann::json::array"}},
      {{"nlohmann/json.hpp", "nlohmann/json_fwd.hpp"},
       {"nlohmann::json", "nlohmann::ordered_json"}},
      {{"Eigen/Core", "Eigen/Geometry", "Eigen/SVD", "Eigen/Dense"},
       {"Eigen::Vector3d", "Eigen::Vector2d", "Eigen::Matrix3d", "Eigen::MatrixXd",
        "Eigen::VectorXd", "Eigen::Matrix", "Eigen::Index", "Eigen::Array"}},
      {{"Eigen/Geometry", "Eigen/Dense"},
       {"Eigen::AngleAxisd", "Eigen::Quaterniond", "Eigen::Isometry3d", "Eigen::Translation3d"}},
      {{"Eigen/SVD", "Eigen/Dense"}, {"Eigen::JacobiSVD", "JacobiSVD", "jacobiSvd"}},
  };
  return provided;
}

bool IsPartOfName(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; }

/// Whether a text holds a name as a whole.
bool Holds(const std::string& text, const std::string& name) {
  for (auto at = text.find(name); at != std::string::npos; at = text.find(name, at + 1)) {
    const auto end = at + name.size();
    if (end < text.size() && IsPartOfName(text[end])) continue;
    if (at > 0 && IsPartOfName(text[at - 1])) continue;
    return true;
  }
  return false;
}

std::string WithoutComments(const std::string& text) {
  std::string code;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) code += line.substr(0, line.find("//")) + "\n";
  return code;
}

/// What a source names of headers that it does not include, as "name: header".
std::vector<std::string> MissingIncludes(const std::string& text,
                                         const std::set<std::string>& included) {
  const std::string code = WithoutComments(text);
  std::vector<std::string> missing;
  for (const Provided& provided : WhatHeadersProvide()) {
    bool is_included = false;
    for (const std::string& header : provided.headers) {
      is_included = is_included || included.contains(header);
    }
    if (is_included) continue;
    for (const std::string& name : provided.names) {
      if (Holds(code, name)) missing.push_back(name + ": " + provided.headers.front());
    }
  }
  return missing;
}

/// The sources of the project, and what each includes.
class Tree {
 public:
  Tree() : _files(project::SourceFiles(LIBMFX_SOURCE_DIR)) {}

  const std::set<std::string>& files() const { return _files; }

  static std::string Text(const std::string& file) {
    return project::ReadFile(std::filesystem::path(LIBMFX_SOURCE_DIR) / file);
  }

  /// The headers of others that a file includes, itself or by headers of this project.
  std::set<std::string> Included(const std::string& file) {
    std::set<std::string> seen;
    std::set<std::string> headers;
    std::vector<std::string> open = {file};
    while (!open.empty()) {
      const std::string current = open.back();
      open.pop_back();
      if (!seen.insert(current).second) continue;
      for (const project::Include& include : IncludesOf(current)) {
        const std::string own = project::Resolve(current, include.target, _files);
        if (own.empty()) {
          headers.insert(include.target);
        } else {
          open.push_back(own);
        }
      }
    }
    return headers;
  }

 private:
  const std::vector<project::Include>& IncludesOf(const std::string& file) {
    const auto found = _includes.find(file);
    if (found != _includes.end()) return found->second;
    return _includes[file] = project::IncludesOf(Text(file));
  }

  std::set<std::string> _files;
  std::map<std::string, std::vector<project::Include>> _includes;
};

TEST(OwnIncludes, AMissingHeaderIsToldWithWhatNamesIt) {
  const std::string text = "double A(std::vector<int>& v) { return std::max(v[0], v[1]); }\n";
  EXPECT_THAT(MissingIncludes(text, {}), ElementsAre("std::max: algorithm", "std::vector: vector"));
  EXPECT_THAT(MissingIncludes(text, {"vector"}), ElementsAre("std::max: algorithm"));
  EXPECT_THAT(MissingIncludes(text, {"vector", "algorithm"}), IsEmpty());
}

TEST(OwnIncludes, NamesCountAsAWholeAndOutsideComments) {
  EXPECT_THAT(MissingIncludes("// std::vector\nstd::string_view a;  // std::map\n", {}),
              ElementsAre("std::string_view: string_view"));
  EXPECT_THAT(MissingIncludes("std::max_align_t a;\nmy_std::set b;\n", {}), IsEmpty());
}

TEST(OwnIncludes, OneOfSeveralHeadersIsEnough) {
  EXPECT_THAT(MissingIncludes("Eigen::Vector3d a;", {"Eigen/Geometry"}), IsEmpty());
  EXPECT_THAT(MissingIncludes("Eigen::AngleAxisd a;", {"Eigen/Core"}),
              ElementsAre("Eigen::AngleAxisd: Eigen/Geometry"));
  EXPECT_THAT(MissingIncludes("nlohmann::json& a;", {"nlohmann/json_fwd.hpp"}), IsEmpty());
}

TEST(OwnIncludes, EverySourceIncludesWhatItUses) {
  Tree tree;
  int sources = 0;
  for (const std::string& file : tree.files()) {
    if (file.starts_with("tests/")) continue;
    ++sources;
    for (const std::string& missing : MissingIncludes(Tree::Text(file), tree.Included(file))) {
      ADD_FAILURE() << file << " uses what it does not include: " << missing;
    }
  }
  EXPECT_GT(sources, 300);
}

}  // namespace
