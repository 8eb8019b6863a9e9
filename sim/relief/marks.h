#pragma once

#include "sim/relief/relief.h"
#include "sim/surface/lattice.h"

namespace libmfx::sim {

/// Straight grooves that something left which was drawn over the surfaces. Each strip of the width
/// `spacing` has one, somewhere in it and half as deep as told or more.
struct MarksSpec {
  double depth = 0.00001;       ///< metres, of the deepest
  double width = 0.0001;        ///< metres, at the surface
  double spacing = 0.001;       ///< metres, not below the width
  Vec3 across = Vec3::UnitY();  ///< unit, from groove to groove
  std::uint64_t seed = 1;
};

/// height = -depth (1 - s^2)^2, s from -1 to 1 across a groove.
class Marks : public Relief {
 public:
  explicit Marks(const MarksSpec& spec);
  void Add(const Vec3& place, const Vec3& normal, Lift& lift) const override;
  double Largest() const override { return _spec.depth; }
  double Steepest() const override;

 private:
  MarksSpec _spec;
  double _per_metre;  ///< strips
  double _per_half;   ///< halves of a groove per metre
  Lattice _places;    ///< of the grooves within their strips
  Lattice _depths;
};

}  // namespace libmfx::sim
