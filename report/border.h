#pragma once

#include <vector>

#include "report/plot.h"

namespace libmfx::host::report {

/// Where a point lies seen from a border, metres.
struct BorderPlace {
  double along = 0.0;  ///< of the border's nearest point, from the border's beginning on
  double off = 0.0;    ///< distance from the border, above 0 outside
};

/// A closed line in a plane, around what is open.
class Border {
 public:
  /// \param corners in order; the line from the last to the first closes it
  explicit Border(std::vector<Point2> corners);

  double length() const { return _length; }
  BorderPlace Find(const Point2& p) const;

 private:
  bool Holds(const Point2& p) const;

  std::vector<Point2> _corners;
  double _length = 0.0;
};

}  // namespace libmfx::host::report
