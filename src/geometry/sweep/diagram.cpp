#include "geometry/sweep/diagram.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <utility>

#include "geometry/sweep/sweep.h"

namespace libmfx::geometry::sweep {
namespace {

struct Site {
  Vec2 at;
  int column;
};

/// Magnitudes below 2^-148 of the largest coordinate are rounded to multiples of 2^-200, which
/// larger doubles are anyway: products of five stay exact, see expansion.h.
double Quantised(double v) {
  if (std::abs(v) >= 0x1p-148) return v;
  return std::nearbyint(v * 0x1p200) * 0x1p-200;
}

std::vector<Site> ReadSites(const Eigen::MatrixXd& points, Eigen::Index row, int& exponent) {
  double largest = 0.0;
  for (Eigen::Index i = 0; i < points.cols(); ++i) {
    const double x = std::abs(points(row, i)), y = std::abs(points(row + 1, i));
    if (std::isfinite(x) && std::isfinite(y)) largest = std::max({largest, x, y});
  }
  std::frexp(largest, &exponent);
  std::vector<Site> sites;
  sites.reserve(static_cast<std::size_t>(points.cols()));
  for (Eigen::Index i = 0; i < points.cols(); ++i) {
    const double x = points(row, i), y = points(row + 1, i);
    if (!std::isfinite(x) || !std::isfinite(y)) continue;
    const Vec2 at{Quantised(std::ldexp(x, -exponent)), Quantised(std::ldexp(y, -exponent))};
    sites.push_back({at, static_cast<int>(i)});
  }
  return sites;
}

/// Into sweep order: y falling, then x rising; of sites that coincide the first column stays.
void SortSites(std::vector<Site>& sites) {
  std::sort(sites.begin(), sites.end(), [](const Site& a, const Site& b) {
    if (a.at.y != b.at.y) return a.at.y > b.at.y;
    if (a.at.x != b.at.x) return a.at.x < b.at.x;
    return a.column < b.column;
  });
  const auto same = [](const Site& a, const Site& b) {
    return a.at.x == b.at.x && a.at.y == b.at.y;
  };
  sites.erase(std::unique(sites.begin(), sites.end(), same), sites.end());
}

}  // namespace

void BuildDiagram(const Eigen::MatrixXd& points, Eigen::Index row, Diagram& diagram) {
  // Halfedges are numbered by int, six a site.
  if (points.cols() > std::numeric_limits<int>::max() / 8) {
    throw std::length_error("too many points for one sweep");
  }
  {
    std::vector<Site> sites = ReadSites(points, row, diagram.exponent);
    SortSites(sites);
    diagram.sites.reserve(sites.size());
    diagram.column.reserve(sites.size());
    for (const Site& site : sites) {
      diagram.sites.push_back(site.at);
      diagram.column.push_back(site.column);
    }
  }
  Sweep sweep(diagram.sites);
  sweep.Run();
  diagram.mesh = std::move(sweep.mesh());
  for (int arc = sweep.beachline().First(); arc != Beachline::kNone;
       arc = sweep.beachline().Next(arc)) {
    diagram.beachline.push_back(sweep.beachline().trace(arc).site);
  }
  if (!TilesConvexHull(diagram.mesh, diagram.sites)) {
    throw std::logic_error("not sure what's going on here?");
  }
  MakeDelaunay(diagram.mesh, diagram.sites);
}

}  // namespace libmfx::geometry::sweep
