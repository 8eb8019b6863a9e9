// Openings in plates that a spiral scanned, found as the loops along the gaps of the mesh.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>
#include <vector>

#include "delaunay_check.h"
#include "random_cases.h"

namespace {

using namespace delaunay_check;

constexpr double kSpacing = 0.001;  // metres, of the samples and of the spiral's turns
constexpr double kLimit = 2.0 * kSpacing;
constexpr int kSeeds = libmfx::test::Draws(200, 20);
constexpr int kDemanded = kSeeds * 95 / 100;

/// An opening about (x, y); `covers` takes coordinates relative to that, in spacings.
struct Opening {
  double x, y;
  std::function<bool(double, double)> covers;
};

std::function<bool(double, double)> Round(double radius) {
  return [=](double x, double y) { return std::hypot(x, y) < radius; };
}
std::function<bool(double, double)> Rectangular(double length, double width) {
  return
      [=](double x, double y) { return std::abs(x) < 0.5 * length && std::abs(y) < 0.5 * width; };
}
std::function<bool(double, double)> Obround(double length, double width) {
  return [=](double x, double y) {
    const double straight = 0.5 * (length - width);
    return std::hypot(x - std::clamp(x, -straight, straight), y) < 0.5 * width;
  };
}
std::function<bool(double, double)> Polygonal(int sides, double radius) {
  return [=](double x, double y) {
    const double half = std::numbers::pi / sides;
    const double turned = std::remainder(std::atan2(y, x), 2.0 * half);
    return std::hypot(x, y) * std::cos(turned) < radius * std::cos(half);
  };
}

/// The samples of a spiral out to `turns`, its middle within a spacing or so of the origin, without
/// those over an opening. Openings are turned by `turn`; samples scatter by a twentieth of a
/// spacing.
Points Scan(const std::vector<Opening>& openings, double turns, double turn, Random& random) {
  Points points;
  const double x0 = random.Uniform(-1.5, 1.5), y0 = random.Uniform(-1.5, 1.5);
  const double phase = random.Uniform(0.0, 2.0 * std::numbers::pi);
  const double c = std::cos(turn), s = std::sin(turn);
  for (double angle = 1.0; angle < 2.0 * std::numbers::pi * turns;) {
    const double radius = angle / (2.0 * std::numbers::pi);
    const double x = x0 + radius * std::cos(angle + phase) + random.Uniform(-0.05, 0.05);
    const double y = y0 + radius * std::sin(angle + phase) + random.Uniform(-0.05, 0.05);
    angle += 1.0 / std::max(radius, 0.5);
    const bool missing = std::any_of(openings.begin(), openings.end(), [&](const Opening& opening) {
      const double dx = x - opening.x, dy = y - opening.y;
      return opening.covers(c * dx + s * dy, c * dy - s * dx);
    });
    if (!missing) points.emplace_back(kSpacing * x, kSpacing * y);
  }
  return points;
}

/// The centroid of the area that a loop encloses. The mean of its vertices is not that: they stand
/// the closer the more the spiral runs along the border, and wherever the loop turns into a bay.
Eigen::Vector2d Centroid(const PointCloud& loop) {
  const Eigen::Matrix2Xd p = loop.data().topRows(2).colwise() - loop.data().topRows(2).col(0);
  Eigen::Vector2d sum = Eigen::Vector2d::Zero();
  double area = 0.0;
  for (Eigen::Index i = 0; i < p.cols(); ++i) {
    const Eigen::Vector2d u = p.col(i), v = p.col((i + 1) % p.cols());
    const double cross = u.x() * v.y() - u.y() * v.x();
    area += cross;
    sum += cross * (u + v);
  }
  return loop.data().topRows(2).col(0) + sum / (3.0 * area);
}

Eigen::Vector2d MiddleOf(const Opening& opening) {
  return kSpacing * Eigen::Vector2d(opening.x, opening.y);
}

bool IsCentred(const Eigen::Vector2d& centroid, const Opening& opening) {
  return (centroid - MiddleOf(opening)).norm() < 0.5 * kSpacing;
}

/// Beside the openings stands nothing but now and then a single cell with a side just above the
/// limit, which a shorter one parts from the corner of an opening.
void ExpectOnlyCells(const std::vector<PointCloud>& loops, std::size_t openings) {
  ASSERT_GE(loops.size(), openings);
  for (std::size_t i = openings; i < loops.size(); ++i) {
    EXPECT_LE(loops[i].cols(), 4);
    EXPECT_LT(Perimeter(loops[i]), 4.0 * kLimit);
  }
}

/// How many of the seeds give a loop about the middle of the opening as the first one.
int CentredSeeds(const std::function<bool(double, double)>& covers) {
  int centred = 0;
  int cells = 0;
  for (std::uint64_t seed = 0; seed < kSeeds; ++seed) {
    Random random(seed);
    const double turn = random.Uniform(0.0, std::numbers::pi);
    const Opening opening{random.Uniform(-3.0, 3.0), random.Uniform(-3.0, 3.0), covers};
    const auto mesh = MeshOf(Scan({opening}, 16.0, turn, random));
    const auto loops = mesh->InteriorBoundaries(kLimit, false);
    ExpectOnlyCells(loops, 1);
    cells += static_cast<int>(loops.size()) - 1;
    centred += IsCentred(Centroid(loops.at(0)), opening) ? 1 : 0;
  }
  EXPECT_LE(cells, 4);
  return centred;
}

TEST(OpeningsInScans, Round) { EXPECT_GE(CentredSeeds(Round(5.0)), kDemanded); }
TEST(OpeningsInScans, Obround) { EXPECT_GE(CentredSeeds(Obround(14.0, 6.0)), kDemanded); }
TEST(OpeningsInScans, Rectangular) { EXPECT_GE(CentredSeeds(Rectangular(12.0, 8.0)), kDemanded); }
TEST(OpeningsInScans, Polygonal) { EXPECT_GE(CentredSeeds(Polygonal(6, 6.0)), kDemanded); }

TEST(OpeningsInScans, MeanOfTheVerticesOfARoundOneAtATightLimit) {
  // What a search takes for the middle. With a limit just above the diagonal of a cell the loop
  // follows the border closely, and its vertices stand evenly.
  int centred = 0;
  for (std::uint64_t seed = 0; seed < kSeeds; ++seed) {
    Random random(seed);
    const Opening opening{random.Uniform(-3.0, 3.0), random.Uniform(-3.0, 3.0), Round(5.0)};
    const auto mesh = MeshOf(Scan({opening}, 16.0, 0.0, random));
    const auto loops = mesh->InteriorBoundaries(1.5 * kSpacing, false);
    ASSERT_FALSE(loops.empty());
    centred += IsCentred(loops[0].data().topRows(2).rowwise().mean(), opening) ? 1 : 0;
  }
  EXPECT_GE(centred, kDemanded);
}

TEST(OpeningsInScans, SeveralComeLargestFirst) {
  const std::vector<Opening> openings{{-9.0, 2.0, Polygonal(5, 3.5)},
                                      {8.0, 6.0, Round(5.0)},
                                      {0.0, -10.0, Rectangular(16.0, 7.0)},
                                      {-2.0, 10.0, Obround(9.0, 4.0)}};
  int centred = 0;
  for (std::uint64_t seed = 0; seed < kSeeds; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const auto mesh = MeshOf(Scan(openings, 20.0, 0.0, random));
    const auto loops = mesh->InteriorBoundaries(kLimit, false);
    ExpectOnlyCells(loops, openings.size());
    for (std::size_t i = 1; i < loops.size(); ++i) {
      EXPECT_GE(Perimeter(loops[i - 1]), Perimeter(loops[i]));
    }
    // By perimeter 46, 31, 22 and 21 spacings: the last two may change places.
    EXPECT_LT((Centroid(loops[0]) - MiddleOf(openings[2])).norm(), kSpacing);
    EXPECT_LT((Centroid(loops[1]) - MiddleOf(openings[1])).norm(), kSpacing);
    int found = 0;
    for (const Opening& opening : openings) {
      found += std::any_of(loops.begin(), loops.end(), [&](const PointCloud& loop) {
        return IsCentred(Centroid(loop), opening);
      });
    }
    centred += found == 4 ? 1 : 0;
  }
  EXPECT_GE(centred, kDemanded);
}

TEST(OpeningsInScans, OpeningCutByTheBorderIsNoLoop) {
  int centred = 0;
  for (std::uint64_t seed = 0; seed < kSeeds; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const double around = random.Uniform(0.0, 2.0 * std::numbers::pi);
    const Opening whole{-4.0 * std::cos(around), -4.0 * std::sin(around), Round(4.0)};
    const Opening cut{15.0 * std::cos(around), 15.0 * std::sin(around), Round(6.0)};
    const auto mesh = MeshOf(Scan({whole, cut}, 16.0, 0.0, random));
    const auto loops = mesh->InteriorBoundaries(kLimit, false);
    ExpectOnlyCells(loops, 1);
    centred += IsCentred(Centroid(loops[0]), whole) ? 1 : 0;
  }
  EXPECT_GE(centred, kDemanded);
}

}  // namespace
