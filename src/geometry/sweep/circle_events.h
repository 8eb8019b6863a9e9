#pragma once

#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "geometry/sweep/predicates.h"
#include "geometry/sweep/tie_queue.h"
#include "libmfx/data_structures/block_allocator.h"

namespace libmfx::geometry::sweep {

/// The circle events that are still to come, the one with the highest bottom first.
///
/// Three stages, each for fewer events and with a dearer order. An event waits in the list of its
/// day, a slice of the height of the data, in no order. When the sweep line comes near, the day's
/// events enter a heap over rounded ordinates: comparing two doubles is all that it costs. Events
/// that come up there within rounding of one another go on to a second queue, where the circles are
/// computed again in about twice the precision, once each: so the order is that of the true circles
/// but for differences below 2^-95. A cancelled event stays until it comes up.
class CircleEvents {
 public:
  static constexpr int kNone = -1;
  /// The number of no event: cancelling it does nothing.
  static constexpr int kNoEvent = 0;

  /// \param sites all sites in sweep order; kept by reference
  explicit CircleEvents(const std::vector<Vec2>& sites);

  /// Adds the event at which the arc in the middle of three neighbours vanishes: the sites, by
  /// index from left to right, and the rounded bottom of their circle. Returns its number.
  int Push(int left, int middle, int right, int arc, double bottom);
  void Cancel(int event) { At(event).arc = kNone; }
  /// Takes the first event out when there is one and it doesn't lie below the sweep line at `y`;
  /// returns the arc that vanishes, or kNone. On a tie the circle comes before the site.
  int PopAbove(double y);

 private:
  /// Half a cache line.
  struct alignas(32) Circle {
    double y;  ///< of the bottom, rounded
    int arc;   ///< kNone once cancelled
    int next;  ///< in the list of the day, or kNoEvent
    int sites[3];
    bool refined;  ///< whether the bottom is known more precisely
  };
  struct Bottom {
    double y;      ///< rounded to a double
    double y_low;  ///< what that rounding left out
  };
  struct Entry {
    double y;
    int circle;
  };

  Circle& At(int circle) { return _circles[static_cast<std::size_t>(circle)]; }
  const Bottom& Refined(int circle);
  std::size_t DayOf(double y) const;
  void OpenDays(double y);
  int PopHigh(double y);
  bool AtOrAbove(const Entry& entry, double y);
  void SiftUp(Entry fresh);
  void PopHeap();
  void DropCancelled();
  void AddTie(int circle);
  void MoveHeapOn(double highest);
  void MoveTiesOn();
  int PopTie(double y);

  const std::vector<Vec2>& _sites;
  double _top;          ///< where the first day begins
  double _days_a_unit;  ///< days in one unit of height
  /// The first event of each day's list; the last day has no end.
  std::vector<int, data_structures::BlockAllocator<int>> _days;
  std::size_t _open = 0;  ///< the first day that is still a list
  /// The sweep line that the open days are enough for: down to here none has to be opened.
  double _open_to = std::numeric_limits<double>::infinity();
  std::vector<Entry> _heap;
  TieQueue _ties;
  RefinedBottoms _refined;
  std::vector<Circle> _circles;  ///< the first stands for no event
  std::vector<Bottom> _bottoms;  ///< of those circles that are refined
  std::vector<int> _free;
};

/// How close two ordinates may be for their order to be uncertain, each with an error of
/// kBottomError.
inline double BottomTolerance(double y1, double y2) {
  return kBottomError * (2.0 + std::abs(y1) + std::abs(y2));
}

}  // namespace libmfx::geometry::sweep
