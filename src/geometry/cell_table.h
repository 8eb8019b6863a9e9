#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace libmfx::geometry {

/// The places of points, sorted by the cells of a cubic grid that the points lie in.
///
/// A cell has its slot in a table of a power of two of slots by a lattice: cells along z follow
/// each other, and the next columns begin where the fractions below say. No two cells of a block of
/// 7 by 7 by 7 share a slot, which the compiler checks, so that a block is read without a hash and
/// finds no point twice. Cells far from each other may share one: a reader has to tell by their
/// distance points that don't belong. Memory is linear in the points, however far they spread.
class CellTable {
 public:
  struct Cell {
    std::int64_t x = 0, y = 0, z = 0;
    bool operator==(const Cell&) const = default;
  };
  /// Some of `places()`, from `first` to before `last`.
  struct Run {
    std::uint32_t first, last;
  };
  static constexpr int kMostReach = 3;  ///< cells to either side of the middle one of a block
  static constexpr std::size_t kMostPoints = (std::size_t{1} << 31) - 1;

  CellTable() = default;

  /// \param count of points, at most `kMostPoints`
  /// \param cell_of gives the cell of each place
  template <typename CellOf>
  CellTable(std::size_t count, const CellOf& cell_of)
      : _bits(std::max(kFewestBits, static_cast<int>(std::bit_width(count)))) {
    std::vector<std::uint32_t> slots(count);
    for (std::size_t i = 0; i < count; ++i) slots[i] = SlotOf(cell_of(i), _bits);
    Sort(slots);
  }

  /// Cell after cell.
  const std::vector<std::uint32_t>& places() const { return _places; }

  /// Where in `places()` the points stand that lie in the cells up to `reach` around `middle`.
  /// \param runs receives them; none is empty
  /// \return their number
  std::size_t FindBlock(const Cell& middle, int reach, std::vector<Run>& runs) const;

 private:
  static constexpr int kFewestBits = 12;

  // Where the columns of the next x and of the next y begin: powers of the root of t^3 = t + 1,
  // whose multiples spread evenly.
  static constexpr std::uint64_t kStepX = 0xC13FA9A902A6328FULL;
  static constexpr std::uint64_t kStepY = 0x91E10DA5C79E7B1CULL;

  static constexpr std::uint32_t SlotOf(const Cell& cell, int bits) {
    const auto at = static_cast<std::uint64_t>(cell.z) +
                    ((kStepX >> (64 - bits)) | 1) * static_cast<std::uint64_t>(cell.x) +
                    ((kStepY >> (64 - bits)) | 1) * static_cast<std::uint64_t>(cell.y);
    return static_cast<std::uint32_t>(at & ((std::uint64_t{1} << bits) - 1));
  }
  static constexpr bool TellsCellsOfABlockApart(int bits);
  static constexpr bool TellsCellsOfEveryBlockApart();

  void Sort(const std::vector<std::uint32_t>& slots);

  int _bits = kFewestBits;
  std::vector<std::uint32_t> _starts;  // of each slot in the places, and their end
  std::vector<std::uint32_t> _places;
};

}  // namespace libmfx::geometry
