#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace libmfx::geometry::sweep {

/// Numbers from 0 on, the smallest first. Each is a bit, and each word that is not 0 a bit of the
/// level above: the cost of an operation is the number of levels, 3 for up to 262,144 numbers, and
/// no comparison has an outcome that nothing foretells, of which a heap has one a level.
class NumberSet {
 public:
  bool Empty() const { return _levels.empty() || _levels.back().front() == 0; }
  /// \param number isn't in the set
  void Insert(int number);
  /// The smallest; there is one.
  int First() const;
  void Remove(int number);

 private:
  using Words = std::vector<std::uint64_t>;

  void Reach(std::size_t number);

  std::vector<Words> _levels;  ///< from the numbers' own bits up to a single word
};

/// Circles whose bottoms are too close to tell them apart by rounded ordinates, the highest first,
/// among equal ones that with the smallest number. A raster ties row by row, and nearly all circles
/// of a row have one and the same bottom to the last bit: these, of which there are thousands in a
/// row of as many sites, are kept by number alone, and the others in a heap.
class TieQueue {
 public:
  struct Tie {
    double y, y_low;  ///< the bottom: y + y_low
    int circle;
    /// Whether this one comes later.
    bool operator<(const Tie& other) const;
  };

  bool Empty() const { return _crowd.Empty() && _others.empty(); }
  void Push(const Tie& tie);
  /// The first; there is one.
  const Tie& First() const { return _first; }
  void Pop();

 private:
  double _y = 0.0, _y_low = 0.0;  ///< the one bottom of all circles of the crowd
  NumberSet _crowd;
  std::vector<Tie> _others;  ///< a heap
  Tie _first{};              ///< of both, unless they are empty
  bool _first_in_crowd = false;
};

}  // namespace libmfx::geometry::sweep
