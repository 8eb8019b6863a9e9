#include "geometry/close_neighbours.h"

#include <algorithm>
#include <cmath>

namespace libmfx::geometry {

bool CloseNeighbours::HasTwo(Eigen::Index column) {
  if (!(_radius > 0.0)) return false;
  if (HasTwoBeside(_points, column, _from.col(column), _radius)) return true;
  if (_grid.empty()) BuildGrid();
  int found = 0;
  const Eigen::Array3d cell = (_from.col(column).array() / (_radius / std::sqrt(3.0))).floor();
  // A radius spans less than two cells, so neighbours lie at most two cells away.
  for (int shell = 0; shell <= 2; ++shell) {
    for (int dx = -shell; dx <= shell; ++dx) {
      for (int dy = -shell; dy <= shell; ++dy) {
        for (int dz = -shell; dz <= shell; ++dz) {
          if (std::max({std::abs(dx), std::abs(dy), std::abs(dz)}) != shell) continue;
          const auto entry = _grid.find(KeyOf(cell + Eigen::Array3d(dx, dy, dz)));
          if (entry == _grid.end()) continue;
          for (const Eigen::Index j : entry->second) {
            if (j != column && Near(column, j) && ++found == 2) return true;
          }
        }
      }
    }
  }
  return false;
}

void CloseNeighbours::BuildGrid() {
  for (Eigen::Index i = 0; i < _points.cols(); ++i) {
    const Eigen::Array3d cell = (_points.col(i).array() / (_radius / std::sqrt(3.0))).floor();
    _grid[KeyOf(cell)].push_back(i);
  }
}

std::uint64_t CloseNeighbours::KeyOf(const Eigen::Array3d& cell) const {
  // Cells that share a key only cost a look more; distances decide.
  std::uint64_t key = 0;
  for (int i = 0; i < 3; ++i) {
    const double wrapped = std::remainder(cell[i], 4503599627370496.0);
    key = (key ^ static_cast<std::uint64_t>(static_cast<std::int64_t>(wrapped))) *
          0x9E3779B97F4A7C15ULL;
    key ^= key >> 29;
  }
  return key;
}

}  // namespace libmfx::geometry
