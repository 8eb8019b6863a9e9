#include "geometry/sweep/circle_events.h"

#include <cmath>

namespace libmfx::geometry::sweep {

int CircleEvents::Push(int left, int middle, int right, int arc) {
  int id;
  if (_free.empty()) {
    id = static_cast<int>(_circles.size());
    _circles.emplace_back();
  } else {
    id = _free.back();
    _free.pop_back();
  }
  const auto site = [this](int i) -> const Vec2& { return _sites[static_cast<std::size_t>(i)]; };
  const CircleBottom bottom = ComputeBottom(site(left), site(middle), site(right));
  _circles[static_cast<std::size_t>(id)] = {
      {left, middle, right}, arc, bottom.y, bottom.y_low, bottom.refined};
  // Sift up: the heap's order is that of the highest bottom first.
  const Entry fresh{bottom.y, id};
  std::size_t hole = _heap.size();
  _heap.push_back(fresh);
  while (hole > 0) {
    const std::size_t up = (hole - 1) / 2;
    if (!Before(fresh, _heap[up])) break;
    _heap[hole] = _heap[up];
    hole = up;
  }
  _heap[hole] = fresh;
  return id;
}

int CircleEvents::PopAbove(double y) {
  while (!_heap.empty()) {
    const Entry top = _heap.front();
    const Circle& circle = _circles[static_cast<std::size_t>(top.circle)];
    const int arc = circle.arc;
    if (arc != kNone && !AtOrAbove(top, y)) return kNone;
    PopTop();
    _free.push_back(top.circle);
    if (arc != kNone) return arc;
  }
  return kNone;
}

void CircleEvents::PopTop() {
  const Entry last = _heap.back();
  _heap.pop_back();
  const std::size_t n = _heap.size();
  if (n == 0) return;
  std::size_t hole = 0;
  for (std::size_t child = 1; child < n; child = 2 * hole + 1) {
    if (child + 1 < n && Before(_heap[child + 1], _heap[child])) ++child;
    if (!Before(_heap[child], last)) break;
    _heap[hole] = _heap[child];
    hole = child;
  }
  _heap[hole] = last;
}

CircleEvents::Circle& CircleEvents::Refined(int circle) {
  Circle& c = _circles[static_cast<std::size_t>(circle)];
  if (!c.refined) {
    const CircleBottom bottom = RefineBottom(_sites[static_cast<std::size_t>(c.sites[0])],
                                             _sites[static_cast<std::size_t>(c.sites[1])],
                                             _sites[static_cast<std::size_t>(c.sites[2])]);
    c.y = bottom.y;
    c.y_low = bottom.y_low;
    c.refined = true;
  }
  return c;
}

bool CircleEvents::Before(const Entry& a, const Entry& b) {
  const double difference = a.y - b.y;
  const double tolerance = kBottomError * (2.0 + std::abs(a.y) + std::abs(b.y));
  if (difference > tolerance) return true;
  if (difference < -tolerance) return false;
  return BeforeRefined(a.circle, b.circle);
}

bool CircleEvents::BeforeRefined(int a, int b) {
  const Circle& ca = Refined(a);
  const Circle& cb = Refined(b);
  if (ca.y != cb.y) return ca.y > cb.y;
  if (ca.y_low != cb.y_low) return ca.y_low > cb.y_low;
  return ca.sites[1] < cb.sites[1];
}

bool CircleEvents::AtOrAbove(const Entry& entry, double y) {
  const double difference = entry.y - y;
  const double tolerance = kBottomError * (1.0 + std::abs(entry.y));
  if (difference > tolerance) return true;
  if (difference < -tolerance) return false;
  const Circle& c = Refined(entry.circle);
  return c.y > y || (c.y == y && c.y_low >= 0.0);
}

}  // namespace libmfx::geometry::sweep
