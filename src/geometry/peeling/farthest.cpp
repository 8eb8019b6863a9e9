#include "geometry/peeling/farthest.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <utility>

namespace libmfx::geometry::peeling {
namespace {
constexpr std::size_t kShare = 8;      // a pool holds one in so many points of the pool before it
constexpr std::size_t kSmallest = 48;  // points of the last pool
}  // namespace

Farthest::Farthest(Eigen::Index columns) : _gone(static_cast<std::size_t>(columns), 0) {}

void Farthest::Reset(std::vector<Candidate> points) {
  _points = std::move(points);
  _reach.setZero();
  for (const Candidate& p : _points) _reach = _reach.cwiseMax(p.at.cwiseAbs());
  std::size_t pools = 1;
  for (std::size_t size = _points.size(); size > kSmallest; size /= kShare) ++pools;
  // What is left out of the empty pools, all of it, may lie anywhere: the first search fills them.
  Pool empty;
  empty.best_left_out.distance = std::numeric_limits<double>::infinity();
  for (Side& side : _sides) side.pools.assign(pools, empty);
}

Eigen::Index Farthest::Find(const LocalPlane& plane) {
  const Place above = BestOf(_sides[0], plane), below = BestOf(_sides[1], plane);
  Place best = above.Beats(below) ? above : below;
  for (Side& side : _sides) {
    // A refill from the next pool may do where the pools before it can't tell yet either.
    for (std::size_t i = side.pools.size(); i-- > 0;) {
      if (Decides(side, side.pools[i], best, plane)) continue;
      Refill(side, i, plane);
      const Place found = BestOf(side, plane);
      if (found.Beats(best)) best = found;
    }
  }
  return best.column;
}

void Farthest::Remove(Eigen::Index column) {
  _gone[static_cast<std::size_t>(column)] = 1;
  for (Side& side : _sides) {
    std::vector<Candidate>& points = side.pools.back().points;
    const auto found = std::find_if(points.begin(), points.end(),
                                    [column](const Candidate& p) { return p.column == column; });
    if (found == points.end()) continue;
    *found = points.back();
    points.pop_back();
  }
}

Farthest::Place Farthest::BestOf(const Side& side, const LocalPlane& plane) const {
  Place best;
  for (const Candidate& p : side.pools.back().points) {
    const Place place = PlaceOf(side, p, plane);
    if (place.Beats(best)) best = place;
  }
  return best;
}

double Farthest::Rounding(const LocalPlane& plane) const {
  return 4.0 * DBL_EPSILON * (plane.normal.cwiseAbs().dot(_reach) + std::abs(plane.offset));
}

bool Farthest::Decides(const Side& side, const Pool& pool, const Place& best,
                       const LocalPlane& plane) const {
  if (pool.holds_all) return true;
  const LocalPlane& before = pool.filled_for;
  if (plane == before) return best.Beats(pool.best_left_out);
  // A shift moves all distances of a side alike; only a turn lets a point gain on others.
  const double shifted = side.sign * (before.offset - plane.offset);
  const double turned = (plane.normal - before.normal).cwiseAbs().dot(_reach);
  const double gained = turned + Rounding(plane) + Rounding(before);
  return best.distance > pool.best_left_out.distance + shifted + gained;
}

/// This pool and those after it.
void Farthest::Refill(Side& side, std::size_t first, const LocalPlane& plane) {
  for (std::size_t i = first; i < side.pools.size(); ++i) {
    std::vector<Candidate>& from = i == 0 ? _points : side.pools[i - 1].points;
    std::erase_if(from, [this](const Candidate& p) { return IsGone(p.column); });
    Pool& pool = side.pools[i];
    pool.filled_for = plane;
    const std::size_t size = std::max(kSmallest, from.size() / kShare);
    pool.holds_all = from.size() <= size;
    if (pool.holds_all) {
      pool.points = from;
      continue;
    }
    _order.clear();
    for (const Candidate& p : from) _order.push_back(PlaceOf(side, p, plane));
    const auto nth = _order.begin() + static_cast<std::ptrdiff_t>(size);
    std::nth_element(_order.begin(), nth, _order.end(),
                     [](const Place& a, const Place& b) { return a.Beats(b); });
    pool.best_left_out = *nth;
    pool.points.clear();
    for (const Candidate& p : from) {
      if (PlaceOf(side, p, plane).Beats(*nth)) pool.points.push_back(p);
    }
  }
}

}  // namespace libmfx::geometry::peeling
