#include <cmath>

#include "features/shared/border_doubts.h"
#include "features/shared/directions.h"
#include "features/shared/grazed_border.h"
#include "features/shared/outline_fit.h"
#include "features/shared/segments.h"
#include "libmfx/features/slot.h"
#include "libmfx/geometry/line.h"

namespace libmfx::features {

using data_structures::Distance;
using geometry::Circle;

namespace {

constexpr Eigen::Index kFewestArcPoints = 4;

/// Below this share of the width the centres of the two arcs lie so close together that the line
/// through them tells nothing: noise of a tenth of a spacing would turn it by degrees. Such an
/// opening is round to the eye, and the nominal's direction is reported for it.
constexpr double kRoundShare = 0.05;

/// A circle through points that lie in the surface.
bool FitCircle(const PointCloud& points, Circle& circle) {
  return circle.LeastSquares(PointCloud(Eigen::MatrixXd(points.data().topRows(3)))) &&
         circle.IsValid();
}

}  // namespace

PointCloud Slot::edge_points_from_bins(const std::vector<PointCloud>& bins,
                                       const PointXYZW& plane_point, const geometry::Plane& plane) {
  return shared::EdgePoints(
      bins, plane_point, plane,
      {.raise = Width, .limit = 2.0 * (ClearanceZone + Length), .point_spacing = PointSpacing});
}

bool Slot::Analyze() {
  if (_has_error) return false;
  _scan_cloud = PointCloud(GetRawData(), EMBEDDING_XYZ, QualityThreshold, true);
  if (_scan_cloud.cols() == 0) return Fail("All scanned data was filtered!");
  const std::string refusal = RefusePlan();
  if (!refusal.empty()) return Fail(refusal);

  // The lines across the straight sides come after those across the arcs; they show the operator
  // the sides and take no part in the fit.
  const int last_of_arcs = 4 * ScanPassesPerArc - 1;
  geometry::Plane plane;
  Bins selected;
  const shared::SurfaceFit surface = shared::FitSurface(
      shared::BinCrossingLines(_scan_cloud, 2, static_cast<unsigned int>(ScanPassesPerArc),
                               _point_signs, last_of_arcs),
      {.center = NominalPoint,
       .normal = NominalNormal,
       .max_distance = (ClearanceZone + Length) * 0.5,
       .quality_threshold = QualityThreshold,
       .point_spacing = PointSpacing,
       .reject_angle = _normal_reject_angle},
      plane, selected);
  if (surface == shared::SurfaceFit::kNoPlane) return false;
  if (surface == shared::SurfaceFit::kTilted) {
    return Fail(
        "Slot::Analyze(): The normal vector of the scan data fit plane exceeds the angle to "
        "nominal rejection threshold!");
  }
  std::vector<PointCloud> edges;
  for (const std::vector<PointCloud>& arc : selected) {
    edges.push_back(edge_points_from_bins(arc, plane.Point(), plane));
    if (edges.back().cols() == 0) {
      return Fail("Bad scan lines resulted insufficient edge points being found!");
    }
  }
  MeasuredNormal = plane.Normal();
  std::array<Circle, 2> arcs;
  if (!FitArcs(edges, arcs) || !MeasureTangent(arcs) || !RefitArcs(edges, plane, arcs))
    return false;
  if (!MeasureFrom(arcs, selected)) return false;
  if (TriggerRescan(Distance(MeasuredPoint, NominalPoint))) {
    NominalPoint = MeasuredPoint;
    NominalNormal = MeasuredNormal;
    return false;
  }
  Warn(shared::DoubtsOfBorder(shared::BorderLines(edges, selected),
                              {plane, _raw_data, QualityThreshold, PointSpacing, _scan_origin}));
  return true;
}

bool Slot::FitArcs(const std::vector<PointCloud>& edges, std::array<Circle, 2>& arcs) {
  for (std::size_t i = 0; i < arcs.size(); ++i) {
    if (edges[i].cols() < kFewestArcPoints) return Fail("Insufficient points to fit arc!");
    if (!FitCircle(edges[i], arcs[i])) return Fail("Unable to fit slot arcs!");
  }
  return true;
}

bool Slot::MeasureTangent(const std::array<Circle, 2>& arcs) {
  VectorXYZW between = arcs[0].Center() - arcs[1].Center();
  between -= MeasuredNormal * between.dot(MeasuredNormal);
  if (between.norm() <= kRoundShare * Width) {
    between = NominalTangent - MeasuredNormal * NominalTangent.dot(MeasuredNormal);
  }
  MeasuredTangent = between.normalized();
  if (shared::AngleOfCosine(MeasuredTangent.dot(NominalTangent)) > _normal_reject_angle) {
    return Fail("Slot is misaligned in the tangent direction!");
  }
  return true;
}

bool Slot::RefitArcs(const std::vector<PointCloud>& edges, const geometry::Plane& plane,
                     std::array<Circle, 2>& arcs) {
  const VectorXYZW across = MeasuredNormal.cross(MeasuredTangent);
  for (std::size_t i = 0; i < arcs.size(); ++i) {
    // With the nominal off along the slot, the first and the last line of an arc meet a straight
    // side. Such a point lies behind the line across the slot through the arc's centre.
    const geometry::Line border(arcs[i].Center(), across);
    const VectorXYZW outward = MeasuredTangent * (i == 0 ? 1.0 : -1.0);
    std::vector<Eigen::Index> on_arc;
    for (Eigen::Index j = 0; j < edges[i].cols(); ++j) {
      const PointXYZW p = edges[i].point(j);
      const bool behind = (p - arcs[i].Center()).dot(outward) < 0.0;
      if (!behind || border.Distance(p) <= 2.0 * PointSpacing) on_arc.push_back(j);
    }
    if (static_cast<Eigen::Index>(on_arc.size()) < kFewestArcPoints) {
      return Fail("Bad scan lines resulted insufficient edge points being found!");
    }
    if (!FitCircle(AtBorder(shared::Columns(edges[i], on_arc), plane), arcs[i])) {
      return Fail("Unable to refit slot arcs!");
    }
  }
  return true;
}

PointCloud Slot::AtBorder(const PointCloud& edges, const geometry::Plane& plane) const {
  geometry::Plane surface = plane;
  if (surface.Normal().dot(_scan_origin - surface.Point()) < 0.0) {
    surface.Normal(-surface.Normal());
  }
  const shared::GrazedBorder border(_scan_cloud, surface, _scan_origin, PointSpacing);
  PointCloud moved = edges;
  for (Eigen::Index j = 0; j < moved.cols(); ++j) {
    const int segment = shared::SegmentOf(edges, j);
    const auto sign = _point_signs.find(segment);
    const bool outwards = sign != _point_signs.end() && sign->second < 0.0;
    const auto place = border.Beyond(edges.point(j), segment, outwards);
    if (place) moved.col(j).head<3>() = place->xyz();
  }
  return moved;
}

bool Slot::MeasureFrom(const std::array<Circle, 2>& arcs, const Bins& selected) {
  const PointXYZW c0 = arcs[0].Center();
  const PointXYZW c1 = arcs[1].Center();
  const double r1 = arcs[0].Radius();
  const double r2 = arcs[1].Radius();
  MeasuredWidth = r1 + r2;
  if (std::abs(MeasuredWidth - Width) > ClearanceZone * 0.5) {
    return Fail("Considerably high interior points! Is this a flat surface?");
  }
  if (std::abs(r1 - r2) > Width * 0.25) {
    return Fail("Inconsistent arc radii! Check target offset!");
  }
  // The ends of the slot are where the arcs reach farthest along the tangent. A half circle shows
  // its end better than its centre, whose error its radius undoes; so the length is the distance of
  // the ends, and the centre lies half way between them.
  const PointXYZW end0 = c0 + MeasuredTangent * r1;
  const PointXYZW end1 = c1 - MeasuredTangent * r2;
  MeasuredLength = (end0 - end1).dot(MeasuredTangent);
  MeasuredPoint = end1 + (end0 - end1) * 0.5;
  const int limit = static_cast<int>(std::ceil(0.25 * static_cast<double>(_scan_cloud.cols())));
  for (const Circle& arc : arcs) {
    int within = 0;
    for (const std::vector<PointCloud>& lines : selected) {
      for (const PointCloud& line : lines) {
        for (Eigen::Index i = 0; i < line.cols(); ++i) {
          within += Distance(line.point(i), arc.Center()) < arc.Radius() ? 1 : 0;
        }
      }
    }
    if (within > limit) {
      return Fail("Significant scan data within fit arcs! Check target offset!");
    }
  }
  return true;
}

}  // namespace libmfx::features
