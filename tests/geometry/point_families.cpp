#include "point_families.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iostream>
#include <sstream>

namespace delaunay_check {

namespace {

constexpr double kTurn = 6.283185307179586;
constexpr double kSpacing = 0.001;  // metres

void Square(int n, double side, double x, double y, Random& random, Points& points) {
  for (int i = 0; i < n; ++i) {
    const double dx = random.Uniform(0.0, side);
    points.emplace_back(x + dx, y + random.Uniform(0.0, side));
  }
}

void Spiral(int n, Random& random, Points& points) {
  const double noise = random.Below(2) == 0 ? 0.0 : random.Uniform(0.0, 0.1 * kSpacing);
  const double x = random.Uniform(-1.0, 1.0), y = random.Uniform(-1.0, 1.0);
  double angle = random.Uniform(0.0, kTurn);
  for (int i = 0; i < n; ++i) {
    const double radius = kSpacing * (1.0 + angle / kTurn) + noise * random.Uniform(-1.0, 1.0);
    points.emplace_back(x + radius * std::cos(angle), y + radius * std::sin(angle));
    angle += kSpacing / radius;
  }
}

void Raster(int n, Random& random, Points& points) {
  const int lines = 1 + random.Below(static_cast<int>(std::sqrt(n)) + 1);
  const double pitch = random.Uniform(0.0001, 0.01);
  for (int i = 0; i < n; ++i) {
    points.emplace_back(random.Uniform(), pitch * (i % lines));
  }
}

void Grid(int n, Random& random, Points& points) {
  const int side = 1 + static_cast<int>(std::sqrt(n));
  const std::array<double, 4> pitches{1.0, 0.001, 0.1, random.Uniform(0.0001, 1.0)};
  const double dx = pitches[static_cast<std::size_t>(random.Below(4))];
  const double dy = pitches[static_cast<std::size_t>(random.Below(4))];
  const double x = random.Below(2) == 0 ? 0.0 : random.Uniform();
  const double turn = random.Below(2) == 0 ? 0.0 : random.Uniform(0.0, kTurn);
  const double c = std::cos(turn), s = std::sin(turn);
  for (int i = 0; i < n; ++i) {
    const double u = x + dx * (i % side), v = dy * (i / side);
    points.emplace_back(turn == 0.0 ? u : c * u - s * v, turn == 0.0 ? v : s * u + c * v);
  }
}

void Copies(int n, double distance, Random& random, Points& points) {
  Square(1 + n / 4, 1.0, 0.0, 0.0, random, points);
  while (static_cast<int>(points.size()) < n) {
    const auto [x, y] = points[static_cast<std::size_t>(random.Below(1 + n / 4))];
    const double angle = random.Uniform(0.0, kTurn);
    points.emplace_back(x + distance * std::cos(angle), y + distance * std::sin(angle));
  }
}

void Collinear(int n, Random& random, Points& points) {
  const int kind = random.Below(4);
  const double slope = random.Uniform(-2.0, 2.0);
  for (int i = 0; i < n; ++i) {
    const double t = random.Uniform(-1.0, 1.0);
    const int k = random.Below(1000) - 500;
    if (kind == 0) points.emplace_back(t, 0.25);
    if (kind == 1) points.emplace_back(0.25, t);
    if (kind == 2) points.emplace_back(k, 3.0 * k + 1.0);  // exactly
    if (kind == 3) points.emplace_back(t, slope * t);      // to rounding
  }
}

void Circle(int n, Random& random, Points& points) {
  const double radius = random.Uniform(0.001, 0.1);
  const double x = random.Uniform(-1.0, 1.0), y = random.Uniform(-1.0, 1.0);
  const bool even = random.Below(2) == 0;
  for (int i = 0; i < n; ++i) {
    const double angle = even ? kTurn * i / n : random.Uniform(0.0, kTurn);
    points.emplace_back(x + radius * std::cos(angle), y + radius * std::sin(angle));
  }
  if (random.Below(2) == 0) points.emplace_back(x, y);
}

}  // namespace

std::string NameOf(Family family) {
  constexpr std::array<const char*, kFamilies> kNames{
      "Uniform",   "Spiral",     "Raster", "Grid",  "Duplicates", "NearDuplicates",
      "Collinear", "FarOutlier", "Small",  "Large", "Circle",     "Lattice"};
  return kNames[static_cast<std::size_t>(family)];
}

Points MakeFamily(Family family, int n, std::uint64_t seed) {
  Random random(seed * kFamilies + static_cast<std::uint64_t>(family));
  Points points;
  switch (family) {
    case Family::kUniform:
      Square(n, 1.0, 0.0, 0.0, random, points);
      break;
    case Family::kSpiral:
      Spiral(n, random, points);
      break;
    case Family::kRaster:
      Raster(n, random, points);
      break;
    case Family::kGrid:
      Grid(n, random, points);
      break;
    case Family::kDuplicates:
      Copies(n, 0.0, random, points);
      break;
    case Family::kNearDuplicates:
      Copies(n, 1e-12, random, points);
      break;
    case Family::kCollinear:
      Collinear(n, random, points);
      break;
    case Family::kFarOutlier:
      Square(n, 0.01, 0.0, 0.0, random, points);
      points.emplace_back(std::pow(10.0, random.Uniform(0.0, 9.0)), random.Uniform(-1.0, 1.0));
      if (random.Below(2) == 0) std::swap(points.back().first, points.back().second);
      break;
    case Family::kSmall:
      Square(n, 0.001, -0.0005, -0.0005, random, points);
      break;
    case Family::kLarge:
      Square(n, std::pow(10.0, random.Uniform(-9.0, 3.0)), 1000.0, -1000.0, random, points);
      break;
    case Family::kCircle:
      Circle(n, random, points);
      break;
    case Family::kLattice:
      for (int i = 0; i < n; ++i) {
        const double x = random.Below(8);
        points.emplace_back(x, random.Below(8));
      }
      break;
  }
  return points;
}

std::string EarlyStop(const Points& points, std::shared_ptr<Mesh>& mesh) {
  std::ostringstream said;
  std::streambuf* const before = std::cout.rdbuf(said.rdbuf());
  try {
    mesh = MeshOf(points);
  } catch (const std::exception& e) {
    said << "the extraction threw: " << e.what();
  }
  std::cout.rdbuf(before);
  return said.str();
}

}  // namespace delaunay_check
