#include "tools/accuracy/campaign.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <stdexcept>
#include <utility>

#include "libmfx/data_structures/records.h"
#include "sim/portable_math.h"
#include "sim/scenario.h"
#include "tools/accuracy/disturbances.h"

namespace libmfx::accuracy {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kPi = 3.14159265358979323846;

std::vector<Campaign>& Known() {
  static std::vector<Campaign> campaigns;
  return campaigns;
}

/// A direction that leaves `axis` by `angle`, on a side drawn at random.
Vector3d Tilted(const Vector3d& axis, double angle, sim::Rng& rng) {
  Vector3d side = axis.cross(DrawDirection(rng));
  while (side.norm() < 1e-3) side = axis.cross(DrawDirection(rng));
  const auto [sine, cosine] = sim::portable::SinCos(angle);
  return cosine * axis + sine * side.normalized();
}

Vector3d Across(const Vector3d& v, const Vector3d& normal) {
  return (v - v.dot(normal) * normal).normalized();
}

}  // namespace

std::vector<Condition> StandardConditions() {
  constexpr double kDegree = kPi / 180.0;
  std::vector<Condition> conditions(6);
  conditions[0].label = "no noise, 2 to 5 m, up to 20°";
  conditions[0].noise = false;
  conditions[1].label = "2 to 5 m, up to 20°";
  conditions[2].label = "2 to 5 m, 20° to 45°";
  conditions[2].least_tilt = 20.0 * kDegree;
  conditions[3].label = "5 to 10 m, up to 20°";
  conditions[3].nearest = 5.0;
  conditions[3].farthest = 10.0;
  conditions[4].label = "10 to 20 m, up to 20°";
  conditions[4].nearest = 10.0;
  conditions[4].farthest = 20.0;
  conditions[5].label = "2 to 5 m, up to 20°, nominal off by up to 1 mm and 1°";
  conditions[5].offset = 0.001;
  conditions[5].misalignment = kDegree;
  for (Condition& c : conditions) c.most_tilt = 20.0 * kDegree;
  conditions[2].most_tilt = 45.0 * kDegree;
  return conditions;
}

Vector3d DrawDirection(sim::Rng& rng) {
  Vector3d v;
  do {
    // One draw a statement: the order of arguments is the compiler's.
    v.z() = rng.Normal();
    v.y() = rng.Normal();
    v.x() = rng.Normal();
  } while (v.norm() < 1e-3);
  return v.normalized();
}

Placement DrawPlacement(const Condition& condition, sim::Rng& rng) {
  Placement p;
  const double range = rng.Uniform(condition.nearest, condition.farthest);
  const auto azimuth = sim::portable::SinCos(rng.Uniform(-0.5, 0.5));
  const auto elevation = sim::portable::SinCos(rng.Uniform(-0.5, 0.5));
  p.place = range * Vector3d(-azimuth.sine * elevation.cosine, elevation.sine,
                             azimuth.cosine * elevation.cosine);
  const double tilt = rng.Uniform(condition.least_tilt, condition.most_tilt);
  const double roll = rng.Uniform(0.0, 2.0 * kPi);
  const sim::Pose pose = sim::TiltedPose(p.place, tilt, roll);
  p.normal = pose.rotation.col(2);
  const auto turn = sim::portable::SinCos(rng.Uniform(0.0, 2.0 * kPi));
  p.tangent = turn.cosine * pose.rotation.col(0) + turn.sine * pose.rotation.col(1);

  const double off = condition.offset * rng.Uniform();
  p.nominal_place = p.place + off * DrawDirection(rng);
  p.nominal_normal = Tilted(p.normal, condition.misalignment * rng.Uniform(), rng);
  p.nominal_tangent = Across(p.tangent, p.nominal_normal);
  return p;
}

json ToJson(const Vector3d& v) { return {v.x(), v.y(), v.z()}; }

json Placement::Pose() const {
  return {{"position", ToJson(place)}, {"normal", ToJson(normal)}, {"tangent", ToJson(tangent)}};
}

double Result::Number(const json& object, const char* key) {
  const bool there = object.is_object() && object.contains(key) && object[key].is_number();
  return there ? object[key].get<double>() : kNan;
}

Vector3d Result::Triple(const json& object, const char* key) {
  Vector3d v = Vector3d::Constant(kNan);
  if (!object.is_object() || !object.contains(key) || object[key].size() != 3) return v;
  for (int i = 0; i < 3; ++i) {
    const json& entry = object[key][static_cast<std::size_t>(i)];
    if (entry.is_number()) v[i] = entry.get<double>();
  }
  return v;
}

std::vector<Vector3d> Result::Points() const {
  std::vector<Vector3d> points;
  if (!result.contains("ScanData") || !result["ScanData"].is_object()) return points;
  const json& data = result["ScanData"];
  const bool spherical = data.value("DataFormat", "") == "LR_AER";
  for (const json& row : data.value("Data", json::array())) {
    Vector3d p = Vector3d::Constant(kNan);
    for (int i = 0; i < 3; ++i) {
      const json& entry = row.at(static_cast<std::size_t>(i));
      if (entry.is_number()) p[i] = entry.get<double>();
    }
    if (spherical) {
      p = data_structures::AzElRange(p.x(), p.y(), p.z()).ToPoint().eigen().head<3>();
    }
    points.push_back(p);
  }
  return points;
}

double Angle(const Vector3d& a, const Vector3d& b, bool either_way) {
  const double sine = a.cross(b).norm();
  const double cosine = either_way ? std::abs(a.dot(b)) : a.dot(b);
  return std::atan2(sine, cosine);  // exact for small angles, unlike the arc cosine
}

Registered::Registered(Campaign campaign) {
  auto& known = Known();
  const auto place = std::find_if(known.begin(), known.end(),
                                  [&](const Campaign& c) { return c.name > campaign.name; });
  known.insert(place, std::move(campaign));
}

const std::vector<Campaign>& Campaigns() { return Known(); }

const Campaign& CampaignOf(const std::string& name) {
  static std::map<std::string, Campaign> spoilt;
  const auto made = spoilt.find(name);
  if (made != spoilt.end()) return made->second;
  const auto& campaigns = Campaigns();
  const auto named = [&](const std::string& wanted) {
    return std::find_if(campaigns.begin(), campaigns.end(),
                        [&](const Campaign& c) { return c.name == wanted; });
  };
  const auto found = named(name);
  if (found != campaigns.end()) return *found;
  static const std::string kHostile = "hostile-";
  const auto base = name.starts_with(kHostile) ? named(name.substr(kHostile.size())) : found;
  if (base == campaigns.end() || base->usual.empty()) {
    throw std::runtime_error("there is no campaign '" + name + "'");
  }
  return spoilt.emplace(name, HostileOf(*base)).first->second;
}

}  // namespace libmfx::accuracy
