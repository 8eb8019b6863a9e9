#pragma once

#include <cstddef>
#include <limits>
#include <vector>

#include "geometry/sweep/predicates.h"

namespace libmfx::geometry::sweep {

/// What is left of the data above the sweep line: parabolic arcs from left to right, each of one
/// site. Arcs are numbered records in one array, linked to their neighbours; the breakpoint between
/// two neighbours belongs to the right one of them, as its left end. Only the arcs near the sweep
/// line are alive: records are taken from a list of free ones and stay in the processor's caches.
///
/// Positions are never stored: the order of the arcs is the order of the list. A search for the arc
/// above a site starts at an arc that is known to be near, and goes a few neighbours to either
/// side. Where that doesn't do, it finds the place among the blocks, each a run of some dozens of
/// arcs, by bisection, one breakpoint a step, and walks its block: O(log n) whatever the data.
/// Blocks are kept by counting, and split when they grow too long; unlike a balanced tree they cost
/// an event nothing else.
class Beachline {
 public:
  static constexpr int kNone = -1;
  static constexpr int kNoEvent = 0;
  /// The bottom of no circle: it never comes up.
  static constexpr double kNoCircle = -std::numeric_limits<double>::infinity();

  /// One cache line.
  struct alignas(64) Arc {
    Vec2 focus;       ///< the site
    Vec2 left_focus;  ///< the left neighbour's site; unused at the left end
    double bottom;    ///< of the circle with both neighbours' sites, or kNoCircle
    int prev, next;   ///< neighbours
    int block;        ///< kNone while the record is free
    int site;         ///< index of the site
    int event;        ///< queued circle event, or kNoEvent
    int open_edge;    ///< the edge that the left breakpoint traces; see Sweep
  };

  /// \param sites all sites in sweep order
  explicit Beachline(const std::vector<Vec2>& sites);

  bool Empty() const { return _first == kNone; }
  int First() const { return _first; }
  Arc& operator[](int i) { return _arcs[static_cast<std::size_t>(i)]; }
  const Arc& operator[](int i) const { return _arcs[static_cast<std::size_t>(i)]; }

  /// The arc above `p`, which the sweep line has just reached.
  int Find(const Vec2& p) const;
  /// Adds an arc to the right of `left`; the first one to the right of kNone.
  int InsertAfter(int left, const Vec2& focus, int site);
  /// Takes an arc out that isn't the first. Its neighbours become neighbours.
  void Remove(int i);

 private:
  struct Block {
    int first;     ///< its leftmost arc
    int count;     ///< of arcs
    int position;  ///< in the order of blocks
  };
  struct Hint {
    int arc;
    int site;  ///< the site that the arc had: another one tells that the record is in new use
  };

  bool StartsLeftOf(const Vec2& p, int i) const {
    const Arc& arc = (*this)[i];
    return i == _first || IsRightOfBreakpoint(p, arc.left_focus, arc.focus);
  }
  Block& BlockOf(const Arc& arc) { return _blocks[static_cast<std::size_t>(arc.block)]; }
  std::size_t ColumnOf(double x) const;
  int FindNear(const Vec2& p, int i) const;
  int FindInBlocks(const Vec2& p) const;
  int Allocate();
  void SplitBlock(int block);
  void DropBlock(int block);
  void RenumberFrom(int position);

  double _left;              ///< where the first column begins
  double _columns_a_unit;    ///< columns in one unit of width
  std::vector<Hint> _hints;  ///< for each upright column of the data an arc that was in it
  std::vector<Arc> _arcs;
  std::vector<int> _free;
  std::vector<Block> _blocks;
  std::vector<int> _free_blocks;
  std::vector<int> _order;  ///< the blocks from left to right
  int _first = kNone;
};

}  // namespace libmfx::geometry::sweep
