#include "sim/path_walk.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "sim/number_text.h"
#include "sim/portable_math.h"

namespace libmfx::sim {

namespace {

using data_structures::Position;

constexpr double kMaxAngle = 1000.0;
constexpr double kMaxRange = 1e6;

void Check(const Position& p, std::size_t index) {
  const auto refuse = [&](const char* name, double value, const char* why) {
    throw DriveError("drive point " + std::to_string(index) + ": " + name + " " +
                     NumberText(value) + " " + why);
  };
  if (!(std::fabs(p.azimuth) <= kMaxAngle))
    refuse("azimuth", p.azimuth, "is not an angle to drive to");
  if (!(std::fabs(p.elevation) <= kMaxAngle)) {
    refuse("elevation", p.elevation, "is not an angle to drive to");
  }
  if (!(p.range >= 0.0 && p.range <= kMaxRange))
    refuse("range", p.range, "is not a distance to drive to");
  if (!(p.point_spacing >= 0.0 && std::isfinite(p.point_spacing))) {
    refuse("point_spacing", p.point_spacing, "is neither 0 nor a positive number of metres");
  }
}

Vec3 ToPoint(const Position& p) {
  const auto az = portable::SinCos(p.azimuth);
  const auto el = portable::SinCos(p.elevation);
  const double horizontal = el.cosine * p.range;
  return {-az.sine * horizontal, el.sine * p.range, az.cosine * horizontal};
}

/// The angle that differs from `angle` by whole turns and is nearest to `wanted`.
double InBranch(double angle, double wanted) {
  return angle + 2.0 * kPi * std::floor((wanted - angle) / (2.0 * kPi) + 0.5);
}

Aim MakeAim(const Vec3& point, double range, const Position& target, std::size_t index) {
  Aim aim;
  aim.direction = point / range;
  aim.range = range;
  aim.status = static_cast<std::int32_t>(index);
  double azimuth = -portable::Atan2(point.x(), point.z());
  double elevation =
      portable::Atan2(point.y(), std::sqrt(point.x() * point.x() + point.z() * point.z()));
  // A path that was sent over the top is answered over the top.
  if (portable::SinCos(target.elevation).cosine < 0.0) {
    azimuth += kPi;
    elevation = kPi - elevation;
  }
  aim.azimuth = InBranch(azimuth, target.azimuth);
  aim.elevation = InBranch(elevation, target.elevation);
  return aim;
}

}  // namespace

PathWalk::PathWalk(const std::vector<Position>& path) : _path(path) {
  for (std::size_t i = 0; i < path.size(); ++i) Check(path[i], i);
  double first = 0.0;
  for (std::size_t i = 0; i < path.size(); ++i) {
    first = path[i].point_spacing > 0.0 ? AddMove(path, i, first) : 0.0;
  }
}

double PathWalk::AddMove(const std::vector<Position>& path, std::size_t index, double first) {
  Move move;
  move.end = ToPoint(path[index]);
  move.start = index > 0 ? ToPoint(path[index - 1]) : move.end;
  move.spacing = path[index].point_spacing;
  move.length = (move.end - move.start).norm();
  move.first = std::min(first, move.spacing);
  move.index = index;
  // A last sample that misses the end by a rounding error still counts.
  const double steps = std::floor((move.length - move.first) / move.spacing + 1e-6);
  if (steps >= static_cast<double>(kMaxSamples - _samples)) {
    throw DriveError("drive point " + std::to_string(index) + ": point_spacing " +
                     NumberText(move.spacing) + " over a move of " + NumberText(move.length) +
                     " m asks for more than " + std::to_string(kMaxSamples) + " samples");
  }
  move.count = steps < 0.0 ? 0 : static_cast<std::int64_t>(steps) + 1;
  _samples += move.count;
  if (move.count > 0) _moves.push_back(move);
  const double next = move.first + static_cast<double>(move.count) * move.spacing - move.length;
  return std::max(next, 0.0);
}

void PathWalk::Visit(const std::function<void(const Aim&)>& visit) const {
  for (const Move& move : _moves) {
    const Position& target = _path[move.index];
    for (std::int64_t k = 0; k < move.count; ++k) {
      const double walked = move.first + static_cast<double>(k) * move.spacing;
      const double fraction = move.length > 0.0 ? std::min(walked / move.length, 1.0) : 0.0;
      const Vec3 point = move.start + fraction * (move.end - move.start);
      const double range = point.norm();
      if (range < 1e-9) continue;
      visit(MakeAim(point, range, target, move.index));
    }
  }
}

}  // namespace libmfx::sim
