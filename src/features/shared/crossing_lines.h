#pragma once

#include <queue>
#include <unordered_map>
#include <vector>

#include "libmfx/data_structures/point_cloud.h"
#include "libmfx/data_structures/records.h"

/// \file
/// Short scan lines that cross the outline of an opening: how they are planned, and how their
/// samples are sorted. Line k of a plan is the move from drive point 2k to drive point 2k + 1, so
/// its samples carry the odd segment number 2k + 1. Lengths are metres.

namespace libmfx::features::shared {

/// For each drive point of a plan the sign of its line: +1 runs from outside the opening to inside,
/// -1 the other way.
using LineSigns = std::unordered_map<int, double>;

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
  double _sign = 1.0;
  std::queue<data_structures::Position> _queue;
  LineSigns _signs;
};

/// Sorts the columns of a scan into one group for each side, and there into one cloud for each
/// line, in the order in which the lines first appear; a line that is interrupted stays one cloud.
/// Every line of more than one column comes back running from outside to inside. The last column
/// of the scan ends the last run and belongs to no line.
/// \param scan rows x, y, z, quality, segment number
/// \param last_segment columns count only before the first with a number above this
LineBins BinCrossingLines(const data_structures::PointCloud& scan, unsigned int sides,
                          unsigned int lines_per_side, const LineSigns& signs,
                          int last_segment = 0x7FFFFFFF);

}  // namespace libmfx::features::shared
