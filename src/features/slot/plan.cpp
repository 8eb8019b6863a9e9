#include <algorithm>
#include <cmath>
#include <numbers>
#include <ostream>
#include <utility>

#include "features/shared/crossing_lines.h"
#include "features/shared/directions.h"
#include "features/shared/plan_checks.h"
#include "features/shared/trace.h"
#include "libmfx/features/slot.h"

namespace libmfx::features {

shared::PlanChecks Slot::PlanTable() {
  return shared::PlanChecks()
      .Count(
          "ScanPassesPerArc",
          +[](const Slot& slot) {
            const double passes = std::max(0, slot.ScanPassesPerSide);
            return 2.0 * (2.0 * (slot.ScanPassesPerArc + passes));
          })
      .Finite("ClearanceZone", &Slot::ClearanceZone, "PointSpacing", &Slot::PointSpacing,
              "NominalPoint", &Slot::NominalPoint, "NominalNormal", &Slot::NominalNormal,
              "NominalTangent", &Slot::NominalTangent, "Length", &Slot::Length, "Width",
              &Slot::Width);
}

double Slot::ArcOffset() const {
  // A length below the width leaves no straight side: the opening is planned as a round one of the
  // width, whose two half circles share their centre.
  return std::max(0.0, Length * 0.5 - Width * 0.5);
}

std::queue<Position> Slot::GenerateDrivePoints() {
  if (_search && !_has_error) {
    _logger[log::LOG_LEVEL_1] << "Slot::GenerateDrivePoints(): Returning search scan pattern!"
                              << std::endl;
  }
  if (auto path = PlanWithoutPattern()) return *std::move(path);
  VectorXYZW t, b;
  if (!LayPattern(NominalNormal, NominalTangent, t, b)) return {};

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

namespace {

const char* StepName(DRIVE_STEP step) {
  switch (step) {
    case INITIAL:
      return "INITIAL";
    case SURFACE_RANGE:
      return "SURFACE_RANGE";
    case FEATURE_SCAN_PATTERN:
      return "FEATURE_SCAN_PATTERN";
    case SEARCH:
      return "SEARCH";
    case RESCAN:
      return "RESCAN";
  }
  return "Unknown Drive Step!!!";
}

}  // namespace

bool Slot::SetRawData(const std::vector<RawDataPoint>& samples, std::queue<Position>& next) {
  if (_has_error || !_raw_data.empty()) return true;
  shared::Trace() << "Slot::SetRawData()::_search == " << (_search ? "true" : "false") << std::endl
                  << "Drive Step: " << StepName(_drive_step) << std::endl;
  if (samples.empty() && _drive_step == INITIAL) {
    shared::Trace() << "Slot::SetRawData(): Normal search pattern!" << std::endl;
  }
  return SetRawDataStaged(samples, next);
}

}  // namespace libmfx::features
