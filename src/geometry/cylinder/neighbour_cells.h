#pragma once

#include <Eigen/Core>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <vector>

#include "geometry/cell_table.h"
#include "geometry/cylinder/distinct_neighbourhood.h"
#include "geometry/cylinder/model.h"
#include "geometry/cylinder/neighbourhood.h"

namespace libmfx::geometry::cylinder {

/// The nearest neighbours of points among each other, exact. The points have to outlive it.
///
/// A wall is covered about evenly, so a grid whose cells are as large as the neighbours of the
/// middle point spread answers most queries from the block of cells around a point, or from the
/// second or third ring of them. What it doesn't answer, since a point lies far from all others or
/// in a crowd, a look at all points does, and a KD-tree from the 33rd such point on. So no layout
/// of the points costs much more than the tree does.
class NeighbourCells {
 public:
  /// \param points finite
  /// \param count how many neighbours of a point count, the point itself one of them
  /// \param radius how far off one may be, included
  NeighbourCells(const Points& points, std::size_t count,
                 double radius = std::numeric_limits<double>::infinity());

  /// The places of all points; those near each other mostly follow each other, so that what a query
  /// read is at hand for the next one.
  const std::vector<std::uint32_t>& order() const {
    return _side == 0.0 ? _order : _table.places();
  }

  /// The neighbours of the point at `place`: the first `count` within the radius, in any order.
  /// Squares of distances that overflow are not found. Valid until the next query.
  std::span<Neighbour> Of(Eigen::Index place);

  /// The square of the distance of the last of them.
  double SquaredReach(Eigen::Index place);

  /// Up to where `SeeAround` shows all points, as a square; 0 when it shows none.
  double squared_view() const { return _squared_view; }

  /// Shows `see` the squared distances and the places of the points around one, which is given by
  /// its number in `order()`: all up to `squared_view()`, and some beyond.
  /// \return false, and none is shown, where they are too many to look at or no grid tells them
  template <typename See>
  bool SeeAround(std::size_t number, const See& see) {
    if (_side == 0.0) return false;
    const Eigen::Vector3d p(_entries[number].x, _entries[number].y, _entries[number].z);
    EnterBlock(CellOf(p));
    if (IsCrowd(_in_block)) return false;
    GatherBlock();
    const double *x = _block_x.data(), *y = _block_y.data(), *z = _block_z.data();
    const Eigen::Index* places = _block_places.data();
    const double px = p.x(), py = p.y(), pz = p.z();
    for (std::size_t i = 0, end = _in_block; i < end; ++i) {
      const double dx = x[i] - px, dy = y[i] - py, dz = z[i] - pz;
      see(dx * dx + dy * dy + dz * dz, places[i]);
    }
    return true;
  }

 private:
  /// A point at hand in the order of the cells.
  struct Entry {
    double x, y, z;
    Eigen::Index place;

    double SquaredDistance(const Eigen::Vector3d& p) const {
      const double dx = x - p.x(), dy = y - p.y(), dz = z - p.z();
      return dx * dx + dy * dy + dz * dz;
    }
  };

  static constexpr std::size_t kCandidates = 100;  // most of them in a block for each neighbour

  void ChooseCells();
  CellTable::Cell CellOf(const Eigen::Vector3d& p) const;
  bool IsCrowd(std::size_t candidates) const { return candidates > kCandidates * _count; }
  void EnterBlock(const CellTable::Cell& middle);
  void GatherBlock();
  std::optional<std::span<Neighbour>> FindInCells(const Eigen::Vector3d& p);
  std::span<Neighbour> KeepNear(const Eigen::Vector3d& p, double limit,
                                const std::vector<CellTable::Run>& block, std::size_t candidates);
  std::span<Neighbour> TakeFirst(std::span<Neighbour> near, double limit);
  void LookAtAll(const Eigen::Vector3d& p, std::vector<Neighbour>& found) const;
  void FindElsewhere(const Eigen::Vector3d& p);

  const Points& _points;
  std::size_t _count;
  double _most_squared;  // that the radius leaves
  double _side = 0.0;    // of a cell; 0: no grid answers
  double _cells_a_length = 0.0;
  double _squared_view = 0.0;
  double _usual_squared = 0.0;  // within which mostly enough are found
  Eigen::Vector3d _origin = Eigen::Vector3d::Zero();
  CellTable _table;
  std::vector<std::uint32_t> _order;  // where no grid gives one
  std::vector<Entry> _entries;        // as the table has them

  // The block that was read last, around this cell.
  std::optional<CellTable::Cell> _middle;
  std::size_t _in_block = 0;
  std::vector<CellTable::Run> _block, _wider_block;
  bool _gathered = false;  // its points, side by side
  std::vector<double> _block_x, _block_y, _block_z;
  std::vector<Eigen::Index> _block_places;

  std::vector<Neighbour> _near;   // room for all of a block
  std::vector<Neighbour> _alike;  // room for those of about one distance
  std::vector<Neighbour> _found;  // elsewhere
  int _looks_at_all = 0;
  std::optional<DistinctNeighbourhood> _tree;
};

}  // namespace libmfx::geometry::cylinder
