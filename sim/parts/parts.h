#pragma once

#include <memory>

#include "sim/faces/outline.h"
#include "sim/part.h"

/// \file
/// The built-in parts. Lengths are metres, angles radians. Each stands in its own frame as told in
/// part.h. The makers expect sound dimensions: what a scene file says is checked in scene.cpp.

namespace libmfx::sim::parts {

using PartPtr = std::shared_ptr<const Part>;

/// A rectangular sheet without thickness, its middle in the origin.
struct PlaneSpec {
  double length = 0.5;  ///< along x
  double width = 0.5;   ///< along y
};
PartPtr MakePlane(const PlaneSpec& spec);

/// A plate whose front surface is z = 0, with one opening around the origin. Round, rectangular,
/// polygonal and obround openings differ only in their outline.
struct OpeningPlateSpec {
  Outline opening = Outline::Circle(0.005);  ///< of the bore, below a chamfer
  double thickness = 0.01;                   ///< of the plate, and of the opening's wall
  double depth = 0.0;                        ///< of a blind opening with a floor; 0: through
  double chamfer_depth = 0.0;                ///< along the axis; 0: none
  double chamfer_angle = kPi / 4.0;          ///< between the chamfer and the axis
  double length = 0.2;                       ///< of the plate along x
  double width = 0.2;                        ///< of the plate along y
  double border_radius = 0.0;                ///< of the plate's corners
  Truth truth;                               ///< what belongs to the shape of the opening
};
PartPtr MakeOpeningPlate(OpeningPlateSpec spec);

/// The plate's opening with its truth: "radius", "rim_radius".
OpeningPlateSpec RoundOpening(double radius);
/// Truth: "length", "width", "tangent".
OpeningPlateSpec RectangularOpening(double length, double width, double corner_radius = 0.0);
/// Truth: "sides", "radius" (to a corner), "axis" (to the first corner).
OpeningPlateSpec PolygonalOpening(int sides, double radius, double corner_radius = 0.0);
/// Truth: "length" (over all), "width", "tangent".
OpeningPlateSpec ObroundOpening(double length, double width);

/// A ball around the origin on a stem that leaves it along -z.
struct BallSpec {
  double radius = 0.0127;
  double stem_radius = 0.004;  ///< 0: no stem
  double stem_length = 0.05;   ///< from the centre
};
PartPtr MakeBall(const BallSpec& spec);

}  // namespace libmfx::sim::parts
