#include "geometry/sweep/circle_events.h"

#include <algorithm>

namespace libmfx::geometry::sweep {
namespace {
/// Children of a node of the heap: four entries are one cache line.
constexpr std::size_t kFanOut = 4;
/// Sites in one day, where they spread evenly.
constexpr double kSitesADay = 2.0;
/// So many days before it is opened a day's first circle is asked for.
constexpr std::size_t kDaysAhead = 8;
}  // namespace

CircleEvents::CircleEvents(const std::vector<Vec2>& sites) : _sites(sites), _top(0.0) {
  _days.assign(sites.size() + 1, kNoEvent);
  _circles.push_back({0.0, kNone, kNoEvent, {kNone, kNone, kNone}, false});
  double height = 0.0;
  if (!sites.empty()) {
    _top = sites.front().y;
    height = _top - sites.back().y;
  }
  const double days = static_cast<double>(sites.size()) / (kSitesADay * height);
  _days_a_unit = std::isfinite(days) ? days : 0.0;
}

std::size_t CircleEvents::DayOf(double y) const {
  const double day = (_top - y) * _days_a_unit;
  if (!(day > 0.0)) return 0;
  const std::size_t last = _days.size() - 1;
  // By way of an int, which is converted in one instruction.
  return day < static_cast<double>(last) ? static_cast<std::size_t>(static_cast<int>(day)) : last;
}

/// Moves the events of all days down to `y`, and those that might belong there by rounding.
void CircleEvents::OpenDays(double y) {
  const std::size_t end = DayOf(y - 4.0 * BottomTolerance(y, y)) + 1;
  for (; _open < end; ++_open) {
    if (_open + kDaysAhead < _days.size()) __builtin_prefetch(&At(_days[_open + kDaysAhead]));
    for (int circle = _days[_open]; circle != kNoEvent;) {
      const int next = At(circle).next;
      if (At(circle).arc == kNone) {
        _free.push_back(circle);
      } else {
        SiftUp({At(circle).y, circle});
      }
      circle = next;
    }
  }
}

int CircleEvents::Push(int left, int middle, int right, int arc, double bottom) {
  int id;
  if (_free.empty()) {
    id = static_cast<int>(_circles.size());
    _circles.emplace_back();
  } else {
    id = _free.back();
    _free.pop_back();
  }
  const std::size_t day = DayOf(bottom);
  At(id) = {bottom, arc, kNoEvent, {left, middle, right}, false};
  if (day < _open) {
    SiftUp({bottom, id});
  } else {
    At(id).next = _days[day];
    _days[day] = id;
  }
  return id;
}

void CircleEvents::SiftUp(Entry fresh) {
  std::size_t hole = _heap.size();
  _heap.push_back(fresh);
  while (hole > 0) {
    const std::size_t up = (hole - 1) / kFanOut;
    if (_heap[up].y >= fresh.y) break;
    _heap[hole] = _heap[up];
    hole = up;
  }
  _heap[hole] = fresh;
}

void CircleEvents::PopHeap() {
  const Entry last = _heap.back();
  _heap.pop_back();
  const std::size_t n = _heap.size();
  if (n == 0) return;
  Entry* const heap = _heap.data();
  std::size_t hole = 0;
  for (std::size_t first = 1; first < n; first = kFanOut * hole + 1) {
    std::size_t best = first;
    const std::size_t end = std::min(first + kFanOut, n);
    for (std::size_t child = first + 1; child < end; ++child) {
      best = heap[child].y > heap[best].y ? child : best;
    }
    if (heap[best].y <= last.y) break;
    heap[hole] = heap[best];
    hole = best;
  }
  heap[hole] = last;
}

void CircleEvents::DropCancelled() {
  while (!_heap.empty() && At(_heap.front().circle).arc == kNone) {
    _free.push_back(_heap.front().circle);
    PopHeap();
  }
}

int CircleEvents::PopAbove(double y) {
  if (y < _open_to) {
    OpenDays(y);
    _open_to = y;
  }
  return PopHigh(y);
}

/// PopAbove among the open days.
int CircleEvents::PopHigh(double y) {
  DropCancelled();
  if (!_ties.Empty()) return PopTie(y);
  if (_heap.empty()) return kNone;
  const Entry top = _heap.front();
  if (top.y < y - BottomTolerance(top.y, y)) return kNone;
  PopHeap();
  DropCancelled();
  if (!_heap.empty() && _heap.front().y >= top.y - BottomTolerance(top.y, _heap.front().y)) {
    AddTie(top.circle);
    MoveHeapOn(top.y);
    return PopTie(y);
  }
  if (!AtOrAbove(top, y)) {
    SiftUp(top);
    return kNone;
  }
  _free.push_back(top.circle);
  return At(top.circle).arc;
}

int CircleEvents::PopTie(double y) {
  MoveTiesOn();
  if (_ties.Empty()) return PopHigh(y);  // all of them were cancelled
  const TieQueue::Tie first = _ties.First();
  if (first.y < y || (first.y == y && first.y_low < 0.0)) return kNone;
  _ties.Pop();
  _free.push_back(first.circle);
  return At(first.circle).arc;
}

const CircleEvents::Bottom& CircleEvents::Refined(int circle) {
  Circle& c = At(circle);
  if (_bottoms.size() < _circles.size()) _bottoms.resize(_circles.size());
  Bottom& known = _bottoms[static_cast<std::size_t>(circle)];
  if (!c.refined) {
    const CircleBottom bottom = _refined.Of(_sites[static_cast<std::size_t>(c.sites[0])],
                                            _sites[static_cast<std::size_t>(c.sites[1])],
                                            _sites[static_cast<std::size_t>(c.sites[2])]);
    known = {bottom.y, bottom.y_low};
    c.refined = true;
  }
  return known;
}

bool CircleEvents::AtOrAbove(const Entry& entry, double y) {
  const double difference = entry.y - y;
  const double tolerance = BottomTolerance(entry.y, y);
  if (difference > tolerance) return true;
  if (difference < -tolerance) return false;
  const Bottom& bottom = Refined(entry.circle);
  return bottom.y > y || (bottom.y == y && bottom.y_low >= 0.0);
}

void CircleEvents::AddTie(int circle) {
  const Bottom& refined = Refined(circle);
  _ties.Push({refined.y, refined.y_low, circle});
}

/// Moves all events of the heap into the second queue where none can be told from the one that was
/// the highest, as in a row of a raster: one after the other they would sift through the heap.
void CircleEvents::MoveHeapOn(double highest) {
  // Half of the tolerance, as the first of the queue may be higher than its rounded ordinate.
  const auto stays = [&](const Entry& entry) {
    return entry.y < highest - 0.5 * BottomTolerance(0.0, 0.0) || At(entry.circle).arc == kNone;
  };
  if (std::any_of(_heap.begin(), _heap.end(), stays)) return;
  for (const Entry& entry : _heap) AddTie(entry.circle);
  _heap.clear();
}

/// Moves all events into the second queue that can't be told from its first.
void CircleEvents::MoveTiesOn() {
  for (;;) {
    while (!_ties.Empty() && At(_ties.First().circle).arc == kNone) {
      _free.push_back(_ties.First().circle);
      _ties.Pop();
    }
    DropCancelled();
    if (_heap.empty() || _ties.Empty()) return;
    const double first = _ties.First().y;
    const Entry top = _heap.front();
    if (top.y < first - BottomTolerance(first, top.y)) return;
    PopHeap();
    AddTie(top.circle);
  }
}

}  // namespace libmfx::geometry::sweep
