#include <numbers>
#include <utility>

#include "features/shared/crossing_lines.h"
#include "features/shared/directions.h"
#include "features/shared/plan_checks.h"
#include "libmfx/features/rectangle.h"

namespace libmfx::features {

shared::PlanChecks Rectangle::PlanTable() {
  return shared::PlanChecks()
      .Count(
          "ScansPerSide",
          +[](const Rectangle& r) {
            return 2.0 * (static_cast<double>(r._sides) * r.ScanPassesPerSide);
          })
      .Finite("ClearanceZone", &Rectangle::ClearanceZone, "PointSpacing", &Rectangle::PointSpacing,
              "NominalPoint", &Rectangle::NominalPoint, "NominalNormal", &Rectangle::NominalNormal,
              "NominalTangent", &Rectangle::NominalTangent, "NominalLength",
              &Rectangle::NominalLength, "NominalWidth", &Rectangle::NominalWidth);
}

std::queue<Position> Rectangle::GenerateDrivePoints() {
  if (auto path = PlanWithoutPattern()) return *std::move(path);
  VectorXYZW t, b;
  if (!LayPattern(NominalNormal, NominalTangent, t, b)) return {};

  shared::CrossingLines lines(ClearanceZone, PointSpacing);
  for (unsigned int i = 0; i < _sides; ++i) {
    const bool even = i % 2 == 0;
    const VectorXYZW d = shared::Turned(t, NominalNormal, i * (2.0 * std::numbers::pi / _sides));
    const PointXYZW middle = NominalPoint + d * ((even ? NominalLength : NominalWidth) * 0.5);
    const double length = even ? NominalWidth : NominalLength;
    const VectorXYZW outward = shared::UnitFromTo(NominalPoint, middle);
    const VectorXYZW along = NominalNormal.cross(outward).normalized();
    lines.AddSide(middle - along * (length * 0.5), along, length, ScanPassesPerSide, outward,
                  data_structures::Distance(middle, NominalPoint));
  }
  _point_signs = lines.signs();
  return HandOut(std::move(lines.queue()), NominalPoint);
}

}  // namespace libmfx::features
