#include "sim/path_walk.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "thrown.h"

namespace libmfx::sim {
namespace {

using data_structures::PointXYZW;
using data_structures::Position;
using ::testing::HasSubstr;

std::vector<Aim> Walk(const std::vector<Position>& path) {
  std::vector<Aim> aims;
  PathWalk(path).Visit([&](const Aim& aim) { aims.push_back(aim); });
  return aims;
}

std::string Refusal(const std::vector<Position>& path) {
  return test::TextThrown<DriveError>([&] { PathWalk{path}; });
}

Vec3 Point(const Aim& aim) { return aim.direction * aim.range; }

TEST(PathWalk, SamplesEverySpacingFromBothEndsOfALine) {
  const auto aims = Walk({{PointXYZW(0, 0, 2), 0.0}, {PointXYZW(0.01, 0, 2), 0.001}});
  ASSERT_EQ(aims.size(), 11U);
  for (std::size_t i = 0; i < aims.size(); ++i) {
    EXPECT_LT((Point(aims[i]) - Vec3(0.001 * static_cast<double>(i), 0, 2)).norm(), 1e-14);
    EXPECT_EQ(aims[i].status, 1);
  }
}

TEST(PathWalk, RunsStraightInCartesianCoordinates) {
  const auto aims = Walk({{PointXYZW(-1, 0, 1), 0.0}, {PointXYZW(1, 0, 1), 0.5}});
  ASSERT_EQ(aims.size(), 5U);
  EXPECT_NEAR(aims[2].range, 1.0, 1e-15);
  EXPECT_NEAR(aims[1].range, std::sqrt(1.25), 1e-15);
  EXPECT_NEAR(aims[1].azimuth, std::atan2(0.5, 1.0), 1e-15);
}

TEST(PathWalk, JumpsAreNotSampledAndStatusIsTheIndexOfTheEndingPoint) {
  const auto aims = Walk({{PointXYZW(0, 0, 2), 0.0},
                          {PointXYZW(0.002, 0, 2), 0.001},
                          {PointXYZW(0, 0.5, 2), 0.0},
                          {PointXYZW(0.002, 0.5, 2), 0.001}});
  ASSERT_EQ(aims.size(), 6U);
  EXPECT_EQ(aims[2].status, 1);
  EXPECT_EQ(aims[3].status, 3);
  EXPECT_LT((Point(aims[3]) - Vec3(0, 0.5, 2)).norm(), 1e-14);
}

TEST(PathWalk, CarriesTheSpacingOverTheCornersOfAPolyline) {
  // Two moves of 2.5 mm and one of 0.2 mm with 1 mm between samples: at 0, 1, 2 | 3, 4, 5 | none.
  const auto aims = Walk({{PointXYZW(0, 0, 2), 0.0},
                          {PointXYZW(0.0025, 0, 2), 0.001},
                          {PointXYZW(0.005, 0, 2), 0.001},
                          {PointXYZW(0.0052, 0, 2), 0.001}});
  ASSERT_EQ(aims.size(), 6U);
  for (std::size_t i = 0; i < aims.size(); ++i) {
    EXPECT_NEAR(Point(aims[i]).x(), 0.001 * static_cast<double>(i), 1e-13);
    EXPECT_EQ(aims[i].status, i < 3 ? 1 : 2);
  }
}

TEST(PathWalk, ASpacingWiderThanTheMoveStillSamplesTheStartOfTheLine) {
  const auto aims = Walk({{PointXYZW(0, 0, 2), 0.0}, {PointXYZW(0.001, 0, 2), 1.0}});
  ASSERT_EQ(aims.size(), 1U);
  EXPECT_NEAR(Point(aims[0]).x(), 0.0, 1e-15);
}

TEST(PathWalk, AFirstPointWithASpacingIsSampledOnce) {
  const auto aims = Walk({{PointXYZW(0, 0, 2), 0.001}});
  ASSERT_EQ(aims.size(), 1U);
  EXPECT_EQ(aims[0].status, 0);
}

TEST(PathWalk, AnEmptyPathAndASingleJumpHaveNoSamples) {
  EXPECT_TRUE(Walk({}).empty());
  EXPECT_TRUE(Walk({{PointXYZW(0, 0, 2), 0.0}}).empty());
}

TEST(PathWalk, AzimuthsBeyondPiAreAnsweredBeyondPi) {
  const auto aims = Walk({{kPi - 0.01, 0.1, 2.0, 0.0}, {kPi + 0.01, 0.1, 2.0, 0.001}});
  ASSERT_GT(aims.size(), 30U);
  EXPECT_NEAR(aims.front().azimuth, kPi - 0.01, 1e-12);
  EXPECT_GT(aims.back().azimuth, kPi + 0.009);
  for (std::size_t i = 1; i < aims.size(); ++i) {
    EXPECT_GT(aims[i].azimuth, aims[i - 1].azimuth);
    EXPECT_LT(aims[i].azimuth - aims[i - 1].azimuth, 0.001);
  }
}

TEST(PathWalk, NegativeBranchIsKeptToo) {
  const auto aims = Walk({{-kPi - 0.02, 0.0, 2.0, 0.0}, {-kPi + 0.01, 0.0, 2.0, 0.001}});
  EXPECT_NEAR(aims.front().azimuth, -kPi - 0.02, 1e-12);
  EXPECT_LT(aims.back().azimuth, -3.0);
}

TEST(PathWalk, APathSentOverTheTopIsAnsweredOverTheTop) {
  // Elevation -0.2 at azimuth 3 sent as azimuth 3 - pi, elevation 0.2 - pi.
  const Position a(3.0 - kPi, 0.2 - kPi, 2.0, 0.0);
  const Position b(3.01 - kPi, 0.2 - kPi, 2.0, 0.005);
  const auto aims = Walk({a, b});
  ASSERT_GE(aims.size(), 3U);
  EXPECT_NEAR(aims[0].azimuth, a.azimuth, 1e-12);
  EXPECT_NEAR(aims[0].elevation, a.elevation, 1e-12);
  const Vec3 expected(-std::sin(3.0) * std::cos(-0.2), std::sin(-0.2),
                      std::cos(3.0) * std::cos(-0.2));
  EXPECT_LT((aims[0].direction - expected).norm(), 1e-12);
  for (const Aim& aim : aims) EXPECT_LT(aim.elevation, -kPi / 2);
}

TEST(PathWalk, NumbersThatCannotBeDrivenAreRefusedByName) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  const Position sound(0, 0, 2, 0);
  EXPECT_THAT(Refusal({sound, {0, 0, 2, nan}}), HasSubstr("drive point 1: point_spacing nan"));
  EXPECT_THAT(Refusal({sound, {0, 0, 2, inf}}), HasSubstr("point_spacing inf"));
  EXPECT_THAT(Refusal({sound, {0, 0, 2, -0.001}}), HasSubstr("point_spacing -0.001"));
  EXPECT_THAT(Refusal({{nan, 0, 2, 0}}), HasSubstr("drive point 0: azimuth nan"));
  EXPECT_THAT(Refusal({{1e300, 0, 2, 0}}), HasSubstr("azimuth 1e+300"));
  EXPECT_THAT(Refusal({{0, -inf, 2, 0}}), HasSubstr("elevation -inf"));
  EXPECT_THAT(Refusal({{0, 0, -1, 0}}), HasSubstr("range -1"));
  EXPECT_THAT(Refusal({{0, 0, 1e300, 0}}), HasSubstr("range 1e+300"));
  EXPECT_EQ(Refusal({sound}), "");
}

TEST(PathWalk, ATinySpacingIsRefusedBeforeAnythingIsSampled) {
  const Position start(PointXYZW(0, 0, 2), 0.0);
  const auto text = Refusal({start, {PointXYZW(1, 0, 2), 5e-324}});
  EXPECT_THAT(text, HasSubstr("asks for more than 5000000 samples"));
  EXPECT_THAT(Refusal({start, {PointXYZW(1, 0, 2), 1e-9}}), HasSubstr("point_spacing 1e-09"));
  // Many sound moves may not add up to an unsound path either.
  std::vector<Position> path{start};
  for (int i = 0; i < 6; ++i) path.emplace_back(PointXYZW(i % 2 == 0, 0, 2), 1e-6);
  EXPECT_THAT(Refusal(path), HasSubstr("drive point 5"));
}

TEST(PathWalk, APointAtTheInstrumentHasNoDirectionAndIsPassedOver) {
  const auto aims = Walk({{PointXYZW(0, 0, -1), 0.0}, {PointXYZW(0, 0, 1), 0.5}});
  EXPECT_EQ(aims.size(), 4U);
  for (const Aim& aim : aims) EXPECT_TRUE(aim.direction.allFinite());
}

}  // namespace
}  // namespace libmfx::sim
