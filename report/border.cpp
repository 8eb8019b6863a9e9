#include "report/border.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace libmfx::host::report {

Border::Border(std::vector<Point2> corners) : _corners(std::move(corners)) {
  for (std::size_t i = 0; i < _corners.size(); ++i) {
    _length += (_corners[(i + 1) % _corners.size()] - _corners[i]).norm();
  }
}

bool Border::Holds(const Point2& p) const {
  bool inside = false;
  for (std::size_t i = 0; i < _corners.size(); ++i) {
    const Point2& a = _corners[i];
    const Point2& b = _corners[(i + 1) % _corners.size()];
    if ((a.y() > p.y()) == (b.y() > p.y())) continue;
    inside ^= p.x() < a.x() + (p.y() - a.y()) / (b.y() - a.y()) * (b.x() - a.x());
  }
  return inside;
}

BorderPlace Border::Find(const Point2& p) const {
  BorderPlace place;
  double nearest = std::numeric_limits<double>::max();
  double passed = 0.0;
  for (std::size_t i = 0; i < _corners.size(); ++i) {
    const Point2& a = _corners[i];
    const Point2 way = _corners[(i + 1) % _corners.size()] - a;
    const double length = way.norm();
    const double share =
        length > 0.0 ? std::clamp((p - a).dot(way) / (length * length), 0.0, 1.0) : 0.0;
    const double distance = (a + share * way - p).norm();
    if (distance < nearest) {
      nearest = distance;
      place = {passed + share * length, distance};
    }
    passed += length;
  }
  if (Holds(p)) place.off = -place.off;
  return place;
}

}  // namespace libmfx::host::report
