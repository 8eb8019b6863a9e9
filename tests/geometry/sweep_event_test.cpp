#include "libmfx/geometry/sweep_event.h"

#include <gtest/gtest.h>

#include <cmath>
#include <queue>
#include <string>
#include <vector>

#include "libmfx/geometry/beachline_element.h"
#include "libmfx/geometry/voronoi_graph.h"
#include "protected.h"
#include "thrown.h"

namespace libmfx::geometry {
namespace {

using data_structures::PointXYW;
using test::TextThrown;

constexpr double kEpsilon = 2.220446049250313e-16;

std::shared_ptr<Event> At(double x, double y) {
  return std::make_shared<SiteEvent>(PointXYW(x, y));
}

TEST(SweepEvent, QueueGivesTheHighestFirstAndOfARowTheLeftmost) {
  std::priority_queue<std::shared_ptr<Event>, std::vector<std::shared_ptr<Event>>, VerticalSweep>
      queue;
  for (const auto& [x, y] : {std::pair{2.0, 0.0}, {5.0, 3.0}, {1.0, 0.0}, {-1.0, 3.0}}) {
    queue.push(At(x, y));
  }
  std::vector<double> order;
  for (; !queue.empty(); queue.pop()) order.push_back(queue.top()->point.x());
  EXPECT_EQ(order, (std::vector<double>{-1.0, 5.0, 1.0, 2.0}));
}

TEST(SweepEvent, RowEndsAtExactlyTheEpsilon) {
  const VerticalSweep after;
  // Closer than the epsilon: x decides, although the right one is higher.
  EXPECT_TRUE(after(At(1.0, 0.5 * kEpsilon), At(0.0, 0.0)));
  EXPECT_FALSE(after(At(0.0, 0.0), At(1.0, 0.5 * kEpsilon)));
  // At the epsilon: y decides.
  EXPECT_FALSE(after(At(1.0, kEpsilon), At(0.0, 0.0)));
  EXPECT_TRUE(after(At(0.0, 0.0), At(1.0, kEpsilon)));
}

TEST(SweepEvent, NullEventIsRefused) {
  const std::string text = "Cannot compare nullptr Events!";
  EXPECT_EQ(TextThrown([] { VerticalSweep()(nullptr, At(0, 0)); }), text);
  EXPECT_EQ(TextThrown([] { VerticalSweep()(At(0, 0), nullptr); }), text);
}

TEST(SweepEvent, KindsAndDefaults) {
  EXPECT_EQ(At(0, 0)->type, 0);
  const CircleEvent circle(PointXYW(1.0, -2.0), 3.0, std::make_shared<Arc>());
  EXPECT_EQ(circle.type, 1);
  EXPECT_TRUE(circle.valid);
  EXPECT_EQ(circle.radius, 3.0);
  EXPECT_EQ(circle.point.y(), -2.0);
  EXPECT_EQ(Arc().type, 1);
  EXPECT_EQ(Breakpoint().type, 2);
}

TEST(BeachlineOrder, TextsOfRefusals) {
  const auto arc = std::make_shared<Arc>();
  const auto breakpoint = std::make_shared<Breakpoint>();
  const auto other = std::make_shared<Arc>();
  other->type = 3;
  for (const std::shared_ptr<BeachlineElement>& element :
       {std::shared_ptr<BeachlineElement>(arc), std::shared_ptr<BeachlineElement>(breakpoint)}) {
    EXPECT_EQ(TextThrown([&] { element->Compare(nullptr); }), "Cannot compare against a nullptr!");
    EXPECT_EQ(TextThrown([&] { element->Compare(other); }),
              "BeachlineElement type not supported in compare!");
  }
}

/// Three sites: arcs from left to right with two breakpoints between.
struct Row {
  Row() {
    ab = std::make_shared<Breakpoint>(a->site, b->site);
    bc = std::make_shared<Breakpoint>(b->site, c->site);
    a->right = b->left = ab;
    b->right = c->left = bc;
  }
  ~Row() {
    for (const auto& arc : {a, b, c}) arc->left = arc->right = nullptr;
  }
  Row(const Row&) = delete;
  Row& operator=(const Row&) = delete;

  std::shared_ptr<Arc> a = std::make_shared<Arc>(PointXYW(0.0, 1.0));
  std::shared_ptr<Arc> b = std::make_shared<Arc>(PointXYW(1.0, 0.5));
  std::shared_ptr<Arc> c = std::make_shared<Arc>(PointXYW(2.0, 1.0));
  std::shared_ptr<Breakpoint> ab, bc;
};

TEST(BeachlineOrder, ElementsStandFromLeftToRight) {
  Row row;
  EXPECT_EQ(row.ab->Compare(row.bc), -1);
  EXPECT_EQ(row.bc->Compare(row.ab), 1);
  EXPECT_EQ(row.ab->Compare(row.ab), 0);
  EXPECT_EQ(row.ab->Compare(row.a), 1);
  EXPECT_EQ(row.ab->Compare(row.c), -1);
  EXPECT_EQ(row.bc->Compare(row.b), 1);
  EXPECT_EQ(row.ab->Compare(row.b), -1);
  EXPECT_EQ(row.a->Compare(row.ab), -1);
  EXPECT_EQ(row.b->Compare(row.ab), 1);
  EXPECT_EQ(row.b->Compare(row.bc), -1);
  EXPECT_EQ(row.c->Compare(row.bc), 1);
  EXPECT_EQ(row.b->Compare(row.b), 0);
}

TEST(BeachlineOrder, ArcsWithoutLeftNeighbourStandByTheirSites) {
  Arc probe(PointXYW(0.0, 0.0));
  EXPECT_EQ(probe.Compare(std::make_shared<Arc>(PointXYW(0.0, 0.0))), 0);
  EXPECT_EQ(probe.Compare(std::make_shared<Arc>(PointXYW(0.5 * kEpsilon, kEpsilon))), 0);
  EXPECT_EQ(probe.Compare(std::make_shared<Arc>(PointXYW(1.0, -9.0))), -1);
  EXPECT_EQ(probe.Compare(std::make_shared<Arc>(PointXYW(-1.0, 9.0))), 1);
  EXPECT_EQ(probe.Compare(std::make_shared<Arc>(PointXYW(0.0, -1.0))), 0);
  EXPECT_EQ(probe.Compare(std::make_shared<Arc>(PointXYW(0.0, 1.0))), -1);
}

const auto kBreakpoint = PROTECTED_MEMBER(VoronoiGraph, breakpoint);

TEST(Breakpoint, FollowsTheCaseOfItsSites) {
  // Equal heights: half way, on the parabola of either.
  const PointXYW middle = kBreakpoint({0.0, 1.0}, {4.0, 1.0}, 0.0);
  EXPECT_EQ(middle.x(), 2.0);
  EXPECT_EQ(middle.y(), 2.5);
  EXPECT_EQ(middle.w(), 1.0);
  // A site on the sweep line: its own x, on the other's parabola.
  const PointXYW right_low = kBreakpoint({0.0, 1.0}, {3.0, 0.0}, 0.0);
  EXPECT_EQ(right_low.x(), 3.0);
  EXPECT_EQ(right_low.y(), 5.0);
  const PointXYW left_low = kBreakpoint({3.0, 0.0}, {0.0, 1.0}, 0.0);
  EXPECT_EQ(left_low.x(), 3.0);
  EXPECT_EQ(left_low.y(), 5.0);
}

TEST(Breakpoint, OrderOfTheSitesChoosesTheMeetingPoint) {
  const PointXYW high(0.0, 2.0), low(0.0, 1.0);
  const PointXYW enters = kBreakpoint(high, low, 0.0);
  const PointXYW leaves = kBreakpoint(low, high, 0.0);
  EXPECT_NEAR(enters.x(), -std::sqrt(2.0), 1e-15);
  EXPECT_NEAR(leaves.x(), std::sqrt(2.0), 1e-15);
  EXPECT_NEAR(enters.y(), 1.5, 1e-15);
}

}  // namespace
}  // namespace libmfx::geometry
