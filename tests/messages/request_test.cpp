#include "messages/request.h"

#include <gtest/gtest.h>

#include <limits>

namespace libmfx::messages {
namespace {

using data_structures::PointXYZW;
using data_structures::VectorXYZW;

/// The value of "v" in the request {"v": text}.
class ValueOf {
 public:
  explicit ValueOf(const std::string& text) : _request("{\"v\":" + text + "}") {
    EXPECT_TRUE(_request.ok()) << text;
  }
  Value operator*() const { return _request.root()["v"]; }
  double AsDouble() const { return (**this).AsDouble(); }
  int AsInt() const { return (**this).AsInt(); }
  bool AsBool() const { return (**this).AsBool(); }

 private:
  Request _request;
};

std::string Nested(int depth) {
  // The root object is the first level.
  return "{\"v\":" + std::string(static_cast<std::size_t>(depth - 1), '[') +
         std::string(static_cast<std::size_t>(depth - 1), ']') + "}";
}

TEST(Request, WhatIsNoObjectDoesNotParse) {
  for (const char* text : {"",
                           " ",
                           "[]",
                           "[{}]",
                           "7",
                           "\"{}\"",
                           "null",
                           "{",
                           "{\"a\":}",
                           "{]",
                           "}",
                           "{\"a\":1",
                           "{\"a\" 1}",
                           "{\"a\":1e999x}",
                           "{\"a\":01e999}",
                           "{\"a\":1.e999}",
                           "{\"a\":--1e999}",
                           "{\"a\":1e999 1e999}",
                           "{1e999:1}",
                           "1e999",
                           "[1e999]",
                           "{\"\xFF\":}",
                           "{\"\xFF\":\xFF}",
                           "{\"a\":\"\\ud80\"}",
                           "{\"a\":\"\\ud800}",
                           "\xFF{\"a\":1}"}) {
    EXPECT_FALSE(Request(text).ok()) << text;
  }
}

TEST(Request, CommentsAndWhatFollowsAreTolerated) {
  const Request request("/* { */ {\"a\": 1, // }\n \"b\": \"}{\\\"\" /* \" */} trailing [");
  ASSERT_TRUE(request.ok());
  EXPECT_EQ(request.root()["a"].AsDouble(), 1.0);
  EXPECT_EQ(request.root()["b"].AsString(), "}{\"");
}

TEST(Request, FiftyLevelsAreReadAndMoreAreNot) {
  EXPECT_TRUE(Request(Nested(50)).ok());
  EXPECT_TRUE(Request("/* [[[ */" + Nested(50) + std::string(100, '[')).ok());
  EXPECT_FALSE(Request(Nested(51)).ok());
  EXPECT_FALSE(Request(Nested(1'000'000)).ok());
}

TEST(Request, BracketsInStringsDoNotNest) {
  EXPECT_TRUE(Request("{\"v\":\"" + std::string(1000, '[') + "\"}").ok());
}

TEST(Request, OfEqualKeysTheLastCounts) {
  EXPECT_EQ(Request("{\"v\":1,\"v\":2}").root()["v"].AsDouble(), 2.0);
}

TEST(Request, MissingValuesReadAsNothing) {
  const Request broken("no JSON");
  const Value missing = broken.root()["a"]["b"].At(3);
  EXPECT_FALSE(broken.root().Has("a"));
  EXPECT_EQ(missing.AsDouble(), 0.0);
  EXPECT_EQ(missing.AsInt(), 0);
  EXPECT_FALSE(missing.AsBool());
  EXPECT_EQ(missing.AsString(), "");
  EXPECT_EQ(missing.Size(), 0U);
  EXPECT_EQ(missing.AsPoint(), PointXYZW(0, 0, 0, 1));
}

TEST(Request, Doubles) {
  EXPECT_EQ(ValueOf("1.25e-3").AsDouble(), 1.25e-3);
  EXPECT_EQ(ValueOf("-7").AsDouble(), -7.0);
  EXPECT_EQ(ValueOf("18446744073709551615").AsDouble(), 18446744073709551615.0);
  EXPECT_EQ(ValueOf("true").AsDouble(), 1.0);
  EXPECT_EQ(ValueOf("false").AsDouble(), 0.0);
  EXPECT_EQ(ValueOf("\"0.0125\"").AsDouble(), 0.0125);
  EXPECT_EQ(ValueOf("\" +3 \"").AsDouble(), 3.0);
  EXPECT_EQ(ValueOf("\"-1E3\"").AsDouble(), -1000.0);
  for (const char* none :
       {"null", "[1]", "{\"x\":1}", "\"\"", "\"abc\"", "\"1,5\"", "\"12 mm\"", "\"nan\"", "\"inf\"",
        "\"-inf\"", "\"1e999 mm\"", "\"+-1\"", "\"+-1e999\""}) {
    EXPECT_EQ(ValueOf(none).AsDouble(), 0.0) << none;
  }
}

TEST(Request, NumbersBeyondTheLargestDoubleAreInfinite) {
  const double infinity = std::numeric_limits<double>::infinity();
  const std::string digits(400, '9');
  EXPECT_EQ(ValueOf(std::string(1'000'000, '9')).AsDouble(), infinity);
  for (const std::string& text :
       {std::string("1e400"), std::string("1.5E+999"), digits, digits + ".5", digits + "e-50"}) {
    EXPECT_EQ(ValueOf(text).AsDouble(), infinity) << text;
    EXPECT_EQ(ValueOf("-" + text).AsDouble(), -infinity) << text;
    EXPECT_EQ(ValueOf("\"" + text + "\"").AsDouble(), infinity) << text;
    EXPECT_EQ(ValueOf("\" +" + text + " \"").AsDouble(), infinity) << text;
    EXPECT_TRUE((*ValueOf(text)).IsNumber()) << text;
    EXPECT_TRUE(ValueOf("-" + text).AsBool()) << text;
  }
  EXPECT_EQ(ValueOf("1e400").AsInt(), std::numeric_limits<int>::max());
  EXPECT_EQ(ValueOf("-1e400").AsInt(), std::numeric_limits<int>::min());
  EXPECT_EQ((*ValueOf("1e400")).AsUnsigned(), std::numeric_limits<unsigned int>::max());
  EXPECT_EQ((*ValueOf("[1,-1e400,1e400]")).AsPoint(), PointXYZW(1, -infinity, infinity, 1));
  EXPECT_FALSE((*ValueOf("\"12\"")).IsNumber());
  EXPECT_FALSE((*ValueOf("\"inf\"")).IsNumber());
}

TEST(Request, NumbersOfEveryOtherSizeAreNumbers) {
  EXPECT_EQ(ValueOf("1e-400").AsDouble(), 0.0);
  EXPECT_EQ(ValueOf("\"1e-400\"").AsDouble(), 0.0);
  EXPECT_EQ(ValueOf("1.7976931348623157e308").AsDouble(), std::numeric_limits<double>::max());
  EXPECT_EQ(ValueOf("123456789012345678901234567890").AsDouble(), 123456789012345678901234567890.0);
  EXPECT_EQ(ValueOf("-99999999999999999999").AsInt(), std::numeric_limits<int>::min());
}

TEST(Request, WhatIsNoTextIsReplaced) {
  const std::pair<const char*, const char*> texts[] = {
      {"a\xFFz", "a\uFFFDz"},
      {"\xC3", "\uFFFD"},
      {"\xF0\x9F\x98", "\uFFFD"},
      {"\xED\xA0\x80z", "\uFFFDz"},
      {"\\ud800", "\uFFFD"},
      {"\\uDFFFz", "\uFFFDz"},
      {"\\ud800\\ud83d\\ude00\\ud800", "\uFFFD\U0001F600\uFFFD"},
      {"\\ud83dx\\ude00", "\uFFFDx\uFFFD"},
      {"\\\\ud800", "\\ud800"},
      {"\\ud800\\n\\\"", "\uFFFD\n\""},
      {"\\ud800 1e400 // \xFF", "\uFFFD 1e400 // \uFFFD"}};
  for (const auto& [text, read] : texts) {
    EXPECT_EQ((*ValueOf("\"" + std::string(text) + "\"")).AsString(), read) << text;
  }
  EXPECT_EQ(Request("{\"\xFF\":5}").root()["\uFFFD"].AsDouble(), 5.0);
  EXPECT_EQ(Request("{\"\\udc00\":1e400,\"x\":5}").root()["x"].AsDouble(), 5.0);
}

TEST(Request, MendingRespectsComments) {
  const Request request(
      "// \" 1e400 \r{/* \" ' */\"a\":/**/1e400/*/ \" */,//\"\n\"b\":\"//\"//\n,\"c\":-1e400//\n} "
      "\xFF");
  ASSERT_TRUE(request.ok());
  EXPECT_EQ(request.root()["a"].AsDouble(), std::numeric_limits<double>::infinity());
  EXPECT_EQ(request.root()["b"].AsString(), "//");
  EXPECT_EQ(request.root()["c"].AsDouble(), -std::numeric_limits<double>::infinity());
}

TEST(Request, MendingEndsWithTheObject) {
  EXPECT_TRUE(Request("{\"a\":1e400}:").ok());
  EXPECT_TRUE(Request("{\"a\":1e400 } \"\\ud8").ok());
}

TEST(Request, ManyBadValuesAreReadAsOneIs) {
  std::string numbers;
  std::string text;
  for (int i = 0; i < 100'000; ++i) {
    numbers += i % 2 == 0 ? ",1e400" : ",-1e400";
    text += i % 2 == 0 ? "\xFF" : "\\udc00";
  }
  const Request request("{\"v\":[0" + numbers + "],\"t\":\"" + text + "\"}");
  ASSERT_TRUE(request.ok());
  EXPECT_EQ(request.root()["v"].Size(), 100'001U);
  EXPECT_EQ(request.root()["v"].At(100'000).AsDouble(), -std::numeric_limits<double>::infinity());
  EXPECT_EQ(request.root()["t"].AsString().size(), 300'000U);
  // Refused, however the depth is reached.
  const std::string deep = Nested(1'000'000);
  EXPECT_FALSE(Request("{\"v\":1e400," + deep.substr(1)).ok());
  EXPECT_FALSE(Request("{\"v\":[0" + numbers + "],\"w\":" + deep + "}").ok());
}

TEST(Request, IntegersTruncateAndAreHeldAtTheLimits) {
  EXPECT_EQ(ValueOf("9.99").AsInt(), 9);
  EXPECT_EQ(ValueOf("-9.99").AsInt(), -9);
  EXPECT_EQ(ValueOf("\"4.7\"").AsInt(), 4);
  EXPECT_EQ(ValueOf("true").AsInt(), 1);
  EXPECT_EQ(ValueOf("1e300").AsInt(), std::numeric_limits<int>::max());
  EXPECT_EQ(ValueOf("-1e300").AsInt(), std::numeric_limits<int>::min());
  EXPECT_EQ((*ValueOf("-3")).AsUnsigned(), 0U);
  EXPECT_EQ((*ValueOf("1e300")).AsUnsigned(), std::numeric_limits<unsigned int>::max());
}

TEST(Request, Booleans) {
  for (const char* yes : {"true", "1", "-0.5", "\"true\"", "\"1\"", "\"-2\""}) {
    EXPECT_TRUE(ValueOf(yes).AsBool()) << yes;
  }
  for (const char* no : {"false", "0", "0.0", "null", "[true]", "{}", "\"false\"", "\"TRUE\"",
                         "\"0\"", "\"0.5\"", "\"yes\"", "\"\""}) {
    EXPECT_FALSE(ValueOf(no).AsBool()) << no;
  }
}

TEST(Request, Strings) {
  EXPECT_EQ((*ValueOf("\"\\u00b5 \\\"x\\\"\"")).AsString(), "\xC2\xB5 \"x\"");
  EXPECT_EQ((*ValueOf("7")).AsString(), "");
  EXPECT_EQ((*ValueOf("null")).AsString(), "");
}

TEST(Request, Triples) {
  EXPECT_EQ((*ValueOf("[1,2,3,4]")).AsPoint(), PointXYZW(1, 2, 3, 1));
  EXPECT_EQ((*ValueOf("[1,2]")).AsPoint(), PointXYZW(1, 2, 0, 1));
  EXPECT_EQ((*ValueOf("[\"1\",true,null]")).AsPoint(), PointXYZW(1, 1, 0, 1));
  EXPECT_EQ((*ValueOf("7")).AsPoint(), PointXYZW(0, 0, 0, 1));
  EXPECT_EQ((*ValueOf("[3,4,0]")).AsVector(), VectorXYZW(3, 4, 0, 0));
}

TEST(Request, AnAbsentKeyLeavesTheDefault) {
  const Request request(R"({"there": null})");
  double number = 5.0;
  int count = 5;
  unsigned int lines = 5;
  bool flag = true;
  std::string text = "default";
  PointXYZW point(1, 1, 1);
  VectorXYZW vector(1, 1, 1);
  const Value root = request.root();
  EXPECT_FALSE(root.Read("absent", number) || root.Read("absent", count) ||
               root.Read("absent", lines) || root.Read("absent", flag) ||
               root.Read("absent", text) || root.Read("absent", point) ||
               root.Read("absent", vector));
  EXPECT_EQ(number, 5.0);
  EXPECT_EQ(text, "default");
  // A key that is there is read, also when its value converts to nothing.
  EXPECT_TRUE(root.Read("there", number) && root.Read("there", count) &&
              root.Read("there", lines) && root.Read("there", flag) && root.Read("there", text) &&
              root.Read("there", point) && root.Read("there", vector));
  EXPECT_EQ(number, 0.0);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(lines, 0U);
  EXPECT_FALSE(flag);
  EXPECT_EQ(text, "");
  EXPECT_EQ(point, PointXYZW());
  EXPECT_EQ(vector, VectorXYZW());
}

}  // namespace
}  // namespace libmfx::messages
