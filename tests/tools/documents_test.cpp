// What the documents show is run: the calls of mfx with what they print, the requests, the lines of
// an instrument process, the jobs of a batch, the options.

#include "documents.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>

#include "program_test.h"

namespace mfx_test {
namespace {

using libmfx::test::Block;
using libmfx::test::BlocksOf;
using libmfx::test::QuotedIn;
using libmfx::test::ReadDocument;
using libmfx::test::TablesOf;

/// A folder from which a call of the documents finds the examples, as from the project's root, and
/// in which what it writes stays.
class Root : public Folder {
 public:
  Root() { std::filesystem::create_symlink(Source("examples"), Path("examples")); }

  /// Runs a line of a shell here, with mfx to be found.
  Ended Shell(const std::string& line) const {
    const std::string mfx = std::filesystem::path(LIBMFX_MFX_PROGRAM).parent_path();
    return RunMfx({"-c", "cd '" + Path("") + "' && PATH='" + mfx + "':$PATH && " + line},
                  {.program = "/bin/sh"});
  }
};

/// Whether a printed line is the shown one, in which "..." stands for anything.
bool IsLike(const std::string& printed, const std::string& shown) {
  std::size_t at = 0;
  std::size_t start = 0;
  for (bool first = true; start <= shown.size(); first = false) {
    const std::size_t end = std::min(shown.find("...", start), shown.size());
    const std::string part = shown.substr(start, end - start);
    const bool last = end == shown.size();
    const std::size_t found = last && !first && printed.size() >= part.size()
                                  ? printed.rfind(part)
                                  : printed.find(part, at);
    if (found == std::string::npos || found < at || (first && found != 0)) return false;
    at = found + part.size();
    start = end + 3;
    if (last) return at == printed.size();
  }
  return false;
}

/// Compares what a call printed with what a document shows of it: a line "..." ends the comparison.
void ExpectShown(const Ended& ended, const std::vector<std::string>& shown) {
  const std::vector<std::string> printed = Lines(ended.out);
  for (std::size_t i = 0; i < shown.size(); ++i) {
    if (shown[i] == "...") return;
    ASSERT_LT(i, printed.size()) << ended.err;
    EXPECT_TRUE(IsLike(printed[i], shown[i])) << printed[i].substr(0, 300) << "\n" << shown[i];
  }
  EXPECT_EQ(printed.size(), shown.size());
}

TEST(DocumentsTest, ALineIsLikeTheOneShown) {
  EXPECT_TRUE(IsLike("abc", "abc"));
  EXPECT_FALSE(IsLike("abcd", "abc"));
  EXPECT_TRUE(IsLike("a, b, c]", "a...c]"));
  EXPECT_FALSE(IsLike("a, b, c]", "a...c"));
  EXPECT_FALSE(IsLike("a, b, c]", "b...c]"));
  EXPECT_TRUE(IsLike("a: b", "a: ..."));
}

TEST(DocumentsTest, EveryCallPrintsWhatIsShown) {
  int calls = 0;
  for (const std::string& file : libmfx::test::UserDocuments()) {
    for (const Block& block : BlocksOf(ReadDocument(file))) {
      if (block.language != "console") continue;
      std::vector<std::pair<std::string, std::vector<std::string>>> shown;
      for (const std::string& line : Lines(block.text)) {
        if (line.starts_with("$ ")) {
          shown.push_back({line.substr(2), {}});
        } else if (!shown.empty()) {
          shown.back().second.push_back(line);
        }
      }
      Root root;
      for (const auto& [call, lines] : shown) {
        SCOPED_TRACE(file + ": " + call);
        const Ended ended = root.Shell(call);
        EXPECT_EQ(ended.status, 0) << ended.err;
        ExpectShown(ended, lines);
        ++calls;
      }
    }
  }
  EXPECT_GE(calls, 3);
}

TEST(DocumentsTest, EveryRequestLeadsToAPlan) {
  int requests = 0;
  for (const std::string& file : libmfx::test::UserDocuments()) {
    for (const Block& block : BlocksOf(ReadDocument(file))) {
      if (block.language != "json" || block.text.find("\"Feature\"") == std::string::npos) continue;
      const Ended plan = RunMfx({"plan", "-"}, {.input = block.text});
      EXPECT_EQ(plan.status, 0) << file << ": " << plan.err;
      EXPECT_GE(json::parse(plan.out)["drive"].size(), 2u);
      ++requests;
    }
  }
  EXPECT_GE(requests, 1);
}

/// A line of the wire as a document shows it, with numbers in place of their names.
json WireLine(std::string shown) {
  shown = std::regex_replace(shown, std::regex(", \\.\\.\\."), "");
  shown = std::regex_replace(
      shown, std::regex(R"(([\[ ])(azimuth|elevation|range|point_spacing|quality|status)([,\]]))"),
      "$012$3");
  return json::parse(shown);
}

std::set<std::string> KeysOf(const json& object) {
  std::set<std::string> keys;
  for (const auto& [key, value] : object.items()) keys.insert(key);
  return keys;
}

// Both documents show the three lines; a real one has the same keys and as many numbers in a row,
// and mfx takes the shown answers.
TEST(DocumentsTest, TheLinesOfAnInstrumentAreThoseOfTheWire) {
  const json drive = json::parse(RunMfx({"plan", Source("examples/requests/hole.json")}).out);
  static const std::regex line(R"re(\{"(drive|samples|error)": [^\n`]*\})re");
  for (const char* file : {"docs/mfx.md", "examples/instrument/README.md"}) {
    SCOPED_TRACE(file);
    std::string text = ReadDocument(file);
    if (std::string(file) == "docs/mfx.md") {
      text.erase(0, text.find("## The instrument process"));
      text.erase(text.find("What `mfx` does about"));
    }
    std::set<std::string> seen;
    for (std::sregex_iterator i(text.begin(), text.end(), line), end; i != end; ++i) {
      const json shown = WireLine((*i)[0]);
      seen.insert((*i)[1]);
      if ((*i)[1] == "drive") {
        EXPECT_EQ(KeysOf(shown), KeysOf(drive));
        EXPECT_EQ(shown["drive"][0].size(), drive["drive"][0].size());
        continue;
      }
      const Ended ended = RunMfx({"measure", Source("examples/requests/scan_path.json"),
                                  "--instrument", "read line; echo '" + shown.dump() + "'"});
      const bool is_error = (*i)[1] == "error";
      EXPECT_EQ(ended.status, is_error ? 2 : 1) << ended.err;
      if (is_error) {
        EXPECT_THAT(ended.err, HasSubstr("text for the operator"));
      }
    }
    EXPECT_EQ(seen.size(), 3u);
  }
}

TEST(DocumentsTest, ABatchMayBeSpreadAsShown) {
  std::string command;
  for (const Block& block : BlocksOf(ReadDocument("docs/mfx.md"))) {
    if (block.language == "sh" && block.text.find("split ") != std::string::npos) {
      command = block.text;
    }
  }
  ASSERT_THAT(command, HasSubstr("split "));
  std::string jobs;
  for (int i = 0; i < 9; ++i) {
    json job;
    job["id"] = i;
    job["request"] = json::parse(ReadDocument("examples/requests/scan_path.json"));
    job["scene"] = json::parse(ReadDocument("examples/scenes/scan_path.json"));
    jobs += job.dump() + "\n";
  }
  Root root;
  std::ofstream(root.Path("jobs")) << jobs;
  const Ended whole = root.Shell("mfx batch jobs");
  EXPECT_EQ(Lines(whole.out).size(), 9u);
  // Twice: what the first one leaves behind is no job of the second.
  for (int run = 0; run < 2; ++run) {
    const Ended spread = root.Shell(command);
    EXPECT_EQ(spread.status, 0) << spread.err;
    EXPECT_EQ(spread.out, whole.out);
    EXPECT_THAT(root.Names(), testing::ElementsAre("examples", "jobs"));
  }
}

TEST(DocumentsTest, TheOptionsAreThoseOfTheHelp) {
  const std::string text = ReadDocument("docs/mfx.md");
  static const std::regex option(R"(--[a-z][a-z-]+)");
  const auto options_in = [](const std::string& all) {
    std::set<std::string> found;
    for (std::sregex_iterator i(all.begin(), all.end(), option), end; i != end; ++i) {
      found.insert((*i)[0]);
    }
    return found;
  };
  std::set<std::string> known = options_in(RunMfx({"--help"}).out);
  for (const char* call :
       {"features", "check", "schema", "plan", "measure", "replay", "uncertainty", "inspect",
        "batch", "check-instrument", "help", "completion"}) {
    const std::set<std::string> of_call = options_in(RunMfx({call, "--help"}).out);
    known.insert(of_call.begin(), of_call.end());
  }
  std::set<std::string> told = options_in(text);
  for (const char* of_every_program : {"--help", "--version"}) {
    EXPECT_EQ(known.erase(of_every_program), 1u);
    told.erase(of_every_program);
  }
  EXPECT_EQ(told, known);
}

TEST(DocumentsTest, TheSearchesThatRefuseTheirSpacingAreTold) {
  std::string told;
  for (const auto& table : TablesOf(ReadDocument("docs/errors.md"))) {
    for (const auto& cells : table.rows) {
      if (cells[0] == "\"SearchPointSpacing\"") told = cells[1];
    }
  }
  std::set<std::string> refused;
  for (const auto& entry : std::filesystem::directory_iterator(Source("examples/requests"))) {
    json request = json::parse(std::ifstream(entry.path()));
    request["SearchEnabled"] = true;
    request["SearchPointSpacing"] = 0;
    const Ended plan = RunMfx({"plan", "-", "--search"}, {.input = request.dump()});
    if (plan.err.find("SearchPointSpacing has to be positive and finite: 0") == std::string::npos)
      continue;
    std::string name = entry.path().stem();
    std::replace(name.begin(), name.end(), '-', ' ');
    refused.insert(name);
  }
  std::string listed;
  for (const std::string& name : refused) listed += name + ", ";
  EXPECT_EQ(told, listed + "when they search");
}

}  // namespace
}  // namespace mfx_test
