#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "host/errors.h"
#include "inspection/finder.h"
#include "tests/inspection/scan_scene.h"

namespace libmfx::inspection {
namespace {

using Eigen::Isometry3d;

constexpr double kTolerance = 0.003;
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

double Uniform(std::mt19937_64& engine, double from, double to) {
  return from + (to - from) * std::generate_canonical<double, 53>(engine);
}

Vector3d Within(std::mt19937_64& engine, double reach) {
  return {Uniform(engine, -reach, reach), Uniform(engine, -reach, reach),
          Uniform(engine, -reach, reach)};
}

Isometry3d SomePose(std::mt19937_64& engine) {
  Isometry3d pose = Isometry3d::Identity();
  pose.linear() =
      Eigen::AngleAxisd(Uniform(engine, -3, 3), Within(engine, 1.0).normalized()).matrix();
  pose.translation() = Within(engine, 2.0);
  return pose;
}

/// How far the poses put the balls from each other.
double Apart(const Isometry3d& a, const Isometry3d& b, const std::vector<NominalBall>& balls) {
  double most = 0.0;
  for (const NominalBall& ball : balls) {
    most = std::max(most, (a * ball.place - b * ball.place).norm());
  }
  return most;
}

std::vector<SeenBall> Seen(const std::vector<Vector3d>& centers) {
  std::vector<SeenBall> seen;
  for (const Vector3d& center : centers) seen.push_back({center, 2e-5, 30});
  return seen;
}

/// What is seen of the balls at a pose: each list holds all balls of its radius.
std::vector<std::vector<SeenBall>> SeenAt(const std::vector<NominalBall>& balls,
                                          const Isometry3d& pose, std::mt19937_64& engine,
                                          double off, int clutter) {
  std::vector<SeenBall> others;
  for (int i = 0; i < clutter; ++i) others.push_back({Within(engine, 2.0), 2e-5, 30});
  std::vector<Vector3d> centers;
  for (const NominalBall& ball : balls) {
    centers.push_back(pose * ball.place + Within(engine, off));
  }
  std::vector<std::vector<SeenBall>> seen;
  for (const NominalBall& ball : balls) {
    std::vector<SeenBall> list = others;
    for (std::size_t i = 0; i < balls.size(); ++i) {
      if (balls[i].radius == ball.radius) list.push_back({centers[i], 2e-5, 30});
    }
    std::shuffle(list.begin(), list.end(), engine);
    seen.push_back(list);
  }
  return seen;
}

TEST(ThePoseByBalls, IsFoundAmongFiftyOthers) {
  std::mt19937_64 engine(21);
  for (int trial = 0; trial < 20; ++trial) {
    std::vector<NominalBall> balls;
    for (int i = 0; i < 10; ++i) balls.push_back({Within(engine, 0.6), 0.0127});
    const Isometry3d pose = SomePose(engine);
    const auto seen = SeenAt(balls, pose, engine, 0.0005, 50);
    std::string why = "before";
    const std::optional<Isometry3d> found = PoseByBalls(balls, seen, kTolerance, why);
    ASSERT_TRUE(found) << why;
    EXPECT_EQ(why, "");
    // Each centre is off by 0.9 mm at most, and a fit through ten makes no more of it.
    EXPECT_LT(Apart(*found, pose, balls), 0.0009);
  }
}

TEST(ThePoseByBalls, IsFoundWhenOnlySomeAreSeen) {
  std::mt19937_64 engine(22);
  for (int trial = 0; trial < 20; ++trial) {
    std::vector<NominalBall> balls;
    for (int i = 0; i < 9; ++i) balls.push_back({Within(engine, 0.6), 0.0127});
    const Isometry3d pose = SomePose(engine);
    std::vector<std::vector<SeenBall>> seen;
    std::vector<SeenBall> all;
    for (int i = 0; i < 15; ++i) all.push_back({Within(engine, 2.0), 2e-5, 30});
    for (std::size_t i = 0; i < 5; ++i) {
      all.push_back({pose * balls[i].place + Within(engine, 0.0003), 2e-5, 30});
    }
    // One more is bent away.
    all.push_back({pose * balls[7].place + Vector3d(0.02, 0, 0), 2e-5, 30});
    seen.assign(balls.size(), all);
    std::string why;
    const std::optional<Isometry3d> found = PoseByBalls(balls, seen, kTolerance, why);
    ASSERT_TRUE(found) << why;
    // 0.5 mm of a centre, carried out by no more than their own distances.
    EXPECT_LT(Apart(*found, pose, {balls.begin(), balls.begin() + 5}), 0.0006);
  }
}

TEST(ThePoseByBalls, IsToldByTheirRadii) {
  // A triangle of equal sides has three ways to lie, and radii that differ tell which.
  std::mt19937_64 engine(23);
  std::vector<NominalBall> balls;
  for (const double turn : {0.0, 1.0, 2.0}) {
    const double angle = turn * 2.0 * std::numbers::pi / 3.0;
    balls.push_back({0.3 * Vector3d(std::cos(angle), std::sin(angle), 0.0), 0.0127});
  }
  const Isometry3d pose = SomePose(engine);
  std::string why;
  EXPECT_FALSE(PoseByBalls(balls, SeenAt(balls, pose, engine, 1e-4, 0), kTolerance, why));
  EXPECT_NE(why.find("two ways to place the part"), std::string::npos) << why;
  balls[1].radius = 0.010;
  balls[2].radius = 0.008;
  const auto found = PoseByBalls(balls, SeenAt(balls, pose, engine, 1e-4, 0), kTolerance, why);
  ASSERT_TRUE(found) << why;
  EXPECT_LT(Apart(*found, pose, balls), 0.0004);
}

TEST(ThePoseByBalls, IsNotChosenBetweenTwoWaysThatFitAsWell) {
  // Two sides of 0.4 and 0.401 m: with centres that are off by 0.3 mm either way fits.
  std::mt19937_64 engine(24);
  const std::vector<NominalBall> balls = {{Vector3d(0, 0, 0), 0.0127},
                                          {Vector3d(0.4, 0, 0), 0.0127},
                                          {Vector3d(0.0, 0.401, 0), 0.0127}};
  const Isometry3d pose = SomePose(engine);
  std::string why;
  EXPECT_FALSE(PoseByBalls(balls, SeenAt(balls, pose, engine, 2e-4, 0), kTolerance, why));
  EXPECT_NE(why.find("two ways to place the part"), std::string::npos) << why;
}

TEST(ThePoseByBalls, IsTheOneThatFitsClearlyBetter) {
  // Swapped, sides of 0.4 and 0.404 m leave about 1.5 mm of scatter: within the tolerance, and
  // more than a quarter of it and than five times 0.1 mm.
  std::mt19937_64 engine(25);
  const std::vector<NominalBall> balls = {{Vector3d(0, 0, 0), 0.0127},
                                          {Vector3d(0.4, 0, 0), 0.0127},
                                          {Vector3d(0.0, 0.404, 0), 0.0127}};
  for (int trial = 0; trial < 20; ++trial) {
    const Isometry3d pose = SomePose(engine);
    std::string why;
    const auto found = PoseByBalls(balls, SeenAt(balls, pose, engine, 5e-5, 0), kTolerance, why);
    ASSERT_TRUE(found) << why;
    EXPECT_LT(Apart(*found, pose, balls), 0.0003);
  }
}

TEST(ThePoseByBalls, IsNotThatOfAMirroredPart) {
  // Four balls that are no plane differ from their mirror image: three of them fit, four do not.
  std::mt19937_64 engine(26);
  const std::vector<NominalBall> balls = {{Vector3d(0, 0, 0), 0.0127},
                                          {Vector3d(0.4, 0, 0), 0.0127},
                                          {Vector3d(0.1, 0.3, 0), 0.0127},
                                          {Vector3d(0.15, 0.1, 0.2), 0.0127}};
  std::vector<NominalBall> mirrored = balls;
  for (NominalBall& ball : mirrored) ball.place.z() = -ball.place.z();
  std::string why;
  const auto found =
      PoseByBalls(balls, SeenAt(mirrored, SomePose(engine), engine, 0.0, 0), kTolerance, why);
  EXPECT_FALSE(found);
  EXPECT_NE(why.find("two ways"), std::string::npos) << why;
}

TEST(ThePoseByBalls, IsNoneOfTooFewOrOnALine) {
  std::string why;
  const std::vector<NominalBall> two = {{Vector3d(0, 0, 0), 0.01}, {Vector3d(0.3, 0, 0), 0.01}};
  EXPECT_FALSE(PoseByBalls(two, {{}, {}}, kTolerance, why));
  EXPECT_NE(why.find("fewer than three balls"), std::string::npos) << why;

  std::vector<NominalBall> line = two;
  line.push_back({Vector3d(0.7, 0.01, 0), 0.01});
  std::vector<Vector3d> places;
  for (const NominalBall& ball : line) places.push_back(ball.place);
  EXPECT_FALSE(PoseByBalls(line, {3, Seen(places)}, kTolerance, why));
  EXPECT_NE(why.find("form a triangle higher than 12 mm"), std::string::npos) << why;

  line[2].place = Vector3d(0.1, 0.5, 0);
  EXPECT_FALSE(
      PoseByBalls(line, {Seen({line[0].place}), Seen({line[1].place}), {}}, kTolerance, why));
  EXPECT_NE(why.find("of the part's 3 balls 2 were seen"), std::string::npos) << why;

  EXPECT_FALSE(PoseByBalls(line, {3, Seen({{0, 0, 0}, {1, 0, 0}, {0, 2, 0}})}, kTolerance, why));
  EXPECT_NE(why.find("no three of the balls that were seen"), std::string::npos) << why;
}

TEST(ThePoseByBalls, EndsInTimeAmongBallsThatAllFit) {
  // A lattice repeats each distance over and over.
  std::vector<Vector3d> lattice;
  for (int i = 0; i < 60; ++i) {
    lattice.push_back(0.1 * Vector3d(i % 4, (i / 4) % 4, static_cast<double>(i / 16)));
  }
  std::vector<NominalBall> balls;
  for (int i = 0; i < 10; ++i) balls.push_back({lattice[static_cast<std::size_t>(6 * i)], 0.01});
  std::string why;
  EXPECT_FALSE(PoseByBalls(balls, {10, Seen(lattice)}, kTolerance, why));
  EXPECT_FALSE(why.empty());
}

TEST(ThePoseByBalls, OfNumbersThatAreNoneIsRefused) {
  std::string why;
  const std::vector<NominalBall> balls(3);
  EXPECT_THROW(PoseByBalls(balls, {{}, {}}, kTolerance, why), host::CallError);
  for (const double bad : {0.0, -1.0, kNan, std::numeric_limits<double>::infinity()}) {
    EXPECT_THROW(PoseByBalls(balls, {3, Seen({})}, bad, why), host::CallError);
  }
  EXPECT_THROW(PoseByBalls({{Vector3d(0, kNan, 0), 0.01}}, {{}}, kTolerance, why), host::CallError);
  EXPECT_THROW(PoseByBalls(std::vector<NominalBall>(201), std::vector<std::vector<SeenBall>>(201),
                           kTolerance, why),
               host::CallError);
  // What was seen without a centre is passed over, and so are places that coincide.
  EXPECT_FALSE(PoseByBalls(balls, {3, Seen({{kNan, 0, 0}, {0, 0, 1}})}, kTolerance, why));
}

TEST(ASearchAllAround, FindsAPartByThreeBallsOnAPlate) {
  // Two sizes of balls on a plate of 0.6 m, seen at an angle.
  const sim::Pose plate = sim::TiltedPose(sim::Vec3(0.1, -0.05, 1.8), 0.35, 0.8);
  const std::vector<NominalBall> balls = {{Vector3d(-0.22, -0.18, 0.04), 0.0127},
                                          {Vector3d(0.24, -0.1, 0.03), 0.0127},
                                          {Vector3d(0.02, 0.21, 0.05), 0.010}};
  ScanWindow window{.range = 2.0, .spacing = 0.004};
  for (const int side : {0, 1}) {
    window.azimuth[side] = window.elevation[side] = (2 * side - 1) * std::numbers::pi / 6.0;
  }
  std::vector<test::Samples> scans;
  sim::Scene scene = sim::MakeScene(sim::parts::MakePlane({.length = 0.6, .width = 0.5}), plate,
                                    0.3, sim::Noise::Off());
  scans.push_back(test::ScanOf(window, scene, 1, test::Lost::kNan));
  for (const NominalBall& ball : balls) {
    sim::Pose pose = plate;
    pose.position = plate.Point(ball.place);
    scans.push_back(
        test::ScanOf(window, sim::MakeScene(test::BallOf(ball.radius), pose), 7, test::Lost::kNan));
  }
  const test::Samples samples = test::Nearest(scans);
  ASSERT_GT(samples.size(), 250'000u);
  const auto seen = FindBalls(samples, {0.0127, 0.0127, 0.010}, window.spacing);
  EXPECT_EQ(seen[0].size(), 2u);
  EXPECT_EQ(seen[2].size(), 1u);
  std::string why;
  const std::optional<Isometry3d> found = PoseByBalls(balls, seen, kTolerance, why);
  ASSERT_TRUE(found) << why;
  double worst = 0.0;
  for (const double x : {-0.3, 0.3}) {
    for (const double y : {-0.25, 0.25}) {
      const Vector3d corner(x, y, 0.0);
      worst = std::max(worst, (*found * corner - plate.Point(corner)).norm());
    }
  }
  // Centres within 1 mm, carried out to the corners by twice their distances at most.
  EXPECT_LT(worst, 0.002);
  RecordProperty("WorstMicrometres", std::to_string(1e6 * worst));
}

}  // namespace
}  // namespace libmfx::inspection
