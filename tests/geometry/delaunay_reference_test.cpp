// Published point sets with their exact triangle counts, hulls and the edges that stand in every
// Delaunay triangulation of them; their sources stand in tests/data/delaunay/cases.json.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <utility>

#include "csv.h"
#include "delaunay_check.h"

namespace {

using namespace delaunay_check;
using libmfx::tests::CsvTable;
using Edge = std::pair<int, int>;

Points ReadPoints(const std::string& name, double scale) {
  const CsvTable table("delaunay/" + name + ".csv");
  Points points;
  for (std::size_t i = 0; i < table.rows(); ++i) {
    points.emplace_back(table.Number(i, "x") * scale, table.Number(i, "y") * scale);
  }
  return points;
}

std::set<Edge> ReadStrictEdges(const std::string& name) {
  const CsvTable table("delaunay/" + name + "_strict_edges.csv");
  std::set<Edge> edges;
  for (std::size_t i = 0; i < table.rows(); ++i) {
    const int a = static_cast<int>(table.Number(i, "a"));
    const int b = static_cast<int>(table.Number(i, "b"));
    edges.emplace(std::min(a, b), std::max(a, b));
  }
  return edges;
}

/// The edges, smaller index first, and those of them on the rim.
void EdgesOf(const Eigen::MatrixXi& faces, std::set<Edge>& all, std::set<Edge>& rim) {
  for (Eigen::Index f = 0; f < faces.rows(); ++f) {
    for (int c = 0; c < 3; ++c) {
      const int a = faces(f, c), b = faces(f, (c + 1) % 3);
      const Edge edge(std::min(a, b), std::max(a, b));
      if (!all.insert(edge).second) {
        rim.erase(edge);
      } else {
        rim.insert(edge);
      }
    }
  }
}

void ExpectReference(const std::string& name, double scale, Eigen::Index triangles,
                     std::size_t hull_points, std::size_t strict_edges) {
  SCOPED_TRACE(name + " times " + std::to_string(scale));
  const Points points = ReadPoints(name, scale);
  const auto mesh = MeshOf(points);
  EXPECT_EQ(mesh->faces().rows(), triangles);
  std::set<Edge> all, rim, missing;
  EdgesOf(mesh->faces(), all, rim);
  EXPECT_EQ(rim.size(), hull_points);
  const std::set<Edge> strict = ReadStrictEdges(name);
  ASSERT_EQ(strict.size(), strict_edges);
  std::set_difference(strict.begin(), strict.end(), all.begin(), all.end(),
                      std::inserter(missing, missing.end()));
  EXPECT_TRUE(missing.empty()) << missing.size() << " strict edges are missing";
  EXPECT_EQ(BrokenInvariants(points, mesh->faces()), std::vector<std::string>{});
}

TEST(DelaunayReference, MapWithDuplicatesAndCocircularQuads) {
  ExpectReference("delaunator_ukraine", 1.0, 1711, 21, 2560);
}

TEST(DelaunayReference, NearDegenerateSet) {
  ExpectReference("delaunator_robustness1", 1.0, 141, 15, 219);
}

TEST(DelaunayReference, NearDegenerateSetAtOtherScales) {
  // At 2^-30 the closest two points are 7e-24 apart, far below the double epsilon: only equal
  // points count as one.
  for (const double scale : {0x1p-30, 0x1p-7, 0x1p7, 0x1p30}) {
    ExpectReference("delaunator_robustness1", scale, 141, 15, 219);
  }
  // Other factors round, and near-degenerate points that are rounded are another set, with a hull
  // and edges of its own.
  for (const double scale : {1e-9, 1e-2, 1e2, 1e9}) {
    const Points points = ReadPoints("delaunator_robustness1", scale);
    EXPECT_EQ(BrokenInvariants(points, MeshOf(points)->faces()), std::vector<std::string>{});
  }
}

TEST(DelaunayReference, CollinearSetHasNoTriangle) {
  EXPECT_EQ(MeshOf({{376.8538818359375, 0.0},
                    {411.8240966796875, 0.0},
                    {112.762939453125, 0.0},
                    {414.736328125, 0.0},
                    {306.8259582519531, 0.0},
                    {101.45551300048828, 0.0},
                    {170.94332885742188, 0.0},
                    {274.00250244140625, 0.0}})
                ->faces()
                .rows(),
            0);
}

TEST(DelaunayReference, UnitSquareHasItsFourSides) {
  const Points points{{0, 0}, {1, 0}, {0, 1}, {1, 1}};
  const auto mesh = MeshOf(points);
  EXPECT_EQ(mesh->faces().rows(), 2);
  std::set<Edge> all, rim;
  EdgesOf(mesh->faces(), all, rim);
  EXPECT_EQ(rim, (std::set<Edge>{{0, 1}, {0, 2}, {1, 3}, {2, 3}}));
}

}  // namespace
