#include "geometry/sweep/diagram.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <utility>

#include "geometry/sweep/sweep.h"
#include "libmfx/data_structures/block_allocator.h"

namespace libmfx::geometry::sweep {
namespace {

struct Site {
  Vec2 at;
  int column;
};
using Sites = std::vector<Site, data_structures::BlockAllocator<Site>>;

/// Magnitudes below 2^-148 of the largest coordinate are rounded to multiples of 2^-200, which
/// larger doubles are anyway: products of five stay exact, see expansion.h.
double Quantised(double v) {
  if (std::abs(v) >= 0x1p-148) return v;
  return std::nearbyint(v * 0x1p200) * 0x1p-200;
}

Sites ReadSites(const Eigen::MatrixXd& points, Eigen::Index row, int& exponent) {
  double largest = 0.0;
  for (Eigen::Index i = 0; i < points.cols(); ++i) {
    const double x = std::abs(points(row, i)), y = std::abs(points(row + 1, i));
    if (std::isfinite(x) && std::isfinite(y)) largest = std::max({largest, x, y});
  }
  std::frexp(largest, &exponent);
  // One product where the power of two is a number; it rounds as ldexp does.
  const double power = std::ldexp(1.0, -exponent);
  const bool plain = std::isnormal(power);
  const auto scaled = [&](double v) {
    return Quantised(plain ? v * power : std::ldexp(v, -exponent));
  };
  Sites sites;
  sites.reserve(static_cast<std::size_t>(points.cols()));
  for (Eigen::Index i = 0; i < points.cols(); ++i) {
    const double x = points(row, i), y = points(row + 1, i);
    if (!std::isfinite(x) || !std::isfinite(y)) continue;
    sites.push_back({{scaled(x), scaled(y)}, static_cast<int>(i)});
  }
  return sites;
}

/// Whether `a` comes before `b` in the sweep: y falling, then x rising, then as they came.
bool Precedes(const Site& a, const Site& b) {
  if (a.at.y != b.at.y) return a.at.y > b.at.y;
  if (a.at.x != b.at.x) return a.at.x < b.at.x;
  return a.column < b.column;
}

/// Sorts a slice. Nearly all of them are so short that a call of the general sort costs more.
void SortSlice(Site* begin, Site* end) {
  constexpr std::ptrdiff_t kShort = 16;
  if (end - begin > kShort) {
    std::sort(begin, end, Precedes);
    return;
  }
  for (Site* next = begin + 1; next < end; ++next) {
    const Site site = *next;
    Site* hole = next;
    for (; hole != begin && Precedes(site, hole[-1]); --hole) *hole = hole[-1];
    *hole = site;
  }
}

/// Into sweep order; of sites that coincide the first column stays. Sites are dealt into slices of
/// equal height first, about one to a slice when they spread evenly, and the slices are sorted.
Sites Sorted(const Sites& sites) {
  if (sites.empty()) return {};
  double low = sites.front().at.y, high = low;
  for (const Site& site : sites) {
    low = std::min(low, site.at.y);
    high = std::max(high, site.at.y);
  }
  const double last = static_cast<double>(sites.size() - 1);
  const double slices_a_unit = high > low ? last / (high - low) : 0.0;
  const auto slice = [&](const Site& site) {
    // By way of an int, which is converted in one instruction.
    return static_cast<std::size_t>(
        static_cast<int>(std::min((high - site.at.y) * slices_a_unit, last)));
  };
  using Places = std::vector<std::uint32_t, data_structures::BlockAllocator<std::uint32_t>>;
  Places begin(sites.size() + 1, 0);
  for (const Site& site : sites) ++begin[slice(site) + 1];
  for (std::size_t i = 1; i < begin.size(); ++i) begin[i] += begin[i - 1];
  Sites sorted(sites.size());
  Places place(begin.begin(), begin.end() - 1);
  for (const Site& site : sites) sorted[place[slice(site)]++] = site;
  for (std::size_t i = 0; i < sites.size(); ++i) {
    SortSlice(sorted.data() + begin[i], sorted.data() + begin[i + 1]);
  }
  const auto same = [](const Site& a, const Site& b) {
    return a.at.x == b.at.x && a.at.y == b.at.y;
  };
  sorted.erase(std::unique(sorted.begin(), sorted.end(), same), sorted.end());
  return sorted;
}

/// Moves what a sweep has built, to its end or to an exception, into the diagram.
void Take(Sweep& sweep, Diagram& diagram) {
  Triangulation mesh = std::move(sweep.mesh());
  mesh.shared_circle.assign(mesh.corner.size(), 0);
  const Beachline& beachline = sweep.beachline();
  for (int i = beachline.First(); i != Beachline::kNone; i = beachline[i].next) {
    diagram.beachline.push_back(beachline[i].site);
  }
  diagram.mesh = std::move(mesh);
}

}  // namespace

void BuildDiagram(const Eigen::MatrixXd& points, Eigen::Index row, Diagram& diagram) {
  // Halfedges are numbered by int, six a site.
  if (points.cols() > std::numeric_limits<int>::max() / 8) {
    throw std::length_error("too many points for one sweep");
  }
  {
    const Sites sites = Sorted(ReadSites(points, row, diagram.exponent));
    diagram.sites.reserve(sites.size());
    diagram.column.reserve(sites.size());
    for (const Site& site : sites) {
      diagram.sites.push_back(site.at);
      diagram.column.push_back(site.column);
    }
  }
  SweepSites(diagram);
}

void SweepSites(Diagram& diagram) {
  Sweep sweep(diagram.sites);
  try {
    sweep.Run();
  } catch (...) {
    Take(sweep, diagram);
    throw;
  }
  Take(sweep, diagram);
  if (!TilesConvexHull(diagram.mesh, diagram.sites)) {
    throw std::logic_error("not sure what's going on here?");
  }
  MakeDelaunay(diagram.mesh, diagram.sites);
  diagram.finished = true;
}

}  // namespace libmfx::geometry::sweep
