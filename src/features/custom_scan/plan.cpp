#include <cmath>
#include <utility>

#include "features/shared/plan_limits.h"
#include "libmfx/features/custom_scan.h"

namespace libmfx::features {

void CustomScan::AcceptPath(std::queue<Position> path, bool allow_flip) {
  const std::string refusal = shared::RefuseCount("Path", static_cast<double>(path.size()));
  if (!refusal.empty()) return SetError(refusal);
  _path = UnwrapDrivePoints(path, 0, allow_flip);
  std::queue<Position> rest = _path;
  for (; !rest.empty(); rest.pop()) {
    const Position& p = rest.front();
    std::string fault = shared::RefuseNotFinite("PointSpacing", p.point_spacing);
    if (!std::isfinite(p.azimuth) || !std::isfinite(p.elevation) || !std::isfinite(p.range)) {
      fault = "Path has a point that is not finite";
    }
    if (fault.empty()) continue;
    _path = {};
    return SetError(fault);
  }
}

std::queue<Position> CustomScan::GenerateDrivePoints() {
  _last_drive_points = _path;
  return _path;
}

}  // namespace libmfx::features
