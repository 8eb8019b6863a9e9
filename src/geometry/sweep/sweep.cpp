#include "geometry/sweep/sweep.h"

#include <limits>
#include <stdexcept>

namespace libmfx::geometry::sweep {
namespace {
constexpr int kNone = Beachline::kNone;
}

void Sweep::Run() {
  const std::size_t n = _sites.size();
  _mesh.corner.reserve(6 * n);
  _mesh.twin.reserve(6 * n);
  _opened.reserve(n);
  for (std::size_t i = 0; i < n; ++i) {
    for (int arc; (arc = _events.PopAbove(_sites[i].y)) != kNone;) HandleCircle(arc);
    HandleSite(static_cast<int>(i));
  }
  constexpr double kBottomOfAll = std::numeric_limits<double>::lowest();
  for (int arc; (arc = _events.PopAbove(kBottomOfAll)) != kNone;) HandleCircle(arc);
}

void Sweep::HandleSite(int site) {
  const Vec2& p = _sites[static_cast<std::size_t>(site)];
  if (_beachline.Empty()) {
    _beachline.InsertFirst(p, site);
    return;
  }
  const int alpha = _beachline.Find(p);
  const int opened = -2 - static_cast<int>(_opened.size());
  _opened.push_back(kNone);
  const int middle = _beachline.InsertAfter(alpha, p, site);
  _beachline.trace(middle).open_edge = opened;
  // In the top row the arc of alpha is a vertical ray: it isn't split, the new arc lies beside it.
  const Vec2 focus = _beachline.arc(alpha).site;
  if (focus.y == p.y) return;
  const int right = _beachline.InsertAfter(middle, focus, _beachline.trace(alpha).site);
  _beachline.trace(right).open_edge = opened;
  UpdateEvents(alpha, right);
}

void Sweep::HandleCircle(int arc) {
  const int before = _beachline.Prev(arc), after = _beachline.Next(arc);
  if (before == kNone || after == kNone) {
    throw std::logic_error("This arc does not have two neighbors!");
  }
  const int a = _beachline.trace(before).site;
  const int b = _beachline.trace(arc).site;
  const int c = _beachline.trace(after).site;
  if (a == c) {
    throw std::logic_error("incident faces cannot be identical, this is a degenerate triangle!");
  }
  const int h = static_cast<int>(_mesh.corner.size());
  _mesh.corner.insert(_mesh.corner.end(), {a, c, b});
  _mesh.twin.insert(_mesh.twin.end(), 3, kNone);
  CloseEdge(_beachline.trace(after).open_edge, h + 1);
  CloseEdge(_beachline.trace(arc).open_edge, h + 2);
  _beachline.trace(after).open_edge = h;
  _beachline.trace(arc).event = kNone;
  _beachline.Remove(arc);
  UpdateEvents(before, after);
}

/// Two arcs have a neighbour of another site now. The events of their outer neighbours stand, but one
/// of them may have come to be the first of its neighbourhood.
void Sweep::UpdateEvents(int left, int right) {
  TestTriple(left);
  TestTriple(right);
  const int outer_left = _beachline.Prev(left), outer_right = _beachline.Next(right);
  if (outer_left != kNone) QueueIfFirst(outer_left);
  QueueIfFirst(left);
  QueueIfFirst(right);
  if (outer_right != kNone) QueueIfFirst(outer_right);
}

// With exact signs the bottom of converging arcs is never above the sweep line.
void Sweep::TestTriple(int arc) {
  Beachline::Trace& trace = _beachline.trace(arc);
  if (trace.event != kNone) _events.Cancel(trace.event);
  trace.event = kNone;
  trace.bottom = Beachline::kNoCircle;
  const int before = _beachline.Prev(arc), after = _beachline.Next(arc);
  if (before == kNone || after == kNone) return;
  if (_beachline.trace(before).site == _beachline.trace(after).site) return;
  CircleBottom bottom;
  if (ConvergingBottom(_beachline.arc(before).site, _beachline.arc(arc).site,
                       _beachline.arc(after).site, bottom)) {
    trace.bottom = bottom;
  }
}

// An arc whose neighbour vanishes earlier gets another circle then: its event would be cancelled, so
// that only the first of a neighbourhood is queued at all.
void Sweep::QueueIfFirst(int arc) {
  Beachline::Trace& trace = _beachline.trace(arc);
  if (trace.event != kNone || trace.bottom.y == Beachline::kNoCircle.y) return;
  const int before = _beachline.Prev(arc), after = _beachline.Next(arc);
  const double y = trace.bottom.y;
  const double left = _beachline.trace(before).bottom.y, right = _beachline.trace(after).bottom.y;
  const double earlier = left > right ? left : right;
  if (earlier > y + BottomTolerance(y, y)) return;
  trace.event = _events.Push(_beachline.trace(before).site, trace.site,
                             _beachline.trace(after).site, arc, trace.bottom);
}

void Sweep::CloseEdge(int open_edge, int halfedge) {
  if (open_edge >= 0) {
    _mesh.Pair(halfedge, open_edge);
    return;
  }
  int& first = _opened[static_cast<std::size_t>(-2 - open_edge)];
  if (first == kNone) {
    first = halfedge;
  } else {
    _mesh.Pair(halfedge, first);
  }
}

}  // namespace libmfx::geometry::sweep
