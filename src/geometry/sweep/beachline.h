#pragma once

#include <cstdint>
#include <limits>
#include <vector>

#include "geometry/sweep/predicates.h"

namespace libmfx::geometry::sweep {

/// What is left of the data above the sweep line: parabolic arcs from left to right, each of one
/// site. Arcs are numbered records in one array, linked to their neighbours and, at the same time,
/// nodes of a balanced tree (AVL) that finds the arc above a site. The breakpoint between two
/// neighbours belongs to the right one of them, as its left end.
///
/// Positions are never stored: the order of the arcs is the order of the list, and a search
/// compares the site with one breakpoint a level. Only the arcs near the sweep line are alive, so
/// that records are taken from a list of free ones and stay in the processor's caches.
class Beachline {
 public:
  static constexpr int kNone = -1;

  /// The bottom of no circle: it never comes up.
  static constexpr CircleBottom kNoCircle{-std::numeric_limits<double>::infinity(), 0.0, true};

  /// What a search reads: one cache line.
  struct Arc {
    Vec2 site;             ///< the focus
    Vec2 left_site;        ///< the focus of the left neighbour, unused at the left end
    int prev, next;        ///< neighbours
    int left, right, up;   ///< the tree
    std::int32_t balance;  ///< height of the right subtree minus that of the left one
  };
  /// What only an event reads.
  struct Trace {
    CircleBottom bottom;  ///< of the circle with both neighbours' sites; -infinity for none
    int site;             ///< index of the site
    int event;            ///< pending circle event, or kNone
    int open_edge;        ///< the edge that the left breakpoint traces; see Sweep
  };

  bool Empty() const { return _root == kNone; }
  int First() const { return _first; }
  const Arc& arc(int i) const { return _arcs[static_cast<std::size_t>(i)]; }
  Trace& trace(int i) { return _traces[static_cast<std::size_t>(i)]; }
  const Trace& trace(int i) const { return _traces[static_cast<std::size_t>(i)]; }
  int Prev(int i) const { return arc(i).prev; }
  int Next(int i) const { return arc(i).next; }

  /// The arc above `p`, which the sweep line has just reached.
  int Find(const Vec2& p) const;
  /// Adds the first arc.
  int InsertFirst(const Vec2& position, int site);
  /// Adds an arc to the right of `left`.
  int InsertAfter(int left, const Vec2& position, int site);
  /// Takes an arc out. Its neighbours become neighbours.
  void Remove(int i);

 private:
  Arc& at(int i) { return _arcs[static_cast<std::size_t>(i)]; }
  int Allocate(const Vec2& position, int site);
  void AttachAfter(int left, int fresh);
  void ReplaceChild(int up, int old_child, int new_child);
  int Rotate(int x);
  int RotateLeft(int x, int z);
  int RotateRight(int x, int z);
  void RetraceInsertion(int z);
  void RetraceRemoval(int up, bool from_left);
  void SwapWithNext(int i);

  std::vector<Arc> _arcs;
  std::vector<Trace> _traces;
  std::vector<int> _free;
  int _root = kNone;
  int _first = kNone;
};

}  // namespace libmfx::geometry::sweep
