#pragma once

#include <array>
#include <unordered_map>
#include <vector>

#include "libmfx/features/opening.h"
#include "libmfx/geometry/circle.h"
#include "libmfx/geometry/plane.h"

namespace libmfx::features {

/// Measures an obround opening in a flat surface: two straight sides joined by two half circles.
///
/// Its arcs and sides are crossed by short scan lines as the sides of a rectangle are; the two arcs
/// are fitted and give centre, tangent, length and width. docs/openings.md tells the stages with
/// pictures. Length is the overall extent along the tangent, width that across it. Lengths are
/// metres, angles radians, coordinates in the instrument's frame.
class LIBMFX_EXPORT Slot : public Opening {
 public:
  Slot();
  /// From a request, as its text or parsed before; an error in it stands in GetError().
  explicit Slot(std::string json);
  explicit Slot(const messages::Request& request);

  static std::shared_ptr<win32_support::FeatureDescriptor> FeatureDescriptor();
  bool SetRawData(const std::vector<RawDataPoint>& samples, std::queue<Position>& next) override;

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
  /// From the nominal centre to the centre of an arc.
  double ArcOffset() const;
  /// Fits each arc to its edge points, in the surface.
  bool FitArcs(const shared::Outline& outline, std::array<geometry::Circle, 2>& arcs);
  /// The tangent that the arcs show, and whether it agrees with the nominal's.
  bool MeasureTangent(const std::array<geometry::Circle, 2>& arcs);
  /// Fits each arc again: without the edge points that lie on a straight side, and with the others
  /// moved from the last sample of the surface to the border, where the next sample shows it.
  /// \param on_arcs receives the edge points of each arc that count
  bool RefitArcs(const shared::Outline& outline, std::array<geometry::Circle, 2>& arcs,
                 std::vector<PointCloud>& on_arcs);
  /// Takes centre and extents from the arcs and judges them.
  bool MeasureFrom(const std::array<geometry::Circle, 2>& arcs, const shared::Outline& outline);

 protected:
  double QualityThreshold = 50.0;
  int ScanPassesPerArc = 0;
  int ScanPassesPerSide = 0;
  double PointSpacing = 0.0001;
  double Length = 0.0;
  double Width = 0.0;
  PointXYZW NominalPoint;
  VectorXYZW NominalNormal;   ///< unit
  VectorXYZW NominalTangent;  ///< unit
  double ClearanceZone = 0.005;
  double _normal_reject_angle = 0.2617993877991494;  ///< also the limit of the tangent's angle
  int IDCMethod = -1;                                ///< a setting that nothing here reads
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
