#include "geometry/sweep/beachline.h"

#include <algorithm>
#include <cmath>

namespace libmfx::geometry::sweep {
namespace {

/// How many neighbours are looked at before the blocks are.
constexpr int kNearby = 8;
/// A block that grows beyond this is cut in two.
constexpr int kLongestBlock = 64;

}  // namespace

Beachline::Beachline(const std::vector<Vec2>& sites) : _left(0.0), _columns_a_unit(0.0) {
  // The beachline of n evenly spread sites has some multiple of sqrt(n) arcs.
  const double columns = std::sqrt(static_cast<double>(sites.size()));
  double right = _left = sites.empty() ? 0.0 : sites.front().x;
  for (const Vec2& site : sites) {
    _left = std::min(_left, site.x);
    right = std::max(right, site.x);
  }
  _hints.assign(static_cast<std::size_t>(columns) + 1, {kNone, kNone});
  if (right > _left) _columns_a_unit = columns / (right - _left);
}

std::size_t Beachline::ColumnOf(double x) const {
  // By way of an int, which is converted in one instruction.
  const auto column = static_cast<std::size_t>(static_cast<int>((x - _left) * _columns_a_unit));
  return std::min(column, _hints.size() - 1);
}

int Beachline::Find(const Vec2& p) const {
  const std::size_t column = ColumnOf(p.x);
  const std::size_t end = std::min(column + 2, _hints.size());
  for (std::size_t c = column == 0 ? 0 : column - 1; c < end; ++c) {
    const Hint& hint = _hints[c];
    if (hint.arc == kNone) continue;
    const Arc& arc = (*this)[hint.arc];
    if (arc.block == kNone || arc.site != hint.site) continue;
    const int found = FindNear(p, hint.arc);
    if (found != kNone) return found;
    break;
  }
  return FindInBlocks(p);
}

/// The arc above `p` if it is not far from arc `i`, else kNone.
int Beachline::FindNear(const Vec2& p, int i) const {
  if (StartsLeftOf(p, i)) {
    for (int step = 0; step < kNearby; ++step) {
      const int next = (*this)[i].next;
      if (next == kNone || !StartsLeftOf(p, next)) return i;
      i = next;
    }
  } else {
    for (int step = 0; step < kNearby; ++step) {
      i = (*this)[i].prev;
      if (StartsLeftOf(p, i)) return i;
    }
  }
  return kNone;
}

int Beachline::FindInBlocks(const Vec2& p) const {
  const auto first_of = [this](int block) {
    return _blocks[static_cast<std::size_t>(block)].first;
  };
  // The last block whose first arc starts left of p. The first block always does.
  const auto after = std::partition_point(_order.begin() + 1, _order.end(), [&](int block) {
    return StartsLeftOf(p, first_of(block));
  });
  int i = first_of(*(after - 1));
  for (int next = (*this)[i].next; next != kNone && StartsLeftOf(p, next); next = (*this)[i].next) {
    i = next;
  }
  return i;
}

int Beachline::Allocate() {
  if (_free.empty()) {
    _arcs.emplace_back();
    return static_cast<int>(_arcs.size()) - 1;
  }
  const int i = _free.back();
  _free.pop_back();
  return i;
}

int Beachline::InsertAfter(int left, const Vec2& focus, int site) {
  const int i = Allocate();
  Arc& arc = (*this)[i];
  arc = {focus, focus, kNoCircle, left, kNone, 0, site, kNoEvent, kNone};
  _hints[ColumnOf(focus.x)] = {i, site};
  if (left == kNone) {
    _first = i;
    _blocks.push_back({i, 1, 0});
    _order.push_back(0);
    return i;
  }
  Arc& before = (*this)[left];
  arc.left_focus = before.focus;
  arc.next = before.next;
  arc.block = before.block;
  before.next = i;
  if (arc.next != kNone) {
    (*this)[arc.next].prev = i;
    (*this)[arc.next].left_focus = focus;
  }
  if (++BlockOf(arc).count > kLongestBlock) SplitBlock(arc.block);
  return i;
}

void Beachline::SplitBlock(int block) {
  int fresh = static_cast<int>(_blocks.size());
  if (_free_blocks.empty()) {
    _blocks.emplace_back();
  } else {
    fresh = _free_blocks.back();
    _free_blocks.pop_back();
  }
  Block& old = _blocks[static_cast<std::size_t>(block)];
  const int kept = old.count / 2, moved = old.count - kept;
  int i = old.first;
  for (int k = 0; k < kept; ++k) i = (*this)[i].next;
  old.count = kept;
  _blocks[static_cast<std::size_t>(fresh)] = {i, moved, 0};
  for (int k = 0; k < moved; ++k, i = (*this)[i].next) (*this)[i].block = fresh;
  _order.insert(_order.begin() + old.position + 1, fresh);
  RenumberFrom(old.position + 1);
}

void Beachline::DropBlock(int block) {
  const int position = _blocks[static_cast<std::size_t>(block)].position;
  _order.erase(_order.begin() + position);
  RenumberFrom(position);
  _free_blocks.push_back(block);
}

void Beachline::RenumberFrom(int position) {
  for (int k = position; k < static_cast<int>(_order.size()); ++k) {
    _blocks[static_cast<std::size_t>(_order[static_cast<std::size_t>(k)])].position = k;
  }
}

void Beachline::Remove(int i) {
  Arc& arc = (*this)[i];
  Arc& before = (*this)[arc.prev];
  before.next = arc.next;
  if (arc.next != kNone) {
    (*this)[arc.next].prev = arc.prev;
    (*this)[arc.next].left_focus = before.focus;
  }
  Block& block = BlockOf(arc);
  if (--block.count == 0) {
    DropBlock(arc.block);
  } else if (block.first == i) {
    block.first = arc.next;
  }
  arc.block = kNone;
  Hint& hint = _hints[ColumnOf(arc.focus.x)];
  if (hint.arc == i) hint = {arc.prev, before.site};
  _free.push_back(i);
}

}  // namespace libmfx::geometry::sweep
