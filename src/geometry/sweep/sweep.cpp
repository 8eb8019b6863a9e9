#include "geometry/sweep/sweep.h"

#include <limits>
#include <stdexcept>

namespace libmfx::geometry::sweep {

void Sweep::Run() {
  const std::size_t n = _sites.size();
  _mesh.corner.reserve(6 * n);
  _mesh.twin.reserve(6 * n);
  _opened.reserve(n);
  for (std::size_t i = 0; i < n; ++i) {
    for (int arc; (arc = _events.PopAbove(_sites[i].y)) != Beachline::kNone;) HandleCircle(arc);
    HandleSite(static_cast<int>(i));
  }
  constexpr double kBottomOfAll = std::numeric_limits<double>::lowest();
  for (int arc; (arc = _events.PopAbove(kBottomOfAll)) != Beachline::kNone;) HandleCircle(arc);
}

void Sweep::HandleSite(int site) {
  const Vec2& p = _sites[static_cast<std::size_t>(site)];
  if (_beachline.Empty()) {
    _beachline.InsertAfter(Beachline::kNone, p, site);
    return;
  }
  const int alpha = _beachline.Find(p);
  const int opened = -2 - static_cast<int>(_opened.size());
  _opened.push_back(Beachline::kNone);
  const int middle = _beachline.InsertAfter(alpha, p, site);
  _beachline[middle].open_edge = opened;
  // In the top row the arc of alpha is a vertical ray: it isn't split, the new arc lies beside it.
  const Vec2 focus = _beachline[alpha].focus;
  if (focus.y == p.y) return;
  const int right = _beachline.InsertAfter(middle, focus, _beachline[alpha].site);
  _beachline[right].open_edge = opened;
  UpdateEvents(alpha, right);
}

void Sweep::HandleCircle(int arc) {
  Beachline::Arc& vanishing = _beachline[arc];
  const int before = vanishing.prev, after = vanishing.next;
  if (before == Beachline::kNone || after == Beachline::kNone) {
    throw std::logic_error("This arc does not have two neighbors!");
  }
  const int a = _beachline[before].site, b = vanishing.site, c = _beachline[after].site;
  if (a == c) {
    throw std::logic_error("incident faces cannot be identical, this is a degenerate triangle!");
  }
  const int h = static_cast<int>(_mesh.corner.size());
  _mesh.corner.insert(_mesh.corner.end(), {a, c, b});
  _mesh.twin.insert(_mesh.twin.end(), 3, Beachline::kNone);
  CloseEdge(_beachline[after].open_edge, h + 1);
  CloseEdge(vanishing.open_edge, h + 2);
  _beachline[after].open_edge = h;
  _beachline.Remove(arc);
  UpdateEvents(before, after);
}

/// Two arcs have a neighbour of another site now. The events of their outer neighbours stand, but
/// one of them may have come to be the first of its neighbourhood.
void Sweep::UpdateEvents(int left, int right) {
  TestTriple(left);
  TestTriple(right);
  const int outer_left = _beachline[left].prev, outer_right = _beachline[right].next;
  if (outer_left != Beachline::kNone) QueueIfFirst(outer_left);
  QueueIfFirst(left);
  QueueIfFirst(right);
  if (outer_right != Beachline::kNone) QueueIfFirst(outer_right);
}

// With exact signs the bottom of converging arcs is never above the sweep line.
void Sweep::TestTriple(int i) {
  Beachline::Arc& arc = _beachline[i];
  if (arc.event != Beachline::kNone) _events.Cancel(arc.event);
  arc.event = Beachline::kNone;
  arc.bottom = Beachline::kNoCircle;
  if (arc.prev == Beachline::kNone || arc.next == Beachline::kNone) return;
  const Beachline::Arc& before = _beachline[arc.prev];
  const Beachline::Arc& after = _beachline[arc.next];
  if (before.site == after.site) return;
  CircleBottom bottom;
  if (ConvergingBottom(before.focus, arc.focus, after.focus, bottom)) arc.bottom = bottom.y;
}

// An arc whose neighbour vanishes earlier gets another circle then: its event would be cancelled,
// so that only the first of a neighbourhood is queued at all.
void Sweep::QueueIfFirst(int i) {
  Beachline::Arc& arc = _beachline[i];
  const Beachline::Arc& before = _beachline[arc.prev == Beachline::kNone ? i : arc.prev];
  const Beachline::Arc& after = _beachline[arc.next == Beachline::kNone ? i : arc.next];
  const double earlier = before.bottom > after.bottom ? before.bottom : after.bottom;
  const bool waits = earlier > arc.bottom + BottomTolerance(arc.bottom, arc.bottom);
  // One branch: the parts of the condition are as good as random, each on its own.
  if (waits | (arc.event != Beachline::kNone) | (arc.bottom == Beachline::kNoCircle)) return;
  arc.event = _events.Push(before.site, arc.site, after.site, i, arc.bottom);
}

void Sweep::CloseEdge(int open_edge, int halfedge) {
  if (open_edge >= 0) {
    _mesh.Pair(halfedge, open_edge);
    return;
  }
  int& first = _opened[static_cast<std::size_t>(-2 - open_edge)];
  if (first == Beachline::kNone) {
    first = halfedge;
  } else {
    _mesh.Pair(halfedge, first);
  }
}

}  // namespace libmfx::geometry::sweep
