#include <algorithm>
#include <cmath>
#include <numbers>
#include <ostream>
#include <utility>

#include "features/shared/directions.h"
#include "features/shared/plan_checks.h"
#include "features/shared/scan_layout.h"
#include "libmfx/features/hole.h"

namespace libmfx::features {
namespace {

/// Spacing of the samples on the way to the start of a line, metres.
constexpr double kJumpSpacing = 0.0007;

/// The directions that both stars share, as offsets from the nominal centre.
struct StarFrame {
  VectorXYZW normal;
  VectorXYZW away;  ///< unit, along the surface, away from the instrument
  VectorXYZW out;   ///< to the outer end of a line
  VectorXYZW in;    ///< to its inner end
};

/// The unit direction along the surface that leads away from the instrument. Where the instrument
/// looks along the normal there is none: the centre is then looked at from a millimetre beside it,
/// first along x and, for a normal along x, along y.
VectorXYZW AwayFromInstrument(const geometry::Plane& plane, const PointXYZW& scan_origin) {
  constexpr double kBeside = 0.001;
  const VectorXYZW& n = plane.Normal();
  VectorXYZW c;
  for (const VectorXYZW& aside :
       {VectorXYZW(), VectorXYZW(kBeside, 0.0, 0.0), VectorXYZW(0.0, kBeside, 0.0)}) {
    c = shared::UnitFromTo(scan_origin, plane.Point() + aside).cross(n);
    if (!c.isZero(shared::kZeroDirection)) break;
  }
  return -c.cross(n).normalized();
}

StarFrame FrameOf(const geometry::Plane& plane, const PointXYZW& scan_origin, double radius,
                  double clearance) {
  const VectorXYZW away = AwayFromInstrument(plane, scan_origin);
  const double inner = std::abs(radius - std::min(clearance, radius));
  return {plane.Normal(), away, away * (radius + clearance), away * inner};
}

}  // namespace

shared::PlanChecks Hole::PlanTable() {
  return shared::PlanChecks()
      .Count(
          "ScanLines",
          +[](const Hole& hole) {
            return static_cast<double>(hole._scan_lines) * (hole._use_fast_star ? 4 : 3);
          })
      .Finite("Location", &Hole::_input_center_pt, "Normal", &Hole::_input_normal, "ScanOrigin",
              &Hole::_scan_origin, "Radius", &Hole::_radius, "ClearanceZone",
              &Hole::_clearance_zone, "PointSpacing", &Hole::_point_spacing);
}

std::queue<Position> Hole::GenerateDrivePoints() {
  if (_has_error) return _drive_points;
  if (_search) return SearchPattern();
  std::string refusal = RefusePlan();
  if (refusal.empty()) {
    _drive_points = _use_fast_star ? GenerateFastStarPattern() : GenerateStarPattern();
    refusal = shared::RefuseUndrivable(_drive_points);
  }
  if (!refusal.empty()) {
    _drive_points = {};
    SetError(refusal);
    return {};
  }
  return _drive_points = HandOut(std::move(_drive_points), _input_center_pt);
}

shared::ScanLayout Hole::Layout() const {
  return _use_fast_star ? shared::ScanLayout::HalfLines() : shared::ScanLayout::Star();
}

std::queue<Position> Hole::GenerateStarPattern() {
  return Star("GenerateStarPattern", shared::ScanLayout::Star());
}

std::queue<Position> Hole::GenerateFastStarPattern() {
  return Star("GenerateFastStarPattern", shared::ScanLayout::HalfLines());
}

std::queue<Position> Hole::Star(const char* name, const shared::ScanLayout& layout) {
  _logger[log::LOG_LEVEL_1] << name << " called." << std::endl;
  const geometry::Plane plane(_input_center_pt, _input_normal);
  const StarFrame frame = FrameOf(plane, _scan_origin, _radius, _clearance_zone);
  _scan_lines = std::max(_scan_lines, 2);
  const double step = std::numbers::pi / _scan_lines;
  const bool through = layout.At(2).line;
  std::queue<Position> path;
  double t = 0.0;
  double s = 1.0;
  const auto append = [&](const VectorXYZW& offset) {
    const bool line = layout.At(static_cast<int>(path.size())).line;
    path.emplace(_input_center_pt + s * shared::Turned(offset, frame.normal, t),
                 line ? _point_spacing : kJumpSpacing);
  };
  for (int i = 0; i < _scan_lines; ++i) {
    append(frame.out);
    append(frame.in);
    if (through) append(-frame.out);
    s = -s;
    if (!through) {
      // Outwards on the opposite side; the next line begins there.
      append(frame.in);
      append(frame.out);
    }
    t += step;
  }
  _logger[log::LOG_LEVEL_1] << name << " ended." << std::endl;
  return path;
}

}  // namespace libmfx::features
