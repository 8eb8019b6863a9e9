#include "libmfx/geometry/mesh.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <stdexcept>

#include "data_structures/halfedge_arena.h"
#include "delaunay_check.h"
#include "protected.h"

namespace {

using namespace delaunay_check;
using libmfx::data_structures::LiveHalfedgeElements;

Eigen::MatrixXi Faces(std::initializer_list<std::array<int, 3>> rows) {
  Eigen::MatrixXi faces(static_cast<Eigen::Index>(rows.size()), 3);
  Eigen::Index f = 0;
  for (const auto& row : rows) {
    for (int c = 0; c < 3; ++c) faces(f, c) = row[static_cast<std::size_t>(c)];
    ++f;
  }
  return faces;
}

const Points kSquare{{0, 0}, {1, 0}, {1, 1}, {0, 1}};

/// A raster of unit pitch without the points strictly inside a rectangle.
Points RasterWithGap(int nx, int ny, int x0, int x1, int y0, int y1) {
  Points points;
  for (int i = 0; i < nx; ++i) {
    for (int j = 0; j < ny; ++j) {
      if (i > x0 && i < x1 && j > y0 && j < y1) continue;
      points.emplace_back(i, j);
    }
  }
  return points;
}

TEST(Mesh, TwoTrianglesShareOneEdge) {
  Mesh mesh(CloudOf(kSquare), Faces({{0, 1, 2}, {0, 2, 3}}));
  EXPECT_EQ(PROTECTED(mesh, _interior_edges).size(), 2u);
  EXPECT_EQ(PROTECTED(mesh, _boundary_edges).size(), 4u);
  EXPECT_EQ(PROTECTED(mesh, _interior_edges).at({0, 2})->twin,
            PROTECTED(mesh, _interior_edges).at({2, 0}));
  EXPECT_EQ(PROTECTED(mesh, _boundary_edges).count({1, 0}), 0u);
  EXPECT_EQ(BrokenLinks(mesh), std::vector<std::string>{});
}

TEST(Mesh, FewerThanThreeColumnsBuildNoGraph) {
  Eigen::MatrixXi faces(2, 2);
  faces << 0, 1, 1, 2;
  Mesh mesh(CloudOf(kSquare), faces);
  EXPECT_TRUE(PROTECTED(mesh, _interior_edges).empty());
  EXPECT_TRUE(PROTECTED(mesh, _boundary_edges).empty());
  EXPECT_TRUE(mesh.InteriorBoundaries(0.0, false).empty());
}

TEST(Mesh, FacesMayHaveMoreCorners) {
  Eigen::MatrixXi faces(1, 4);
  faces << 0, 1, 2, 3;
  Mesh mesh(CloudOf(kSquare), faces);
  EXPECT_EQ(PROTECTED(mesh, _boundary_edges).size(), 4u);
  EXPECT_EQ(PROTECTED(mesh, _boundary_edges).at({3, 0})->next,
            PROTECTED(mesh, _boundary_edges).at({0, 1}));
}

TEST(Mesh, FaceThatRefersToNoVertexIsRefused) {
  EXPECT_THROW(Mesh(CloudOf(kSquare), Faces({{0, 1, 4}})), std::out_of_range);
  EXPECT_THROW(Mesh(CloudOf(kSquare), Faces({{0, -1, 2}})), std::out_of_range);
}

TEST(Mesh, NoEdgeAboveTheLimitGivesNoBoundary) {
  Mesh mesh(CloudOf(kSquare), Faces({{0, 1, 2}, {0, 2, 3}}));
  EXPECT_TRUE(mesh.InteriorBoundaries(2.0, false).empty());
}

TEST(Mesh, EdgeOfExactlyTheLimitStays) {
  const Points points{{0, 0}, {3, 0}, {3, 4}, {0, 4}};  // the diagonal is 5
  Mesh at_limit(CloudOf(points), Faces({{0, 1, 2}, {0, 2, 3}}));
  at_limit.InteriorBoundaries(5.0, false);
  EXPECT_EQ(PROTECTED(at_limit, _interior_edges).size(), 2u);
  Mesh below(CloudOf(points), Faces({{0, 1, 2}, {0, 2, 3}}));
  below.InteriorBoundaries(std::nextafter(5.0, 0.0), false);
  EXPECT_TRUE(PROTECTED(below, _interior_edges).empty());
}

TEST(Mesh, LongEdgeOnTheRimIsNeverDissolved) {
  Mesh mesh(CloudOf(kSquare), Faces({{0, 1, 2}, {0, 2, 3}}));
  EXPECT_TRUE(mesh.InteriorBoundaries(0.1, false).empty());  // the loop runs along the rim
  EXPECT_EQ(PROTECTED(mesh, _boundary_edges).size(), 4u);
}

TEST(Mesh, GapInARasterIsOneLoop) {
  const auto mesh = MeshOf(RasterWithGap(12, 10, 3, 8, 2, 7));
  const auto loops = mesh->InteriorBoundaries(1.5, false);
  ASSERT_EQ(loops.size(), 1u);
  EXPECT_EQ(loops[0].rows(), 3);
  // 20 pitches round the gap, with the four corners cut by diagonals that are not too long.
  EXPECT_NEAR(Perimeter(loops[0]), 12.0 + 4.0 * std::sqrt(2.0), 1e-12);
  EXPECT_EQ(loops[0].cols(), 16);
  EXPECT_EQ(loops[0].embeddings().at(libmfx::data_structures::EMBEDDING_XYZ), std::set<int>{0});
  EXPECT_TRUE(mesh->InteriorBoundaries(1.5, false).empty());  // the graph is used up
}

TEST(Mesh, RemovedEdgeThatIsMissingThrows) {
  Mesh mesh(CloudOf(kSquare), Faces({{0, 1, 2}, {0, 2, 3}}));
  PROTECTED(mesh, _interior_edges).erase({2, 0});
  try {
    mesh.InteriorBoundaries(0.5, false);
    FAIL();
  } catch (const std::logic_error& e) {
    EXPECT_STREQ(e.what(), "Why is a removed edge part of my interior boundary??");
  }
}

TEST(Mesh, CopyHasAGraphOfItsOwn) {
  Mesh mesh(CloudOf(kSquare), Faces({{0, 1, 2}, {0, 2, 3}}));
  mesh.InteriorBoundaries(0.5, false);
  Mesh copy(mesh);
  EXPECT_EQ(PROTECTED(copy, _interior_edges).size(), 2u);
  Mesh assigned(CloudOf({}), Eigen::MatrixXi(0, 3));
  assigned = copy;
  EXPECT_EQ(PROTECTED(assigned, _interior_edges).size(), 2u);
  EXPECT_NE(PROTECTED(assigned, _interior_edges).at({0, 2}),
            PROTECTED(copy, _interior_edges).at({0, 2}));
  EXPECT_EQ(BrokenLinks(assigned), std::vector<std::string>{});
}

TEST(Mesh, NothingIsAliveAfterDestruction) {
  const auto before = LiveHalfedgeElements().load();
  std::weak_ptr<libmfx::data_structures::HE<libmfx::data_structures::PointXYZW>> watched;
  {
    const auto mesh = MeshOf(RasterWithGap(12, 10, 3, 8, 2, 7));
    watched = PROTECTED(*mesh, _interior_edges).begin()->second->next;
    EXPECT_GT(LiveHalfedgeElements().load(), before);
    mesh->InteriorBoundaries(1.5, false);
    EXPECT_FALSE(watched.expired());
  }
  EXPECT_TRUE(watched.expired());
  EXPECT_EQ(LiveHalfedgeElements().load(), before);
}

TEST(Mesh, ElementHeldFromOutsideOutlivesTheMeshUnlinked) {
  std::shared_ptr<libmfx::data_structures::HE<libmfx::data_structures::PointXYZW>> held;
  {
    Mesh mesh(CloudOf(kSquare), Faces({{0, 1, 2}, {0, 2, 3}}));
    held = PROTECTED(mesh, _interior_edges).at({0, 2});
  }
  EXPECT_EQ(held.use_count(), 1);
  EXPECT_EQ(held->next, nullptr);
  EXPECT_EQ(held->vertex, nullptr);
}

}  // namespace
