#include <cmath>
#include <cstdint>

#include "features/shared/directions.h"
#include "features/shared/grazed_border.h"
#include "features/shared/outline.h"
#include "geometry/squared_limit.h"
#include "libmfx/features/slot.h"
#include "libmfx/geometry/line.h"

namespace libmfx::features {

using geometry::Circle;

namespace {

constexpr std::size_t kFewestArcPoints = 4;

/// Below this share of the width the centres of the two arcs lie so close together that the line
/// through them tells nothing: noise of a tenth of a spacing would turn it by degrees. Such an
/// opening is round to the eye, and the nominal's direction is reported for it.
constexpr double kRoundShare = 0.05;

/// A circle through points that lie in the surface.
bool FitCircle(const std::vector<shared::EdgePoint>& points, Circle& circle) {
  return circle.LeastSquares(shared::PlacesOf(points)) && circle.IsValid();
}

}  // namespace

shared::OutlineRules Slot::Rules() const {
  // The lines across the straight sides come after those across the arcs; they show the operator
  // the sides and take no part in the fit.
  const auto layout =
      shared::ScanLayout::Crossing(2, static_cast<unsigned int>(ScanPassesPerArc), _point_signs,
                                   2 * std::int64_t{ScanPassesPerArc} - 1);
  const double reach = ClearanceZone + Length;
  shared::OutlineRules rules = RulesOf(
      "Slot::Analyze(): The normal vector of the scan data fit plane exceeds the angle to "
      "nominal rejection threshold!",
      layout, {reach * 0.5, Width, 2.0 * reach, ClearanceZone, PointSpacing, _normal_reject_angle});
  rules.fewest_edges = 1;
  rules.checks_plan = true;
  return rules;
}

PointCloud Slot::edge_points_from_bins(const std::vector<PointCloud>& bins,
                                       const PointXYZW& plane_point, const geometry::Plane& plane) {
  return shared::EdgePoints(bins, plane_point, plane, Rules().edges);
}

bool Slot::Analyze() {
  const shared::OutlineRules rules = Rules();
  shared::Outline outline;
  if (!FindOutline(rules, _scan_cloud, outline)) return false;
  MeasuredNormal = outline.plane.Normal();
  std::array<Circle, 2> arcs;
  std::vector<PointCloud> on_arcs;
  if (!FitArcs(outline, arcs) || !MeasureTangent(arcs) || !RefitArcs(outline, arcs, on_arcs) ||
      !MeasureFrom(arcs, outline)) {
    return false;
  }
  if (AsksForRescan(MeasuredPoint, MeasuredNormal)) return false;
  Warn(shared::DoubtsOfArcs(arcs, on_arcs, PointSpacing, ClearanceZone));
  TellDoubts(rules, outline, MeasuredPoint, false);
  return true;
}

bool Slot::FitArcs(const shared::Outline& outline, std::array<Circle, 2>& arcs) {
  for (std::size_t i = 0; i < arcs.size(); ++i) {
    if (outline.edges[i].size() < kFewestArcPoints) return Fail("Insufficient points to fit arc!");
    if (!FitCircle(outline.edges[i], arcs[i])) return Fail("Unable to fit slot arcs!");
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
  const double angle = shared::AngleOfCosine(MeasuredTangent.dot(NominalTangent));
  if (!Passed("angle to the nominal tangent", angle, _normal_reject_angle,
              !(angle > _normal_reject_angle))) {
    return Fail("Slot is misaligned in the tangent direction!");
  }
  return true;
}

bool Slot::RefitArcs(const shared::Outline& outline, std::array<Circle, 2>& arcs,
                     std::vector<PointCloud>& on_arcs) {
  const VectorXYZW across = MeasuredNormal.cross(MeasuredTangent);
  const geometry::Plane surface = shared::Facing(outline.plane, _scan_origin);
  const shared::GrazedBorder border(_scan_cloud, surface, _scan_origin, PointSpacing);
  for (std::size_t i = 0; i < arcs.size(); ++i) {
    // With the nominal off along the slot, the first and the last line of an arc meet a straight
    // side. Such a point lies behind the line across the slot through the arc's centre.
    const geometry::Line side(arcs[i].Center(), across);
    const VectorXYZW outward = MeasuredTangent * (i == 0 ? 1.0 : -1.0);
    std::vector<shared::EdgePoint> on_arc;
    for (shared::EdgePoint edge : outline.edges[i]) {
      const bool behind = (edge.place - arcs[i].Center()).dot(outward) < 0.0;
      if (behind && !(side.Distance(edge.place) <= 2.0 * PointSpacing)) continue;
      edge.place =
          border.Beyond(edge.place, edge.line->segment, edge.line->sense < 0).value_or(edge.place);
      on_arc.push_back(edge);
    }
    if (on_arc.size() < kFewestArcPoints) {
      return Fail("Bad scan lines resulted insufficient edge points being found!");
    }
    if (!FitCircle(on_arc, arcs[i])) return Fail("Unable to refit slot arcs!");
    on_arcs.push_back(shared::PlacesOf(on_arc));
  }
  return true;
}

bool Slot::MeasureFrom(const std::array<Circle, 2>& arcs, const shared::Outline& outline) {
  const PointXYZW c0 = arcs[0].Center();
  const PointXYZW c1 = arcs[1].Center();
  const double r1 = arcs[0].Radius();
  const double r2 = arcs[1].Radius();
  MeasuredWidth = r1 + r2;
  const double width_off = std::abs(MeasuredWidth - Width);
  const double width_limit = ClearanceZone * 0.5;
  if (!Passed("width off its nominal", width_off, width_limit, !(width_off > width_limit))) {
    return Fail("Considerably high interior points! Is this a flat surface?");
  }
  const double apart = std::abs(r1 - r2);
  if (!Passed("radii of the arcs apart", apart, Width * 0.25, !(apart > Width * 0.25))) {
    return Fail("Inconsistent arc radii! Check target offset!");
  }
  // The ends of the slot are where the arcs reach farthest along the tangent. A half circle shows
  // its end better than its centre, whose error its radius undoes; so the length is the distance of
  // the ends, and the centre lies half way between them.
  const PointXYZW end0 = c0 + MeasuredTangent * r1;
  const PointXYZW end1 = c1 - MeasuredTangent * r2;
  MeasuredLength = (end0 - end1).dot(MeasuredTangent);
  MeasuredPoint = end1 + (end0 - end1) * 0.5;
  const double limit = std::ceil(0.25 * static_cast<double>(_scan_cloud.cols()));
  for (const Circle& arc : arcs) {
    const double square = geometry::SquareBelow(arc.Radius());
    const double within = shared::CountInside(outline.surface.lines, [&](const PointXYZW& p) {
      return (p - arc.Center()).squaredNorm() <= square;
    });
    if (!Passed("surface samples within an arc", within, limit, !(within > limit))) {
      return Fail("Significant scan data within fit arcs! Check target offset!");
    }
  }
  return true;
}

}  // namespace libmfx::features
