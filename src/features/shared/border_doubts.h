#pragma once

#include <string>
#include <vector>

#include "features/shared/crossing_lines.h"
#include "libmfx/data_structures/point_cloud.h"
#include "libmfx/data_structures/records.h"
#include "libmfx/geometry/plane.h"

/// \file
/// Doubts about a border that was read off the last samples of a surface. Lengths are metres.

namespace libmfx::features::shared {

/// A scan line that crosses a border.
struct BorderLine {
  int segment;
  data_structures::PointXYZW edge;             ///< where the fit takes the border to be
  const data_structures::PointCloud* surface;  ///< its samples on the surface, in order either way
};

/// What came back from a surface, and how it was asked for.
struct SurfaceScan {
  const geometry::Plane& plane;
  const std::vector<data_structures::RawDataPoint>& samples;  ///< of any quality
  double quality_threshold;
  double point_spacing;  ///< as asked for
  data_structures::PointXYZW scan_origin;
};

/// What makes the borders doubtful: texts for the operator, none where nothing does.
///
/// A border lies beyond the last sample of its line. Where more than a sixth of the samples in
/// front of it are missing, that last one moves back, on all lines alike: an opening grows by up to
/// millimetres, and its fit is none the worse for it. What is missing is looked for among all that
/// came back: samples of too low a quality, samples off the surface (a groove, a burr), or none;
/// and where they merely lie farther apart than they were asked for, that is another thing. Samples
/// that are missing farther than 20 spacings from the border say nothing about it.
/// \param groups lines that are judged together: all of a hole, a side or an arc each of an opening
std::vector<std::string> DoubtsOfBorder(const std::vector<std::vector<BorderLine>>& groups,
                                        const SurfaceScan& scan);

/// The lines that have an edge point.
/// \param segment_row of the edge points' segment numbers
/// \param surface one cloud a line, of rows x, y, z, quality, segment number; outlives the result
std::vector<BorderLine> BorderLines(const data_structures::PointCloud& edges,
                                    Eigen::Index segment_row,
                                    const std::vector<data_structures::PointCloud>& surface);
/// The same for each side of an opening, whose edge points have the rows of their lines.
std::vector<std::vector<BorderLine>> BorderLines(
    const std::vector<data_structures::PointCloud>& edges, const LineBins& surface);

}  // namespace libmfx::features::shared
