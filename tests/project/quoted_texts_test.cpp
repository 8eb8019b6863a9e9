// The error texts that the documents quote are those of the sources, and docs/errors.md leaves none
// of them out.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "documents.h"
#include "include_rules.h"

namespace {

namespace fs = std::filesystem;
using libmfx::test::QuotedIn;
using libmfx::test::ReadDocument;
using libmfx::test::Table;
using libmfx::test::TablesOf;
using project::ReadFile;

const fs::path kRoot = LIBMFX_SOURCE_DIR;

/// A string of a source, with what stands before it.
struct Literal {
  std::string text;    ///< neighbouring literals joined, quotes escaped with a backslash bare
  std::string before;  ///< up to 40 characters of the source, without space at their end
};

/// The index past a comment or a character that begins at `i`, or `i` if none does.
std::size_t SkipOther(const std::string& source, std::size_t i) {
  if (source.compare(i, 2, "//") == 0) return std::min(source.find('\n', i), source.size());
  if (source.compare(i, 2, "/*") == 0) return source.find("*/", i) + 2;
  if (source.compare(i, 3, "'\"'") == 0) return i + 3;
  if (source.compare(i, 4, "'\\''") == 0) return i + 4;
  return i;
}

std::vector<Literal> LiteralsOf(const std::string& source) {
  std::vector<Literal> literals;
  bool joins = false;
  for (std::size_t i = 0; i < source.size();) {
    const std::size_t past = SkipOther(source, i);
    if (past != i) {
      i = past;
      continue;
    }
    if (source[i] != '"') {
      joins = joins && std::isspace(static_cast<unsigned char>(source[i])) != 0;
      ++i;
      continue;
    }
    if (!joins) {
      std::string before =
          source.substr(i - std::min<std::size_t>(i, 40), std::min<std::size_t>(i, 40));
      before.erase(before.find_last_not_of(" \n") + 1);
      literals.push_back({"", before});
    }
    for (++i; i < source.size() && source[i] != '"'; ++i) {
      if (source[i] == '\\') ++i;
      literals.back().text += source[i];
    }
    ++i;
    joins = true;
  }
  return literals;
}

std::vector<Literal> LiteralsOfTheLibrary() {
  std::vector<Literal> all;
  for (const std::string& file : project::SourceFiles(kRoot)) {
    if (!file.starts_with("src/") && !file.starts_with("include/")) continue;
    for (Literal& literal : LiteralsOf(ReadFile(kRoot / file))) all.push_back(std::move(literal));
  }
  return all;
}

/// The parts of a quoted text between its "...", each with a word in it.
std::vector<std::string> PartsOf(const std::string& quoted) {
  std::vector<std::string> parts;
  for (std::size_t start = 0; start <= quoted.size();) {
    const std::size_t end = std::min(quoted.find("...", start), quoted.size());
    const std::string part = quoted.substr(start, end - start);
    if (std::count_if(part.begin(), part.end(), [](unsigned char c) { return std::isalpha(c); }) >
        1)
      parts.push_back(part);
    start = end + 3;
  }
  return parts;
}

/// Whether a part stands in a literal, or is a whole literal and the beginning of another.
bool IsSaid(const std::string& part, const std::vector<Literal>& literals) {
  return std::any_of(literals.begin(), literals.end(), [&](const Literal& literal) {
    const std::string& text = literal.text;
    if (text.find(part) != std::string::npos) return true;
    constexpr std::size_t kShortest = 8;
    if (text.size() < kShortest || !part.starts_with(text)) return false;
    const std::string rest = part.substr(text.size());
    return rest.size() >= kShortest &&
           std::any_of(literals.begin(), literals.end(),
                       [&](const Literal& next) { return next.text.starts_with(rest); });
  });
}

/// The texts that docs/errors.md quotes.
std::vector<std::string> QuotedErrors() {
  std::vector<std::string> quoted;
  for (const Table& table : TablesOf(ReadDocument("docs/errors.md"))) {
    const bool by_key = table.header[0] == "key";
    for (const std::vector<std::string>& cells : table.rows) {
      for (const std::string& text : QuotedIn(cells[by_key ? 2 : 0])) quoted.push_back(text);
    }
  }
  return quoted;
}

TEST(QuotedTexts, LiteralsAreRead) {
  const auto literals =
      LiteralsOf("f(\"a \\\"b\\\"\"  // \"no\"\n  \"c\", '\"', \"d\"); /* \"no\" */");
  ASSERT_THAT(literals, testing::SizeIs(2));
  EXPECT_EQ(literals[0].text, "a \"b\"c");
  EXPECT_EQ(literals[0].before, "f(");
  EXPECT_EQ(literals[1].text, "d");
  EXPECT_TRUE(IsSaid("the radius is far off", {{"the radius", ""}, {" is far off: ", ""}}));
  EXPECT_FALSE(IsSaid("the radius is far oft", {{"the radius", ""}, {" is far off: ", ""}}));
  EXPECT_THAT(PartsOf("... is not finite: ..."), testing::ElementsAre(" is not finite: "));
}

TEST(QuotedTexts, WhatErrorsMdQuotesStandsInTheSources) {
  const std::vector<Literal> literals = LiteralsOfTheLibrary();
  const std::vector<std::string> quoted = QuotedErrors();
  EXPECT_GT(quoted.size(), 100u);
  for (const std::string& text : quoted) {
    EXPECT_FALSE(PartsOf(text).empty()) << text;
    for (const std::string& part : PartsOf(text)) EXPECT_TRUE(IsSaid(part, literals)) << text;
  }
}

TEST(QuotedTexts, WhatOtherDocumentsQuoteOfAnErrorStandsInTheSources) {
  const std::vector<Literal> literals = LiteralsOfTheLibrary();
  int checked = 0;
  for (const std::string& file : libmfx::test::UserDocuments()) {
    std::string text = std::regex_replace(ReadDocument(file), std::regex(R"(```[^]*?```)"), "");
    text = std::regex_replace(text, std::regex(R"(\s+)"), " ");
    static const std::regex error(R"re("([^"]{4,}? [^"]{3,}(!|\.\.\.|\.))")re");
    for (std::sregex_iterator i(text.begin(), text.end(), error), end; i != end; ++i) {
      const std::string quoted = (*i)[1];
      if (quoted.find_first_of("|`[]{}") != std::string::npos) continue;  // between two quotations
      for (const std::string& part : PartsOf(quoted)) {
        EXPECT_TRUE(IsSaid(part, literals)) << file << ": " << quoted;
        ++checked;
      }
    }
  }
  EXPECT_GT(checked, 5);
}

TEST(QuotedTexts, ErrorsMdLeavesNoErrorOut) {
  std::vector<std::regex> told;
  for (const std::string& text : QuotedErrors()) {
    static const std::regex special(R"([.*+?()\[\]{}|^$\\])");
    std::string pattern = std::regex_replace(text, special, R"(\$&)");
    pattern = std::regex_replace(pattern, std::regex(R"(\\\.\\\.\\\.)"), ".*");
    told.emplace_back(pattern);
  }
  // What sets an error; a text that ends in one exclamation mark is returned to one that does.
  static const std::regex sets(R"((SetError|Fail|fail|reject|refuse)\($)");
  static const std::regex returns(R"(\breturn$)");
  std::set<std::string> texts;
  for (const std::string& file : project::SourceFiles(kRoot)) {
    if (!file.starts_with("src/features/")) continue;
    for (const Literal& literal : LiteralsOf(ReadFile(kRoot / file))) {
      const bool is_returned = std::regex_search(literal.before, returns) &&
                               literal.text.ends_with("!") && !literal.text.ends_with("!!");
      if (is_returned || std::regex_search(literal.before, sets)) texts.insert(literal.text);
    }
  }
  EXPECT_GT(texts.size(), 80u);
  for (const std::string& text : texts) {
    EXPECT_TRUE(std::any_of(told.begin(), told.end(), [&](const std::regex& pattern) {
      return std::regex_match(text, pattern);
    })) << text;
  }
}

}  // namespace
