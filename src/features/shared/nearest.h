#pragma once

#include <cmath>
#include <limits>

#include "libmfx/data_structures/point_cloud.h"

namespace libmfx::features::shared {

/// A column of a line, and how far it is from a point, metres.
struct NearestColumn {
  Eigen::Index column = -1;  ///< -1: none counts
  double distance = std::numeric_limits<double>::max();
};

/// The first of the columns that are nearest to a point, among those that count.
///
/// The search begins at the end of the line that is nearer. There it finds its column among the
/// first, and what follows is turned away by its square, without a root and by a branch that does
/// not hang on noise.
/// \param columns of the line
/// \param squared double(column), the square of its distance
/// \param counts bool(column); asked only of columns that are better than the best so far
template <typename Squared, typename Counts>
NearestColumn FindNearest(Eigen::Index columns, Squared squared, Counts counts) {
  // A root rounds its square by less than this share: beyond, no root is as small.
  constexpr double kSlack = 1.0 + 0x1p-50;
  NearestColumn nearest;
  if (columns == 0) return nearest;
  double limit = nearest.distance;  // of the squares that are worth a root
  const bool backwards = squared(columns - 1) < squared(0);
  const Eigen::Index step = backwards ? -1 : 1;
  for (Eigen::Index i = backwards ? columns - 1 : 0; i >= 0 && i < columns; i += step) {
    const double square = squared(i);
    if (!(square <= limit)) continue;
    const double distance = std::sqrt(square);
    const bool better = backwards ? distance <= nearest.distance : distance < nearest.distance;
    if (!better || !counts(i)) continue;
    nearest = {i, distance};
    limit = square * kSlack;
  }
  return nearest;
}

}  // namespace libmfx::features::shared
