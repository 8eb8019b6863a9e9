#include "geometry/cell_table.h"

namespace libmfx::geometry {

constexpr bool CellTable::TellsCellsOfABlockApart(int bits) {
  // Two cells share a slot when their difference has slot 0. A difference and its negative do
  // alike, so half of them is enough.
  constexpr std::int64_t kMost = std::int64_t{2} * kMostReach;
  const std::uint32_t slots = std::uint32_t{1} << (bits - 1);
  for (std::int64_t x = 0; x <= kMost; ++x) {
    for (std::int64_t y = -kMost; y <= kMost; ++y) {
      if (x == 0 && y == 0) continue;
      // The column of the difference must not pass slot 0 within the block's height.
      const std::uint32_t slot = SlotOf({x, y, 0}, bits);
      const std::uint32_t off = slot < slots ? slot : 2 * slots - slot;
      if (off <= kMost) return false;
    }
  }
  return true;
}

constexpr bool CellTable::TellsCellsOfEveryBlockApart() {
  for (int bits = kFewestBits; bits <= 31; ++bits) {
    if (!TellsCellsOfABlockApart(bits)) return false;
  }
  return true;
}

void CellTable::Sort(const std::vector<std::uint32_t>& slots) {
  static_assert(TellsCellsOfEveryBlockApart());
  _starts.assign((std::size_t{1} << _bits) + 1, 0);
  for (const std::uint32_t slot : slots) ++_starts[slot + 1];
  for (std::size_t i = 1; i < _starts.size(); ++i) _starts[i] += _starts[i - 1];
  _places.resize(slots.size());
  // Each start moves on to the next one's place while its slot fills, and is put back below.
  for (std::size_t i = 0; i < slots.size(); ++i) {
    _places[_starts[slots[i]]++] = static_cast<std::uint32_t>(i);
  }
  for (std::size_t i = _starts.size() - 1; i > 0; --i) _starts[i] = _starts[i - 1];
  _starts[0] = 0;
}

std::size_t CellTable::FindBlock(const Cell& middle, int reach, std::vector<Run>& runs) const {
  runs.clear();
  const std::uint32_t slots = std::uint32_t{1} << _bits;
  const auto height = static_cast<std::uint32_t>(2 * reach + 1);
  std::size_t found = 0;
  const auto add = [&](std::uint32_t first, std::uint32_t last) {
    if (first == last) return;
    runs.push_back({first, last});
    found += last - first;
  };
  for (std::int64_t x = middle.x - reach; x <= middle.x + reach; ++x) {
    for (std::int64_t y = middle.y - reach; y <= middle.y + reach; ++y) {
      const std::uint32_t slot = SlotOf({x, y, middle.z - reach}, _bits);
      const std::uint32_t end = slot + height;
      add(_starts[slot], _starts[std::min(end, slots)]);
      if (end > slots) add(_starts[0], _starts[end - slots]);
    }
  }
  return found;
}

}  // namespace libmfx::geometry
