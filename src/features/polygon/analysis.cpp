#include <cmath>
#include <numbers>
#include <vector>

#include "features/shared/directions.h"
#include "features/shared/outline.h"
#include "geometry/squared_limit.h"
#include "libmfx/features/polygon.h"

namespace libmfx::features {

using data_structures::Distance;

shared::OutlineRules Polygon::Rules() const {
  const double reach = ClearanceZone + _input_radius;
  shared::OutlineRules rules = RulesOf(
      "Polygon::Analyze(): The normal vector of the scan data fit plane exceeds the angle to "
      "nominal rejection threshold!",
      shared::ScanLayout::Crossing(Sides, ScansPerSide, _point_signs),
      {reach, _input_radius, 2.0 * reach, ClearanceZone, PointSpacing, _normal_reject_angle});
  rules.checks_plan = true;
  return rules;
}

PointCloud Polygon::edge_points_from_bins(const std::vector<PointCloud>& bins,
                                          const PointXYZW& plane_point,
                                          const geometry::Plane& plane) {
  return shared::EdgePoints(bins, plane_point, plane, Rules().edges);
}

bool Polygon::Analyze() {
  const shared::OutlineRules rules = Rules();
  shared::Outline outline;
  if (!FindOutline(rules, _scan_cloud, outline)) return false;
  outline.sides = shared::FitSides(outline.edges);
  const auto corners = shared::Corners(outline.sides, outline.plane);
  if (!corners) return Fail("A polygon side line did not intersect its neighbor!");

  MeasuredPoint = shared::MeanOf(outline.sides, *corners);
  MeasuredNormal = outline.plane.Normal();
  // The last side meets side 0 at the corner that the nominal axis points at.
  MeasuredAxis = shared::UnitFromTo(MeasuredPoint, corners->back());
  double radii = 0.0;
  for (const PointXYZW& c : *corners) radii += Distance(c, MeasuredPoint);
  _measured_radius = radii / static_cast<double>(corners->size());
  const double radius_off = std::abs(_measured_radius - _input_radius);
  const double limit = ClearanceZone * 0.5;
  if (!Passed("radius off its nominal", radius_off, limit, !(radius_off > limit))) {
    return Fail("Inconsistent dimensions! Check target offset!");
  }
  MeasuredPoint = shared::CenterShiftedBySpacing(outline.surface.lines, MeasuredPoint,
                                                 MeasuredNormal, _scan_origin, PointSpacing);
  const PointXYZW& c0 = corners->front();
  const double apothem = Distance(c0 + ((*corners)[1] - c0) * 0.5, MeasuredPoint);
  const double within = geometry::SquareBelow(apothem);
  const auto is_inside = [&](const PointXYZW& p) {
    return (p - MeasuredPoint).squaredNorm() <= within;
  };
  if (shared::IsMostlyInside(outline.surface.lines, is_inside)) {
    return Fail("Significant scan data within fit area! Check target offset!");
  }
  _quality = shared::QualityOfEdges(outline.sides);
  if (AsksForRescan(MeasuredPoint, MeasuredNormal)) return false;
  TellDoubts(rules, outline, MeasuredPoint, true);
  Warn(shared::DoubtsOfCorners(*corners, ReportedCorners(corners->size()), PointSpacing,
                               ClearanceZone));
  return true;
}

std::vector<PointXYZW> Polygon::ReportedCorners(std::size_t count) const {
  // Side 0 begins at the corner of the axis, and corner 0 is its end.
  const VectorXYZW across = MeasuredNormal.cross(MeasuredAxis);
  std::vector<PointXYZW> corners;
  for (std::size_t i = 1; i <= count; ++i) {
    const double turn =
        2.0 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(count);
    corners.push_back(MeasuredPoint + MeasuredAxis * (_measured_radius * std::cos(turn)) +
                      across * (_measured_radius * std::sin(turn)));
  }
  return corners;
}

}  // namespace libmfx::features
