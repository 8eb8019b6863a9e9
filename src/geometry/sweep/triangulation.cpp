#include "geometry/sweep/triangulation.h"

#include <algorithm>

namespace libmfx::geometry::sweep {
namespace {

const Vec2& At(const std::vector<Vec2>& sites, int i) { return sites[static_cast<std::size_t>(i)]; }

/// The rim's next halfedge: turn about the end of `h` until there is no triangle.
int NextOnRim(const Triangulation& mesh, int h) {
  int e = Triangulation::Next(h);
  while (mesh.Twin(e) != Triangulation::kNone) e = Triangulation::Next(mesh.Twin(e));
  return e;
}

}  // namespace

bool TilesConvexHull(const Triangulation& mesh, const std::vector<Vec2>& sites) {
  const int halfedges = static_cast<int>(mesh.corner.size());
  int start = Triangulation::kNone;
  std::size_t rim = 0;
  for (int h = 0; h < halfedges; ++h) {
    if (mesh.Twin(h) == Triangulation::kNone) {
      start = h;
      ++rim;
    }
  }
  if (start == Triangulation::kNone) return mesh.corner.empty();
  std::size_t walked = 0;
  int descents = 0;  // how often the rim starts to go back in sweep order: once on a convex loop
  int h = start;
  bool forward = mesh.From(h) < mesh.To(h);
  do {
    const int next = NextOnRim(mesh, h);
    if (Orientation(At(sites, mesh.From(h)), At(sites, mesh.To(h)), At(sites, mesh.To(next))) < 0) {
      return false;
    }
    const bool next_forward = mesh.From(next) < mesh.To(next);
    if (forward && !next_forward) ++descents;
    forward = next_forward;
    h = next;
    ++walked;
  } while (h != start && walked <= rim);
  const std::size_t triangles = mesh.corner.size() / 3;
  return walked == rim && descents == 1 && triangles + 2 + rim == 2 * sites.size();
}

namespace {

/// The flips that one edge leads to.
class Flipper {
 public:
  Flipper(Triangulation& mesh, const std::vector<Vec2>& sites) : _mesh(mesh), _sites(sites) {}

  /// Tests the edge of a halfedge that has a twin, and flips it and those around it as long as one
  /// needs it. Returns the number of flips.
  std::size_t Settle(int h) {
    if (Test(h, _mesh.Twin(h)) <= 0) return 0;
    std::size_t flips = 0;
    _stack.push_back(h);
    while (!_stack.empty()) {
      const int top = _stack.back();
      _stack.pop_back();
      const int g = _mesh.Twin(top);
      if (g == Triangulation::kNone || Test(top, g) <= 0) continue;
      Flip(top, g);
      ++flips;
    }
    return flips;
  }

 private:
  /// Marks whether the two triangles share one circle, and returns the sign of InCircle.
  int Test(int h, int g) {
    const int c = _mesh.From(Triangulation::Prev(h)), d = _mesh.From(Triangulation::Prev(g));
    const int side = InCircle(At(_sites, _mesh.From(h)), At(_sites, _mesh.From(g)), At(_sites, c),
                              At(_sites, d));
    Mark(h) = Mark(g) = static_cast<std::uint8_t>(side == 0);
    return side;
  }
  /// a-b becomes c-d: h's triangle (a, b, c) turns into (d, b, c), g's (b, a, d) into (c, a, d).
  void Flip(int h, int g) {
    const int bc = Triangulation::Next(h), ca = Triangulation::Prev(h);
    const int ad = Triangulation::Next(g), db = Triangulation::Prev(g);
    const int outer_ca = _mesh.Twin(ca), outer_db = _mesh.Twin(db);
    const int c = _mesh.From(ca), d = _mesh.From(db);
    _mesh.corner[static_cast<std::size_t>(h)] = d;
    _mesh.corner[static_cast<std::size_t>(g)] = c;
    _mesh.Pair(h, outer_db);
    _mesh.Pair(g, outer_ca);
    _mesh.Pair(ca, db);
    Mark(ca) = Mark(db) = 0;
    _stack.insert(_stack.end(), {h, g, bc, ad});
  }
  std::uint8_t& Mark(int h) { return _mesh.shared_circle[static_cast<std::size_t>(h)]; }

  Triangulation& _mesh;
  const std::vector<Vec2>& _sites;
  std::vector<int> _stack;
};

}  // namespace

std::size_t MakeDelaunay(Triangulation& mesh, const std::vector<Vec2>& sites) {
  std::size_t flips = 0;
  const int halfedges = static_cast<int>(mesh.corner.size());
  mesh.shared_circle.assign(mesh.corner.size(), 0);
  Flipper flipper(mesh, sites);
  // The halfedges to test are chosen some at a time and without a branch, since half of them are as
  // good as random: the rim and those that are seen from the other side are left out. A twin may be
  // thousands of triangles ahead, where nothing was read yet, so that it is asked for when chosen,
  // and its site a little later: up to 9 % of the time of a mesh of 100,000 points and more.
  constexpr int kAtATime = 256, kSitesAhead = 16;
  int chosen[kAtATime];
  for (int first = 0; first < halfedges;) {
    const int end = std::min(first + kAtATime, halfedges);
    int count = 0;
    for (int h = first; h < end; ++h) {
      const int twin = mesh.Twin(h);
      chosen[count] = h;
      count += twin > h ? 1 : 0;
      __builtin_prefetch(mesh.corner.data() + std::max(twin, 0));
    }
    first = end;
    for (int i = 0; i < count; ++i) {
      if (i + kSitesAhead < count) {
        const int twin = mesh.Twin(chosen[i + kSitesAhead]);
        __builtin_prefetch(&At(sites, mesh.From(Triangulation::Prev(twin))));
      }
      const std::size_t more = flipper.Settle(chosen[i]);
      if (more == 0) continue;
      flips += more;
      first = chosen[i] + 1;  // a flip moves twins: choose anew
      break;
    }
  }
  return flips;
}

}  // namespace libmfx::geometry::sweep
