#include <algorithm>
#include <cmath>
#include <numbers>
#include <ostream>
#include <utility>

#include "features/shared/crossing_lines.h"
#include "features/shared/directions.h"
#include "features/shared/plan_limits.h"
#include "libmfx/features/slot.h"

namespace libmfx::features {

std::string Slot::RefusePlan() const {
  const double passes = std::max(0, ScanPassesPerSide);
  return shared::PlanCheck()
      .Also(shared::RefuseCrossingPlan("ScanPassesPerArc", 2.0 * (ScanPassesPerArc + passes),
                                       ClearanceZone, PointSpacing))
      .Finite("NominalPoint", NominalPoint)
      .Finite("NominalNormal", NominalNormal)
      .Finite("NominalTangent", NominalTangent)
      .Finite("Length", Length)
      .Finite("Width", Width)
      .refusal();
}

double Slot::ArcOffset() const {
  // A length below the width leaves no straight side: the opening is planned as a round one of the
  // width, whose two half circles share their centre.
  return std::max(0.0, Length * 0.5 - Width * 0.5);
}

std::queue<Position> Slot::GenerateDrivePoints() {
  if (_has_error) {
    _last_drive_points = {};
    return {};
  }
  if (_search) {
    _logger[log::LOG_LEVEL_1] << "Slot::GenerateDrivePoints(): Returning search scan pattern!"
                              << std::endl;
    return GenerateSearchPattern(NominalPoint, NominalNormal, _search_radius_multiplier * Length);
  }
  const std::string refusal = RefusePlan();
  if (!refusal.empty()) return Refuse(refusal);
  const VectorXYZW b = NominalNormal.cross(NominalTangent).normalized();
  if (b.isZero(shared::kZeroDirection)) {
    return Refuse("Normal and tangent are (anti-)parallel! Unable to create scan pattern!");
  }
  const VectorXYZW t = b.cross(NominalNormal).normalized();

  // The arcs come first, that on the tangent's side before the other, then the sides. Each arc runs
  // from one side to the other, the second on from where the first ended. Two arcs make an even
  // number of lines, so the sides always begin with a line from outside to inside.
  shared::CrossingLines lines(ClearanceZone, PointSpacing);
  const double radius = Width * 0.5;
  const double step = std::numbers::pi / (ScanPassesPerArc + 1.0);
  for (const double end : {1.0, -1.0}) {
    const PointXYZW center = NominalPoint + t * (end * ArcOffset());
    for (int j = 1; j <= ScanPassesPerArc; ++j) {
      const VectorXYZW outward = (b * std::cos(j * step) + t * std::sin(j * step)) * end;
      lines.Add(center + outward * radius, outward, radius);
    }
  }
  const unsigned int passes = static_cast<unsigned int>(std::max(0, ScanPassesPerSide));
  for (const double side : {-1.0, 1.0}) {
    const VectorXYZW outward = b * side;
    const VectorXYZW along = t * side;
    lines.AddSide(NominalPoint + outward * radius - along * ArcOffset(), along, 2.0 * ArcOffset(),
                  passes, outward, radius);
  }
  _point_signs = lines.signs();
  return HandOut(std::move(lines.queue()), NominalPoint);
}

}  // namespace libmfx::features
