#include <algorithm>
#include <cmath>
#include <numbers>
#include <ostream>
#include <utility>

#include "features/shared/directions.h"
#include "features/shared/plan_checks.h"
#include "features/shared/trace.h"
#include "libmfx/features/sphere_fit.h"
#include "libmfx/geometry/plane.h"

namespace libmfx::features {
namespace {

/// Half the length of the ranging stroke, metres.
constexpr double kHalfStroke = 0.001;
/// Turns the line of sight upwards to find which way elevation runs: 2 degrees.
constexpr double kHelperTilt = 0.03490658503988659;

/// Whether a sample tells a direction and a distance; its quality plays no part. A range of 0 is
/// what some instruments say of a beam that was lost.
bool HasPlace(const RawDataPoint& s) {
  return std::isfinite(s.azimuth) && std::isfinite(s.elevation) && s.range > 0.0 &&
         std::isfinite(s.range);
}

/// The sample in the direction nearest to `aim`, the first of equals; null if none has a place.
const RawDataPoint* NearestInDirection(const std::vector<RawDataPoint>& samples,
                                       const AzElRange& aim) {
  const RawDataPoint* chosen = nullptr;
  double best = 0.0;
  for (const RawDataPoint& s : samples) {
    if (!HasPlace(s)) continue;
    const double az = s.azimuth - aim.azimuth;
    const double el = s.elevation - aim.elevation;
    const double distance = std::sqrt(az * az + el * el);
    if (chosen != nullptr && !(distance < best)) continue;
    chosen = &s;
    best = distance;
  }
  return chosen;
}

}  // namespace

/// The directions in which a pattern runs.
struct SphereFit::PatternFrame {
  VectorXYZW sight;   ///< unit, from the instrument to the pattern's centre
  VectorXYZW first;   ///< unit, of the first diameter or along each leg
  VectorXYZW second;  ///< unit, across the first
  int lines = 2;
};

shared::PlanChecks SphereFit::PlanTable() {
  return shared::PlanChecks()
      .Finite("Nominal point", &SphereFit::NominalPoint)
      .FiniteNumber(
          "Distance of ScanOrigin", +[](const SphereFit& sphere) {
            return (sphere._scan_origin - sphere.NominalPoint).norm();
          });
}

std::queue<Position> SphereFit::GenerateDrivePoints() {
  _search = false;
  std::queue<Position> stroke;
  if (!_has_error) stroke = RangingStroke();
  if (_has_error) {
    _last_drive_points = {};
    return {};
  }
  _drive_step = SURFACE_RANGE;
  _last_drive_points =
      UnwrapDrivePoints(stroke, shared::SignOf(AzElRange(NominalPoint).azimuth), false);
  return _last_drive_points;
}

std::queue<Position> SphereFit::RangingStroke() {
  std::string refusal = RefusePlan();
  std::queue<Position> stroke;
  if (refusal.empty()) {
    const geometry::Plane across(NominalPoint, shared::UnitFromTo(NominalPoint, _scan_origin));
    const VectorXYZW half = across.Tangent() * kHalfStroke;
    stroke.emplace(NominalPoint + half, 0.0);
    stroke.emplace(NominalPoint - half, kHalfStroke);
    refusal = shared::RefuseUndrivable(stroke);
  }
  if (!refusal.empty()) SetError(refusal);
  return stroke;
}

bool SphereFit::BuildPatternFrame(const PointXYZW& center, Eigen::VectorXd& normal, int lines,
                                  PatternFrame& frame) {
  frame.lines = std::max(lines, 2);
  const PointXYZW instrument;
  frame.sight = shared::UnitFromTo(instrument, center);
  normal.normalize();
  const auto rows = std::min<Eigen::Index>(normal.size(), 4);
  if (frame.sight.eigen().head(rows).dot(normal.head(rows)) > 0.0) {
    return Fail("Error, Normal Vector is in the wrong direction! ERROR_SF_NORMAL_DIR");
  }
  const std::string refusal = shared::RefuseCount("ScanLines", 2.0 * frame.lines);
  if (!refusal.empty()) {
    return Fail(refusal);
  }
  AzElRange raised(center);
  raised.elevation += kHelperTilt;
  const VectorXYZW up = shared::UnitFromTo(instrument, raised.ToPoint());
  const VectorXYZW along_azimuth = frame.sight.cross(up).normalized();
  const VectorXYZW along_elevation = frame.sight.cross(along_azimuth).normalized();
  frame.first = ScanElevation ? along_elevation : along_azimuth;
  frame.second = ScanElevation ? along_azimuth : along_elevation;
  return true;
}

std::queue<Position> SphereFit::Drivable(std::queue<Position> pattern) {
  const std::string refusal = shared::RefuseUndrivable(pattern);
  if (refusal.empty()) return pattern;
  SetError(refusal);
  return {};
}

std::queue<Position> SphereFit::ScanStar(const PointXYZW& center, Eigen::VectorXd normal,
                                         double box, int lines) {
  PatternFrame frame;
  if (!BuildPatternFrame(center, normal, lines, frame)) return {};
  const VectorXYZW h = (box * 0.5) * frame.first;
  const double step_angle = std::numbers::pi / frame.lines;
  std::queue<Position> star;
  PointXYZW previous = center;
  double angle = 0.0;
  double side = 1.0;
  for (int i = 0; i < 2 * frame.lines; ++i) {
    const PointXYZW p = center + side * shared::Turned(h, frame.sight, angle);
    const bool enters = i % 2 == 0;
    star.emplace(p, enters ? 0.0 : (p - previous).norm() / NumPointsPerLine);
    if (enters) {
      side = -side;
    } else {
      angle += step_angle;
    }
    previous = p;
  }
  return Drivable(std::move(star));
}

std::queue<Position> SphereFit::ScanW(const PointXYZW& center, Eigen::VectorXd normal, double box,
                                      int lines) {
  PatternFrame frame;
  if (!BuildPatternFrame(center, normal, lines, frame)) return {};
  const double half = box * 0.5;
  const PointXYZW corner = center + half * frame.first + half * frame.second;
  const PointXYZW opposite = center + half * frame.second - half * frame.first;
  const double increment = box / frame.lines;
  std::queue<Position> legs;
  legs.emplace(corner, 0.0);
  PointXYZW previous = corner;
  for (int i = 1; i <= frame.lines; ++i) {
    const VectorXYZW offset = (i * increment) * -frame.second;
    const PointXYZW p = (i % 2 == 0 ? corner : opposite) + offset;
    legs.emplace(p, (p - previous).norm() / NumPointsPerLine);
    previous = p;
  }
  return Drivable(std::move(legs));
}

bool SphereFit::SetRawData(const std::vector<RawDataPoint>& samples, std::queue<Position>& next) {
  if (!_raw_data.empty()) return true;
  if (_drive_step == SURFACE_RANGE) return TakeSurfaceRange(samples, next);
  if (samples.empty() || _drive_step == INITIAL) {
    next = GenerateDrivePoints();
    // With an error the queue is empty: the host is to go on to the analysis, which reports it,
    // and not to drive nothing for ever.
    return _has_error;
  }
  _raw_data = samples;
  return true;
}

bool SphereFit::TakeSurfaceRange(const std::vector<RawDataPoint>& samples,
                                 std::queue<Position>& next) {
  const AzElRange aim(NominalPoint);
  const RawDataPoint* surface = NearestInDirection(samples, aim);
  if (surface == nullptr) {
    shared::Trace() << "Surface Measurement returned 0 points." << std::endl;
    next = {};
    _drive_step = FEATURE_SCAN_PATTERN;
    return false;
  }
  NominalPoint = AzElRange(aim.azimuth, aim.elevation, surface->range).ToPoint();
  const double box = 2.0 * NominalRadius * BoxDimensionRatio;
  if (!(0.0 < box)) {
    SetError("Box scan dimension less than or equal to 0");
    return true;
  }
  Eigen::VectorXd normal(4);
  normal << -NominalPoint.xyz(), 0.0;
  next = StarScanPattern ? ScanStar(NominalPoint, normal, box, ScanLines)
                         : ScanW(NominalPoint, normal, box, ScanLines);
  next = UnwrapDrivePoints(next, shared::SignOf(AzElRange(NominalPoint).azimuth), false);
  _last_drive_points = next;
  _drive_step = FEATURE_SCAN_PATTERN;
  return next.empty();
}

}  // namespace libmfx::features
