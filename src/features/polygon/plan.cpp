#include <numbers>
#include <utility>

#include "features/shared/crossing_lines.h"
#include "features/shared/directions.h"
#include "features/shared/plan_checks.h"
#include "libmfx/features/polygon.h"

namespace libmfx::features {

using data_structures::Distance;

shared::PlanChecks Polygon::PlanTable() {
  return shared::PlanChecks()
      .Count(
          "Sides", +[](const Polygon& p) { return static_cast<double>(p.Sides); })
      .Count(
          "ScansPerSide",
          +[](const Polygon& p) { return 2.0 * (static_cast<double>(p.Sides) * p.ScansPerSide); })
      .Finite("ClearanceZone", &Polygon::ClearanceZone, "PointSpacing", &Polygon::PointSpacing,
              "NominalPoint", &Polygon::NominalPoint, "NominalNormal", &Polygon::NominalNormal,
              "NominalAxis", &Polygon::NominalAxis, "NominalRadius", &Polygon::_input_radius);
}

std::queue<Position> Polygon::GenerateDrivePoints() {
  if (auto path = PlanWithoutPattern()) return *std::move(path);
  VectorXYZW a, b;
  if (!LayPattern(NominalNormal, NominalAxis, a, b)) return {};

  const auto corner = [&](unsigned int i) {
    const double angle = (i % Sides) * (2.0 * std::numbers::pi / Sides);
    return NominalPoint + shared::Turned(a, NominalNormal, angle) * _input_radius;
  };
  shared::CrossingLines lines(ClearanceZone, PointSpacing);
  for (unsigned int i = 0; i < Sides; ++i) {
    const PointXYZW from = corner(i);
    const PointXYZW to = corner(i + 1);
    const PointXYZW middle = from + (to - from) * 0.5;
    lines.AddSide(from, shared::UnitFromTo(from, to), Distance(from, to), ScansPerSide,
                  shared::UnitFromTo(NominalPoint, middle), Distance(middle, NominalPoint));
  }
  _point_signs = lines.signs();
  return HandOut(std::move(lines.queue()), NominalPoint);
}

}  // namespace libmfx::features
