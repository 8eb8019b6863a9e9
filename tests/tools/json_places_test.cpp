// Where things stand in a request's text, and why a text is none.

#include "host/json_places.h"

#include <fstream>
#include <random>

#include "examples.h"
#include "libmfx/features/request_text.h"
#include "program_test.h"

namespace mfx_test {
namespace {

using libmfx::features::kRequestNesting;
using libmfx::features::StrictJson;
using namespace libmfx::host;

std::string TextAt(const std::string& text, std::size_t at, std::size_t count) {
  return text.substr(at, count);
}

TEST(JsonPlacesTest, MembersStandWhereTheyAreWritten) {
  const std::string text =
      "\xEF\xBB\xBF// first \xC3\xA4\r\n{ \"a\" /* \"b\": */ : [1, {\"c\": 2}], \"a\":\"x\\\"}\" "
      ",\n"
      "\t\"\\u0062\xFF\" : -1e400 } rest";
  const auto members = MembersAt(text, RootOf(text));
  ASSERT_THAT(members, SizeIs(3));
  EXPECT_EQ(KeyAt(text, members[0].key), "a");
  EXPECT_EQ(TextAt(text, members[0].value, 3), "[1,");
  EXPECT_EQ(KeyAt(text, members[1].key), "a");
  EXPECT_EQ(TextAt(text, members[1].value, 4), "\"x\\\"");
  EXPECT_EQ(KeyAt(text, members[2].key), "b\xEF\xBF\xBD");
  EXPECT_EQ(TextAt(text, members[2].value, 6), "-1e400");
  EXPECT_EQ(TextAt(text, ElementAt(text, members[0].value, 1), 4), "{\"c\"");
  EXPECT_EQ(ElementAt(text, members[0].value, 2), members[0].value);
  EXPECT_EQ(TextAt(text, AfterRoot(text).value(), 4), "rest");
  EXPECT_FALSE(AfterRoot("{} // nothing"));
}

TEST(JsonPlacesTest, LinesAndColumnsAreThoseOfAnEditor) {
  const std::string text =
      "\xEF\xBB\xBF"
      "ab\r\nc\xC3\xA4"
      "d\re\n\nf";
  const auto place = [&](char c) {
    const TextPlace found = PlaceOf(text, text.find(c));
    return std::pair(found.line, found.column);
  };
  EXPECT_EQ(place('a'), std::pair(1, 1));
  EXPECT_EQ(place('b'), std::pair(1, 2));
  EXPECT_EQ(place('c'), std::pair(2, 1));
  EXPECT_EQ(place('d'), std::pair(2, 3));
  EXPECT_EQ(place('e'), std::pair(3, 1));
  EXPECT_EQ(place('f'), std::pair(5, 1));
}

TEST(JsonPlacesTest, AFaultSaysWhatWasExpected) {
  struct Case {
    const char* text;
    std::size_t at;
    const char* words;
  };
  const Case cases[] = {
      {"", 0, "expected '{': a request is an object, but the text ends here"},
      {" [1]", 1, "expected '{'"},
      {"{\"a\" 1}", 5, "expected ':' after the key, but '1' stands here"},
      {"{\"a\":1 \"b\":2}", 7, "expected ',' or '}'"},
      {"{\"a\":1,}", 7, "expected a key in quotes, but '}' stands here"},
      {"{a:1}", 1, "expected a key in quotes"},
      {"{\"a\":[1 2]}", 8, "expected ',' or ']'"},
      {"{\"a\":tru}", 5, "expected a value"},
      {"{\"a\":'x'}", 5, "expected a value"},
      {"{\"a\":01}", 6, "expected ',' or '}'"},
      {"{\"a\":.5}", 5, "expected a value"},
      {"{\"a\":5.}", 5, "expected digits after the decimal point"},
      {"{\"a\":1e}", 5, "expected digits in the exponent"},
      {"{\"a\":\"x}", 5, "this text has no closing quote"},
      {"{\"a\":\"\\x\"}", 6, "begins no escape that JSON knows"},
      {"{\"a\":\"\n\"}", 6, "a control character"},
      {"{\"a\":1", 6, "expected ',' or '}', but the text ends here"},
      {"{ /* \"a\":1}", 2, "this comment has no closing */"},
      {"{ # \"a\":1}", 2, "expected a key in quotes"},
  };
  for (const Case& c : cases) {
    const auto fault = FaultOf(c.text, kRequestNesting);
    ASSERT_TRUE(fault) << c.text;
    EXPECT_EQ(fault->at, c.at) << c.text;
    EXPECT_THAT(fault->text, HasSubstr(c.words)) << c.text;
    EXPECT_FALSE(StrictJson(c.text)) << c.text;
  }
}

TEST(JsonPlacesTest, NestingHasALimit) {
  const auto nested = [](int depth) {
    std::string text = "{\"a\":";
    for (int i = 1; i < depth; ++i) text += '[';
    for (int i = 1; i < depth; ++i) text += ']';
    return text + "}";
  };
  EXPECT_FALSE(FaultOf(nested(50), kRequestNesting));
  const auto fault = FaultOf(nested(51), kRequestNesting);
  ASSERT_TRUE(fault);
  EXPECT_EQ(fault->at, 5u + 49u);
  EXPECT_TRUE(FaultOf(nested(1'000'000), kRequestNesting));
}

// The library decides what a request is; this only finds the place. The two have to agree.
TEST(JsonPlacesTest, WhatHasAFaultIsWhatTheLibraryDoesNotRead) {
  std::mt19937 draw(11);
  const std::string signs = "{}[]\",:/*-+.eE01234truefalsn\\u \t\r\n\x01\xC3\xA4\xFF#'";
  int faults = 0;
  int sound = 0;
  for (const auto& entry : std::filesystem::directory_iterator(Source("examples/requests"))) {
    std::ifstream file(entry.path());
    const std::string whole{std::istreambuf_iterator<char>(file), {}};
    for (int i = 0; i < 400; ++i) {
      std::string text = whole;
      for (unsigned int n = 1 + draw() % 2; n > 0; --n) {
        const std::size_t at = draw() % text.size();
        if (draw() % 3 == 0) {
          text.erase(at, 1 + draw() % 3);
        } else {
          text.insert(at, 1, signs[draw() % signs.size()]);
        }
      }
      const bool fault = FaultOf(text, kRequestNesting).has_value();
      EXPECT_EQ(fault, !StrictJson(text)) << text;
      ++(fault ? faults : sound);
    }
  }
  EXPECT_GE(faults, 500);
  EXPECT_GE(sound, 500);
}

}  // namespace
}  // namespace mfx_test
