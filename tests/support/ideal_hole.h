#pragma once

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <queue>
#include <vector>

#include "converse.h"
#include "hole_request.h"
#include "ideal_scan.h"
#include "libmfx/features/hole.h"

namespace libmfx::test {

/// A hole without noise, as the points at which rays meet it: a surface, a round opening in it,
/// the wall below, and what lies behind.
struct IdealHole {
  Eigen::Vector3d center{0.0, 0.0, 2.0};
  Eigen::Vector3d normal{0.0, 0.0, -1.0};  ///< unit, towards the instrument
  double radius = 0.008;
  double wall = 0.0;    ///< depth of the wall; 0: a sheet
  double behind = 0.0;  ///< depth of a plate behind; 0: none
  double quality = 80.0;

  /// Where the ray from the origin through `aim` comes back from; NaN where it does not.
  Eigen::Vector3d Hit(const Eigen::Vector3d& aim) const {
    const Eigen::Vector3d on_surface = aim * (center.dot(normal) / aim.dot(normal));
    if ((on_surface - center).norm() >= radius) return on_surface;
    // Down the bore, per metre of depth.
    const Eigen::Vector3d down = aim / -aim.dot(normal);
    const Eigen::Vector3d aside = down + normal;
    const Eigen::Vector3d from = on_surface - center;
    const double a = aside.squaredNorm();
    const double b = from.dot(aside);
    const double c = from.squaredNorm() - radius * radius;
    const double depth =
        a > 0.0 ? (-b + std::sqrt(b * b - a * c)) / a : std::numeric_limits<double>::infinity();
    if (depth < wall) return on_surface + down * depth;
    if (behind > 0.0) return on_surface + down * behind;
    return Eigen::Vector3d::Constant(std::numeric_limits<double>::quiet_NaN());
  }

  /// The instrument in front of it.
  IdealDriver Driver() const {
    return IdealDriver([*this](const sim::Aim& aim) { return Hit(aim.direction).norm(); }, quality);
  }
  std::vector<features::RawDataPoint> Scan(const std::queue<features::Position>& path) const {
    return Driver().Drive(host::PointsOf(path));
  }
};

/// A hole that has been measured on its nominal.
inline features::Hole Measure(const nlohmann::json& request, const IdealHole& ideal) {
  features::Hole hole(request.dump());
  IdealDriver driver = ideal.Driver();
  Converse(hole, driver);
  return hole;
}

}  // namespace libmfx::test
