#include "geometry/cylinder/distinct_neighbourhood.h"

#include <algorithm>
#include <numeric>

namespace libmfx::geometry::cylinder {

DistinctNeighbourhood::DistinctNeighbourhood(const Points& points)
    : _places(static_cast<std::size_t>(points.size())), _distinct(0), _tree(_distinct) {
  std::iota(_places.begin(), _places.end(), Eigen::Index{0});
  std::sort(_places.begin(), _places.end(), [&points](Eigen::Index a, Eigen::Index b) {
    if (points.x[a] != points.x[b]) return points.x[a] < points.x[b];
    if (points.y[a] != points.y[b]) return points.y[a] < points.y[b];
    if (points.z[a] != points.z[b]) return points.z[a] < points.z[b];
    return a < b;
  });
  for (std::size_t first = 0, last = 0; first < _places.size(); first = last) {
    while (last < _places.size() && points.at(_places[last]) == points.at(_places[first])) ++last;
    _spots.push_back({first, last});
  }
  // Then the number of a spot settles ties as the place of its earliest point does.
  std::sort(_spots.begin(), _spots.end(),
            [this](const Spot& a, const Spot& b) { return _places[a.first] < _places[b.first]; });
  _distinct = Points(static_cast<Eigen::Index>(_spots.size()));
  for (std::size_t i = 0; i < _spots.size(); ++i) {
    _distinct.set(static_cast<Eigen::Index>(i), points.at(_places[_spots[i].first]));
  }
  _tree.Build();
}

void DistinctNeighbourhood::First(const Eigen::Vector3d& center, std::size_t count,
                                  std::vector<Neighbour>& found) {
  _tree.First(center, count, _nearest);
  found.clear();
  for (const Neighbour& near : _nearest) {
    const Spot& spot = _spots[static_cast<std::size_t>(near.place)];
    const std::size_t last = std::min(spot.last, spot.first + count);
    for (std::size_t i = spot.first; i < last; ++i) found.push_back({near.squared, _places[i]});
  }
  std::sort(found.begin(), found.end());
  if (found.size() > count) found.resize(count);
}

}  // namespace libmfx::geometry::cylinder
