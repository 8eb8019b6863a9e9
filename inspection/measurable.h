#pragma once

#include <Eigen/Core>
#include <string>
#include <string_view>

#include "inspection/plan.h"

/// \file
/// What the types of requests measure, and what they do not.

namespace libmfx::inspection {

/// What types have in common when it comes to places and directions.
enum class Shape {
  kBall,
  kOpening,   ///< a hole, slot, rectangle or polygon: its middle lies on a surface
  kCylinder,  ///< a stud or a bore: any point of its axis stands for it
  kSurfacePoint,
  kEdge,
  kPath  ///< a free path, and every type that nobody knows: nothing
};
Shape ShapeOf(std::string_view type);

/// Projects onto a direction, or onto the plane across it. Of a direction that is zero or not
/// finite either is zero: nothing is measured.
Eigen::Matrix3d Along(const Vector3d& direction);
Eigen::Matrix3d Across(const Vector3d& direction);

/// How far (a sine) a direction may lean out of what is measured and count as measured: a plan's
/// directions are told with three digits or more, and a deviation of 0.1 mm is then told within
/// 0.1 mm * 1e-3^2 / 2, a tenth of a nanometre.
inline constexpr double kHeld = 1e-3;

/// Whether the directions of a projector hold a vector of any length.
bool Holds(const Eigen::Matrix3d& directions, const Vector3d& vector);
/// Projects onto the directions that two projectors share, within `kHeld`.
Eigen::Matrix3d Shared(const Eigen::Matrix3d& a, const Eigen::Matrix3d& b);

/// Projects onto the directions that a datum takes of its places.
Eigen::Matrix3d TakenBy(const Datum& datum);

/// Projects onto the directions in which a position is told: across the feature's direction, of a
/// ball all three. A border that is straight has no position along itself, as an axis has none: an
/// edge's is told across the border. Zero for a surface point, of which nothing is measured across
/// its normal.
Eigen::Matrix3d PositionDirections(const PlannedFeature& feature);

/// Whether requests of a type measure the direction, the tangent, or a size ("diameter", "length",
/// "width"), if no key of theirs holds it.
bool MeasuresDirection(std::string_view type);
bool MeasuresTangent(std::string_view type);
bool MeasuresSize(std::string_view type, std::string_view size);
/// Whether a feature's result repeats a key of its request: "Axis" or "Radius" of a stud or a bore
/// that holds it.
bool Repeats(const PlannedFeature& feature, std::string_view key);

}  // namespace libmfx::inspection
