#pragma once

#include <cstdint>
#include <limits>
#include <unordered_map>

/// \file
/// What each move of a plan is for. Samples carry the number of the drive point that they were
/// taken on the way to, so the number tells the move. Planners write along a layout, and analyses
/// read it.

namespace libmfx::features::shared {

/// For each drive point of a plan the sign of its line: +1 runs from outside the opening to inside,
/// -1 the other way.
using LineSigns = std::unordered_map<int, double>;

struct ScanMove {
  bool line = false;  ///< samples on it take part; otherwise it leads to the beginning of a line
  int side = 0;       ///< of the outline, in the order of the plan
  int sense = 0;  ///< +1: from outside the opening to inside, -1: to outside, 0: neither is known
};

class ScanLayout {
 public:
  /// Straight lines through a hole: to the outer end, over the rim inwards, over the rim outwards.
  static ScanLayout Star() { return ScanLayout(3); }
  /// Lines that stop inside the rim: to its beginning, over the rim; inwards and outwards in turn.
  static ScanLayout HalfLines() { return ScanLayout(2); }
  /// Short lines across the sides of an outline: to the beginning, over the side. They alternate.
  /// \param signs of the lines as planned; a line without one has no sense
  /// \param last_line of those that take part; the scan is read up to the first beyond
  static ScanLayout Crossing(unsigned int sides, unsigned int lines_per_side,
                             const LineSigns& signs,
                             std::int64_t last_line = std::numeric_limits<int>::max()) {
    ScanLayout layout(2);
    layout._sides = sides;
    layout._lines_per_side = lines_per_side;
    layout._signs = &signs;
    layout._last = 2 * last_line + 1;
    return layout;
  }
  /// The sense of line `index` of a plan of crossing lines, the first of which runs inwards.
  static int SenseOfCrossing(std::size_t index) { return index % 2 == 0 ? 1 : -1; }

  ScanMove At(int segment) const;
  /// Whether the scan ends, for the analysis, with the first sample of this number.
  bool EndsBefore(int segment) const { return segment > _last; }
  unsigned int sides() const { return _sides; }

 private:
  explicit ScanLayout(int moves) : _moves(moves) {}

  int _moves;  ///< drive points of one line
  unsigned int _sides = 1;
  unsigned int _lines_per_side = 0;
  const LineSigns* _signs = nullptr;
  std::int64_t _last = std::numeric_limits<int>::max();
};

}  // namespace libmfx::features::shared
