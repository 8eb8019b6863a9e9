#include "geometry/sweep/sweep.h"

#include <limits>
#include <stdexcept>

namespace libmfx::geometry::sweep {

void Sweep::Run() {
  const std::size_t n = _sites.size();
  // All of it is written at once, while memory that was just given back is still at hand: a host
  // of virtual machines takes that away after a second or two. Together with the room that the
  // sites were dealt in, this halved what the system took for 1e7 points, from 141 to 71 ns each.
  _mesh.Resize(0);
  _mesh.Resize(6 * n);
  _opened.reserve(n);
  for (std::size_t i = 0; i < n; ++i) {
    for (int arc; (arc = _events.PopAbove(_sites[i].y)) != Beachline::kNone;) HandleCircle(arc);
    HandleSite(static_cast<int>(i));
  }
  constexpr double kBottomOfAll = std::numeric_limits<double>::lowest();
  for (int arc; (arc = _events.PopAbove(kBottomOfAll)) != Beachline::kNone;) HandleCircle(arc);
}

Triangulation Sweep::TakeMesh() {
  _mesh.Resize(static_cast<std::size_t>(_halfedges));
  return std::move(_mesh);
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
  TestTriples(_beachline[alpha], _beachline[right]);
  QueueEvents(alpha, right);
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
  const int right_edge = _beachline[after].open_edge, left_edge = vanishing.open_edge;
  _beachline.Remove(arc);
  // The circles first: their roots and quotients are under way while the triangle is written.
  TestTriples(_beachline[before], _beachline[after]);
  const int h = NewTriangle();
  int* const corners = _mesh.corner.data() + h;
  corners[0] = a;
  corners[1] = c;
  corners[2] = b;
  CloseEdge(right_edge, h + 1);
  CloseEdge(left_edge, h + 2);
  _beachline[after].open_edge = h;
  QueueEvents(before, after);
}

/// Returns the first halfedge of a triangle that has no corners yet.
int Sweep::NewTriangle() {
  const int h = _halfedges;
  const auto end = static_cast<std::size_t>(h) + 3;
  // Sites in sweep order never need more than was made room for.
  if (end > _mesh.corner.size()) _mesh.Resize(2 * end);
  _halfedges += 3;
  return h;
}

/// Two arcs have a neighbour of another site now. The events of their outer neighbours stand, but
/// one of them may have come to be the first of its neighbourhood.
void Sweep::QueueEvents(int left, int right) {
  const int outer_left = _beachline[left].prev, outer_right = _beachline[right].next;
  int queued[4], count = 0;
  for (const int arc : {outer_left, left, right, outer_right}) {
    queued[count] = arc;
    count += arc != Beachline::kNone && IsFirst(arc) ? 1 : 0;
  }
  for (int i = 0; i < count; ++i) Queue(queued[i]);
}

// With exact signs the bottom of converging arcs is never above the sweep line.
void Sweep::TestTriples(Beachline::Arc& left, Beachline::Arc& right) {
  for (Beachline::Arc* arc : {&left, &right}) {
    _events.Cancel(arc->event);
    arc->event = Beachline::kNoEvent;
    arc->bottom = Beachline::kNoCircle;
  }
  const bool is_left = HasTriple(left), is_right = HasTriple(right);
  if (!is_left && !is_right) return;
  // Where there is one only, it is computed twice.
  const Triple left_triple = TripleOf(is_left ? left : right);
  const Triple right_triple = is_right ? TripleOf(right) : left_triple;
  double bottoms[2];
  ConvergingBottoms(left_triple, right_triple, bottoms);
  if (is_left) left.bottom = bottoms[0];
  if (is_right) right.bottom = bottoms[1];
}

bool Sweep::HasTriple(const Beachline::Arc& arc) const {
  return arc.prev != Beachline::kNone && arc.next != Beachline::kNone &&
         _beachline[arc.prev].site != _beachline[arc.next].site;
}

Triple Sweep::TripleOf(const Beachline::Arc& arc) const {
  return {&_beachline[arc.prev].focus, &arc.focus, &_beachline[arc.next].focus};
}

// An arc whose neighbour vanishes earlier gets another circle then: its event would be cancelled,
// so that only the first of a neighbourhood is queued at all.
bool Sweep::IsFirst(int i) const {
  const Beachline::Arc& arc = _beachline[i];
  const Beachline::Arc& before = _beachline[arc.prev == Beachline::kNone ? i : arc.prev];
  const Beachline::Arc& after = _beachline[arc.next == Beachline::kNone ? i : arc.next];
  const double earlier = before.bottom > after.bottom ? before.bottom : after.bottom;
  const bool waits = earlier > arc.bottom + BottomTolerance(arc.bottom, arc.bottom);
  // One value: the parts of the condition are as good as random, each on its own.
  return !(waits | (arc.event != Beachline::kNoEvent) | (arc.bottom == Beachline::kNoCircle));
}

void Sweep::Queue(int i) {
  Beachline::Arc& arc = _beachline[i];
  arc.event =
      _events.Push(_beachline[arc.prev].site, arc.site, _beachline[arc.next].site, i, arc.bottom);
}

// The places are chosen, not the ways: which of the two it is, is as good as random.
void Sweep::CloseEdge(int open_edge, int halfedge) {
  int* const opened = _opened.data() + (open_edge < 0 ? -2 - open_edge : 0);
  const int first = open_edge < 0 ? *opened : open_edge;
  int* const twins = _mesh.twin.data();
  twins[halfedge] = first;
  *(first == Beachline::kNone ? opened : twins + first) = halfedge;
}

}  // namespace libmfx::geometry::sweep
