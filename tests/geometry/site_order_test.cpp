// The order of the sites beside that of a general sort.

#include "geometry/sweep/site_order.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <tuple>
#include <utility>
#include <vector>

#include "delaunay_check.h"
#include "random_cases.h"

namespace {

using delaunay_check::Random;
using libmfx::geometry::sweep::Diagram;
using libmfx::geometry::sweep::ReadSites;

constexpr int kPoints = libmfx::test::Draws(40000, 20000);

/// The first column of each site that is finite, in sweep order.
std::vector<int> PlainOrder(const Eigen::MatrixXd& points) {
  std::vector<std::tuple<double, double, int>> sites;
  for (Eigen::Index i = 0; i < points.cols(); ++i) {
    if (!points.col(i).allFinite()) continue;
    sites.emplace_back(-points(1, i), points(0, i), static_cast<int>(i));
  }
  std::sort(sites.begin(), sites.end());
  const auto same = [](const auto& a, const auto& b) {
    return std::get<0>(a) == std::get<0>(b) && std::get<1>(a) == std::get<1>(b);
  };
  sites.erase(std::unique(sites.begin(), sites.end(), same), sites.end());
  std::vector<int> columns;
  for (const auto& site : sites) columns.push_back(std::get<2>(site));
  return columns;
}

void ExpectPlainOrder(const std::function<void(Random&, double&, double&)>& draw) {
  Random random(5);
  Eigen::MatrixXd points(2, kPoints);
  for (Eigen::Index i = 0; i < kPoints; ++i) draw(random, points(0, i), points(1, i));
  Diagram diagram;
  ReadSites(points, 0, diagram);
  const std::vector<int> plain = PlainOrder(points);
  ASSERT_EQ(diagram.column, plain);
  ASSERT_EQ(diagram.sites.size(), plain.size());
  for (std::size_t i = 0; i < plain.size(); ++i) {
    const auto& site = diagram.sites[i];
    ASSERT_EQ(std::ldexp(site.x, diagram.exponent), points(0, plain[i]));
    ASSERT_EQ(std::ldexp(site.y, diagram.exponent), points(1, plain[i]));
  }
  EXPECT_TRUE(diagram.mesh.corner.empty());
}

TEST(SweepSiteOrder, OfPointsThatSpreadEvenly) {
  ExpectPlainOrder([](Random& random, double& x, double& y) {
    x = random.Below(1 << 30);
    y = random.Below(1 << 30);
  });
}

TEST(SweepSiteOrder, OfRowsWithPointsThatCoincide) {
  ExpectPlainOrder([](Random& random, double& x, double& y) {
    x = random.Below(300);
    y = random.Below(150);
  });
}

TEST(SweepSiteOrder, OfACrowdBesideOneFarPoint) {
  ExpectPlainOrder([first = true](Random& random, double& x, double& y) mutable {
    x = random.Below(1000);
    y = std::exchange(first, false) ? 0x1p40 : 1e-3 * random.Below(1 << 20);
  });
}

TEST(SweepSiteOrder, OfHeightsOverManyDecades) {
  ExpectPlainOrder([](Random& random, double& x, double& y) {
    x = random.Below(1000) - 500;
    y = std::ldexp(random.Below(2) == 0 ? 1.0 : -1.0, -random.Below(60)) * (1 + random.Below(50));
  });
}

TEST(SweepSiteOrder, OfOneRow) {
  ExpectPlainOrder([](Random& random, double& x, double& y) {
    x = random.Below(1 << 20);
    y = 3.0;
  });
}

TEST(SweepSiteOrder, WithoutWhatIsNotFinite) {
  ExpectPlainOrder([](Random& random, double& x, double& y) {
    x = random.Below(7) == 0 ? std::numeric_limits<double>::quiet_NaN() : random.Below(1 << 20);
    y = random.Below(7) == 0 ? std::numeric_limits<double>::infinity() : random.Below(1 << 20);
  });
}

TEST(SweepSiteOrder, OfNothing) {
  for (const int count : {0, 3}) {
    Diagram diagram;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    ReadSites(Eigen::MatrixXd::Constant(2, count, nan), 0, diagram);
    EXPECT_TRUE(diagram.sites.empty());
    EXPECT_TRUE(diagram.column.empty());
  }
}

}  // namespace
