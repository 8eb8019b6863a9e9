#include "sim/parts/assembly.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace libmfx::sim {

namespace {

/// Balls around members are larger than told by this much (metres), which is far above what
/// rounding takes from a ray's distance to them.
constexpr double kMargin = 1e-9;

double Squared(double x) { return x * x; }

}  // namespace

Assembly::Assembly(const std::vector<Member>& members) {
  Vec3 low = Vec3::Constant(std::numeric_limits<double>::infinity());
  Vec3 high = -low;
  for (const Member& member : members) {
    const Vec3 middle = member.pose.Point(member.part->Center());
    low = low.cwiseMin(middle);
    high = high.cwiseMax(middle);
  }
  _center = 0.5 * (low + high);
  double radius = 0.0;
  _members.reserve(members.size());
  _balls.resize((members.size() + kAtOnce - 1) / kAtOnce);
  for (Balls& balls : _balls) balls.squared_radius.fill(-1.0);
  for (const Member& member : members) {
    const Vec3 origin = member.pose.position - _center;
    const double reach = member.part->Reach() + kMargin;
    Balls& balls = _balls[_members.size() / kAtOnce];
    const std::size_t i = _members.size() % kAtOnce;
    balls.x[i] = origin.x();
    balls.y[i] = origin.y();
    balls.z[i] = origin.z();
    balls.squared_radius[i] = Squared(reach);
    const Mat3& turn = member.pose.rotation;
    _members.push_back({member.part, origin, turn, turn.transpose()});
    radius = std::max(radius, origin.norm() + reach);
    _reach = std::max(_reach, member.pose.position.norm() + reach);
    AddTruth(member);
  }
  _squared_radius = Squared(radius);
}

void Assembly::AddTruth(const Member& member) {
  const Truth& own = member.part->truth();
  const std::string before = member.name + ".";
  for (const auto& [key, point] : own.points) {
    _truth.points[before + key] = member.pose.Point(point);
  }
  for (const auto& [key, direction] : own.directions) {
    _truth.directions[before + key] = member.pose.Direction(direction);
  }
  for (const auto& [key, number] : own.values) _truth.values[before + key] = number;
  for (const auto& [key, flag] : own.flags) _truth.flags[before + key] = flag;
}

Assembly::Passing Assembly::Balls::PassedBy(const Vec3& start, const Vec3& d) const {
  Passing passing;
  for (std::size_t i = 0; i < kAtOnce; ++i) {
    const double dx = x[i] - start.x();
    const double dy = y[i] - start.y();
    const double dz = z[i] - start.z();
    const double ahead = dx * d.x() + dy * d.y() + dz * d.z();
    const double off_x = dx - ahead * d.x();
    const double off_y = dy - ahead * d.y();
    const double off_z = dz - ahead * d.z();
    passing.ahead[i] = ahead;
    passing.inside[i] = squared_radius[i] - (off_x * off_x + off_y * off_y + off_z * off_z);
  }
  return passing;
}

bool Assembly::Intersect(const Ray& ray, Hit& hit) const {
  const Vec3 from_center = ray.origin - _center;
  const double shift = -from_center.dot(ray.direction);
  const Vec3 near = from_center + shift * ray.direction;
  if (near.squaredNorm() > _squared_radius) return false;
  const double begin = ray.t_min - shift;
  const double end = ray.t_max - shift;
  Hit nearest;
  nearest.t = hit.t - shift;
  bool met = false;
  std::size_t first = 0;
  for (const Balls& balls : _balls) {
    const Passing passing = balls.PassedBy(near, ray.direction);
    for (std::size_t i = 0; i < kAtOnce; ++i) {
      if (passing.inside[i] < 0.0) continue;
      const double half = std::sqrt(passing.inside[i]);
      if (passing.ahead[i] - half > std::min(nearest.t, end)) continue;
      if (passing.ahead[i] + half < begin) continue;
      const Placed& member = _members[first + i];
      const Ray local{member.to_member * (near - member.origin), member.to_member * ray.direction,
                      begin, end};
      if (!member.part->Intersect(local, nearest)) continue;
      nearest.normal = member.to_assembly * nearest.normal;
      met = true;
    }
    first += kAtOnce;
  }
  if (!met) return false;
  hit.t = nearest.t + shift;
  hit.normal = nearest.normal;
  return true;
}

}  // namespace libmfx::sim
