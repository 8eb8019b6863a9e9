#pragma once

#include <memory>
#include <optional>

#include "sim/faces/outline.h"
#include "sim/part.h"
#include "sim/parts/rim.h"
#include "sim/parts/thread.h"
#include "sim/parts/wall_form.h"

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
  double edge_radius = 0.0;                  ///< between front and wall, instead of a chamfer
  BurrSpec burr;                             ///< on the front around the opening
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

/// The edge of a plate: a front in z = 0 on the side of -x, a wall that goes down from it. The
/// theoretical corner of the two is the y axis. A shell without ends: it is to be looked at within
/// its length.
struct EdgeSpec {
  double length = 0.2;      ///< along y, around the origin
  double width = 0.1;       ///< of the front, and of the ledge
  double thickness = 0.01;  ///< depth of the wall without a ledge
  double ledge = 0.0;       ///< depth of a second surface that begins where the wall ends; 0: none
  double wall_angle =
      0.0;               ///< lean of the wall: above 0 it can be seen from ahead, below 0 it hides
  double fillet = 0.0;   ///< radius between front and wall; 0: none
  double chamfer = 0.0;  ///< cut off along front and wall each; 0: none
};
/// Truth: "edge" (a point of the theoretical corner), "front_end" and "wall_start" (where fillet or
/// chamfer begin and end), "normal", "outward", "along", "depth".
PartPtr MakeEdge(const EdgeSpec& spec);

/// A stud on a base plate: the plate's surface is z = 0, the stud's foot the origin, +z its axis.
struct StudSpec {
  double radius = 0.004;         ///< of a smooth stud
  std::optional<Thread> thread;  ///< instead of a smooth stud
  WallForm form;                 ///< on the wall below the lead
  double height = 0.02;
  double lead = 0.0005;  ///< chamfer of 45 degrees at the free end; a thread's begins on its minor
                         ///< radius less this much
  double length = 0.2;   ///< of the base plate along x
  double width = 0.2;    ///< of the base plate along y
};
/// Truth: "center" (the foot), "axis" (out of the plate), "height", and "radius" or "major_radius",
/// "pitch_radius", "minor_radius", "pitch", and "left_handed" of a thread that is. Errors of form
/// move none of them: the axis is the least squares axis of the wall below the lead, the radii are
/// its means.
PartPtr MakeStud(const StudSpec& spec);

/// A bore in a plate: the front is z = 0, the middle of its mouth the origin.
struct BoreSpec {
  double radius = 0.004;         ///< of a smooth bore
  std::optional<Thread> thread;  ///< instead of a smooth bore
  WallForm form;                 ///< on the wall below the countersink
  double depth = 0.016;
  bool through = false;  ///< without a floor
  double lead = 0.0002;  ///< countersink of 45 degrees: the mouth is wider than the bore, or than
                         ///< the major radius, by this much
  double edge_radius = 0.0;  ///< between front and wall of a smooth bore without errors of form,
                             ///< instead of a lead
  BurrSpec burr;             ///< on the front around the mouth
  double length = 0.2;       ///< of the plate along x
  double width = 0.2;        ///< of the plate along y
};
/// Truth: "center" (of the mouth), "axis" (into the part), "normal" (out of it), "depth",
/// "mouth_radius", and the radii as for a stud.
PartPtr MakeBore(const BoreSpec& spec);

}  // namespace libmfx::sim::parts
