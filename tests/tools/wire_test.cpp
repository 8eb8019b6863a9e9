// The lines that go to an instrument and come back.

#include "host/wire.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <nlohmann/json.hpp>
#include <random>

#include "host/errors.h"

namespace {

using namespace libmfx;
using host::ReadAnswer;
using testing::HasSubstr;
using testing::IsEmpty;

std::string Refusal(const std::string& line) {
  try {
    ReadAnswer(line);
  } catch (const host::CallError& error) {
    EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos);
    return error.what();
  }
  return "";
}

TEST(WireTest, DriveLineIsOneObjectInFullPrecision) {
  const std::vector<host::Position> points = {{0.1, -0.2, 2.000000000000001, 0.0},
                                              {1.0 / 3.0, -0.0, 5e-324, 0.001}};
  const std::string line = host::DriveLine(points, "SEARCH");
  const auto value = nlohmann::json::parse(line);
  EXPECT_EQ(value["step"], "SEARCH");
  EXPECT_EQ(value["drive"].size(), 2u);
  EXPECT_EQ(line.find('\n'), std::string::npos);
  const std::vector<host::Position> back = host::ReadDrive(line);
  ASSERT_EQ(back.size(), 2u);
  EXPECT_EQ(back, points);
  EXPECT_TRUE(std::signbit(back[1].elevation));
}

TEST(WireTest, NothingToDriveIsAnEmptyArray) {
  EXPECT_EQ(host::DriveLine({}, "INITIAL"), R"({"drive":[],"step":"INITIAL"})");
}

TEST(WireTest, SamplesComeBackToTheLastBit) {
  std::vector<host::RawDataPoint> samples = {
      {-0.0, 1e-300, 60.00000000000001, 49.99999999999999, -1},
      {-3.5, 0.25, 0.0, -12.0, 2147483647}};
  const host::Answer answer = ReadAnswer(host::SamplesLine(samples));
  ASSERT_EQ(answer.samples.size(), 2u);
  EXPECT_EQ(answer.samples, samples);
  EXPECT_EQ(std::bit_cast<std::uint64_t>(answer.samples[0].azimuth),
            std::bit_cast<std::uint64_t>(-0.0));
  EXPECT_FALSE(answer.error);
}

TEST(WireTest, NumbersThatAreNotFiniteAreNull) {
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const std::string line = host::SamplesLine({{0.5, kNan, kInfinity, 0.0, 3}});
  EXPECT_EQ(line, R"({"samples":[[0.5,null,null,0,3]]})");
  const host::Answer answer = ReadAnswer(line);
  EXPECT_TRUE(std::isnan(answer.samples[0].elevation));
  EXPECT_TRUE(std::isnan(answer.samples[0].range));
}

/// The bits of a line's samples.
std::vector<std::uint64_t> BitsOf(const std::string& line) {
  const host::Answer answer = ReadAnswer(line);
  std::vector<std::uint64_t> bits;
  for (const host::RawDataPoint& s : answer.samples) {
    for (const double value : {s.azimuth, s.elevation, s.range, s.quality}) {
      bits.push_back(std::bit_cast<std::uint64_t>(value));
    }
    bits.push_back(static_cast<std::uint32_t>(s.status));
  }
  return bits;
}

/// A line with a number in the plain spelling of programs, and one with another key before it.
std::string Plain(const std::string& number) {
  return "{\"samples\":[[0.5,1,2,3,4],[" + number + ",1,2,3,4]]}";
}
std::string NotPlain(const std::string& number) {
  return "{\"time\":[]," + Plain(number).substr(1);
}

TEST(WireTest, TheSpellingOfALineChangesNoBitOfItsNumbers) {
  std::vector<std::string> numbers = {"0",
                                      "-0",
                                      "-0.0",
                                      "-0e5",
                                      "1E+5",
                                      "5e-324",
                                      "1e-400",
                                      "2.2250738585072011e-308",
                                      "9007199254740993",
                                      "-9223372036854775809",
                                      "18446744073709551615",
                                      "18446744073709551616",
                                      "123456789012345678901234567890",
                                      "1.7976931348623157e308",
                                      "null"};
  std::mt19937_64 bits(3);
  while (numbers.size() < 10'000) {
    const double value = std::bit_cast<double>(bits());
    if (!std::isfinite(value)) continue;
    char text[64];
    std::snprintf(text, sizeof text, "%.*g", static_cast<int>(bits() % 20), value);
    // Few digits may round beyond the largest double.
    if (nlohmann::json::accept(text)) numbers.emplace_back(text);
  }
  for (const std::string& number : numbers) {
    ASSERT_EQ(BitsOf(Plain(number)), BitsOf(NotPlain(number))) << number;
    ASSERT_EQ(BitsOf(Plain("\r\n " + number + "\t")), BitsOf(NotPlain(number))) << number;
  }
}

TEST(WireTest, WhatIsNoNumberIsRefusedInEverySpelling) {
  for (const char* none :
       {"",    "-",   "+1",    ".5",     "1.",    "1.e5", "1e",  "1e+",      "01",  "-01",
        "00",  "0x1", "1e999", "-1e999", "NaN",   "nan",  "inf", "Infinity", "nul", "nullx",
        "1 2", "1_0", "1,",    "/**/1",  "\"1\"", "true", "[1]", "{}"}) {
    EXPECT_NE(Refusal(Plain(none)), "") << none;
    EXPECT_NE(Refusal(NotPlain(none)), "") << none;
  }
}

TEST(WireTest, WhatStandsBehindTheRowsIsLookedAt) {
  const std::string rows = R"({"samples":[[1,2,3,4,5]])";
  EXPECT_EQ(ReadAnswer(rows + ",\"step\":\"INITIAL\"} \r\n").samples.size(), 1u);
  EXPECT_EQ(ReadAnswer(rows + ",\"step\":\"\\u0041 b\"}").samples.size(), 1u);
  EXPECT_EQ(ReadAnswer(rows + R"(,"error":"late"})").error, "late");
  EXPECT_EQ(ReadAnswer(rows + R"(,"step":"A","error":"late"})").error, "late");
  EXPECT_EQ(ReadAnswer(rows + R"(,"step":"A"})").samples.size(), 1u);
  for (const char* rest : {"", ",}", "}}", "} x", ",\"step\":\"A\"", ",\"step\":A}", ",\"step\"}",
                           ",\"step\":\"A\",}", ",\"step\":\"\xFF\"}"}) {
    EXPECT_THAT(Refusal(rows + rest), HasSubstr("not JSON")) << rest;
  }
  // A null byte ends the text.
  EXPECT_EQ(ReadAnswer(rows + std::string("}\0x", 3)).samples.size(), 1u);
}

TEST(WireTest, OtherKeysArePassedOver) {
  const host::Answer answer = ReadAnswer(
      R"( {"time": [1, [2, {"samples": 3}]], "samples": [[1, 2, 3, 4, 5.0]], "note": "x"} )");
  ASSERT_EQ(answer.samples.size(), 1u);
  EXPECT_EQ(answer.samples[0], host::RawDataPoint(1, 2, 3, 4, 5));
}

TEST(WireTest, AnErrorOfTheInstrumentIsItsAnswer) {
  EXPECT_EQ(ReadAnswer(R"({"error": "cover is closed"})").error, "cover is closed");
}

TEST(WireTest, MalformedLinesSayWhatAndWhere) {
  EXPECT_THAT(Refusal(""), HasSubstr("not JSON"));
  EXPECT_THAT(Refusal("hello"), HasSubstr("not JSON at byte"));
  EXPECT_THAT(Refusal("hello"), HasSubstr("'hello'"));
  EXPECT_THAT(Refusal("{}"), HasSubstr("neither \"samples\" nor \"error\""));
  EXPECT_THAT(Refusal("[]"), HasSubstr("an array, not an object"));
  EXPECT_THAT(Refusal("7"), HasSubstr("not an object"));
  EXPECT_THAT(Refusal("\"samples\""), HasSubstr("not an object"));
  EXPECT_THAT(Refusal(R"({"samples": [[1,2,3,4,5]]} {"samples": []})"), HasSubstr("not JSON"));
  EXPECT_THAT(Refusal(R"({"samples": [[1,2,3,4,5]], "samples": []})"), HasSubstr("stands twice"));
  EXPECT_THAT(Refusal(R"({"samples": 5})"), HasSubstr("a number, not an array"));
  EXPECT_THAT(Refusal(R"({"samples": {}})"), HasSubstr("an object, not an array"));
  EXPECT_THAT(Refusal(R"({"samples": "x"})"), HasSubstr("a text, not an array"));
  EXPECT_THAT(Refusal(R"({"samples": null})"), HasSubstr("not an array"));
  EXPECT_THAT(Refusal(R"({"samples": [[1e999,2,3,4,5]]})"), HasSubstr("not JSON"));
}

TEST(WireTest, SamplesOfTheWrongShapeSayWhich) {
  EXPECT_THAT(Refusal(R"({"samples": [1]})"), HasSubstr("samples row 0 is a number"));
  EXPECT_THAT(Refusal(R"({"samples": [{}]})"), HasSubstr("samples row 0 is an object"));
  EXPECT_THAT(Refusal(R"({"samples": [[1,2,3,4,5],[1,2,3,4]]})"),
              HasSubstr("samples row 1 has 4 values, not 5"));
  EXPECT_THAT(Refusal(R"({"samples": [[1,2,3,4,5,6]]})"), HasSubstr("has 6 values, not 5"));
  EXPECT_THAT(Refusal(R"({"samples": [[]]})"), HasSubstr("has 0 values, not 5"));
  EXPECT_THAT(Refusal(R"({"samples": [["1",2,3,4,5]]})"), HasSubstr("holds a text"));
  EXPECT_THAT(Refusal(R"({"samples": [[true,2,3,4,5]]})"), HasSubstr("holds a boolean"));
  EXPECT_THAT(Refusal(R"({"samples": [[[1],2,3,4,5]]})"), HasSubstr("holds an array"));
  EXPECT_THAT(Refusal(R"({"samples": [[1,2,3,4,5.5]]})"), HasSubstr("no 32-bit integer"));
  EXPECT_THAT(Refusal(R"({"samples": [[1,2,3,4,2147483648]]})"), HasSubstr("no 32-bit integer"));
  EXPECT_THAT(Refusal(R"({"samples": [[1,2,3,4,null]]})"), HasSubstr("no 32-bit integer"));
}

TEST(WireTest, AHostileLineIsRefusedWithoutDeepRecursion) {
  EXPECT_THAT(Refusal(std::string(1'000'000, '[')), Not(IsEmpty()));
  EXPECT_THAT(Refusal("{\"x\":" + std::string(1'000'000, '[')), HasSubstr("not JSON"));
  EXPECT_THAT(Refusal("{\"\xff\xfe\": 1}"), HasSubstr("not JSON"));
  EXPECT_LT(Refusal(std::string(100'000, 'x')).size(), 200u);
}

TEST(WireTest, StepsHaveTheirNames) {
  EXPECT_EQ(host::StepName(features::INITIAL), "INITIAL");
  EXPECT_EQ(host::StepName(features::SURFACE_RANGE), "SURFACE_RANGE");
  EXPECT_EQ(host::StepName(features::FEATURE_SCAN_PATTERN), "FEATURE_SCAN_PATTERN");
  EXPECT_EQ(host::StepName(features::SEARCH), "SEARCH");
  EXPECT_EQ(host::StepName(features::RESCAN), "RESCAN");
}

}  // namespace
