#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "geometry/sweep/predicates.h"
#include "libmfx/data_structures/block_allocator.h"

namespace libmfx::geometry::sweep {

/// A triangle mesh over numbered sites, kept as indices.
///
/// Triangle t has the counter-clockwise corners corner[3t], corner[3t+1], corner[3t+2]. Halfedge h
/// = 3t+i runs from corner[h] to the next corner of its triangle; twin[h] is the opposite halfedge,
/// or kNone on the rim. Seen from the other side, t is a vertex of the Voronoi diagram and h an
/// edge that leaves it.
struct Triangulation {
  static constexpr int kNone = -1;

  using Indices = std::vector<int, data_structures::BlockAllocator<int>>;

  Indices corner;
  Indices twin;
  /// Not 0 for a halfedge inside a group of triangles that share one circle: one Voronoi vertex.
  std::vector<std::uint8_t, data_structures::BlockAllocator<std::uint8_t>> shared_circle;

  int Triangles() const { return static_cast<int>(corner.size() / 3); }
  static int Next(int h) { return h % 3 == 2 ? h - 2 : h + 1; }
  static int Prev(int h) { return h % 3 == 0 ? h + 2 : h - 1; }
  int From(int h) const { return corner[static_cast<std::size_t>(h)]; }
  int To(int h) const { return From(Next(h)); }
  int Twin(int h) const { return twin[static_cast<std::size_t>(h)]; }

  /// Room for so many halfedges, without twins and marks.
  void Resize(std::size_t halfedges) {
    corner.resize(halfedges);
    twin.resize(halfedges, kNone);
    shared_circle.resize(halfedges, 0);
  }
  void Pair(int a, int b) {
    twin[static_cast<std::size_t>(a)] = b;
    if (b != kNone) twin[static_cast<std::size_t>(b)] = a;
  }
};

/// Whether the triangles, all of them counter-clockwise, tile the convex hull of the sites without
/// gap or overlap: one convex rim that turns once, and as many triangles as Euler's formula gives.
bool TilesConvexHull(const Triangulation& mesh, const std::vector<Vec2>& sites);

/// Flips edges until no site lies inside the circle of a neighbouring triangle, and marks the pairs
/// that share a circle. What the sweep hands over needs a flip only where two events were closer
/// than they can be told apart. Returns the number of flips.
std::size_t MakeDelaunay(Triangulation& mesh, const std::vector<Vec2>& sites);

}  // namespace libmfx::geometry::sweep
