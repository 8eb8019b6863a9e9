#include <cmath>

#include "features/shared/border_doubts.h"
#include "features/shared/directions.h"
#include "features/shared/outline_fit.h"
#include "libmfx/features/polygon.h"

namespace libmfx::features {

using data_structures::Distance;

PointCloud Polygon::edge_points_from_bins(const std::vector<PointCloud>& bins,
                                          const PointXYZW& plane_point,
                                          const geometry::Plane& plane) {
  return shared::EdgePoints(bins, plane_point, plane,
                            {.raise = _input_radius,
                             .limit = 2.0 * (ClearanceZone + _input_radius),
                             .point_spacing = PointSpacing});
}

bool Polygon::Analyze() {
  if (_has_error) return false;
  _scan_cloud = PointCloud(GetRawData(), EMBEDDING_XYZ, QualityThreshold, true);
  if (_scan_cloud.cols() == 0) return Fail("All scanned data was filtered!");
  const std::string refusal = RefusePlan();
  if (!refusal.empty()) return Fail(refusal);

  geometry::Plane plane;
  shared::LineBins selected;
  const shared::SurfaceFit surface =
      shared::FitSurface(shared::BinCrossingLines(_scan_cloud, Sides, ScansPerSide, _point_signs),
                         {.center = NominalPoint,
                          .normal = NominalNormal,
                          .max_distance = ClearanceZone + _input_radius,
                          .quality_threshold = QualityThreshold,
                          .point_spacing = PointSpacing,
                          .reject_angle = _normal_reject_angle},
                         plane, selected);
  if (surface == shared::SurfaceFit::kNoPlane) return false;
  if (surface == shared::SurfaceFit::kTilted) {
    return Fail(
        "Polygon::Analyze(): The normal vector of the scan data fit plane exceeds the angle to "
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

  MeasuredPoint = shared::MeanOf(edges, *corners);
  MeasuredNormal = plane.Normal();
  // The last side meets side 0 at the corner that the nominal axis points at.
  MeasuredAxis = shared::UnitFromTo(MeasuredPoint, corners->back());
  double radii = 0.0;
  for (const PointXYZW& c : *corners) radii += Distance(c, MeasuredPoint);
  _measured_radius = radii / static_cast<double>(corners->size());
  if (std::abs(_measured_radius - _input_radius) > ClearanceZone * 0.5) {
    return Fail("Inconsistent dimensions! Check target offset!");
  }
  MeasuredPoint = shared::CenterShiftedBySpacing(selected, MeasuredPoint, MeasuredNormal,
                                                 _scan_origin, PointSpacing);
  const PointXYZW& c0 = corners->front();
  const double apothem = Distance(c0 + ((*corners)[1] - c0) * 0.5, MeasuredPoint);
  if (shared::IsMostlyInside(
          selected, [&](const PointXYZW& p) { return Distance(p, MeasuredPoint) < apothem; })) {
    return Fail("Significant scan data within fit area! Check target offset!");
  }
  _quality = shared::QualityOfEdges(edges);
  if (TriggerRescan(Distance(MeasuredPoint, NominalPoint))) {
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

}  // namespace libmfx::features
