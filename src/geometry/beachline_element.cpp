#include "libmfx/geometry/beachline_element.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "geometry/parabola.h"

namespace libmfx::geometry {

using data_structures::PointXYW;

namespace {

/// How far the sweep line is lowered to tell breakpoints apart that start from one point, metres.
constexpr double kSweepNudge = -1e-06;

void CheckComparable(const std::shared_ptr<BeachlineElement>& other) {
  if (!other) throw std::runtime_error("Cannot compare against a nullptr!");
  if (other->type != BeachlineElement::kArc && other->type != BeachlineElement::kBreakpoint) {
    throw std::runtime_error("BeachlineElement type not supported in compare!");
  }
}

int CompareSites(const PointXYW& a, const PointXYW& b) {
  if (SamePosition(a, b)) return 0;
  if (a.x() != b.x()) return a.x() < b.x() ? -1 : 1;
  return b.y() <= a.y() ? 0 : -1;
}

}  // namespace

bool SamePosition(const PointXYW& a, const PointXYW& b) {
  return std::abs(a.x() - b.x()) <= kSweepEpsilon && std::abs(a.y() - b.y()) <= kSweepEpsilon &&
         std::abs(a.w() - b.w()) <= kSweepEpsilon;
}

PointXYW IntersectParabolas(const PointXYW& left, const PointXYW& right, double sweep_y) {
  const double x1 = left.x(), y1 = left.y(), x2 = right.x(), y2 = right.y(), ly = sweep_y;
  const PointXYW* focus = &left;
  double x;
  if (y1 == y2) {
    x = (x1 + x2) * 0.5;
  } else if (std::abs(y2 - ly) < kSweepEpsilon) {
    x = x2;
  } else if (std::abs(y1 - ly) < kSweepEpsilon) {
    x = x1;
    focus = &right;
  } else {
    const double d1 = 2 * (y1 - ly), d2 = 2 * (y2 - ly);
    const double a = 1 / d1 - 1 / d2;
    const double b = -2 * (x1 / d1 - x2 / d2);
    const double c = (x1 * x1 + y1 * y1 - ly * ly) / d1 - (x2 * x2 + y2 * y2 - ly * ly) / d2;
    x = (std::sqrt(b * b - 4 * a * c) - b) / (2 * a);
  }
  const double fx = focus->x(), fy = focus->y();
  const double y = ((fx - x) * (fx - x) + fy * fy - ly * ly) / (2 * fy - 2 * ly);
  return PointXYW(x, y, 1.0);
}

int Breakpoint::Compare(const std::shared_ptr<BeachlineElement>& other) {
  CheckComparable(other);
  return other->type == kArc ? CompareArc(static_cast<const Arc&>(*other))
                             : CompareBreakpoint(static_cast<const Breakpoint&>(*other));
}

int Breakpoint::CompareArc(const Arc& arc) {
  if (!arc.right) return -1;
  if (!arc.left) return Compare(arc.right) >= 0 ? 1 : -1;
  const int to_left = Compare(arc.left), to_right = Compare(arc.right);
  return to_left > 0 && to_right >= 0 ? 1 : -1;
}

int Breakpoint::CompareBreakpoint(const Breakpoint& other) {
  if (SamePosition(left_site, other.left_site) && SamePosition(right_site, other.right_site)) {
    return 0;
  }
  double sweep_y =
      std::min({left_site.y(), right_site.y(), other.left_site.y(), other.right_site.y()});
  PointXYW p = IntersectParabolas(left_site, right_site, sweep_y);
  PointXYW q = IntersectParabolas(other.left_site, other.right_site, sweep_y);
  if (SamePosition(p, q)) {
    sweep_y += kSweepNudge;
    p = IntersectParabolas(left_site, right_site, sweep_y);
    q = IntersectParabolas(other.left_site, other.right_site, sweep_y);
  }
  if (std::abs(p.x() - q.x()) < kSweepEpsilon) {
    if (std::abs(p.y() - q.y()) < kSweepEpsilon) throw std::logic_error("Equal yet not??");
    const bool follows = SamePosition(left_site, other.right_site);
    const bool precedes = SamePosition(right_site, other.left_site);
    if (follows && precedes) {
      throw std::logic_error("Breakpoint symmetry, yet arc intersection is different??");
    }
    if (follows) return 1;
    if (precedes) return p.y() > q.y() ? 1 : -1;
  }
  return p.x() < q.x() ? -1 : 1;
}

int Arc::Compare(const std::shared_ptr<BeachlineElement>& other) {
  CheckComparable(other);
  if (other->type == kBreakpoint) {
    if (!left) return -1;
    return other->Compare(left) > 0 ? -1 : 1;
  }
  const Arc& arc = static_cast<const Arc&>(*other);
  if (left && right && arc.left && arc.right) {
    const int by_left = left->Compare(arc.left), by_right = right->Compare(arc.right);
    if (by_left == 0 && by_right == 0) return 0;
    if (by_left > 0) return by_right > 0 ? 1 : -1;
    return by_right >= 0 ? 1 : -1;
  }
  if (!left && !arc.left) return CompareSites(site, arc.site);
  if (this == &arc) return 0;
  // One of the two stands at an end of the beachline: the other's breakpoint tells the side, and an
  // arc without any stands left of all.
  const std::shared_ptr<Breakpoint>& edge = arc.left ? arc.left : arc.right;
  return edge ? Compare(edge) : 1;
}

}  // namespace libmfx::geometry
