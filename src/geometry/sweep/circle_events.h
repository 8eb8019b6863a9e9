#pragma once

#include <cstdint>
#include <vector>

#include "geometry/sweep/predicates.h"

namespace libmfx::geometry::sweep {

/// The circle events that are still to come, the one with the highest bottom first.
///
/// A binary heap over rounded ordinates. Where two ordinates are closer than their error the
/// circles are computed again in about twice the precision, once each, and the comparison is made
/// there; so the order is that of the true circles but for differences below 2^-95. A cancelled
/// event stays in the heap until it comes up.
class CircleEvents {
 public:
  static constexpr int kNone = -1;

  /// \param sites all sites; kept by reference
  explicit CircleEvents(const std::vector<Vec2>& sites) : _sites(sites) {}

  /// Adds the event at which the arc in the middle of three neighbours vanishes; the three sites,
  /// by index from left to right, turn clockwise. Returns its number.
  int Push(int left, int middle, int right, int arc);
  void Cancel(int event) { _circles[static_cast<std::size_t>(event)].arc = kNone; }
  /// Takes the first event out when there is one and it doesn't lie below the sweep line at `y`;
  /// returns the arc that vanishes, or kNone. On a tie the circle comes before the site.
  int PopAbove(double y);

 private:
  struct Circle {
    int sites[3];
    int arc;
    double y, y_low;
    bool refined;
  };
  struct Entry {
    double y;
    int circle;
  };

  Circle& Refined(int circle);
  bool Before(const Entry& a, const Entry& b);
  bool BeforeRefined(int a, int b);
  bool AtOrAbove(const Entry& entry, double y);
  void PopTop();

  const std::vector<Vec2>& _sites;
  std::vector<Entry> _heap;
  std::vector<Circle> _circles;
  std::vector<int> _free;
};

}  // namespace libmfx::geometry::sweep
