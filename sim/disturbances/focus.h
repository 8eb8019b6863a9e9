#pragma once

namespace libmfx::sim {

/// A beam whose focus stays at one distance, where an instrument in order follows the range.
struct FocusSpec {
  double distance = 2.0;   ///< metres to the waist
  double aperture = 0.01;  ///< metres, diameter of the beam where it leaves the instrument
};

/// Diameter (1/e^2, metres) of a beam that is `in_focus` wide where its focus is right. Before and
/// behind the waist the cone from the aperture to it is added as root of the sum of squares, which
/// a Gaussian beam's radius follows: d^2 = in_focus^2 + (aperture * (range / distance - 1))^2.
double SpotDiameter(const FocusSpec& focus, double in_focus, double range);

}  // namespace libmfx::sim
