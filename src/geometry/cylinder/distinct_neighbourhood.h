#pragma once

#include <Eigen/Core>
#include <cstddef>
#include <vector>

#include "geometry/cylinder/model.h"
#include "geometry/cylinder/neighbourhood.h"

namespace libmfx::geometry::cylinder {

/// A KD-tree over the distinct ones among some points. A tree over points that share one spot looks
/// at all of them in every query there.
class DistinctNeighbourhood {
 public:
  /// \param points at least one, finite
  explicit DistinctNeighbourhood(const Points& points);

  /// The `count` first neighbours of `center` among all points, in order.
  void First(const Eigen::Vector3d& center, std::size_t count, std::vector<Neighbour>& found);

 private:
  /// Points of one spot: places from `first` to before `last` of `_places`.
  struct Spot {
    std::size_t first, last;
  };

  std::vector<Eigen::Index> _places;  // spot after spot, ascending in each
  std::vector<Spot> _spots;           // the one with the earliest point first
  Points _distinct;                   // a point a spot, in their order
  Neighbourhood _tree;                // of these
  std::vector<Neighbour> _nearest;    // spots, kept to save an allocation a query
};

}  // namespace libmfx::geometry::cylinder
