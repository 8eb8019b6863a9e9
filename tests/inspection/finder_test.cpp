#include "inspection/finder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "host/errors.h"
#include "sim/obstacles/obstacles.h"
#include "tests/inspection/scan_scene.h"
#include "tests/support/random_cases.h"

namespace libmfx::inspection {
namespace {

using test::BallScene;
using test::Lost;
using test::Samples;
using test::ScanOf;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
/// Of a ball's centre in a coarse scan, m. What follows only has to point a scan of the ball at it,
/// which bears a quarter of the radius.
constexpr double kCenter = 0.001;

double Uniform(std::mt19937_64& engine, double from, double to) {
  return from + (to - from) * std::generate_canonical<double, 53>(engine);
}

/// A direction and a length in it.
Vector3d Ahead(double azimuth, double elevation, double range) {
  return data_structures::AzElRange(azimuth, elevation, range).ToPoint().xyz();
}

/// Things around a place, and a wall behind: a plate at an angle, a bar, a block.
void AddClutter(sim::Scene& scene, std::mt19937_64& engine, double aside) {
  const auto somewhere = [&] {
    const double angle = Uniform(engine, 0.0, 2.0 * std::numbers::pi);
    const double off = Uniform(engine, aside, aside + 0.03);
    return sim::Vec3(off * std::cos(angle), off * std::sin(angle), Uniform(engine, -0.06, 0.02));
  };
  const auto direction = [&] {
    return sim::Vec3(Uniform(engine, -1, 1), Uniform(engine, -1, 1), Uniform(engine, -1, 1))
        .normalized();
  };
  const sim::Vec3 plate = direction();
  scene.obstacles.push_back(sim::MakeBox({.center = somewhere() - sim::Vec3(0, 0, 0.06),
                                          .direction = plate,
                                          .up = plate.unitOrthogonal(),
                                          .length = 0.08,
                                          .width = 0.06,
                                          .height = 0.004}));
  const sim::Vec3 bar = somewhere();
  // Past the middle, not through it.
  const sim::Vec3 along = sim::Vec3(0, 0, 1).cross(bar).normalized();
  scene.obstacles.push_back(
      sim::MakeCylinder(bar - 0.05 * along, bar + 0.05 * along, Uniform(engine, 0.002, 0.008)));
  const sim::Vec3 block = direction();
  scene.obstacles.push_back(sim::MakeBox({.center = somewhere(),
                                          .direction = block,
                                          .up = block.unitOrthogonal(),
                                          .length = 0.012,
                                          .width = 0.012,
                                          .height = 0.012}));
}

/// How far the nearest of the balls is off a place.
double Off(const std::vector<SeenBall>& balls, const Vector3d& place) {
  double least = 1e9;
  for (const SeenBall& ball : balls) least = std::min(least, (ball.center - place).norm());
  return least;
}

TEST(BallsInAScan, AreFoundAmongClutterAtEveryDistance) {
  std::mt19937_64 engine(11);
  for (const double distance : {1.5, 3.0, 6.0}) {
    double worst = 0.0;
    for (std::uint64_t seed = 1; seed <= 12; ++seed) {
      const Vector3d center = Ahead(Uniform(engine, -3, 3), Uniform(engine, -0.6, 0.6), distance);
      const Vector3d expected =
          center + 0.055 * Vector3d(Uniform(engine, -1, 1), 0.1, 0).normalized();
      sim::Scene scene = BallScene(center, 0.0127, 0.1);
      AddClutter(scene, engine, 0.035);
      const ScanWindow window = WindowAround(expected, 0.0127, 0.06);
      const std::vector<SeenBall> balls =
          FindBalls(ScanOf(window, scene, seed), 0.0127, window.spacing);
      ASSERT_EQ(balls.size(), 1u) << distance << " m, seed " << seed;
      const double off = (balls[0].center - center).norm();
      EXPECT_LT(off, kCenter);
      // A quarter of the 28 samples of its core may be hidden or beside.
      EXPECT_GE(balls[0].samples, 14);
      worst = std::max(worst, off);
    }
    RecordProperty("WorstMicrometresAt" + std::to_string(static_cast<int>(10 * distance)),
                   std::to_string(1e6 * worst));
  }
}

TEST(BallsInAScan, AreToldFromThoseOfAnotherRadius) {
  const Vector3d large = Ahead(0.4, 0.1, 2.0);
  const Vector3d small = large + Vector3d(0.03, 0.01, 0.004);
  const ScanWindow window = WindowAround(large, 0.010, 0.06);
  for (std::uint64_t seed = 1; seed <= 10; ++seed) {
    const Samples samples =
        test::Nearest({ScanOf(window, BallScene(large, 0.0127, 0.1), seed, Lost::kNan),
                       ScanOf(window, BallScene(small, 0.010, 0.1), seed + 100, Lost::kNan)});
    const auto balls = FindBalls(samples, {0.0127, 0.010, 0.0127, 0.015}, window.spacing);
    ASSERT_EQ(balls.size(), 4u);
    ASSERT_EQ(balls[0].size(), 1u);
    ASSERT_EQ(balls[1].size(), 1u);
    EXPECT_LT(Off(balls[0], large), kCenter);
    EXPECT_LT(Off(balls[1], small), kCenter);
    EXPECT_EQ(balls[2][0].center, balls[0][0].center);
    EXPECT_TRUE(balls[3].empty());
  }
}

/// A scene without a ball.
sim::Scene BallLessScene(std::mt19937_64& engine, double radius, double distance) {
  using namespace sim::parts;
  PartPtr part;
  const double size = radius * Uniform(engine, 0.5, 1.6);
  switch (std::uniform_int_distribution<int>(0, 6)(engine)) {
    case 0: {
      OpeningPlateSpec plate = RoundOpening(size);
      plate.edge_radius = Uniform(engine, 0.0, 1.0) < 0.5 ? 0.0 : 0.003;
      part = MakeOpeningPlate(plate);
      break;
    }
    case 1:
      part = MakeOpeningPlate(RectangularOpening(3.0 * size, size));
      break;
    case 2: {
      EdgeSpec edge;
      edge.fillet = Uniform(engine, 0.0, 1.0) < 0.5 ? 0.0 : 0.008;
      edge.ledge = 0.012;
      part = MakeEdge(edge);
      break;
    }
    case 3: {
      BoreSpec bore;
      bore.radius = size;
      part = MakeBore(bore);
      break;
    }
    case 4:
      part = MakePlane({});
      break;
    default: {
      StudSpec stud;
      // Every other one is as thick as the ball.
      stud.radius = Uniform(engine, 0.0, 1.0) < 0.5 ? radius : size;
      stud.height = Uniform(engine, 1.0, 6.0) * stud.radius;
      stud.lead = Uniform(engine, 0.05, 0.6) * stud.radius;
      part = MakeStud(stud);
    }
  }
  const Vector3d place = Ahead(Uniform(engine, -1.5, 1.5), Uniform(engine, -0.6, 0.6), distance);
  sim::Scene scene = sim::MakeScene(
      part, sim::TiltedPose(place, Uniform(engine, 0.0, 1.1), Uniform(engine, 0.0, 6.28)),
      Uniform(engine, 0.0, 1.0) < 0.5 ? std::nullopt : std::optional(Uniform(engine, 0.03, 0.1)));
  AddClutter(scene, engine, 0.0);
  return scene;
}

TEST(BallsInAScan, AreNotSeenWhereNoneIs) {
  std::mt19937_64 engine(3);
  const int scenes = test::Draws(200, 20);
  for (int i = 0; i < scenes; ++i) {
    const double radius = std::array{0.005, 0.00635, 0.010, 0.0127, 0.019}[engine() % 5];
    const sim::Scene scene = BallLessScene(engine, radius, Uniform(engine, 1.0, 4.0));
    ScanWindow window = WindowAround(scene.pose.position, radius, 0.06);
    window.spacing = std::min(0.004, radius / Uniform(engine, 1.6, 6.0));
    const Samples samples = ScanOf(window, scene, static_cast<std::uint64_t>(i) + 1);
    ASSERT_FALSE(samples.empty());
    const std::vector<SeenBall> balls = FindBalls(samples, radius, window.spacing);
    EXPECT_TRUE(balls.empty()) << "scene " << i << ": " << balls.size() << " of " << radius
                               << " m, the first of " << balls[0].samples << " samples, scatter "
                               << balls[0].scatter;
  }
}

TEST(BallsInAScan, AreFoundHoweverTheSamplesComeAndWhateverIsLost) {
  const Vector3d center = Ahead(-0.3, 0.2, 2.0);
  const ScanWindow window = WindowAround(center, 0.0127, 0.03);
  Samples samples = ScanOf(window, BallScene(center, 0.0127, 0.08), 5);
  std::mt19937_64 engine(5);
  std::shuffle(samples.begin(), samples.end(), engine);
  for (Samples::value_type& sample : samples) {
    const std::uint64_t kind = engine() % 20;
    if (kind == 0) sample.range = kNan;
    if (kind == 1) sample.range = 0.0;
    if (kind == 2) sample.azimuth = std::numeric_limits<double>::infinity();
    if (kind == 3) sample.quality = kNan;
    if (kind == 4) sample.range = -sample.range;
    // A full turn more is the same direction.
    if (kind == 5) sample.azimuth += 2.0 * std::numbers::pi;
  }
  const std::vector<SeenBall> balls = FindBalls(samples, 0.0127, window.spacing);
  ASSERT_EQ(balls.size(), 1u);
  EXPECT_LT(Off(balls, center), kCenter);
}

TEST(BallsInAScan, AreFoundAcrossTheSeamAndOverhead) {
  for (const Vector3d& direction : {Ahead(std::numbers::pi, 0.1, 1), Ahead(-3.1413, -0.4, 1),
                                    Ahead(0.7, 1.57, 1), Ahead(2.0, 1.555, 1)}) {
    const Vector3d center = 2.0 * direction;
    const ScanWindow window = WindowAround(center, 0.0127, 0.04);
    const std::vector<SeenBall> balls =
        FindBalls(ScanOf(window, BallScene(center, 0.0127, 0.08), 2), 0.0127, window.spacing);
    ASSERT_EQ(balls.size(), 1u) << direction.transpose();
    EXPECT_LT(Off(balls, center), kCenter);
  }
}

TEST(BallsInAScan, AreFoundWithoutAnythingBehindThem) {
  const Vector3d center = Ahead(1.0, 0.2, 2.0);
  sim::Scene scene = BallScene(center, 0.0127, 1.0, 1.2);
  scene.behind.reset();
  const ScanWindow window = WindowAround(center, 0.0127, 0.06);
  const std::vector<SeenBall> balls = FindBalls(ScanOf(window, scene, 4), 0.0127, window.spacing);
  ASSERT_EQ(balls.size(), 1u);
  EXPECT_LT(Off(balls, center), kCenter);
}

TEST(BallsInAScan, AreFoundByAnInstrumentTenTimesAsNoisy) {
  const Vector3d center = Ahead(-0.4, 0.1, 2.0);
  sim::Scene scene = BallScene(center, 0.0127, 0.08);
  scene.noise.range = 1e-4;
  const ScanWindow window = WindowAround(center, 0.0127, 0.06);
  for (std::uint64_t seed = 1; seed <= 20; ++seed) {
    const std::vector<SeenBall> balls =
        FindBalls(ScanOf(window, scene, seed), 0.0127, window.spacing);
    ASSERT_EQ(balls.size(), 1u) << "seed " << seed;
    EXPECT_LT(Off(balls, center), kCenter);
  }
}

TEST(BallsInAScan, AreFoundInAScanFarFinerThanTheyNeed) {
  const Vector3d center = Ahead(0.2, 0.1, 1.0);
  ScanWindow window = WindowAround(center, 0.0127, 0.005);
  window.spacing = 0.0002;
  const std::vector<SeenBall> balls =
      FindBalls(ScanOf(window, BallScene(center, 0.0127, 0.08), 8), 0.0127, window.spacing);
  ASSERT_EQ(balls.size(), 1u);
  EXPECT_LT(Off(balls, center), kCenter);
  EXPECT_GT(balls[0].samples, 8000);
}

TEST(BallsInAScan, OfWhichHalfIsHiddenOnOneSideAreNotTold) {
  // A plate in front hides what is more than -2 mm to one side of the middle.
  const Vector3d center = Ahead(0.0, 0.0, 2.0);
  sim::Scene scene = BallScene(center, 0.0127, 0.08, 0.0);
  scene.obstacles.push_back(sim::MakeBox(
      {.center = sim::Vec3(0.048, 0.0, 0.06), .length = 0.1, .width = 0.1, .height = 0.002}));
  const ScanWindow window = WindowAround(center, 0.0127, 0.02);
  EXPECT_TRUE(FindBalls(ScanOf(window, scene, 4), 0.0127, window.spacing).empty());
}

TEST(BallsInAScan, AreNoneInNothing) {
  EXPECT_TRUE(FindBalls(Samples(), 0.0127, 0.004).empty());
  EXPECT_TRUE(FindBalls(Samples(1000, {0.1, 0.1, 2.0, 80.0, 1}), 0.0127, 0.004).empty());
  EXPECT_TRUE(FindBalls(Samples(1000, {0.1, 0.1, kNan, 80.0, 1}), 0.0127, 0.004).empty());
  EXPECT_TRUE(FindBalls(Samples(7, {1e300, -1e300, 1e300, 80.0, 1}), 0.0127, 0.004).empty());
  EXPECT_TRUE(FindBalls({{0.0, 0.0, 2.0, 80.0, 1}}, 0.0127, 0.004).empty());
}

TEST(BallsInAScan, AreNoneInNumbersWithoutSense) {
  std::mt19937_64 engine(9);
  Samples samples;
  for (int i = 0; i < 30000; ++i) {
    // Crowds of samples, and ranges from a micrometre on.
    const double crowd = i % 3 == 0 ? 1e-7 : 3.0;
    samples.emplace_back(Uniform(engine, -crowd, crowd), Uniform(engine, -crowd, crowd),
                         std::pow(10.0, Uniform(engine, -6, 3)), 80.0, i);
  }
  EXPECT_TRUE(FindBalls(samples, 0.0127, 0.004).empty());
}

TEST(BallsInAScan, OfNoRadiusOrSpacingAreRefused) {
  for (const double bad : {0.0, -1.0, kNan, std::numeric_limits<double>::infinity()}) {
    EXPECT_THROW(FindBalls(Samples(), bad, 0.004), host::CallError);
    EXPECT_THROW(FindBalls(Samples(), 0.0127, bad), host::CallError);
  }
}

}  // namespace
}  // namespace libmfx::inspection
