#pragma once

#include "sim/vec.h"

namespace libmfx::sim {

/// How far a surface lies off its nominal one at a place.
struct Lift {
  double height = 0.0;        ///< metres along the outward normal
  Vec3 slope = Vec3::Zero();  ///< gradient of the height in the part's frame, m per m
  double curvature = 0.0;     ///< 1/m: near by the slope changes by no more per metre
};

/// A small departure of surfaces from their nominal shape: each kind has a file of its own.
class Relief {
 public:
  virtual ~Relief() = default;
  /// Adds what belongs to a place.
  /// \param place on the nominal surface, in the part's frame
  /// \param normal unit, out of the material
  virtual void Add(const Vec3& place, const Vec3& normal, Lift& lift) const = 0;
  /// Metres that no place is off by more, and slope that none has more of.
  virtual double Largest() const = 0;
  virtual double Steepest() const = 0;
};

}  // namespace libmfx::sim
