#pragma once

#include <cstdint>

#include "sim/vec.h"

namespace libmfx::sim {

/// Chance that belongs to places: cubes of a grid in the part's frame, each with a number of its
/// own that follows from the seed by integers alone. The same place has the same number in every
/// measurement and on every machine.
class Lattice {
 public:
  /// \param size of a cube, metres
  Lattice(double size, std::uint64_t seed);

  /// Of the cube around a point, uniform in [0, 1). The grid is shifted at random, so that a
  /// surface of the part lies within cubes and not on their borders.
  double UniformAt(const Vec3& point) const;

  /// Of a place of a row, uniform in [0, 1).
  double UniformOf(std::int64_t whole) const;

  /// A field without jumps, of the mean 0 and the standard deviation 1 everywhere: eight corners'
  /// deviates, weighed by nearness. It forgets within a cube or two.
  double SmoothAt(const Vec3& point) const;

 private:
  double _per_metre;
  std::uint64_t _seed;
  Vec3 _shift;  ///< in cubes
};

}  // namespace libmfx::sim
