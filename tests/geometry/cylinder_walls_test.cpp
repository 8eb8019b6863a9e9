// Walls with errors of form: none of them is a thread.

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <stdexcept>
#include <vector>

#include "libmfx/geometry/cylinder_fitter.h"

namespace libmfx::geometry {
namespace {

using Eigen::Vector3d;
using Fitter = ThreadedCylinderFitter;

constexpr double kRadius = 0.003;  // radius, metres

/// A stud, or a bore, whose axis leans away from the line of sight.
struct Place {
  Vector3d point = Vector3d(0.3, -0.2, 2.0);
  Vector3d axis = Vector3d(0.0, 0.8, -0.6);
  bool bore = false;
};

Place Bored() {
  Place place;
  place.axis = Vector3d(0.0, 0.8, 0.6);
  place.bore = true;
  return place;
}

/// Smooth walls with noise and every form of error that walls have.
struct SmoothWall {
  Place place;
  double height, arc, noise;
  int count, lobes;
  bool even;  ///< rows and columns, as a scan has
  double lobe, taper, barrel;
  double wave = 0.0;  ///< once around, and twice over the height
};

std::vector<Vector3d> PointsOf(const SmoothWall& wall, std::mt19937_64& random) {
  std::normal_distribution<double> noise(0.0, wall.noise);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  const Vector3d axis = wall.place.axis;
  Vector3d e1 = wall.place.point - wall.place.point.dot(axis) * axis;
  e1 = (wall.place.bore ? 1.0 : -1.0) * e1.normalized();
  const Vector3d e2 = axis.cross(e1);
  const int columns = std::max(3, static_cast<int>(std::sqrt(0.5 * wall.count)));
  const int rows = std::max(4, wall.count / columns);
  std::vector<Vector3d> points;
  for (int i = 0; i < columns * rows; ++i) {
    const double across = wall.even ? (i / rows + 0.5) / columns : unit(random);
    const double up = wall.even ? (i % rows + 0.5) / rows : unit(random);
    const double angle = wall.arc * (across - 0.5);
    const double radius =
        kRadius + wall.lobe * std::cos(wall.lobes * angle + 1.0) + wall.taper * (up - 0.5) +
        wall.barrel * up * (1.0 - up) +
        wall.wave * std::cos(angle) * std::cos(4.0 * std::numbers::pi * up + 1.0) + noise(random);
    points.push_back(wall.place.point + wall.height * up * axis +
                     radius * (std::cos(angle) * e1 + std::sin(angle) * e2));
  }
  return points;
}

/// Whether a wall is fitted as a thread. \param failed counts walls that are not fitted at all
bool IsThreaded(const SmoothWall& wall, std::mt19937_64& random, int& failed) {
  Fitter::Cylinder nominal;
  nominal.point = wall.place.point;
  nominal.axis = wall.place.axis;
  nominal.radius = kRadius;
  Fitter::Statistics statistics;
  try {
    Fitter::Fit(PointsOf(wall, random), nominal, -0.1 * wall.height, 1.1 * wall.height,
                0.5 * kRadius, 0.0005, 0.02, 0.05, false, false, &statistics);
  } catch (const std::runtime_error&) {
    ++failed;
  }
  return statistics.threaded;
}

// An even scan shows a wave that is longer than any pitch at its own spacing as well.
TEST(CylinderWalls, ALongWaveOnAnEvenScanIsNoThread) {
  int failed = 0;
  for (unsigned int seed = 0; seed < 40; ++seed) {
    std::mt19937_64 random(seed);
    SmoothWall wall{};
    wall.place = seed % 2 == 0 ? Place() : Bored();
    wall.height = (4.0 + 0.1 * seed) * kRadius;
    wall.arc = 2.0 * std::numbers::pi;
    wall.noise = 18e-6;
    wall.count = 903;
    wall.even = true;
    wall.wave = 0.0056 * kRadius;
    EXPECT_FALSE(IsThreaded(wall, random, failed)) << seed;
  }
  EXPECT_EQ(failed, 0);
}

TEST(CylinderWalls, FormErrorIsNoThread) {
  std::mt19937_64 random(5);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  int failed = 0;
  constexpr int kWalls = 400;
  for (int k = 0; k < kWalls; ++k) {
    SmoothWall wall;
    wall.place = k % 2 == 0 ? Place() : Bored();
    wall.count = static_cast<int>(std::exp(std::log(10.0) + std::log(300.0) * unit(random)));
    wall.height = kRadius * (1.0 + 7.0 * unit(random));
    wall.arc = k % 3 == 0 ? 2.0 * std::numbers::pi : 1.5 + 2.0 * unit(random);
    wall.noise = 50e-6 * unit(random);
    wall.even = k % 4 < 2;
    wall.lobes = 2 + k % 7;
    const double form = 0.012 * kRadius * unit(random);
    wall.lobe = k % 5 < 3 ? 0.5 * form : 0.0;
    wall.taper = k % 5 == 3 ? form : 0.0;
    wall.barrel = k % 5 == 4 ? 4.0 * form : 0.0;
    // Few points on a short arc leave a cylinder open.
    EXPECT_FALSE(IsThreaded(wall, random, failed)) << k;
  }
  EXPECT_LT(failed, kWalls / 20);
}

}  // namespace
}  // namespace libmfx::geometry
