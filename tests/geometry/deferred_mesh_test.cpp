// A mesh of a sweep makes its elements when they are first asked for, and its loops without them.
// Neither may show: not in an element, not in the order of an entry, not in a bit of a loop.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "data_structures/halfedge_arena.h"
#include "delaunay_check.h"
#include "point_families.h"
#include "protected.h"
#include "random_cases.h"

namespace {

using namespace delaunay_check;
using libmfx::data_structures::LiveHalfedgeElements;
using Key = std::pair<int, int>;

/// A cloud of one of the families, at times with a round gap in it.
Points RandomPoints(Random& random) {
  const auto family = static_cast<Family>(random.Below(kFamilies));
  const int n = 1 + random.Below(random.Below(8) == 0 ? 400 : 60);
  Points points = MakeFamily(family, n, random.Next());
  if (random.Below(2) == 0 && !points.empty()) {
    const auto [x, y] = points[static_cast<std::size_t>(random.Below(n)) % points.size()];
    const auto [u, v] = points[static_cast<std::size_t>(random.Below(n)) % points.size()];
    const double radius = 0.5 * std::hypot(x - u, y - v);
    std::erase_if(points, [&, x = x, y = y](const auto& p) {
      return std::hypot(p.first - x, p.second - y) < radius;
    });
  }
  return points;
}

/// The length of some edge, or a little beside it.
double RandomLimit(Random& random, const Mesh& mesh) {
  if (mesh.faces().rows() == 0) return 1.0;
  const int f = random.Below(static_cast<int>(mesh.faces().rows()));
  const auto& v = mesh.vertices().data();
  const int a = mesh.faces()(f, 0), b = mesh.faces()(f, 1);
  const double length = std::sqrt((v(0, a) - v(0, b)) * (v(0, a) - v(0, b)) +
                                  (v(1, a) - v(1, b)) * (v(1, a) - v(1, b)));
  const double factors[] = {1.0, 1.0, 0.999, 1.001, 0.5, 2.0, 0.0, -1.0};
  return random.Below(50) == 0 ? std::nan("") : length * factors[random.Below(8)];
}

/// A halfedge with its links as numbers, and where it starts.
struct Links {
  Key key;
  std::ptrdiff_t halfedge, vertex, face, next, prev, twin, of_vertex, of_face;
  std::uint64_t x, y;
  bool operator==(const Links&) const = default;
};

std::uint64_t BitsOf(double value) {
  std::uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

/// What both maps of a mesh hold, entry by entry. Elements are numbered by their place in their
/// block, which begins where `first` says for an edge of a known number.
struct Graph {
  std::vector<Links> interior, boundary;
  bool operator==(const Graph&) const = default;
};

Graph GraphOf(Mesh& mesh) {
  std::map<Key, std::ptrdiff_t> number;
  for (Eigen::Index f = 0; f < mesh.faces().rows(); ++f) {
    for (Eigen::Index c = 0; c < 3; ++c) {
      number[{mesh.faces()(f, c), mesh.faces()(f, (c + 1) % 3)}] = 3 * f + c;
    }
  }
  const auto read = [&](const auto& map) {
    std::vector<Links> links;
    for (const auto& [key, he] : map) {
      const std::ptrdiff_t h = number.at(key);
      const auto* const halfedges = he.get() - h;
      const auto* const vertices = he->vertex.get() - h;
      const auto* const faces = he->face.get() - h / 3;
      links.push_back({key, h, he->vertex.get() - vertices, he->face.get() - faces,
                       he->next.get() - halfedges, he->prev.get() - halfedges,
                       he->twin ? he->twin.get() - halfedges : -1,
                       he->vertex->halfedge.get() - halfedges, he->face->halfedge.get() - halfedges,
                       BitsOf(he->vertex->point.x()), BitsOf(he->vertex->point.y())});
    }
    return links;
  };
  return {read(PROTECTED(mesh, _interior_edges)), read(PROTECTED(mesh, _boundary_edges))};
}

std::vector<std::vector<std::uint64_t>> BitsOf(const std::vector<PointCloud>& loops) {
  std::vector<std::vector<std::uint64_t>> bits;
  for (const PointCloud& loop : loops) {
    bits.emplace_back();
    for (const double value : loop.data().reshaped()) bits.back().push_back(BitsOf(value));
  }
  return bits;
}

/// The halfedges of the faces by their numbers, linked by a search for the other direction.
Graph GraphOfFaces(const Mesh& mesh) {
  const Eigen::MatrixXi& faces = mesh.faces();
  std::map<Key, std::ptrdiff_t> number;
  std::vector<Key> keys;
  for (Eigen::Index f = 0; f < faces.rows(); ++f) {
    for (Eigen::Index c = 0; c < 3; ++c) {
      keys.emplace_back(faces(f, c), faces(f, (c + 1) % 3));
      EXPECT_TRUE(number.emplace(keys.back(), 3 * f + c).second);
    }
  }
  Graph graph;
  for (std::ptrdiff_t h = 0; h < static_cast<std::ptrdiff_t>(keys.size()); ++h) {
    const Key key = keys[static_cast<std::size_t>(h)];
    const auto twin = number.find({key.second, key.first});
    const bool rim = twin == number.end();
    const std::ptrdiff_t face = h / 3, first = 3 * face;
    const auto& v = mesh.vertices().data();
    (rim ? graph.boundary : graph.interior)
        .push_back({key, h, h, face, first + (h + 1) % 3, first + (h + 2) % 3,
                    rim ? -1 : twin->second, h, first, BitsOf(v(0, key.first)),
                    BitsOf(v(1, key.first))});
  }
  return graph;
}

constexpr int kMeshes = libmfx::test::Draws(3000, 300);

TEST(DeferredMesh, ElementsAreThoseOfTheFaces) {
  Random random(11);
  std::size_t edges = 0;
  for (int draw = 0; draw < kMeshes; ++draw) {
    const auto mesh = MeshOf(RandomPoints(random));
    const Graph expected = GraphOfFaces(*mesh);
    ASSERT_TRUE(GraphOf(*mesh) == expected) << draw;
    edges += expected.interior.size();
    // The graph that is built from the faces alone differs in the order of its entries only.
    Mesh eager(mesh->vertices(), mesh->faces());
    Graph searched = GraphOf(eager);
    const auto by_number = [](const Links& a, const Links& b) { return a.halfedge < b.halfedge; };
    std::sort(searched.interior.begin(), searched.interior.end(), by_number);
    std::sort(searched.boundary.begin(), searched.boundary.end(), by_number);
    ASSERT_TRUE(searched == expected) << draw;
  }
  EXPECT_GT(edges, 50u * kMeshes);
}

TEST(DeferredMesh, LoopsAndWhatTheyLeaveAreThoseOfTheElements) {
  Random random(12);
  std::size_t loops = 0, islands = 0, dissolved = 0;
  for (int draw = 0; draw < kMeshes; ++draw) {
    const Points points = RandomPoints(random);
    const auto by_arrays = MeshOf(points), by_elements = MeshOf(points);
    const double limit = RandomLimit(random, *by_arrays), again = RandomLimit(random, *by_arrays);
    Mesh eager(by_arrays->vertices(), by_arrays->faces());
    const std::size_t edges = PROTECTED(*by_elements, _interior_edges).size();
    const auto found = BitsOf(by_arrays->InteriorBoundaries(limit, false));
    ASSERT_EQ(found, BitsOf(by_elements->InteriorBoundaries(limit, false))) << draw;
    ASSERT_EQ(found, BitsOf(eager.InteriorBoundaries(limit, false))) << draw;
    loops += found.size();
    islands += found.size() > 1 ? 1 : 0;
    // Half of the time a second call comes before the elements are looked at.
    if (random.Below(2) == 0) {
      ASSERT_EQ(BitsOf(by_arrays->InteriorBoundaries(again, false)),
                BitsOf(by_elements->InteriorBoundaries(again, false)))
          << draw;
    }
    ASSERT_TRUE(GraphOf(*by_arrays) == GraphOf(*by_elements)) << draw;
    dissolved += edges - PROTECTED(*by_elements, _interior_edges).size();
  }
  EXPECT_GT(loops, static_cast<std::size_t>(kMeshes) / 2);
  EXPECT_GT(islands, static_cast<std::size_t>(kMeshes) / 10);
  EXPECT_GT(dissolved, 20u * kMeshes);
}

const Points kTwoTriangles{{0, 0}, {3, 0}, {3, 4.5}, {0, 4}};

TEST(DeferredMesh, MakesNoElementUntilOneIsAskedFor) {
  const auto before = LiveHalfedgeElements().load();
  const auto mesh = MeshOf(kTwoTriangles);
  mesh->InteriorBoundaries(1.0, false);
  EXPECT_EQ(LiveHalfedgeElements().load(), before);
  EXPECT_EQ(PROTECTED(*mesh, _boundary_edges).size(), 4u);
  EXPECT_EQ(LiveHalfedgeElements().load(), before + 14);
}

TEST(DeferredMesh, EveryOperationOfAMapIsAFirstUse) {
  const auto fresh = [] { return MeshOf(kTwoTriangles); };
  const auto whole = fresh();
  const Key key = PROTECTED(*whole, _interior_edges).begin()->first;
  using Edges = libmfx::geometry::EdgeMap<
      std::shared_ptr<libmfx::data_structures::HE<libmfx::data_structures::PointXYZW>>>;
  const auto on = [&](auto operation) {
    const auto mesh = fresh();
    return operation(PROTECTED(*mesh, _interior_edges));
  };
  EXPECT_EQ(on([](const Edges& edges) { return edges.size(); }), 2u);
  EXPECT_FALSE(on([](const Edges& edges) { return edges.empty(); }));
  EXPECT_EQ(on([](const Edges& edges) { return edges.end() - edges.begin(); }), 2);
  EXPECT_EQ(on([](Edges& edges) { return edges.end() - edges.begin(); }), 2);
  EXPECT_TRUE(on([&](const Edges& edges) { return edges.find(key)->first == key; }));
  EXPECT_TRUE(on([&](Edges& edges) { return edges.find(key)->first == key; }));
  EXPECT_TRUE(on([&](const Edges& edges) { return edges.contains(key); }));
  EXPECT_TRUE(on([&](const Edges& edges) { return edges.at(key) != nullptr; }));
  EXPECT_TRUE(on([&](Edges& edges) { return edges[key] != nullptr; }));
  EXPECT_EQ(on([&](Edges& edges) { return edges.erase(key); }), 1u);
  EXPECT_FALSE(on([&](Edges& edges) { return edges.insert_or_assign(key, nullptr).second; }));
  EXPECT_EQ(on([](Edges& edges) {
              edges.append({7, 8}, nullptr);
              return edges.size();
            }),
            3u);
  EXPECT_EQ(on([](Edges& edges) { return Edges(edges).size(); }), 2u);
  EXPECT_EQ(on([](Edges& edges) {
              edges.clear();
              return edges.size();
            }),
            0u);
  EXPECT_EQ(on([](Edges& edges) {
              Edges moved;
              moved = std::move(edges);
              return moved.size() + edges.size();
            }),
            2u);
}

TEST(DeferredMesh, ClearingOneMapLeavesTheOther) {
  const auto mesh = MeshOf(kTwoTriangles);
  PROTECTED(*mesh, _boundary_edges).clear();
  EXPECT_EQ(PROTECTED(*mesh, _interior_edges).size(), 2u);
  EXPECT_TRUE(PROTECTED(*mesh, _boundary_edges).empty());
}

TEST(DeferredMesh, CopiesAndAssignmentsAreWhole) {
  const auto before = LiveHalfedgeElements().load();
  {
    const auto mesh = MeshOf(kTwoTriangles);
    mesh->InteriorBoundaries(1.0, false);
    Mesh copy(*mesh);
    EXPECT_EQ(PROTECTED(copy, _interior_edges).size(), 2u);
    EXPECT_EQ(BrokenLinks(copy), std::vector<std::string>{});
    const auto assigned = MeshOf({{0, 0}, {1, 0}, {0, 1}});
    *assigned = copy;
    EXPECT_EQ(PROTECTED(*assigned, _interior_edges).size(), 2u);
    EXPECT_EQ(BrokenLinks(*assigned), std::vector<std::string>{});
    EXPECT_TRUE(PROTECTED(*mesh, _interior_edges).empty());  // dissolved before it was made
    EXPECT_EQ(PROTECTED(*mesh, _boundary_edges).size(), 4u);
  }
  EXPECT_EQ(LiveHalfedgeElements().load(), before);
}

TEST(DeferredMesh, OutlivesItsGraph) {
  std::optional<libmfx::geometry::VoronoiGraph> graph(CloudOf(kTwoTriangles));
  const auto mesh = graph->ExtractPlanarMesh();
  graph.reset();
  EXPECT_TRUE(GraphOf(*mesh) == GraphOfFaces(*mesh));
}

}  // namespace
