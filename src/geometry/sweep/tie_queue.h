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
/// among equal ones that with the smallest number. A raster ties row by row, and rounding leaves
/// the circles of a row, thousands where there are as many sites, about one bottom for each power
/// of two of their abscissas. So circles are kept in crowds of one bottom, in each by number alone.
/// In a heap they would cost more the longer the row is: a sixth of a mesh of 1e7 points.
class TieQueue {
 public:
  struct Tie {
    double y, y_low;  ///< the bottom: y + y_low
    int circle;
    /// Whether this one comes later.
    bool operator<(const Tie& other) const;
  };

  bool Empty() const { return _crowds.empty() && _others.empty(); }
  void Push(const Tie& tie);
  /// The first; there is one.
  const Tie& First() const { return _first; }
  void Pop();

 private:
  /// Circles of one bottom; there is one at least.
  struct Crowd {
    double y, y_low;
    std::size_t numbers;  ///< which of the sets has theirs
  };

  NumberSet& NumbersOf(const Crowd& crowd) { return _sets[crowd.numbers]; }
  void AddCrowd(std::size_t place, const Tie& tie);
  void FindFirst();

  std::vector<Crowd> _crowds;  ///< the highest at the end
  std::vector<NumberSet> _sets;
  std::vector<std::size_t> _free_sets;  ///< those of no crowd: empty ones
  std::vector<Tie> _others;             ///< of bottoms beyond kMostCrowds of them: a heap
  Tie _first{};                         ///< of all, unless there is none
  bool _first_in_crowd = false;
};

}  // namespace libmfx::geometry::sweep
