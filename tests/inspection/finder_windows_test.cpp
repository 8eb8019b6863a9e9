#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <numbers>
#include <queue>
#include <random>
#include <string>
#include <vector>

#include "host/drivable.h"
#include "host/errors.h"
#include "inspection/finder.h"
#include "libmfx/features/custom_scan.h"
#include "sim/path_walk.h"

namespace libmfx::inspection {
namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

double Uniform(std::mt19937_64& engine, double from, double to) {
  return from + (to - from) * std::generate_canonical<double, 53>(engine);
}

double Elevation(const Vector3d& direction) { return std::asin(direction.y() / direction.norm()); }

bool Holds(const ScanWindow& window, const Vector3d& direction) {
  const double azimuth = -std::atan2(direction.x(), direction.z());
  const double elevation = Elevation(direction);
  if (elevation < window.elevation[0] - 1e-9 || elevation > window.elevation[1] + 1e-9)
    return false;
  for (const double turn : {-2.0 * kPi, 0.0, 2.0 * kPi}) {
    if (azimuth + turn >= window.azimuth[0] - 1e-9 && azimuth + turn <= window.azimuth[1] + 1e-9) {
      return true;
    }
  }
  return false;
}

std::vector<data_structures::Position> PathOf(const std::string& request) {
  features::CustomScan scan(request);
  std::queue<data_structures::Position> path = scan.GetDrivePoints(false);
  std::vector<data_structures::Position> points;
  for (; !path.empty(); path.pop()) points.push_back(path.front());
  return points;
}

/// The directions of all samples of a window.
std::vector<Vector3d> DirectionsOf(const ScanWindow& window) {
  std::vector<Vector3d> directions;
  for (const std::string& request : RequestsOf(window, "search")) {
    const std::vector<data_structures::Position> path = PathOf(request);
    EXPECT_EQ(host::WhyUndrivable(path), "");
    sim::PathWalk(path).Visit([&](const sim::Aim& aim) { directions.push_back(aim.direction); });
  }
  return directions;
}

TEST(AWindowAroundABall, HoldsItWhereverItMayStand) {
  std::mt19937_64 engine(1);
  const auto ahead = [](double azimuth, double elevation) {
    return data_structures::AzElRange(azimuth, elevation, 1.0).ToPoint().xyz();
  };
  const auto direction = [&] {
    return ahead(Uniform(engine, -kPi, kPi), std::asin(Uniform(engine, -1.0, 1.0)));
  };
  for (int i = 0; i < 400; ++i) {
    const double distance = Uniform(engine, 0.02, 4.0);
    Vector3d place = distance * direction();
    if (i % 4 == 0) place = distance * ahead(kPi + Uniform(engine, -0.01, 0.01), 0.2);
    if (i % 4 == 1) place = distance * ahead(0.3, kPi / 2 - Uniform(engine, 0.0, 0.1));
    const double off = Uniform(engine, 0.0, 0.3);
    const double radius = 0.0127;
    const ScanWindow window = WindowAround(place, radius, off);
    EXPECT_LE(window.elevation[1], kPi / 2);
    EXPECT_LE(window.azimuth[1] - window.azimuth[0], 2.0 * kPi + 1e-12);
    EXPECT_LE(window.spacing * 3.0, radius + 1e-15);
    for (int k = 0; k < 50; ++k) {
      const Vector3d seen = place + off * direction() + radius * direction();
      EXPECT_TRUE(Holds(window, seen)) << place.transpose() << ", off " << off;
      EXPECT_LE((seen - radius * direction()).norm(), window.range + 2.0 * radius);
    }
  }
}

TEST(AWindowAroundABall, IsNoWiderThanItHasToBe) {
  const ScanWindow window = WindowAround(Vector3d(0, 0, 2), 0.0127, 0.06);
  // The cap of the ball that holds them all, and a line more on each side.
  const double cap = std::asin(0.0727 / 2.0) + window.spacing / window.range;
  EXPECT_NEAR(window.elevation[1], cap, 1e-12);
  EXPECT_NEAR(window.elevation[0], -cap, 1e-12);
  EXPECT_NEAR(window.azimuth[1], cap, 1e-12);
}

TEST(AWindowAroundABall, OfNoPlaceOrRadiusIsRefused) {
  EXPECT_THROW(WindowAround(Vector3d(0, kNan, 2), 0.0127, 0.06), host::CallError);
  EXPECT_THROW(WindowAround(Vector3d(0, 0, 1e300), 0.0127, 0.06), host::CallError);
  EXPECT_THROW(WindowAround(Vector3d(0, 0, 2), 0.0, 0.06), host::CallError);
  EXPECT_THROW(WindowAround(Vector3d(0, 0, 2), kNan, 0.06), host::CallError);
  EXPECT_THROW(WindowAround(Vector3d(0, 0, 2), 0.0127, -1.0), host::CallError);
  // On the instrument itself it may be anywhere.
  const ScanWindow window = WindowAround(Vector3d::Zero(), 0.0127, 0.0);
  EXPECT_DOUBLE_EQ(window.elevation[0], -kPi / 2);
  EXPECT_NEAR(window.azimuth[1] - window.azimuth[0], 2.0 * kPi, 1e-12);
}

TEST(TheRequestsOfAWindow, LeaveNoGap) {
  struct Case {
    double azimuth[2];
    double elevation[2];
    double step;
  };
  for (const Case& each : {Case{{-0.3, 0.4}, {-0.2, 0.3}, 0.01},     // ahead
                           Case{{3.1, 3.2}, {0.8, 0.95}, 0.002},     // across the seam, a bit
                           Case{{-3.2, -3.1}, {-0.2, -0.1}, 0.002},  // from the other side
                           Case{{2.0, 4.3}, {-0.6, 0.2}, 0.02},      // all of the back
                           Case{{-kPi, kPi}, {-1.0, 1.0}, 0.03},     // the whole circle
                           Case{{1.0, 1.0 + 2.0 * kPi}, {1.0, kPi / 2}, 0.02}}) {
    ScanWindow window{.range = 2.0, .spacing = 2.0 * each.step};
    std::copy_n(each.azimuth, 2, window.azimuth);
    std::copy_n(each.elevation, 2, window.elevation);
    const std::vector<Vector3d> directions = DirectionsOf(window);
    ASSERT_FALSE(directions.empty());
    for (const Vector3d& direction : directions) {
      // A line of constant elevation leaves it by a tenth of a step at most.
      const double elevation = Elevation(direction);
      EXPECT_GT(elevation, each.elevation[0] - 0.11 * each.step);
      EXPECT_LT(elevation, each.elevation[1] + 0.11 * each.step);
    }
    std::mt19937_64 engine(7);
    for (int i = 0; i < 300; ++i) {
      const Vector3d wanted =
          data_structures::AzElRange(Uniform(engine, each.azimuth[0], each.azimuth[1]),
                                     Uniform(engine, each.elevation[0], each.elevation[1]), 1.0)
              .ToPoint()
              .xyz();
      double least = 9.0;
      for (const Vector3d& direction : directions) {
        least = std::min(least, (direction - wanted).squaredNorm());
      }
      // Half a step to a line and a tenth that it leaves its elevation; half a step along it, and
      // up to a whole one at its end, whose last sample may be missing.
      EXPECT_LT(std::sqrt(least), std::hypot(0.6, 1.02) * each.step) << wanted.transpose();
    }
  }
}

TEST(TheRequestsOfAWindow, KeepLinesAndSamplesApartAsTold) {
  const ScanWindow window{
      .azimuth = {-0.2, 0.2}, .elevation = {0.6, 0.9}, .range = 2.0, .spacing = 0.004};
  std::vector<Vector3d> directions = DirectionsOf(window);
  const double area = 0.4 * (std::sin(0.9) - std::sin(0.6)) / (0.002 * 0.002);
  // Lines at both ends, and samples of the way from line to line: one of each 0.3 / 0.002 and of
  // each 0.4 cos(0.75) / 0.002.
  EXPECT_NEAR(static_cast<double>(directions.size()) / area, 1.0, 1.5 / 146 + 1.5 / 150);
  std::size_t apart = 0;
  for (std::size_t i = 0; i + 1 < directions.size(); ++i) {
    const double step = (directions[i + 1] - directions[i]).norm();
    if (std::fabs(step - 0.002) > 0.02 * 0.002) ++apart;
    // A chord of 0.2 rad is half a percent nearer in its middle; around a corner it is less.
    EXPECT_LT(step, 0.002 * 1.006);
  }
  EXPECT_LT(apart, directions.size() / 50);
}

TEST(TheRequestsOfAWindow, HoldAWholeCircleOfThreeMillionSamples) {
  const ScanWindow window{
      .azimuth = {-kPi, kPi}, .elevation = {-kPi / 3, kPi / 3}, .range = 2.0, .spacing = 0.004};
  const std::vector<std::string> requests = RequestsOf(window, "search");
  double samples = 0.0;
  for (const std::string& request : requests) {
    const std::vector<data_structures::Position> path = PathOf(request);
    ASSERT_FALSE(path.empty());
    EXPECT_LT(path.size(), 1'000'000u);
    // The samples of the way from line to line are few.
    const auto count = static_cast<double>(sim::PathWalk(path).samples());
    EXPECT_LE(count, 505'000);
    samples += count;
    for (std::size_t i = 1; i < path.size(); ++i) {
      ASSERT_LT(std::fabs(path[i].azimuth - path[i - 1].azimuth), 0.21) << "a jump";
    }
  }
  // 2 pi (sin 60 + sin 60 degrees) steradian at 4e-6 each; 1 / 1047 for the last line.
  EXPECT_NEAR(samples, 2.0 * kPi * std::sqrt(3.0) / 4e-6, 0.003 * samples);
  EXPECT_LE(requests.size(), 8u);
}

TEST(TheRequestsOfAWindow, DriveAcrossTheSeamWithoutAJump) {
  for (const auto& [from, to] : {std::pair{3.0, 3.3},
                                 {-3.3, -3.0},
                                 {3.1, 3.2},
                                 {2.0, 4.3},
                                 {3.3, 5.0},
                                 {-kPi, 0.0},
                                 {0.0, kPi},
                                 {kPi, 1.5 * kPi}}) {
    const ScanWindow window{
        .azimuth = {from, to}, .elevation = {-0.1, 0.3}, .range = 2.0, .spacing = 0.02};
    const std::vector<std::string> requests = RequestsOf(window, "search");
    ASSERT_EQ(requests.size(), 1u);
    const std::vector<data_structures::Position> path = PathOf(requests[0]);
    for (std::size_t i = 1; i < path.size(); ++i) {
      ASSERT_LT(std::fabs(path[i].azimuth - path[i - 1].azimuth), 0.21) << from << " to " << to;
    }
  }
}

TEST(TheRequestsOfAWindow, AreOfOneLineOrSampleWhereItHasNoHeight) {
  ScanWindow window{.azimuth = {0.1, 0.2}, .elevation = {0.3, 0.3}};
  // A sample at both ends, and the last one is missed where the line is no whole number of steps.
  EXPECT_NEAR(static_cast<double>(DirectionsOf(window).size()), 0.1 * std::cos(0.3) / 0.002, 1.5);
  window.azimuth[1] = 0.1;
  EXPECT_EQ(DirectionsOf(window).size(), 1u);
}

TEST(TheRequestsOfAWindow, TellItsName) {
  const ScanWindow window{.azimuth = {0.0, 0.1}, .elevation = {0.0, 0.1}};
  const auto request = nlohmann::json::parse(RequestsOf(window, "a \"ball\"\n").front());
  EXPECT_EQ(request["Feature"]["Name"], "a \"ball\"\n");
  EXPECT_EQ(request["Feature"]["$type"], "ScanPathFeature");
  EXPECT_EQ(request["PointSpacing"], 0.004);
}

TEST(TheRequestsOfAWindow, AreRefusedWhereItIsNone) {
  const ScanWindow good{.azimuth = {-0.1, 0.1}, .elevation = {-0.1, 0.1}};
  EXPECT_EQ(RequestsOf(good, "").size(), 1u);
  for (const double bad : {kNan, std::numeric_limits<double>::infinity(), -1e300, 1e300}) {
    for (double ScanWindow::*const member : {&ScanWindow::range, &ScanWindow::spacing}) {
      ScanWindow window = good;
      window.*member = bad;
      EXPECT_THROW(RequestsOf(window, ""), host::CallError) << bad;
    }
    for (const int side : {0, 1}) {
      ScanWindow window = good;
      window.azimuth[side] = bad;
      EXPECT_THROW(RequestsOf(window, ""), host::CallError) << bad;
      window = good;
      window.elevation[side] = bad;
      EXPECT_THROW(RequestsOf(window, ""), host::CallError) << bad;
    }
  }
  ScanWindow window = good;
  window.spacing = 0.0;
  EXPECT_THROW(RequestsOf(window, ""), host::CallError);
  window.spacing = 1e-8;
  EXPECT_THROW(RequestsOf(window, ""), host::CallError);
  window.spacing = 3.0;
  EXPECT_THROW(RequestsOf(window, ""), host::CallError);
  window = good;
  std::swap(window.azimuth[0], window.azimuth[1]);
  EXPECT_THROW(RequestsOf(window, ""), host::CallError);
  window = good;
  window.elevation[1] = 1.6;
  EXPECT_THROW(RequestsOf(window, ""), host::CallError);
}

}  // namespace
}  // namespace libmfx::inspection
