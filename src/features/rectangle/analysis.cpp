#include <cmath>

#include "features/shared/outline.h"
#include "libmfx/features/rectangle.h"

namespace libmfx::features {

shared::OutlineRules Rectangle::Rules() const {
  const double reach = ClearanceZone + NominalLength;
  return RulesOf(
      "Rectangle::Analyze(): The normal vector of the scan data fit plane exceeds the angle to "
      "nominal rejection threshold!",
      shared::ScanLayout::Crossing(_sides, ScanPassesPerSide, _point_signs),
      {reach, NominalWidth, 2.0 * reach, ClearanceZone, PointSpacing, _normal_reject_angle});
}

PointCloud Rectangle::edge_points_from_bins(const std::vector<PointCloud>& bins,
                                            const PointXYZW& plane_point,
                                            const geometry::Plane& plane) {
  return shared::EdgePoints(bins, plane_point, plane, Rules().edges);
}

bool Rectangle::Analyze() {
  const shared::OutlineRules rules = Rules();
  shared::Outline outline;
  if (!FindOutline(rules, _scan_cloud, outline)) return false;
  outline.sides = shared::FitSides(outline.edges);
  const auto corners = shared::Corners(outline.sides, outline.plane);
  if (!corners) return Fail("A polygon side line did not intersect its neighbor!");
  MeasureFrom(outline, *corners);
  const double limit = ClearanceZone * 0.5;
  const double width_off = std::abs(MeasuredWidth - NominalWidth);
  const double length_off = std::abs(MeasuredLength - NominalLength);
  if (!Passed("width off its nominal", width_off, limit, !(width_off > limit)) ||
      !Passed("length off its nominal", length_off, limit, !(length_off > limit))) {
    return Fail("Inconsistent dimensions! Check target offset!");
  }
  MeasuredPoint = shared::CenterShiftedBySpacing(outline.surface.lines, MeasuredPoint,
                                                 MeasuredNormal, _scan_origin, PointSpacing);
  if (IsFilled(outline)) return Fail("Significant scan data within fit area! Check target area!");
  if (AsksForRescan(MeasuredPoint, MeasuredNormal)) return false;
  TellDoubts(rules, outline, MeasuredPoint, true);
  const VectorXYZW along = MeasuredTangent * (0.5 * MeasuredLength);
  const VectorXYZW across = MeasuredNormal.cross(MeasuredTangent) * (0.5 * MeasuredWidth);
  // Side 0 lies on the tangent's side, and side 1 a quarter turn about the normal further.
  const PointXYZW& c = MeasuredPoint;
  Warn(shared::DoubtsOfCorners(
      *corners, {c + along + across, c - along + across, c - along - across, c + along - across},
      PointSpacing, ClearanceZone));
  return true;
}

void Rectangle::MeasureFrom(const shared::Outline& outline, const std::vector<PointXYZW>& corners) {
  using data_structures::Distance;
  MeasuredPoint = shared::MeanOf(outline.sides, corners);
  MeasuredNormal = outline.plane.Normal();
  // Corners 0 and 3 are the ends of side 0, which lies on the tangent's side.
  const VectorXYZW diagonal_sum = (corners[0] - corners[1]) + (corners[3] - corners[2]);
  MeasuredTangent = diagonal_sum.normalized();
  MeasuredWidth = (Distance(corners[0], corners[3]) + Distance(corners[1], corners[2])) * 0.5;
  MeasuredLength = (Distance(corners[0], corners[1]) + Distance(corners[2], corners[3])) * 0.5;
}

bool Rectangle::IsFilled(const shared::Outline& outline) const {
  const VectorXYZW across = MeasuredNormal.cross(MeasuredTangent);
  return shared::IsMostlyInside(outline.surface.lines, [&](const PointXYZW& p) {
    const VectorXYZW v = p - MeasuredPoint;
    return std::abs(v.dot(MeasuredTangent)) < MeasuredLength * 0.5 &&
           std::abs(v.dot(across)) < MeasuredWidth * 0.5;
  });
}

}  // namespace libmfx::features
