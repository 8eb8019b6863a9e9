#include "host/instrument_check_path.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>

namespace libmfx::host {
namespace {

using Eigen::Vector3d;

Vector3d Cartesian(double azimuth, double elevation, double range) {
  return data_structures::AzElRange(azimuth, elevation, range).ToPoint().eigen().head<3>();
}

}  // namespace

CheckPath::CheckPath(const std::vector<Position>& points) : _points(points) {
  for (std::size_t i = 1; i < points.size(); ++i) {
    const Position& from = points[i - 1];
    const Position& to = points[i];
    _moves.push_back({static_cast<int>(i), Cartesian(from.azimuth, from.elevation, from.range),
                      Cartesian(to.azimuth, to.elevation, to.range), to.point_spacing});
  }
}

const CheckMove* CheckPath::Ending(long long index) const {
  for (const CheckMove& move : _moves) {
    if (move.index == index) return &move;
  }
  return nullptr;
}

double CheckPath::Asked() const {
  double asked = 0.0;
  for (const CheckMove& move : _moves) asked += move.Asked();
  return asked;
}

CheckPlace CheckPath::On(const CheckMove& move, double azimuth, double elevation) {
  const Vector3d direction = Cartesian(azimuth, elevation, 1.0);
  const Vector3d along = move.end - move.start;
  const Vector3d normal = move.start.cross(along).normalized();
  const Vector3d flat = direction - direction.dot(normal) * normal;
  // Where the line through the move meets the direction, seen in the plane of beam and move.
  double share = -move.start.cross(flat).dot(normal) / along.cross(flat).dot(normal);
  if (!std::isfinite(share)) share = 0.0;
  share = std::clamp(share, 0.0, 1.0);
  const Vector3d nearest = move.start + share * along;

  CheckPlace place;
  place.move = &move;
  place.along = share * along.norm();
  place.off = std::atan2(direction.cross(nearest).norm(), direction.dot(nearest));
  place.range = nearest.norm();
  place.aside = {azimuth + std::atan2(nearest.x(), nearest.z()),
                 elevation - std::asin(nearest.y() / nearest.norm())};
  return place;
}

CheckPlace CheckPath::Find(double azimuth, double elevation) const {
  CheckPlace best;
  CheckPlace best_sampled;
  for (const CheckMove& move : _moves) {
    const CheckPlace place = On(move, azimuth, elevation);
    CheckPlace& kept = move.spacing > 0.0 ? best_sampled : best;
    if (kept.move == nullptr || place.off < kept.off) kept = place;
  }
  return best.move == nullptr || best_sampled.off <= std::max(kNear, best.off) ? best_sampled
                                                                               : best;
}

std::vector<CheckPath> CheckPaths() {
  // Ranges that differ from line to line: a range that was copied from them is known by that.
  return {CheckPath({{0.060, 0.030, 3.00, 0.0},
                     {-0.020, 0.040, 3.02, 0.003},
                     {-0.070, 0.010, 3.30, 0.0},
                     {-0.050, -0.050, 3.31, 0.006},
                     {0.010, -0.020, 2.70, 0.0},
                     {0.050, -0.045, 2.72, 0.002}}),
          CheckPath({{-0.030, -0.030, 3.00, 0.0},
                     {0.040, -0.040, 2.95, 0.003},
                     {0.060, 0.020, 2.97, 0.003},
                     {0.020, 0.045, 3.20, 0.0},
                     {-0.055, 0.015, 3.22, 0.006}})};
}

}  // namespace libmfx::host
