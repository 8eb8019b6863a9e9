#pragma once

#include <Eigen/Core>
#include <cstddef>
#include <functional>
#include <vector>

#include "geometry/cylinder/model.h"

namespace libmfx::test {

/// The filters of a cylinder's points, each point with a query of its own and every answer looked
/// at in full.
class PlainFilters {
 public:
  using Points = geometry::cylinder::Points;
  using Places = std::vector<Eigen::Index>;

  /// Neighbours by distances to all points, the nearer first and of equally near ones the earlier.
  static PlainFilters ByAllDistances(const Points& points);
  /// Neighbours by a KD-tree, which settles ties as it comes to them.
  static PlainFilters ByTree(const Points& points);

  /// The up to `count` points nearest to the one at `place` and not farther than `radius`.
  Places Nearest(Eigen::Index place, std::size_t count, double radius) const;

  std::vector<bool> MarkIsolated() const;
  std::vector<bool> MarkEndFaces(const Eigen::Vector3d& axis) const;
  std::vector<bool> MarkPoor(const std::vector<double>& qualities) const;

 private:
  using Query = std::function<void(Eigen::Index, std::size_t, double, Places&)>;

  PlainFilters(const Points& points, Query query) : _points(points), _query(std::move(query)) {}
  Places Suspects(const Eigen::Vector3d& axis) const;

  const Points& _points;
  Query _query;
};

}  // namespace libmfx::test
