#pragma once

#include <queue>
#include <vector>

#include "features/shared/scan_layout.h"
#include "libmfx/data_structures/point_cloud.h"
#include "libmfx/data_structures/records.h"

/// \file
/// Short scan lines that cross the outline of an opening: how they are planned, and how their
/// samples are sorted. Lengths are metres.

namespace libmfx::features::shared {

/// Sorted samples: for each side of the outline its scan lines, one cloud a line.
using LineBins = std::vector<std::vector<data_structures::PointCloud>>;

/// Plans lines that alternate in direction, so that the instrument moves little between them.
class CrossingLines {
 public:
  /// \param clearance how far a line runs to each side of the nominal outline
  /// \param point_spacing of the samples on a line
  CrossingLines(double clearance, double point_spacing)
      : _clearance(clearance), _point_spacing(point_spacing) {}

  /// Adds a line through a point of the nominal outline.
  /// \param outward unit vector away from the opening
  /// \param depth from the outline to the middle of the opening: no line runs beyond it
  void Add(const data_structures::PointXYZW& on_outline, const data_structures::VectorXYZW& outward,
           double depth);
  /// Adds `passes` lines across a straight side, evenly spaced between its ends.
  /// \param start one end of the side
  /// \param along unit vector from there along the side
  void AddSide(const data_structures::PointXYZW& start, const data_structures::VectorXYZW& along,
               double length, unsigned int passes, const data_structures::VectorXYZW& outward,
               double depth);

  std::queue<data_structures::Position>& queue() { return _queue; }
  const LineSigns& signs() const { return _signs; }

 private:
  double _clearance;
  double _point_spacing;
  std::queue<data_structures::Position> _queue;
  LineSigns _signs;
};

/// One scan line of a scan.
struct ScanLine {
  int segment;
  int sense;                          ///< as planned
  std::vector<Eigen::Index> columns;  ///< of the scan, from outside to inside where that is known
};

/// For each side of an outline its scan lines.
using SideLines = std::vector<std::vector<ScanLine>>;

/// The lines of each side, in the order in which they first appear; a line that is interrupted is
/// one. The last column of the scan ends the last run and belongs to no line.
/// \param scan rows x, y, z, quality, segment number
SideLines SortIntoLines(const data_structures::PointCloud& scan, const ScanLayout& layout);

}  // namespace libmfx::features::shared
