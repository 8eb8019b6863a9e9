#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <ostream>
#include <utility>

#include "features/shared/directions.h"
#include "features/shared/plan_checks.h"
#include "features/shared/trace.h"
#include "libmfx/features/pvi.h"

namespace libmfx::features {
namespace {

/// The two directions across the box, unit vectors.
struct BoxAxes {
  VectorXYZW a;
  VectorXYZW b;
};

/// \param along_normal whether the line of sight lies along the normal, which then gives no
/// direction: the line of sight raised by two degrees gives it instead
BoxAxes AxesOfBox(const PointXYZW& nominal, const VectorXYZW& normal, const VectorXYZW& los,
                  bool along_normal, bool scan_elevation) {
  if (!along_normal) {
    const VectorXYZW a = normal.cross(los);
    return {a.normalized(), a.cross(normal).normalized()};
  }
  constexpr double kTwoDegrees = 0.03490658503988659;
  AzElRange raised(nominal);
  raised.elevation += kTwoDegrees;
  const VectorXYZW h = (raised.ToPoint() - PointXYZW()).normalized();
  const VectorXYZW p = h.cross(los);
  const VectorXYZW q = p.cross(los);
  return scan_elevation ? BoxAxes{q.normalized(), p.normalized()}
                        : BoxAxes{p.normalized(), q.normalized()};
}

}  // namespace

shared::PlanChecks PVI::PlanTable() {
  return shared::PlanChecks()
      .Finite("NominalPoint", &PVI::_nominal_point, "NominalNormal", &PVI::_nominal_normal,
              "ScanOrigin", &PVI::_scan_origin, "BoxDimension", &PVI::_box_dimension)
      .Positive("NumberOfPoints", &PVI::_number_of_points);
}

std::queue<Position> PVI::GenerateDrivePoints() {
  _drive_points = {};
  if (_has_error) {
    _last_drive_points = {};
    return {};
  }
  // The last pattern stays where a new one is refused.
  const auto refuse = [this](const std::string& why) {
    SetError(why);
    return std::queue<Position>();
  };
  const std::string refusal = RefusePlan();
  if (!refusal.empty()) return refuse(refusal);

  const VectorXYZW los = shared::UnitFromTo(_nominal_point, _scan_origin);
  const double angle = shared::AngleOfCosine(_nominal_normal.normalized().dot(los));
  shared::TracePrintf("LOS - Nominal Normal Angle: %lf\n", angle * 180.0 / std::numbers::pi);
  // A normal that faces exactly away passes here, so that the next test can name the fault.
  const bool opposite =
      std::abs(angle - std::numbers::pi) <= std::numeric_limits<double>::epsilon();
  if (angle > _angle_thresh && !opposite) return refuse("ERROR_PVI_NOMINAL_ANGLE");
  const double dot = los.dot(_nominal_normal);
  if (dot < 0.0) return refuse("ERROR_PVI_NORMAL_DIR");

  constexpr double kAlongNormal = 1.1102230246251565e-15;
  const auto [a, b] = AxesOfBox(_nominal_point, _nominal_normal, los,
                                std::abs(dot - 1.0) <= kAlongNormal, _scan_elevation);
  const double half = _box_dimension * 0.5;
  const PointXYZW start = _nominal_point - a * half - b * half;
  const int legs =
      static_cast<int>(std::max(std::sqrt(static_cast<double>(_number_of_points)), 2.0));
  const double points_per_leg = static_cast<double>(_number_of_points) / legs;
  shared::Trace() << "PVI::GenerateDrivePoints(): " << legs << ", " << _number_of_points
                  << std::endl;

  std::queue<Position> queue;
  queue.emplace(start, 0.0);
  PointXYZW previous = start;
  for (int i = 1; i <= legs; ++i) {
    PointXYZW target = start + b * (i * _box_dimension / legs);
    if (i % 2 == 1) target = target + a * _box_dimension;
    queue.emplace(target, data_structures::Distance(previous, target) / points_per_leg);
    previous = target;
  }
  const std::string undrivable = shared::RefuseUndrivable(queue);
  if (!undrivable.empty()) return refuse(undrivable);
  const int direction = shared::SignOf(AzElRange(_nominal_point).azimuth);
  _drive_points = UnwrapDrivePoints(queue, direction, false);
  _last_drive_points = _drive_points;
  return _drive_points;
}

}  // namespace libmfx::features
