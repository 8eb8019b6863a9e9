#pragma once

#include <cstddef>
#include <unordered_map>
#include <vector>

#include "libmfx/features/opening.h"
#include "libmfx/geometry/plane.h"

namespace libmfx::features {

/// Measures a regular polygonal opening in a flat surface: centre, normal, symmetry axis and
/// radius, the distance from the centre to a corner.
///
/// Scanned and fitted as a rectangle is. Lengths are metres, angles radians, coordinates in the
/// instrument's frame.
class LIBMFX_EXPORT Polygon : public Opening {
 public:
  Polygon();
  /// From a request, as its text or parsed before; an error in it stands in GetError().
  explicit Polygon(std::string json);
  explicit Polygon(const messages::Request& request);

  static std::shared_ptr<win32_support::FeatureDescriptor> FeatureDescriptor();

 protected:
  bool Analyze() override;
  std::queue<Position> GenerateDrivePoints() override;

  /// One edge point for each line that has one; see Rectangle.
  PointCloud edge_points_from_bins(const std::vector<PointCloud>& bins,
                                   const PointXYZW& plane_point, const geometry::Plane& plane);

 private:
  static shared::Settings SettingsTable();
  static shared::RequestKeys RequestTable();
  static shared::PlanChecks PlanTable();
  static shared::ResultKeys ResultTable();
  static shared::SearchNominal SearchTable();
  const shared::FeatureClass& Class() const override;
  shared::OutlineRules Rules() const;
  /// The corners of the regular polygon that the result tells, from the end of side 0 on.
  std::vector<PointXYZW> ReportedCorners(std::size_t count) const;

 protected:
  unsigned int Sides = 0;
  unsigned int ScansPerSide = 0;  ///< scan lines on each side
  double QualityThreshold = 50.0;
  double PointSpacing = 0.0001;
  double ClearanceZone = 0.005;
  double _normal_reject_angle = 0.2617993877991494;
  int IDCMethod = -1;  ///< a setting that nothing here reads
  PointXYZW NominalPoint;
  VectorXYZW NominalNormal;  ///< unit
  VectorXYZW NominalAxis;    ///< unit, from the centre towards the first corner
  double _input_radius = 0.0;
  PointXYZW MeasuredPoint;
  VectorXYZW MeasuredNormal;
  VectorXYZW MeasuredAxis;
  PointCloud _scan_cloud;
  std::unordered_map<int, double> _point_signs;  ///< direction of each planned line
  PointXYZW _scan_origin;
  double _measured_radius = 0.0;
  double _unused_nominal_radius = 0.0;  ///< what the setting "NominalRadius" reaches
  double _quality = 0.0;                ///< 0 to 100, from the scatter of the edge points
};

}  // namespace libmfx::features
