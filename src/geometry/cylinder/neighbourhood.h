#pragma once

#include <Eigen/Core>
#include <memory>
#include <vector>

#include "geometry/cylinder/model.h"

namespace libmfx::geometry::cylinder {

/// Nearest neighbours among the points of a fit, by a KD-tree. The points have to outlive it.
class Neighbourhood {
 public:
  explicit Neighbourhood(const Points& points);
  ~Neighbourhood();
  Neighbourhood(const Neighbourhood&) = delete;
  Neighbourhood& operator=(const Neighbourhood&) = delete;

  /// Builds the tree, in O(n log n).
  /// \throws std::runtime_error "[nanoflann] computeBoundingBox() called but no data points found."
  void Build();

  /// The up to `count` points nearest to `center` and not farther than `radius`, nearest first.
  /// \throws std::runtime_error "[nanoflann] findNeighbors() called before building"
  void Nearest(const Eigen::Vector3d& center, std::size_t count, double radius,
               std::vector<Eigen::Index>& found) const;

 private:
  struct Tree;
  std::unique_ptr<Tree> _tree;
};

}  // namespace libmfx::geometry::cylinder
