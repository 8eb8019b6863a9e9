#include "features/shared/plan_limits.h"

#include <cmath>

#include "messages/text.h"

namespace libmfx::features::shared {

using messages::TextOf;

namespace {

std::string RefuseTriple(std::string_view what, const Eigen::Vector4d& v) {
  if (v.head<3>().allFinite()) return {};
  return std::string(what) + " is not finite: (" + TextOf(v[0]) + ", " + TextOf(v[1]) + ", " +
         TextOf(v[2]) + ")";
}

}  // namespace

std::string RefuseCount(std::string_view what, double drive_points) {
  if (drive_points <= static_cast<double>(kMaxDrivePoints)) return {};
  return std::string(what) + " asks for a plan of " + TextOf(drive_points) +
         " drive points; the limit is " + std::to_string(kMaxDrivePoints);
}

std::string RefuseNotPositive(std::string_view what, double value) {
  if (value > 0.0 && std::isfinite(value)) return {};
  return std::string(what) + " has to be positive and finite: " + TextOf(value);
}

std::string RefuseNotFinite(std::string_view what, double value) {
  if (std::isfinite(value)) return {};
  return std::string(what) + " is not finite: " + TextOf(value);
}

std::string RefuseNotFinite(std::string_view what, const data_structures::PointXYZW& value) {
  return RefuseTriple(what, value.eigen());
}

std::string RefuseNotFinite(std::string_view what, const data_structures::VectorXYZW& value) {
  return RefuseTriple(what, value.eigen());
}

std::string RefuseUndrivable(const std::queue<data_structures::Position>& path) {
  std::queue<data_structures::Position> rest = path;
  for (std::size_t i = 0; !rest.empty(); ++i, rest.pop()) {
    const data_structures::Position& p = rest.front();
    if (std::isfinite(p.azimuth) && std::isfinite(p.elevation) && std::isfinite(p.range)) continue;
    return "Drive point " + std::to_string(i) + " is not finite: azimuth " + TextOf(p.azimuth) +
           ", elevation " + TextOf(p.elevation) + ", range " + TextOf(p.range);
  }
  return {};
}

}  // namespace libmfx::features::shared
