#pragma once

#include <Eigen/Core>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "libmfx/features/feature.h"
#include "sim/scene.h"
#include "uncertainty/values.h"

namespace libmfx::uncertainty {

/// What stands in front of the virtual instrument in the part's place. Lengths are metres, angles
/// radians, coordinates in the instrument's frame.
struct Twin {
  /// What the feature is: the name of its class, as `Feature::FeatureName` tells it: "PVI",
  /// "MatteSphere", "RobustHole", "Stud", "ThreadedHole", "Slot", "Rectangle", "Polygon", "Edge" or
  /// "CustomScan".
  std::string type;

  /// The point that the result tells as "Location": the middle of an opening, on the surface; the
  /// centre of a ball; a point of the axis of a stud or a bore; the point of an edge.
  Vector3d place = Vector3d::Zero();
  /// Unit, of the surface, to the side of the instrument; of a stud or a bore its axis in the sense
  /// of the request.
  Vector3d normal = -Vector3d::UnitZ();
  /// Unit, square to the normal: "Tangent" of a slot or a rectangle, "Axis" of a polygon; of an
  /// edge out of the plate, over its border.
  Vector3d tangent = Vector3d::UnitX();
  double radius = 0.0;  ///< of a ball, a hole, a polygon's corners, a wall, a thread's crests
  double length = 0.0;  ///< of a slot or a rectangle, along the tangent
  double width = 0.0;   ///< the same across it
  int sides = 0;        ///< of a polygon

  /// Height of `place` above the surface along the axis of a stud or a bore; of an edge the depth
  /// of the edge point below the surface.
  double height = 0.0;
  double window = 0.0;  ///< of a stud or a bore: the height up to which samples are looked at

  /// What the direction in which the part is seen starts from, as the request tells it.
  Vector3d origin = Vector3d::Zero();
  /// Distance of the samples across an edge, or of the lines on a wall: within it a scan cannot
  /// tell where between two of them the part ends.
  double spacing = 1e-4;

  double thickness = 0.01;       ///< of a plate around an opening, or of the wall of an edge
  std::optional<double> behind;  ///< of a plane behind the part, from its front; none: nothing
  double chamfer_depth = 0.0;    ///< of an opening, along the normal
  double chamfer_angle = 0.7853981633974483;  ///< between chamfer and normal
  double wall_angle = 0.0;                    ///< lean of the wall of an edge
  double fillet = 0.0;                        ///< of an edge; 0: none
  double chamfer = 0.0;                       ///< of an edge, along front and wall; 0: none
  /// Of a stud or a bore with a thread: the scene's "thread", whose crests lie at `radius`; null:
  /// the wall is smooth.
  nlohmann::json thread;
  /// Errors of form of a wall, as the scene's "form"; null: none.
  nlohmann::json form;
  /// What the faces are off, as the scene's "relief"; null: nothing.
  nlohmann::json relief;
};

/// The part that a request tells: the nominal itself, at its nominal place. A path without a
/// feature gets the plane that lies nearest to its points.
/// \returns none if there is nothing to measure: the request cannot be carried out, or its path has
/// no point
std::optional<Twin> NominalTwin(const std::string& request);

/// The same with the measured values in the place of the nominal ones.
/// \param stages what the analysis recorded: the surface of an edge stands there alone
Twin MeasuredTwin(Twin nominal, const Values& measured, const features::Stages& stages);

/// How far the profile of an edge lies over the theoretical corner of front and wall at a depth
/// below the front, metres along the tangent.
double OutwardsAt(const Twin& edge, double depth);

/// The scene with the twin, matte and clean, without noise.
/// \param growth of the part's sizes, 1 + expansion times temperature; its place stays
/// \throws sim::SceneError if it cannot stand there or has no such shape
sim::Scene SceneOf(const Twin& twin, double growth = 1.0);

/// What is true of the twin, key by key, for what a measurement may find. Where the request rather
/// than the part decides on a component, it is that of the measured one: where along its axis the
/// place of a stud or a bore lies, where along the border an edge point lies, and the line of sight
/// on which a surface point lies.
Values TrueValues(const Twin& twin, const Values& measured);

}  // namespace libmfx::uncertainty
