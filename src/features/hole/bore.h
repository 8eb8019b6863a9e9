#pragma once

#include <optional>
#include <vector>

#include "libmfx/data_structures/point_cloud.h"
#include "libmfx/geometry/plane.h"

/// \file
/// The bore of a hole as its scan lines show it. Lengths are metres. docs/hole.md tells the
/// geometry with pictures.

namespace libmfx::features {

/// The bore below a rim: a cylinder across the surface, under a chamfer if there is one.
struct Bore {
  const geometry::Plane& surface;
  data_structures::PointXYZW center;     ///< of the rim, on the surface
  data_structures::VectorXYZW far_side;  ///< along the surface, away from the instrument
  data_structures::PointXYZW scan_origin;
  double radius;          ///< of the bore, below the chamfer
  double chamfer_depth;   ///< 0 without chamfer
  double chamfer_offset;  ///< how much wider than the bore the rim is
  double point_spacing;
};

/// The feet on the surface of the samples of one line that lie on the wall, and how deep they lay.
struct WallRun {
  /// Shape (5, at most kFeetPerLine): x, y, z, quality, segment number, each the mean of
  /// neighbouring samples; in scan order.
  data_structures::PointCloud feet;
  double shallowest = 0.0;
  double deepest = 0.0;
  std::vector<Eigen::Index> columns = {};  ///< of the line, whose samples these are
};

/// A line counts with at most this many feet, so that the many samples of a deep wall do not drown
/// the one point of a line that shows the rim alone.
inline constexpr Eigen::Index kFeetPerLine = 5;

/// The wall on one line; nothing if it shows none.
///
/// Only a beam that comes in over the near side can meet the wall, and it meets the far half. A
/// sample lies on it when its beam crosses the surface in that half, its foot lies close to the
/// bore's circle, and it is deeper than the chamfer, but no deeper than the bore's radius: farther
/// down an error of the normal would move the foot. Where neighbouring samples do, and their depths
/// spread more than the distances of their feet from the centre, the line runs down a wall; on a
/// floor, or on a plate behind, it is the other way round.
std::optional<WallRun> FindWall(const data_structures::PointCloud& line, const Bore& bore);

/// The foot of the sample of a line that lies lowest on the chamfer, next to the mouth of the bore;
/// nothing if the line shows no chamfer there. Shape (5, 1).
std::optional<data_structures::PointCloud> FindMouth(const data_structures::PointCloud& line,
                                                     const Bore& bore);

/// The angle, radians, between the outermost feet as seen from the bore's centre, measured across
/// the direction to the far side.
double SpanOf(const std::vector<data_structures::PointCloud>& feet, const Bore& bore);

}  // namespace libmfx::features
