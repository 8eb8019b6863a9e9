#include "sim/disturbances/focus.h"

#include <cmath>

namespace libmfx::sim {

double SpotDiameter(const FocusSpec& focus, double in_focus, double range) {
  const double cone = focus.aperture * (range / focus.distance - 1.0);
  return std::sqrt(in_focus * in_focus + cone * cone);
}

}  // namespace libmfx::sim
