#pragma once

#include <Eigen/Core>
#include <memory>
#include <vector>

#include "geometry/cylinder/model.h"

namespace libmfx::geometry::cylinder {

/// A point as seen from another one; the nearer first, of equally near ones the earlier.
struct Neighbour {
  double squared;      ///< square of the distance
  Eigen::Index place;  ///< among the points

  friend bool operator<(const Neighbour& a, const Neighbour& b) {
    return a.squared < b.squared || (a.squared == b.squared && a.place < b.place);
  }
};

/// Puts a neighbour where it belongs among the first `count`, which are in order.
void InsertFirst(const Neighbour& neighbour, std::size_t count, std::vector<Neighbour>& found);

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

  /// The `count` first neighbours of `center`, in order; squares that overflow are not found.
  ///
  /// Where that many points lie so near that the squares underflow to nothing, any of these.
  /// \throws std::runtime_error "[nanoflann] findNeighbors() called before building"
  void First(const Eigen::Vector3d& center, std::size_t count, std::vector<Neighbour>& found) const;

 private:
  void RequireTree() const;

  struct Tree;
  std::unique_ptr<Tree> _tree;
};

}  // namespace libmfx::geometry::cylinder
