#include "features/shared/search_spiral.h"

#include <numbers>

#include "features/shared/directions.h"
#include "features/shared/plan_limits.h"
#include "libmfx/features/search_spiral.h"

namespace libmfx::features {

namespace shared {

std::string RefuseSpiral(double max_radius, unsigned int points_per_turn, double radial_pitch) {
  std::string refusal = RefuseNotFinite("The radius of the search", max_radius);
  if (refusal.empty()) refusal = RefuseNotPositive("SearchPointSpacing", radial_pitch);
  if (refusal.empty()) refusal = RefuseNotPositive("Points per turn", points_per_turn);
  if (!refusal.empty() || max_radius < 0.0) return refusal;
  return RefuseCount("SearchPointSpacing", 1.0 + max_radius / (radial_pitch / points_per_turn));
}

}  // namespace shared

std::queue<data_structures::Position> GenerateSearchSpiral(geometry::Plane& plane,
                                                           double max_radius,
                                                           unsigned int points_per_turn,
                                                           double radial_pitch,
                                                           double point_spacing) {
  using data_structures::VectorXYZW;
  constexpr double kTurn = 2.0 * std::numbers::pi;
  if (!shared::RefuseSpiral(max_radius, points_per_turn, radial_pitch).empty()) return {};
  std::queue<data_structures::Position> path;
  path.emplace(plane.Point(), 0.0);
  const VectorXYZW& n = plane.Normal();
  const VectorXYZW u = n.cross(VectorXYZW(1.0, 0.0, 0.0)).normalized();
  const double turn_step = kTurn / points_per_turn;
  const double step = radial_pitch / points_per_turn;
  double t = 0.0;
  for (double r = step; r <= max_radius; r += step) {
    path.emplace(plane.Point() + r * shared::Turned(u, n, t), point_spacing);
    t += turn_step;
    if (t > kTurn) t -= kTurn;
  }
  return path;
}

}  // namespace libmfx::features
