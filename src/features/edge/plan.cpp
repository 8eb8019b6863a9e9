#include <utility>

#include "features/shared/directions.h"
#include "features/shared/plan_checks.h"
#include "libmfx/features/edge.h"

namespace libmfx::features {
namespace {

/// The sample spacing of the move to the start of the line, metres.
constexpr double kJumpSpacing = 0.00035;

}  // namespace

shared::PlanChecks Edge::PlanTable() {
  return shared::PlanChecks().Finite("SurfacePoint", &Edge::_surface_point, "SurfaceNormal",
                                     &Edge::_surface_normal, "EdgePoint", &Edge::_edge_point,
                                     "ClearanceZone", &Edge::_clearance_zone, "PointSpacing",
                                     &Edge::_point_spacing);
}

std::queue<Position> Edge::GenerateDrivePoints() {
  if (auto path = PlanWithoutPattern()) return *std::move(path);
  const PointXYZW foot = geometry::Plane(_surface_point, _surface_normal).Project(_edge_point);
  std::queue<Position> line;
  // From beyond the surface point, as seen from the edge, to past the edge. Where the two points
  // stand over each other there is no direction, and the line starts on the surface point.
  line.emplace(_surface_point + shared::UnitFromTo(foot, _surface_point) * _clearance_zone,
               kJumpSpacing);
  line.emplace(_edge_point + shared::UnitFromTo(_surface_point, _edge_point) * _clearance_zone,
               _point_spacing);
  return HandOut(std::move(line), _surface_point);
}

}  // namespace libmfx::features
