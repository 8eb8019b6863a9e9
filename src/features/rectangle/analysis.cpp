#include <cmath>

#include "features/shared/border_doubts.h"
#include "features/shared/directions.h"
#include "features/shared/outline_fit.h"
#include "libmfx/features/rectangle.h"

namespace libmfx::features {

PointCloud Rectangle::edge_points_from_bins(const std::vector<PointCloud>& bins,
                                            const PointXYZW& plane_point,
                                            const geometry::Plane& plane) {
  return shared::EdgePoints(bins, plane_point, plane,
                            {.raise = NominalWidth,
                             .limit = 2.0 * (ClearanceZone + NominalLength),
                             .point_spacing = PointSpacing});
}

bool Rectangle::Analyze() {
  if (_has_error) return false;
  _scan_cloud = PointCloud(GetRawData(), EMBEDDING_XYZ, QualityThreshold, true);
  if (_scan_cloud.cols() == 0) return Fail("All scanned data was filtered!");

  geometry::Plane plane;
  shared::LineBins selected;
  const shared::SurfaceFit surface = shared::FitSurface(
      shared::BinCrossingLines(_scan_cloud, _sides, ScanPassesPerSide, _point_signs),
      {.center = NominalPoint,
       .normal = NominalNormal,
       .max_distance = ClearanceZone + NominalLength,
       .quality_threshold = QualityThreshold,
       .point_spacing = PointSpacing,
       .reject_angle = _normal_reject_angle},
      plane, selected);
  if (surface == shared::SurfaceFit::kNoPlane) return false;
  if (surface == shared::SurfaceFit::kTilted) {
    return Fail(
        "Rectangle::Analyze(): The normal vector of the scan data fit plane exceeds the angle to "
        "nominal rejection threshold!");
  }
  std::vector<PointCloud> edges;
  for (const std::vector<PointCloud>& side : selected) {
    edges.push_back(edge_points_from_bins(side, plane.Point(), plane));
    if (edges.back().cols() < 2) {
      return Fail("Bad scan lines resulted insufficient edge points being found!");
    }
  }
  const auto corners = shared::Corners(edges, plane);
  if (!corners) return Fail("A polygon side line did not intersect its neighbor!");
  MeasureFrom(edges, *corners, plane);
  if (std::abs(MeasuredWidth - NominalWidth) > ClearanceZone * 0.5 ||
      std::abs(MeasuredLength - NominalLength) > ClearanceZone * 0.5) {
    return Fail("Inconsistent dimensions! Check target offset!");
  }
  MeasuredPoint = shared::CenterShiftedBySpacing(selected, MeasuredPoint, MeasuredNormal,
                                                 _scan_origin, PointSpacing);
  if (IsFilled(selected)) {
    return Fail("Significant scan data within fit area! Check target area!");
  }
  if (TriggerRescan(data_structures::Distance(MeasuredPoint, NominalPoint))) {
    NominalPoint = MeasuredPoint;
    NominalNormal = MeasuredNormal;
    return false;
  }
  Warn(shared::DoubtsOfCenter(MeasuredPoint, NominalPoint, PointSpacing, _rescan_threshold));
  Warn(shared::DoubtsOfSides(edges, PointSpacing, ClearanceZone));
  Warn(shared::DoubtsOfBorder(shared::BorderLines(edges, selected),
                              {plane, _raw_data, QualityThreshold, PointSpacing, _scan_origin}));
  return true;
}

void Rectangle::MeasureFrom(const std::vector<PointCloud>& edges,
                            const std::vector<PointXYZW>& corners, const geometry::Plane& plane) {
  using data_structures::Distance;
  MeasuredPoint = shared::MeanOf(edges, corners);
  MeasuredNormal = plane.Normal();
  // Corners 0 and 3 are the ends of side 0, which lies on the tangent's side.
  const VectorXYZW diagonal_sum = (corners[0] - corners[1]) + (corners[3] - corners[2]);
  MeasuredTangent = diagonal_sum.normalized();
  MeasuredWidth = (Distance(corners[0], corners[3]) + Distance(corners[1], corners[2])) * 0.5;
  MeasuredLength = (Distance(corners[0], corners[1]) + Distance(corners[2], corners[3])) * 0.5;
}

bool Rectangle::IsFilled(const shared::LineBins& selected) const {
  const VectorXYZW across = MeasuredNormal.cross(MeasuredTangent);
  const auto is_inside = [&](const PointXYZW& p) {
    const VectorXYZW v = p - MeasuredPoint;
    return std::abs(v.dot(MeasuredTangent)) < MeasuredLength * 0.5 &&
           std::abs(v.dot(across)) < MeasuredWidth * 0.5;
  };
  return shared::IsMostlyInside(selected, is_inside);
}

}  // namespace libmfx::features
