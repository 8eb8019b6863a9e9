#pragma once

#include <Eigen/Core>
#include <optional>

#include "libmfx/data_structures/point_cloud.h"
#include "libmfx/geometry/plane.h"
#include "libmfx/geometry/polynomial_2d.h"

/// \file
/// The profile of a border, in the plane of its cross section. Lengths are metres.

namespace libmfx::features {

/// Places in a cross section: columns of along the surface, height above it, out of the plane.
using Section = Eigen::Matrix3Xd;

/// Leads from points that Edge::transform carried to places in the cross section, and back into
/// the instrument's frame.
class SectionFrame {
 public:
  /// \param plane tangent along the surface, bitangent out of it, normal out of the cross section
  /// \param origin the translation that the points were carried with
  SectionFrame(const geometry::Plane& plane, const data_structures::PointXYZW& origin);

  Section Places(const data_structures::PointCloud& carried) const;
  data_structures::PointXYZW PointAt(const Eigen::Vector3d& place) const;

 private:
  Eigen::Matrix3d _axes;
  Eigen::Matrix3d _from_carried;
  Eigen::Vector3d _origin;
};

/// The measured surface in a cross section: a straight line.
struct SurfaceLine {
  Eigen::Vector2d point = Eigen::Vector2d::Zero();
  Eigen::Vector2d direction = Eigen::Vector2d::UnitX();  ///< unit, towards the border
  double scatter = 0.0;  ///< standard deviation of its samples about it

  /// Out of the surface, unit.
  Eigen::Vector2d Normal() const { return {-direction.y(), direction.x()}; }
  /// How far along the line, and how far below it, a place is.
  Eigen::Vector2d AlongAndDepth(const Eigen::Vector3d& place) const;
  /// The place in the cross section, in its plane.
  Eigen::Vector3d Place(const Eigen::Vector2d& along_and_depth) const;
};

/// Fits the surface to the first `straight` places of a profile, of which the first `sure` lie on
/// it: those begin, and what lies as near as they scatter joins.
/// \param tolerance places farther than this from the surface are no part of it
/// \returns nothing if fewer than 2 places, or no direction along the profile, are left
std::optional<SurfaceLine> FitSurfaceLine(const Section& profile, Eigen::Index straight,
                                          Eigen::Index sure, double tolerance);

/// The part of a profile around the place where it falls through a level, as a curve whose axes lie
/// half a right angle to either side of the surface: a sharp corner of a square plate, a rounding
/// and a leaning wall are all functions there, which none of them is over the surface.
class Crossing {
 public:
  /// Chooses the range: where most samples agree that the profile passes the level, and `reach`
  /// along it to either side. Samples that stand on the wrong side are left out.
  /// \param profile columns of (along, depth), in scan order
  /// \param noise what lies above the level by this little has reached it: of a second surface at
  ///     that very depth all samples have
  Crossing(const Eigen::Matrix2Xd& profile, double level, double noise, double reach);

  /// \returns false if no curve can be fitted
  bool Fit();
  /// Whether the curve falls through the level.
  bool FindStep();
  /// Where exactly it does so, (along, depth); nothing if the samples are not where the curve is,
  /// leave a gap along the surface as long as the reach, or pass the level more than once.
  /// \param tolerance how far the curve may stand off the line through the samples
  std::optional<Eigen::Vector2d> Find(double tolerance) const;

  const geometry::Polynomial2D& curve() const { return _curve; }
  const Eigen::Vector2d& middle() const { return _middle; }
  double reach() const { return _reach; }

 private:
  /// (along, depth) on the curve.
  Eigen::Vector2d On(double u) const;

  double _level;
  double _reach;
  Eigen::Vector2d _middle = Eigen::Vector2d::Zero();  ///< where the samples pass the level
  double _gap = 0.0;           ///< along the surface, between the samples before and after that
  Eigen::Index _wrong = 0;     ///< samples on the wrong side
  Eigen::Matrix2Xd _stations;  ///< in the axes of the curve, about _middle
  geometry::Polynomial2D _curve;
  Eigen::Index _step = -1;  ///< station at which the level has been passed
};

}  // namespace libmfx::features
