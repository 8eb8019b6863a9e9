// Lines and samples of instruments at their worst: each ends in a finding, and in bounded time.

#include "host/instrument_check_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "host/instrument_check_samples.h"

namespace {

using namespace libmfx;
using host::CheckLine;
using host::InstrumentFinding;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

std::vector<std::string> Names(const std::vector<InstrumentFinding>& findings) {
  std::vector<std::string> names;
  for (const InstrumentFinding& finding : findings) {
    EXPECT_EQ((finding.what + finding.advice).find('\n'), std::string::npos) << finding.what;
    names.push_back(finding.name);
  }
  return names;
}

TEST(InstrumentCheckLineTest, AGoodLineHasNoFinding) {
  const host::CheckedLine line = CheckLine(R"({"samples": [[0.1, 0.2, 2, 90, 1]]})");
  EXPECT_THAT(line.findings, IsEmpty());
  EXPECT_TRUE(line.is_object);
  EXPECT_THAT(line.samples, ElementsAre(host::RawDataPoint(0.1, 0.2, 2, 90, 1)));
  EXPECT_THAT(CheckLine("{\"samples\": []}\r").findings, IsEmpty());
  EXPECT_THAT(CheckLine(R"({"samples": [[null, 0.2, null, 0, 1]]})").findings, IsEmpty());
}

TEST(InstrumentCheckLineTest, EveryLineThatAMeasurementRefusesHasAFinding) {
  const char* const lines[] = {"",
                               " ",
                               "x",
                               "{",
                               "}",
                               "[",
                               "null",
                               "{}",
                               "[[1,2]]",
                               "{\"samples\"",
                               "{\"samples\": 5}",
                               "{\"samples\": {}}",
                               "{\"samples\": [[]]}",
                               "{\"samples\": [null]}",
                               "{\"samples\": [[1,2,3,4,5]], \"samples\": []}",
                               "{\"samples\": [[1,2,3,4,[5]]]}",
                               "{\"samples\": [[1,2,3,4,1e999]]}",
                               "{\"samples\": [[1,2,3,4,5]]} x",
                               "{\"samples\": [[0x10,2,3,4,5]]}",
                               "{samples: [[1,2,3,4,5]]}",
                               "{\"Samples\": [[1,2,3,4,5]]}",
                               "\"{}\"",
                               "\xff\xfe{"};
  for (const char* line : lines) {
    EXPECT_THROW(host::ReadAnswer(line), std::exception) << line;
    EXPECT_THAT(CheckLine(line).findings, testing::Not(IsEmpty())) << line;
  }
}

TEST(InstrumentCheckLineTest, WordsForNumbersAreReadAsNull) {
  const host::CheckedLine line = CheckLine(R"({"samples": [[0.1, NaN, -Infinity, 4, 1],
                                                          [nan, inf, 3, 4, 2]]})");
  EXPECT_THAT(Names(line.findings), ElementsAre("nan-word"));
  ASSERT_THAT(line.samples, SizeIs(2));
  EXPECT_TRUE(std::isnan(line.samples[0].elevation));
  EXPECT_EQ(line.samples[1].status, 2);
  // A word in a text is none of them.
  EXPECT_THAT(CheckLine(R"({"note": "nan, inf", "samples": []})").findings, IsEmpty());
}

TEST(InstrumentCheckLineTest, TextsOfNumbersAreReadWithTheirRow) {
  const host::CheckedLine line = CheckLine(R"({"samples": [["0.1", "0.2", "2", "90", "1"]]})");
  EXPECT_THAT(Names(line.findings), ElementsAre("number-as-text"));
  EXPECT_THAT(line.samples, ElementsAre(host::RawDataPoint(0.1, 0.2, 2, 90, 1)));
  const host::CheckedLine odd = CheckLine(R"({"samples": [["nan", "1e999", "inf", "1", "nan"]]})");
  EXPECT_THAT(Names(odd.findings), ElementsAre("number-as-text"));
  EXPECT_THAT(CheckLine(R"({"samples": [["0,1", "", "x", 1, 1]]})").samples, IsEmpty());
}

TEST(InstrumentCheckLineTest, HostileLinesTakeNoTime) {
  const std::size_t many = 3'000'000;
  EXPECT_THAT(CheckLine(std::string(many, '[')).findings, SizeIs(1));
  EXPECT_THAT(CheckLine("{\"samples\":" + std::string(many, '[')).findings, SizeIs(1));
  EXPECT_THAT(CheckLine("{\"samples\": [[" + std::string(many, '1') + ",1,1,1,1]]}").findings,
              SizeIs(1));
  EXPECT_THAT(CheckLine("{\"samples\": [[1," + std::string(many, '-') + "]]}").findings, SizeIs(1));
  EXPECT_THAT(Names(CheckLine(std::string(5'000'000, ' ')).findings), ElementsAre("line-huge"));
  EXPECT_THAT(CheckLine(std::string(many, '\xff')).findings, SizeIs(2));
  std::string deep(100'000, '[');
  deep += std::string(100'000, ']');
  EXPECT_THAT(CheckLine("{\"samples\": " + deep + "}").findings, SizeIs(1));
}

// Numbers of any size end in findings, never in a fault.
TEST(InstrumentCheckLineTest, AbsurdSamplesEndInFindings) {
  std::mt19937_64 random(1);
  const double values[] = {0.0,
                           -0.0,
                           1e-300,
                           1e300,
                           -1e300,
                           3.0,
                           0.05,
                           -0.05,
                           std::numeric_limits<double>::infinity(),
                           std::numeric_limits<double>::quiet_NaN()};
  const std::int32_t statuses[] = {0,
                                   1,
                                   -1,
                                   5,
                                   std::numeric_limits<std::int32_t>::min(),
                                   std::numeric_limits<std::int32_t>::max()};
  const std::vector<host::CheckPath> paths = host::CheckPaths();
  for (int i = 0; i < 300; ++i) {
    std::vector<host::RawDataPoint> samples(random() % 40);
    for (host::RawDataPoint& s : samples) {
      s = {values[random() % 10], values[random() % 10], values[random() % 10],
           values[random() % 10], statuses[random() % 6]};
    }
    EXPECT_THAT(Names(host::CheckSamples(samples, paths[1], &paths[0])), testing::Not(IsEmpty()));
  }
}

/// The share of a path's image that lies on another path.
double ShareOn(const host::CheckPath& path, const host::CheckPath& from,
               Eigen::Vector2d (*image)(double, double)) {
  int near = 0, all = 0;
  for (const host::CheckMove& move : from.moves()) {
    for (double share = 0.0; share <= 1.0; share += 0.01) {
      const Eigen::Vector3d p = move.start + share * (move.end - move.start);
      const Eigen::Vector2d place = image(-std::atan2(p.x(), p.z()), std::asin(p.y() / p.norm()));
      ++all;
      if (path.Find(place.x(), place.y()).off <= host::CheckPath::kNear) ++near;
    }
  }
  return near / static_cast<double>(all);
}

// The paths can tell a mirror image, exchanged axes and each other apart. Samples count as
// understood when nine of ten lie on the path; below half of that an image cannot come to it, not
// even when half of the samples are lost, and all that tell the two apart among them.
TEST(InstrumentCheckPathTest, ThePathsAreLikeNoneOfTheirImages) {
  using Eigen::Vector2d;
  const std::vector<host::CheckPath> paths = host::CheckPaths();
  ASSERT_THAT(paths, SizeIs(2));
  const auto same = [](double a, double e) { return Vector2d(a, e); };
  for (const host::CheckPath& path : paths) {
    EXPECT_EQ(ShareOn(path, path, same), 1.0);
    EXPECT_LT(ShareOn(path, path, [](double a, double e) { return Vector2d(-a, e); }), 0.45);
    EXPECT_LT(ShareOn(path, path, [](double a, double e) { return Vector2d(a, -e); }), 0.45);
    EXPECT_LT(ShareOn(path, path, [](double a, double e) { return Vector2d(-a, -e); }), 0.45);
    EXPECT_LT(ShareOn(path, path, [](double a, double e) { return Vector2d(e, a); }), 0.45);
  }
  EXPECT_LT(ShareOn(paths[0], paths[1], same), 0.45);
  EXPECT_LT(ShareOn(paths[1], paths[0], same), 0.45);
}

TEST(InstrumentCheckPathTest, APlaceIsFoundToTheLastDigits) {
  const host::CheckPath path = host::CheckPaths()[0];
  for (const host::CheckMove& move : path.moves()) {
    for (double share = 0.0; share <= 1.0; share += 0.125) {
      const Eigen::Vector3d p = move.start + share * (move.end - move.start);
      const host::CheckPlace place =
          host::CheckPath::On(move, -std::atan2(p.x(), p.z()), std::asin(p.y() / p.norm()));
      EXPECT_NEAR(place.along, share * move.Length(), 1e-12);
      EXPECT_NEAR(place.range, p.norm(), 1e-12);
      EXPECT_LT(place.off, 1e-12);
    }
  }
}

}  // namespace
