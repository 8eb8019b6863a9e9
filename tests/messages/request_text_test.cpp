#include "libmfx/features/request_text.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <random>

#include "messages/request.h"

namespace libmfx::features {
namespace {

using nlohmann::json;

std::string Nested(int depth) {
  return "{\"v\":" + std::string(static_cast<std::size_t>(depth - 1), '[') +
         std::string(static_cast<std::size_t>(depth - 1), ']') + "}";
}

TEST(StrictJson, SoundTextKeepsItsMembers) {
  for (const char* text :
       {"{}", R"({"b":[],"a":{"x":[1,-2,{}]},"b":null})", R"({"t":[true,false,"é\n\"\\"],"":0.1})",
        R"({"i":[18446744073709551615,-9223372036854775808]})"}) {
    EXPECT_EQ(StrictJson(text), text);
  }
}

TEST(StrictJson, CommentsAndWhatFollowsAreGone) {
  EXPECT_EQ(StrictJson("// 1e400\n{\"a\" : 1, /* } */ \"b\":[ 2 ,3 ]} trailing \xFF"),
            R"({"a":1,"b":[2,3]})");
}

TEST(StrictJson, BadValuesAreMended) {
  EXPECT_EQ(StrictJson("{\"a\":[1e400,-1E+400,1e-400],\"\xFF\":\"\\ud800\"}"),
            "{\"a\":[\"1e400\",\"-1E+400\",0.0],\"\uFFFD\":\"\uFFFD\"}");
  const std::string digits(400, '7');
  EXPECT_EQ(StrictJson("{\"a\":" + digits + "}"), "{\"a\":\"" + digits + "\"}");
}

TEST(StrictJson, NoObjectIsNothing) {
  for (const char* text : {"", "[]", "1e400", "{", "{\"a\":1e400", "{\"a\":1e400]", "nothing"}) {
    EXPECT_EQ(StrictJson(text), std::nullopt) << text;
  }
}

TEST(StrictJson, NestingHasALimit) {
  EXPECT_EQ(StrictJson(Nested(50)), Nested(50));
  EXPECT_EQ(StrictJson(Nested(51)), std::nullopt);
  EXPECT_EQ(StrictJson(Nested(51), 51), Nested(51));
  EXPECT_EQ(StrictJson("{\"a\":1e400,\"b\":" + Nested(50) + "}"), std::nullopt);
}

TEST(StrictJson, ALineHoldsOneObjectAndBlanks) {
  const auto line = [](const char* text) { return StrictJson(text, 50, SURROUNDINGS_BLANK); };
  EXPECT_EQ(line(" {\"a\":1e400} \r\n"), R"({"a":"1e400"})");
  for (const char* text : {"{\"a\":1} 2", "{\"a\":1e400}{\"a\":1}", "{\"a\":1} // two",
                           "/**/{\"a\":1e400}", "{\"a\":1e400} \xFF"}) {
    EXPECT_EQ(line(text), std::nullopt) << text;
  }
}

TEST(StrictJson, NumbersKeepTheirValueToTheLastBit) {
  std::mt19937_64 bits(7);
  for (int i = 0; i < 20'000; ++i) {
    const double value = std::bit_cast<double>(bits());
    if (!std::isfinite(value)) continue;
    char text[64];
    std::snprintf(text, sizeof text, "{\"v\":%.17e}", value);
    const messages::Request request(text);
    const auto strict = StrictJson(text);
    ASSERT_TRUE(strict);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(json::parse(*strict)["v"].get<double>()),
              std::bit_cast<std::uint64_t>(request.root()["v"].AsDouble()))
        << text;
    EXPECT_EQ(request.root()["v"].AsDouble(), value) << text;
  }
}

TEST(StrictJson, TheTextIsReadAsTheOriginalIs) {
  const std::string text =
      "{/**/\"a\":[1e400,-1e400,\"1e400\",true,12345678901234567890123],\"\xC3\":\"\\udead\","
      "\"a\":[-1e400,\"\xF0\"]} 1";
  const auto strict = StrictJson(text);
  ASSERT_TRUE(strict);
  ASSERT_TRUE(json::accept(*strict));
  const messages::Request original(text);
  const messages::Request copy(*strict);
  for (std::size_t i = 0; i < 6; ++i) {
    EXPECT_EQ(copy.root()["a"].At(i).AsDouble(), original.root()["a"].At(i).AsDouble());
    EXPECT_EQ(copy.root()["a"].At(i).AsString(), original.root()["a"].At(i).AsString());
  }
  EXPECT_EQ(copy.root()["\uFFFD"].AsString(), "\uFFFD");
  EXPECT_EQ(StrictJson(*strict), strict);
}

}  // namespace
}  // namespace libmfx::features
