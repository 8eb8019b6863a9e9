#pragma once

#include <Eigen/Core>
#include <cstddef>
#include <optional>
#include <vector>

#include "host/wire.h"

/// \file
/// The paths that a check drives, and where a direction lies on one. Radians, metres, the
/// instrument's frame.

namespace libmfx::host {

/// A straight move of a path.
struct CheckMove {
  int index = 0;  ///< of the drive point that ends it, which is the status of its samples
  Eigen::Vector3d start;
  Eigen::Vector3d end;
  double spacing = 0.0;  ///< 0: not to be sampled

  double Length() const { return (end - start).norm(); }
  /// How many samples it asks for.
  double Asked() const { return spacing > 0.0 ? Length() / spacing : 0.0; }
};

/// Where a direction lies along a move.
struct CheckPlace {
  const CheckMove* move = nullptr;
  double along = 0.0;     ///< metres from the start of the move to the nearest point of it
  double off = 0.0;       ///< angle to that point, radians
  Eigen::Vector2d aside;  ///< azimuth and elevation less those of that point
  double range = 0.0;     ///< of that point
};

/// A path of known geometry.
class CheckPath {
 public:
  explicit CheckPath(const std::vector<Position>& points);

  const std::vector<Position>& points() const { return _points; }
  const std::vector<CheckMove>& moves() const { return _moves; }
  /// The move that the drive point ends, if it ends one.
  const CheckMove* Ending(long long index) const;
  /// How many samples the path asks for.
  double Asked() const;
  /// The nearest place on the path: on a sampled move where one is near enough.
  CheckPlace Find(double azimuth, double elevation) const;

  static CheckPlace On(const CheckMove& move, double azimuth, double elevation);
  /// So near that a sample counts as one of the move: ten times what an instrument may point off.
  static constexpr double kNear = 1e-3;

 private:
  std::vector<Position> _points;
  std::vector<CheckMove> _moves;
};

/// The paths in the order in which they are driven. They look the same neither mirrored nor with
/// exchanged axes; they have different spacings, and ranges that no wall has; a second one tells
/// whether the instrument starts afresh.
std::vector<CheckPath> CheckPaths();

}  // namespace libmfx::host
