#include "geometry/sweep/triangulation.h"

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

std::size_t MakeDelaunay(Triangulation& mesh, const std::vector<Vec2>& sites) {
  std::size_t flips = 0;
  const int halfedges = static_cast<int>(mesh.corner.size());
  mesh.shared_circle.assign(mesh.corner.size(), 0);
  std::vector<int> stack;
  for (int first = 0; first < halfedges; ++first) {
    if (mesh.Twin(first) < first) continue;  // the rim, or seen from the other side
    stack.push_back(first);
    while (!stack.empty()) {
      const int h = stack.back();
      stack.pop_back();
      const int g = mesh.Twin(h);
      if (g == Triangulation::kNone) continue;
      const int a = mesh.From(h), b = mesh.To(h);
      const int c = mesh.From(Triangulation::Prev(h)), d = mesh.From(Triangulation::Prev(g));
      const int side = InCircle(At(sites, a), At(sites, b), At(sites, c), At(sites, d));
      const auto shared = static_cast<std::uint8_t>(side == 0);
      mesh.shared_circle[static_cast<std::size_t>(h)] = shared;
      mesh.shared_circle[static_cast<std::size_t>(g)] = shared;
      if (side <= 0) continue;
      // a-b becomes c-d: h's triangle (a, b, c) turns into (d, b, c), g's (b, a, d) into (c, a, d).
      const int bc = Triangulation::Next(h), ca = Triangulation::Prev(h);
      const int ad = Triangulation::Next(g), db = Triangulation::Prev(g);
      const int outer_ca = mesh.Twin(ca), outer_db = mesh.Twin(db);
      mesh.corner[static_cast<std::size_t>(h)] = d;
      mesh.corner[static_cast<std::size_t>(g)] = c;
      mesh.Pair(h, outer_db);
      mesh.Pair(g, outer_ca);
      mesh.Pair(ca, db);
      mesh.shared_circle[static_cast<std::size_t>(ca)] = 0;
      mesh.shared_circle[static_cast<std::size_t>(db)] = 0;
      stack.insert(stack.end(), {h, g, bc, ad});
      ++flips;
    }
  }
  return flips;
}

}  // namespace libmfx::geometry::sweep
