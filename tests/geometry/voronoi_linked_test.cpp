#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "data_structures/halfedge_arena.h"
#include "delaunay_check.h"
#include "protected.h"

namespace libmfx::geometry {
namespace {

using namespace delaunay_check;
using data_structures::LiveHalfedgeElements;
using data_structures::PointXYW;

/// A graph with its halfedges.
struct GraphProbe : VoronoiGraph {
  explicit GraphProbe(const Points& points) : VoronoiGraph(CloudOf(points)) {
    GenerateHalfedgeGraph();
  }
};

void ExpectLinked(const GraphProbe& graph) {
  for (const auto& he : PROTECTED(graph, _halfedges)) {
    ASSERT_NE(he->twin, nullptr);
    EXPECT_EQ(he->twin->twin, he);
    EXPECT_NE(he->twin->face, he->face);
    if (he->next) {
      EXPECT_EQ(he->next->prev, he);
      EXPECT_EQ(he->next->face, he->face);
      ASSERT_NE(he->twin->vertex, nullptr);
      EXPECT_TRUE(he->next->vertex->point == he->twin->vertex->point);
    }
  }
}

TEST(LinkedVoronoi, OnePointIsOneArcAndOneFaceWithoutEdges) {
  const GraphProbe graph({{1, 2}});
  EXPECT_EQ(PROTECTED(graph, _faces).size(), 1u);
  EXPECT_TRUE(PROTECTED(graph, _halfedges).empty());
  ASSERT_EQ(PROTECTED(graph, _beachline).Size(), 1u);
  EXPECT_EQ(PROTECTED(graph, _beachline).root->data->type, BeachlineElement::kArc);
}

TEST(LinkedVoronoi, SquareIsOneVertexWithFourEdges) {
  const GraphProbe graph({{0, 0}, {1, 0}, {0, 1}, {1, 1}});
  int leaving = 0;
  for (const auto& he : PROTECTED(graph, _halfedges)) {
    if (!he->vertex) continue;
    EXPECT_TRUE(he->vertex->point == PointXYW(0.5, 0.5));
    ++leaving;
  }
  EXPECT_EQ(leaving, 4);
  EXPECT_EQ(PROTECTED(graph, _halfedges).size(), 8u);
  EXPECT_EQ(PROTECTED(graph, _faces).size(), 4u);
  ExpectLinked(graph);
}

TEST(LinkedVoronoi, RowOfPointsHasLinesAtTheMidPoints) {
  const GraphProbe graph({{0, 1}, {1, 1}, {3, 1}});
  EXPECT_EQ(PROTECTED(graph, _halfedges).size(), 4u);
  EXPECT_EQ(PROTECTED(graph, _beachline).Size(), 5u);
  EXPECT_DOUBLE_EQ(PROTECTED_MEMBER(VoronoiGraph, breakpoint)({1, 1}, {3, 1}, 0.0).x(), 2.0);
  ExpectLinked(graph);
}

TEST(LinkedVoronoi, LinksHoldAndNothingStaysAlive) {
  const auto before = LiveHalfedgeElements().load();
  {
    Random random(7);
    Points points;
    for (int i = 0; i < 300; ++i) points.emplace_back(random.Below(20), random.Below(20));
    const GraphProbe graph(points);
    ExpectLinked(graph);
    EXPECT_GT(LiveHalfedgeElements().load(), before);
  }
  EXPECT_EQ(LiveHalfedgeElements().load(), before);
}

TEST(LinkedVoronoi, DissolvingEndsReferences) {
  PROTECTED_MEMBER(VoronoiGraph, dissolve_beachline_element)(nullptr);
  PROTECTED_MEMBER(VoronoiGraph, dissolve_event)(nullptr);
  const auto arc = std::make_shared<Arc>();
  const auto event = std::make_shared<CircleEvent>();
  arc->event = event;
  event->arc = arc;
  PROTECTED_MEMBER(VoronoiGraph, dissolve_event)(event);
  EXPECT_EQ(event->arc, nullptr);
  arc->left = std::make_shared<Breakpoint>();
  PROTECTED_MEMBER(VoronoiGraph, dissolve_beachline_element)(arc);
  EXPECT_EQ(arc->event, nullptr);
  EXPECT_EQ(arc->left, nullptr);
}

TEST(LinkedVoronoi, CirclesThroughThreePoints) {
  PointXYW center;
  double radius = 0.0;
  bool clockwise = false;
  const PointXYW a(1, 0), b(0, 1), c(-1, 0), d(3, 0);
  ASSERT_TRUE(PROTECTED_MEMBER(VoronoiGraph, three_point_circle_2d)(a, b, c, center, radius));
  EXPECT_NEAR(center.x(), 0.0, 1e-15);
  EXPECT_NEAR(radius, 1.0, 1e-15);
  EXPECT_FALSE(PROTECTED_MEMBER(VoronoiGraph, three_point_circle_2d)(c, b, a, center, radius));
  EXPECT_TRUE(PROTECTED_MEMBER(VoronoiGraph, any_three_point_circle_2d)(c, b, a, center, radius,
                                                                        clockwise));
  EXPECT_TRUE(clockwise);
  EXPECT_FALSE(PROTECTED_MEMBER(VoronoiGraph, three_point_circle_2d)(a, c, d, center, radius));
  EXPECT_FALSE(PROTECTED_MEMBER(VoronoiGraph, any_three_point_circle_2d)(a, c, d, center, radius,
                                                                         clockwise));
}

TEST(LinkedVoronoi, ComparisonRefusesNullAndOtherTypes) {
  const auto arc = std::make_shared<Arc>();
  const auto breakpoint = std::make_shared<Breakpoint>();
  EXPECT_THROW(arc->Compare(nullptr), std::runtime_error);
  EXPECT_THROW(breakpoint->Compare(nullptr), std::runtime_error);
  breakpoint->type = 3;
  EXPECT_THROW(arc->Compare(breakpoint), std::runtime_error);
}

TEST(LinkedVoronoi, BreakpointsOfOneStartAreOrderedJustBelow) {
  const PointXYW a(-1, 1), b(0, 0), c(1, 1);
  Breakpoint left(a, b);
  EXPECT_EQ(left.Compare(std::make_shared<Breakpoint>(b, c)), -1);
  EXPECT_EQ(left.Compare(std::make_shared<Breakpoint>(a, b)), 0);
}

}  // namespace
}  // namespace libmfx::geometry
