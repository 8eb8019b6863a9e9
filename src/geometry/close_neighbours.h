#pragma once

#include <Eigen/Core>
#include <algorithm>
#include <cstdint>
#include <unordered_map>
#include <vector>

namespace libmfx::geometry {

/// Whether at least two of the two columns to either side of `column` stand strictly closer than
/// `radius` to `from`.
/// \param points x, y, z on top
inline bool HasTwoBeside(const Eigen::Ref<const Eigen::MatrixXd>& points, Eigen::Index column,
                         const Eigen::Vector3d& from, double radius) {
  int found = 0;
  const Eigen::Index first = std::max<Eigen::Index>(0, column - 2);
  const Eigen::Index last = std::min(points.cols() - 1, column + 2);
  for (Eigen::Index j = first; j <= last; ++j) {
    if (j != column && (from - points.col(j).head<3>()).norm() < radius) ++found;
  }
  return found >= 2;
}

/// Answers which columns of a scan line have at least two others strictly closer than a radius. A
/// column is looked at from where it counts, which need not be where it stands.
///
/// On a line in scan order the neighbours are the columns beside, and two looks answer. For samples
/// in any other order a grid is built at the first need. Its cells are small enough that all points
/// in one are neighbours of each other, which keeps the work linear however they lie.
class CloseNeighbours {
 public:
  /// \param points where the columns stand, shape (3, n), metres
  /// \param from where they are looked at from, the same shape
  CloseNeighbours(const Eigen::Matrix3Xd& points, const Eigen::Matrix3Xd& from, double radius)
      : _points(points), _from(from), _radius(radius) {}

  bool HasTwo(Eigen::Index column);

 private:
  using Cell = std::vector<Eigen::Index>;

  bool Near(Eigen::Index i, Eigen::Index j) const {
    return (_from.col(i) - _points.col(j)).norm() < _radius;
  }
  void BuildGrid();
  std::uint64_t KeyOf(const Eigen::Array3d& cell) const;

  const Eigen::Matrix3Xd& _points;
  const Eigen::Matrix3Xd& _from;
  double _radius;
  std::unordered_map<std::uint64_t, Cell> _grid;
};

}  // namespace libmfx::geometry
