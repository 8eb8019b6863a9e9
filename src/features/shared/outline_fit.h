#pragma once

#include <array>
#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include "features/shared/crossing_lines.h"
#include "features/shared/segments.h"
#include "libmfx/data_structures/point_cloud.h"
#include "libmfx/geometry/circle.h"
#include "libmfx/geometry/line.h"
#include "libmfx/geometry/plane.h"

/// \file
/// From scan lines that cross an outline to the outline: one edge point a line, the corners of
/// straight sides, the shift of the centre. Lengths are metres, angles radians.

namespace libmfx::features::shared {

/// What tells one opening's edge points from another's.
struct EdgeRules {
  double raise;          ///< height above the surface of the point that the edge is nearest to
  double limit;          ///< an edge point is nearer than this to the raised point
  double point_spacing;  ///< an edge point has two neighbours within three times this
};

/// One edge point for each line that has one: of the samples with two close neighbours, the one
/// nearest the point raised above the middle of the opening. A line runs from outside to inside.
/// \return rows as in the first line, x, y, z projected onto the plane
data_structures::PointCloud EdgePoints(const std::vector<data_structures::PointCloud>& lines,
                                       const data_structures::PointXYZW& plane_point,
                                       const geometry::Plane& plane, const EdgeRules& rules);
/// The edge point of one line, on the plane.
std::optional<data_structures::PointXYZW> EdgePointOf(const data_structures::PointCloud& line,
                                                      const data_structures::PointXYZW& plane_point,
                                                      const geometry::Plane& plane,
                                                      const EdgeRules& rules);

/// The edge points of a straight side, shape (3, n), and the line fitted to them.
struct Side {
  data_structures::PointCloud edges;
  geometry::Line line;
  bool fitted;  ///< whether the edge points determine the line
};

Side SideThrough(data_structures::PointCloud edges);

/// Corner i is where the line fitted to the edge points of side i meets that of the next side.
/// \return nothing if two neighbours do not meet
std::optional<std::vector<data_structures::PointXYZW>> Corners(const std::vector<Side>& sides,
                                                               const geometry::Plane& plane);

/// The mean of all edge points and all corners.
data_structures::PointXYZW MeanOf(const std::vector<Side>& sides,
                                  const std::vector<data_structures::PointXYZW>& corners);

/// The doubt about a side whose edge points do not lie close to the line fitted to it: to 5 point
/// spacings, or a tenth of the clearance where that is more. One that does not belongs to another
/// border (a line near a sharp corner crosses the next side too) or to none (a line beside the
/// opening), and has bent its side.
std::vector<std::string> DoubtsOfSides(const std::vector<Side>& sides, double point_spacing,
                                       double clearance);

/// The doubt about corners that do not lie where the outline that is reported has them, to the same
/// limit: a side that is bent as a whole stays close to its own line.
/// \param found where neighbouring sides meet
/// \param reported the same corners of the outline that the result tells
std::vector<std::string> DoubtsOfCorners(const std::vector<data_structures::PointXYZW>& found,
                                         const std::vector<data_structures::PointXYZW>& reported,
                                         double point_spacing, double clearance);

/// The doubts about the two arcs of a slot: edge points that do not lie as close to the circle
/// fitted to them as those of a side to their line, and radii that differ by as much.
/// \param edges those that each circle was fitted to
std::vector<std::string> DoubtsOfArcs(const std::array<geometry::Circle, 2>& arcs,
                                      const std::vector<data_structures::PointCloud>& edges,
                                      double point_spacing, double clearance);

/// The doubt about a centre that was found off its nominal where no re-scan was asked for. The
/// lines lie around the nominal, and so does the mean of their edge points: what is found lies
/// between the nominal and the truth.
/// \param rescan_threshold the largest double where the request
/// has none
std::vector<std::string> DoubtsOfCenter(const data_structures::PointXYZW& measured,
                                        const data_structures::PointXYZW& nominal,
                                        double point_spacing, double rescan_threshold);

/// The quality figure that the scatter of the edge points about the sides' lines earns, 0 to 100.
double QualityOfEdges(const std::vector<Side>& sides);

/// The grid of the samples can pull the mean of the edge points aside: moves it within the surface
/// towards the middle of the lines' last surface points but one. It stays when a line has none.
/// \param selected lines that run from outside to inside
/// \param center in the surface: what lies more than three spacings below or above is not of it
data_structures::PointXYZW CenterShiftedBySpacing(const LineBins& selected,
                                                  const data_structures::PointXYZW& center,
                                                  const data_structures::VectorXYZW& normal,
                                                  const data_structures::PointXYZW& scan_origin,
                                                  double point_spacing);

/// How many samples lie inside of something.
/// \param is_inside bool(PointXYZW)
template <typename IsInside>
int CountInside(const LineBins& selected, IsInside is_inside) {
  int inside = 0;
  for (const auto& side : selected) {
    for (const data_structures::PointCloud& line : side) {
      for (Eigen::Index i = 0; i < line.cols(); ++i) inside += is_inside(line.point(i)) ? 1 : 0;
    }
  }
  return inside;
}

/// Whether more than 0.4 of the surface samples, rounded up, lie inside the measured outline: the
/// opening is then no opening.
/// \param is_inside bool(PointXYZW)
template <typename IsInside>
bool IsMostlyInside(const LineBins& selected, IsInside is_inside) {
  Eigen::Index total = 0;
  for (const auto& side : selected) total += ColumnsOf(side);
  const double most = std::ceil(0.4 * static_cast<double>(total));
  return static_cast<double>(CountInside(selected, is_inside)) > most;
}

}  // namespace libmfx::features::shared
