#pragma once

#include <memory>
#include <queue>
#include <string>
#include <vector>

#include "libmfx/features/feature.h"
#include "libmfx/geometry/cylinder_fitter.h"

namespace libmfx::features {

/// What tells one class with a cylindrical wall from another.
struct CylinderKind {
  const char* name;
  const wchar_t* label;
  const char* quality_key;  ///< of the request
  const char* result_type;  ///< "$type" of the result
  double rounding;          ///< added to the number of lines before it is truncated
  bool axis_points_away;    ///< from the scan origin, as the axis of a bore does
};

/// What the features with a cylindrical wall share: they drive a raster of lines along the axis,
/// fit a cylinder to the samples and report its axis, centre and radius. docs/cylinders.md tells
/// the stages with pictures.
///
/// Lengths are metres, angles radians, coordinates in the instrument's frame. The nominal centre
/// lies in the surface that the cylinder stands on or is sunk into; heights count from there along
/// the axis.
class LIBMFX_EXPORT CylinderFeature : public Feature {
 protected:
  /// A cylinder as settings and results name it; the axis' `w` carries no meaning.
  struct Cylinder {
    PointXYZW _axis;
    PointXYZW _center;
    double _radius;
  };
  struct FittedCylinder : Cylinder {
    geometry::ThreadedCylinderFitter::Statistics _statistics;
  };

  explicit CylinderFeature(const CylinderKind& kind);

  /// The class T, derived from this one, by its tables.
  template <typename T>
  static shared::FeatureClass TablesOf(const CylinderKind& kind);

  bool Analyze() override;
  std::queue<Position> GenerateDrivePoints() override;

  /// The unit vector from the nominal centre to the scan origin, dotted with the nominal axis.
  double FacingOfAxis() const;

  bool _fix_axis = false;
  bool _fix_radius = false;
  double _point_spacing = 0.0001;
  double _line_spacing = 0.0005;
  double _quality_threshold = 50.0;
  int _idc_method = -1;  ///< a setting that nothing here reads
  Cylinder _nominal_cylinder = {{0.0, 0.0, 0.0, 0.0}, {0.0, 0.0, 2.0, 1.0}, 0.001};
  double _bottom_offset = 0.001;     ///< height below which nothing is fitted
  double _height = 0.025;            ///< height above which nothing is fitted
  double _radius_tolerance = 0.005;  ///< how far from the nominal wall a point may be
  double _plane_tolerance = 0.001;   ///< how far the surface may be from the nominal centre
  double _min_incident_angle = 0.17453292519943295;
  FittedCylinder _fitted_cylinder = {{{0.0, 0.0, -1.0, 0.0}, {0.0, 0.0, 0.0, 0.0}, -1.0}, {}};
  PointXYZW _scan_origin;           ///< where the instrument stands
  bool _remove_low_quality = true;  ///< whether samples that stand out by quality are dropped
  PointCloud _scan_cloud;           ///< stays empty: the fit takes the samples as they are

 private:
  struct Parts;

  static shared::Settings SettingsTable(const CylinderKind& kind);
  static shared::RequestKeys RequestTable(const CylinderKind& kind);
  static shared::PlanChecks PlanTable();
  static shared::ResultKeys ResultTable(const CylinderKind& kind);
  static shared::SearchNominal SearchTable(const CylinderKind& kind);
  VectorXYZW NominalAxis() const;
  /// Across axis and view: the lines of the raster lie side by side along it.
  VectorXYZW AcrossDirection() const;
  /// \param samples receives the number of the sample behind each point
  std::vector<Eigen::Vector3d> PointsOfGoodQuality(std::vector<std::size_t>& samples);
  /// \param samples behind the points, whose fates it puts down
  bool FitCylinder(const std::vector<Eigen::Vector3d>& points,
                   const std::vector<std::size_t>& samples);
  /// The doubt about a fit that left much of the wall out.
  void TellDroppedWall();
  /// The doubt about a radius that the samples leave open by more than 0.05 mm.
  void TellOpenRadius();
  /// The doubt about an axis that the samples leave open by more than 0.15 mm over the window.
  void TellOpenAxis();
  /// The doubt about an axis along the line of sight, where no wall can be seen.
  void TellAxisInSight();

  CylinderKind _kind;
};

}  // namespace libmfx::features
