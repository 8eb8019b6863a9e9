// The documents and the build agree: links lead somewhere, commands name scripts that exist, and
// the version is the same in every place that states it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "include_rules.h"

namespace {

namespace fs = std::filesystem;
using project::ReadFile;

const fs::path kRoot = LIBMFX_SOURCE_DIR;

std::vector<fs::path> Documents() {
  std::vector<fs::path> files;
  for (const char* folder : {".", "docs", "examples", "bench", "fuzz", "sim", "tests", "tools"}) {
    if (!fs::is_directory(kRoot / folder)) continue;
    for (const auto& entry : fs::directory_iterator(kRoot / folder)) {
      if (entry.path().extension() == ".md") files.push_back(entry.path().lexically_normal());
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

/// The text without its fenced code blocks.
std::string Prose(const std::string& text) {
  std::istringstream lines(text);
  std::string line, prose;
  bool fenced = false;
  while (std::getline(lines, line)) {
    if (line.starts_with("```")) {
      fenced = !fenced;
    } else if (!fenced) {
      prose += line + "\n";
    }
  }
  return prose;
}

/// The name under which a heading can be linked to: lower case, words joined by hyphens, nothing
/// else but letters, digits, hyphens and underscores.
std::string Anchor(const std::string& heading) {
  std::string anchor;
  for (const char c : heading) {
    const auto letter = static_cast<unsigned char>(c);
    if (c == ' ') anchor += '-';
    if (std::isalnum(letter) || c == '-' || c == '_' || letter >= 0x80) {
      anchor += static_cast<char>(std::tolower(letter));
    }
  }
  return anchor;
}

std::set<std::string> Anchors(const fs::path& file) {
  std::set<std::string> anchors;
  std::istringstream lines(Prose(ReadFile(file)));
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with("#")) continue;
    anchors.insert(Anchor(line.substr(line.find_first_not_of("# "))));
  }
  return anchors;
}

std::vector<std::string> LinksOf(const std::string& prose) {
  static const std::regex link(R"(\]\(([^)\s]+)\))");
  std::vector<std::string> links;
  for (std::sregex_iterator i(prose.begin(), prose.end(), link), end; i != end; ++i) {
    links.push_back((*i)[1]);
  }
  return links;
}

/// What is wrong with a link that stands in `file`, or empty. Links to other sites are not
/// followed.
std::string LinkFault(const fs::path& file, const std::string& link) {
  if (link.starts_with("https://") || link.starts_with("http://")) return {};
  const std::size_t hash = link.find('#');
  const std::string path = link.substr(0, hash);
  const fs::path target = path.empty() ? file : file.parent_path() / path;
  if (!fs::exists(target)) return "no such file";
  if (hash != std::string::npos && !Anchors(target).contains(link.substr(hash + 1))) {
    return "no such heading";
  }
  return {};
}

TEST(Documents, LinksAndAnchorsAreRead) {
  EXPECT_THAT(LinksOf("see [a](b.md), [c](d.md#e-f) and [g](#h)"),
              testing::ElementsAre("b.md", "d.md#e-f", "#h"));
  EXPECT_EQ(Anchor("The key \"$id\" of `Feature`"), "the-key-id-of-feature");
  EXPECT_EQ(LinkFault(kRoot / "README.md", "docs/no_such_file.md"), "no such file");
  EXPECT_EQ(LinkFault(kRoot / "README.md", "#no-such-heading"), "no such heading");
}

TEST(Documents, EveryLinkLeadsSomewhere) {
  const std::vector<fs::path> documents = Documents();
  ASSERT_GE(documents.size(), 7u);
  std::size_t count = 0;
  for (const fs::path& file : documents) {
    for (const std::string& link : LinksOf(Prose(ReadFile(file)))) {
      ++count;
      EXPECT_EQ(LinkFault(file, link), "") << file << ": " << link;
    }
  }
  EXPECT_GT(count, 10u);
}

TEST(Documents, EveryScriptThatIsNamedExists) {
  static const std::regex script(R"((scripts/[a-z_]+\.sh|\.ci/run))");
  std::set<std::string> named;
  for (const fs::path& file : Documents()) {
    const std::string text = ReadFile(file);
    for (std::sregex_iterator i(text.begin(), text.end(), script), end; i != end; ++i) {
      named.insert((*i)[1]);
    }
  }
  EXPECT_TRUE(named.contains("scripts/test.sh"));
  for (const std::string& name : named) {
    ASSERT_TRUE(fs::exists(kRoot / name)) << name;
    EXPECT_NE(fs::status(kRoot / name).permissions() & fs::perms::owner_exec, fs::perms::none)
        << name << " is not executable";
  }
}

TEST(Documents, TheReadmeOpensWithTheTwoCommands) {
  const std::string text = ReadFile(kRoot / "README.md");
  const std::size_t demo = text.find("./scripts/demo.sh");
  const std::size_t test = text.find("./scripts/test.sh");
  ASSERT_NE(demo, std::string::npos);
  ASSERT_NE(test, std::string::npos);
  EXPECT_LT(demo, test);
}

// A type that no seed asks for is a type that the fuzzer would hardly find by itself.
TEST(Documents, ThePageOfTheBenchmarksIsWhatTheirRunsMake) {
  if (std::system("python3 -c '' 2>/dev/null") != 0) GTEST_SKIP() << "there is no python3";
  const std::string check = "python3 -B '" + (kRoot / "bench/page.py").string() + "' check";
  EXPECT_EQ(std::system(check.c_str()), 0) << "scripts/bench.sh --page, or bench/page.py make";
}

TEST(FuzzSeeds, EveryFeatureTypeIsAskedFor) {
  std::string seeds;
  for (const auto& entry : fs::directory_iterator(kRoot / "fuzz/corpus/request")) {
    seeds += ReadFile(entry.path());
  }
  for (const char* type : {"SurfaceNormalFeature", "MatteSphereFeature", "HoleFeature",
                           "ThreadedHoleFeature", "SlotFeature", "StudFeature", "EdgeFeature",
                           "PolygonFeature", "RectangleFeature", "ScanPathFeature"}) {
    EXPECT_NE(seeds.find("\"$type\": \"" + std::string(type) + "\""), std::string::npos) << type;
  }
}

// The newest release that the change log names is the version that CMake builds; until the first
// release there is none, and the version stays 0.1.0.
TEST(Versions, TheChangeLogAndTheBuildAgree) {
  const std::string text = ReadFile(kRoot / "CHANGELOG.md");
  const std::size_t unreleased = text.find("## Unreleased");
  ASSERT_NE(unreleased, std::string::npos);
  static const std::regex release(R"(\n## (\d+\.\d+\.\d+)[ \n])");
  std::smatch match;
  const bool released = std::regex_search(text, match, release);
  EXPECT_EQ(released ? match[1].str() : "0.1.0", LIBMFX_VERSION);
  if (released) {
    EXPECT_LT(unreleased, static_cast<std::size_t>(match.position(0)));
  }
}

}  // namespace
