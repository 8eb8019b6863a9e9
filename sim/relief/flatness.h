#pragma once

#include "sim/relief/relief.h"

namespace libmfx::sim {

/// A plate that is not flat: z = dish * (x^2 + y^2) / half^2 + twist * x * y / half^2, half of the
/// span. The whole part is bent so; its walls move within themselves.
struct FlatnessSpec {
  double dish = 0.0;   ///< metres that the plate is higher half a span off the origin than there
  double twist = 0.0;  ///< metres that it is higher half a span off along both x and y
  double span = 0.2;   ///< metres
};

class Flatness : public Relief {
 public:
  /// \param reach metres from the origin that no place lies beyond
  Flatness(const FlatnessSpec& spec, double reach);
  void Add(const Vec3& place, const Vec3& normal, Lift& lift) const override;
  double Largest() const override;
  double Steepest() const override;

 private:
  double _dish;   ///< per metre
  double _twist;  ///< per metre
  double _reach;
};

}  // namespace libmfx::sim
