// Points inside dense regions may go: the gaps of the mesh have the same outlines without them.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

#include "geometry/dense_interior.h"
#include "libmfx/geometry/mesh.h"
#include "libmfx/geometry/voronoi_graph.h"

namespace libmfx::geometry {
namespace {

using data_structures::EMBEDDING_XY;
using data_structures::PointCloud;

PointCloud CloudOf(const std::vector<Eigen::Vector2d>& points) {
  Eigen::MatrixXd data(3, static_cast<Eigen::Index>(points.size()));
  for (std::size_t i = 0; i < points.size(); ++i) {
    data.col(static_cast<Eigen::Index>(i)) << points[i], 0.25;
  }
  return PointCloud(std::move(data), {{EMBEDDING_XY, {0}}});
}

std::vector<PointCloud> GapsOf(const PointCloud& points, double gap) {
  return VoronoiGraph(points).ExtractPlanarMesh()->InteriorBoundaries(gap, false);
}

/// A scan 60 mm wide with some gaps in it.
struct Scanned {
  explicit Scanned(unsigned seed) : draw(seed) {}

  double Uniform(double low, double high) {
    return std::uniform_real_distribution<double>(low, high)(draw);
  }
  /// \param kind 0: anywhere; 1: a spiral; 2: lines, with their points farther or nearer than the
  ///   lines; 3: a grid, full of ties; 4: the same with some points twice
  std::vector<Eigen::Vector2d> Points(int kind) {
    std::vector<Eigen::Vector3d> holes;  // middle and radius
    for (int i = static_cast<int>(Uniform(0.0, 4.0)); i >= 0; --i) {
      holes.emplace_back(Uniform(-0.03, 0.03), Uniform(-0.03, 0.03), Uniform(0.001, 0.01));
    }
    std::vector<Eigen::Vector2d> points;
    const auto add = [&](double x, double y) {
      for (const Eigen::Vector3d& hole : holes) {
        if (std::hypot(x - hole.x(), y - hole.y()) < hole.z()) return;
      }
      points.emplace_back(x, y);
      if (kind == 4 && Uniform(0.0, 1.0) < 0.1) points.emplace_back(x, y);
    };
    const double spacing = Uniform(0.0006, 0.002);
    const double noise = kind < 3 ? 0.1 * spacing : 0.0;
    if (kind == 0) {
      for (int i = 0; i < 3000; ++i) add(Uniform(-0.03, 0.03), Uniform(-0.03, 0.03));
    } else if (kind == 1) {
      for (double r = spacing, turn = 0.0; r < 0.03; turn += spacing / r) {
        r = spacing * (1.0 + turn / (2.0 * std::numbers::pi));
        add(r * std::cos(turn) + Uniform(-noise, noise), r * std::sin(turn));
      }
    } else {
      const double along = kind == 2 ? spacing * Uniform(0.3, 1.5) : spacing;
      for (double y = -0.03; y < 0.03; y += spacing) {
        for (double x = -0.03; x < 0.03; x += along) add(x, y + Uniform(-noise, noise));
      }
    }
    return points;
  }

  std::mt19937 draw;
};

/// Where four points lie on one circle, either diagonal makes a mesh of them, and the outline of a
/// gap goes through one corner or the other.
void ExpectSameButForTies(const std::vector<PointCloud>& a, const std::vector<PointCloud>& b,
                          int seed) {
  constexpr double kSpacing = 0.002;  // metres, at most
  ASSERT_EQ(a.size(), b.size()) << seed;
  for (const PointCloud& one : a) {
    const Eigen::Vector3d middle = one.data().rowwise().mean();
    EXPECT_TRUE(std::any_of(b.begin(), b.end(), [&](const PointCloud& other) {
      return (other.data().rowwise().mean() - middle).norm() < kSpacing;
    })) << seed;
  }
}

void ExpectSame(const std::vector<PointCloud>& a, const std::vector<PointCloud>& b, int seed) {
  ASSERT_EQ(a.size(), b.size()) << seed;
  for (std::size_t i = 0; i < a.size(); ++i) {
    ASSERT_EQ(a[i].cols(), b[i].cols()) << seed;
    EXPECT_EQ(a[i].data(), b[i].data()) << seed;
  }
}

TEST(DenseInterior, TheGapsStay) {
  int dropped = 0, gaps = 0;
  for (int seed = 0; seed < 240; ++seed) {
    Scanned scanned(static_cast<unsigned>(seed));
    const PointCloud all = CloudOf(scanned.Points(seed % 5));
    const double gap = scanned.Uniform(0.001, 0.02);
    const PointCloud fewer = WithoutDenseInterior(all, gap);
    EXPECT_EQ(fewer.embeddings(), all.embeddings());
    dropped += fewer.cols() < all.cols() ? 1 : 0;
    const std::vector<PointCloud> of_all = GapsOf(all, gap), of_fewer = GapsOf(fewer, gap);
    gaps += of_all.empty() ? 0 : 1;
    (seed % 5 < 3 ? ExpectSame : ExpectSameButForTies)(of_fewer, of_all, seed);
    if (HasFatalFailure()) return;
  }
  EXPECT_GT(dropped, 100);
  EXPECT_GT(gaps, 100);
}

TEST(DenseInterior, MostOfADenseScanGoes) {
  Scanned scanned(1);
  std::vector<Eigen::Vector2d> points;
  for (int i = 0; i < 20000; ++i) {
    const Eigen::Vector2d p(scanned.Uniform(-0.03, 0.03), scanned.Uniform(-0.03, 0.03));
    if (p.norm() > 0.005) points.push_back(p);
  }
  const PointCloud all = CloudOf(points);
  EXPECT_LT(WithoutDenseInterior(all, 0.009).cols(), all.cols() / 2);
  ExpectSame(GapsOf(WithoutDenseInterior(all, 0.009), 0.009), GapsOf(all, 0.009), 1);
}

TEST(DenseInterior, WhatTellsNothingStaysWhole) {
  Scanned scanned(2);
  const PointCloud all = CloudOf(scanned.Points(0));
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  for (const double gap : {0.0, -1.0, kNan, std::numeric_limits<double>::infinity(), 1e-300}) {
    EXPECT_EQ(WithoutDenseInterior(all, gap).cols(), all.cols()) << gap;
  }
  EXPECT_EQ(WithoutDenseInterior(PointCloud(), 0.01).cols(), 0);
  // On a line, in one place, or nowhere.
  std::vector<Eigen::Vector2d> line(1000), place(1000, {1.0, 2.0}), nowhere(1000, {kNan, kNan});
  for (std::size_t i = 0; i < line.size(); ++i) line[i] = {1e-5 * static_cast<double>(i), 0.0};
  for (const auto& points : {line, place, nowhere}) {
    EXPECT_EQ(WithoutDenseInterior(CloudOf(points), 0.01).cols(), 1000);
  }
}

TEST(DenseInterior, WhatIsNotFiniteStaysAndCountsNowhere) {
  Scanned scanned(3);
  std::vector<Eigen::Vector2d> points = scanned.Points(1);
  points.insert(points.begin() + 100, {std::numeric_limits<double>::infinity(), 0.0});
  const PointCloud all = CloudOf(points);
  const PointCloud fewer = WithoutDenseInterior(all, 0.01);
  EXPECT_LT(fewer.cols(), all.cols());
  EXPECT_TRUE((fewer.data().array().isInf()).any());
  ExpectSame(GapsOf(fewer, 0.01), GapsOf(all, 0.01), 3);
}

}  // namespace
}  // namespace libmfx::geometry
