#pragma once

#include <utility>
#include <vector>

#include "features/shared/crossing_lines.h"
#include "features/shared/outline_fit.h"
#include "features/shared/scan.h"
#include "features/shared/surface_fit.h"

namespace libmfx::features::shared {

/// What tells one opening from another while its outline is looked for.
struct OutlineRules {
  const char* tilted;  ///< error text of a surface that leans too far
  ScanLayout layout;
  SurfaceRules surface;
  EdgeRules edges;
  data_structures::PointXYZW scan_origin;
  double clearance;
  std::size_t fewest_edges = 2;  ///< of one side
  bool checks_plan = false;      ///< settings that no plan can be made of are refused here too
};

/// The point of the outline that a scan line shows.
struct EdgePoint {
  const ScanLine* line;
  const data_structures::PointCloud* surface;  ///< samples of the line on the surface
  data_structures::PointXYZW place;
};

/// An outline as scan lines show it: all by side, or by arc.
struct Outline {
  ColumnSamples samples;
  SideLines lines;
  SurfaceSamples surface;
  geometry::Plane plane;
  std::vector<std::vector<EdgePoint>> edges;
  std::vector<Side> sides;  ///< where they are straight, once they are fitted

  Outline() = default;
  Outline(const Outline&) = delete;  // edge points know their lines by address
  Outline& operator=(const Outline&) = delete;
};

/// A surface with its normal to the side of the instrument.
geometry::Plane Facing(const geometry::Plane& surface,
                       const data_structures::PointXYZW& scan_origin);

/// The places of edge points, shape (3, n).
data_structures::PointCloud PlacesOf(const std::vector<EdgePoint>& edges);
/// Fits a line to the edge points of each side.
std::vector<Side> FitSides(const std::vector<std::vector<EdgePoint>>& edges);

}  // namespace libmfx::features::shared
