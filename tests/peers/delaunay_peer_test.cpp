// The mesh of a point set beside CGAL's Delaunay triangulation of it.

#include <CGAL/Delaunay_triangulation_2.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

#include "delaunay_check.h"
#include "point_families.h"

namespace {

using namespace delaunay_check;
using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;
using Peer = CGAL::Delaunay_triangulation_2<Kernel>;
using Place = std::pair<double, double>;
using Edge = std::pair<Place, Place>;

struct Edges {
  std::set<Edge> all, rim, strict;  ///< `strict`: in every Delaunay triangulation of the points
  std::size_t triangles = 0;
};

Edge Between(const Place& a, const Place& b) { return {std::min(a, b), std::max(a, b)}; }

Edges EdgesOfPeer(const Points& points) {
  Peer peer;
  for (const auto& [x, y] : points) peer.insert({x, y});
  Edges edges;
  if (peer.dimension() < 2) return edges;
  edges.triangles = peer.number_of_faces();
  const auto place = [](const Peer::Vertex_handle& v) {
    return Place(v->point().x(), v->point().y());
  };
  for (const auto& [face, i] : peer.finite_edges()) {
    const auto from = face->vertex(Peer::ccw(i)), to = face->vertex(Peer::cw(i));
    const Edge edge = Between(place(from), place(to));
    edges.all.insert(edge);
    const auto mirror = peer.mirror_edge({face, i});
    if (peer.is_infinite(face) || peer.is_infinite(mirror.first)) {
      edges.rim.insert(edge);
      edges.strict.insert(edge);
    } else if (peer.side_of_oriented_circle(face, mirror.first->vertex(mirror.second)->point()) !=
               CGAL::ON_ORIENTED_BOUNDARY) {
      edges.strict.insert(edge);
    }
  }
  return edges;
}

Edges EdgesOfMesh(const Points& points) {
  const auto mesh = MeshOf(points);
  Edges edges;
  edges.triangles = static_cast<std::size_t>(mesh->faces().rows());
  const auto place = [&points](int i) { return points[static_cast<std::size_t>(i)]; };
  for (Eigen::Index f = 0; f < mesh->faces().rows(); ++f) {
    for (int c = 0; c < 3; ++c) {
      const Edge edge = Between(place(mesh->faces()(f, c)), place(mesh->faces()(f, (c + 1) % 3)));
      if (edges.all.insert(edge).second) {
        edges.rim.insert(edge);
      } else {
        edges.rim.erase(edge);
      }
    }
  }
  return edges;
}

class DelaunayPeer : public ::testing::TestWithParam<int> {};

TEST_P(DelaunayPeer, SameHullSameCountAndTheSameEdgesWhereTheyAreUnique) {
  std::size_t strict = 0;
  for (std::uint64_t seed = 0; seed < 60; ++seed) {
    const Points points = MakeFamily(static_cast<Family>(GetParam()), 20 + 5 * seed, seed);
    const Edges ours = EdgesOfMesh(points), peers = EdgesOfPeer(points);
    ASSERT_EQ(ours.triangles, peers.triangles) << "seed " << seed;
    ASSERT_EQ(ours.rim, peers.rim) << "seed " << seed;
    ASSERT_TRUE(
        std::includes(ours.all.begin(), ours.all.end(), peers.strict.begin(), peers.strict.end()))
        << "seed " << seed;
    strict += peers.strict.size();
  }
  EXPECT_GT(strict, 500u);
}

INSTANTIATE_TEST_SUITE_P(All, DelaunayPeer, ::testing::Range(0, kFamilies),
                         [](const ::testing::TestParamInfo<int>& set) {
                           return NameOf(static_cast<Family>(set.param));
                         });

}  // namespace
