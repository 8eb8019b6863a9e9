#pragma once

#include <unordered_map>

#include "libmfx/features/opening.h"
#include "libmfx/geometry/plane.h"

namespace libmfx::features {

/// Measures a rectangular opening in a flat surface: centre, normal, tangent, length and width.
///
/// Each side is crossed by short scan lines. The last surface sample of a line is an edge point, a
/// line through each side's edge points is its border, and where two borders meet is a corner.
/// docs/openings.md tells the stages with pictures. Lengths are metres, angles radians, coordinates
/// in the instrument's frame. Length is the extent along the tangent, width that across it.
class LIBMFX_EXPORT Rectangle : public Opening {
 public:
  Rectangle();
  /// From a request, as its text or parsed before; an error in it stands in GetError().
  explicit Rectangle(std::string json);
  explicit Rectangle(const messages::Request& request);

  static std::shared_ptr<win32_support::FeatureDescriptor> FeatureDescriptor();

 protected:
  bool Analyze() override;
  std::queue<Position> GenerateDrivePoints() override;

  /// One edge point for each line that has one.
  /// \param bins lines that run from outside to inside; rows x, y, z first
  /// \param plane_point the middle of the surface around the opening
  /// \return the rows of the first line, x, y, z projected onto the plane
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
  /// Takes centre, frame and extents from the edge points and corners.
  void MeasureFrom(const shared::Outline& outline, const std::vector<PointXYZW>& corners);
  /// Whether too much of the surface lies within the opening.
  bool IsFilled(const shared::Outline& outline) const;

 protected:
  double QualityThreshold = 50.0;      ///< lowest sample quality kept
  unsigned int ScanPassesPerSide = 2;  ///< scan lines on each side
  double PointSpacing = 0.0001;
  unsigned int _sides = 4;
  double NominalLength = 0.0;
  double NominalWidth = 0.0;
  PointXYZW NominalPoint;        ///< moved by a search and a re-scan
  VectorXYZW NominalNormal;      ///< unit
  VectorXYZW NominalTangent;     ///< unit
  double ClearanceZone = 0.005;  ///< how far a line runs to each side of the nominal edge
  double _normal_reject_angle = 0.2617993877991494;
  int IDCMethod = -1;  ///< a setting that nothing here reads
  PointCloud _scan_cloud;
  double MeasuredLength = 0.0;
  double MeasuredWidth = 0.0;
  PointXYZW MeasuredPoint;
  VectorXYZW MeasuredNormal;
  VectorXYZW MeasuredTangent;
  std::unordered_map<int, double> _point_signs;  ///< direction of each planned line
  PointXYZW _scan_origin;
};

}  // namespace libmfx::features
