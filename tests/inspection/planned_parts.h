#pragma once

#include <Eigen/Geometry>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "inspection/numbers.h"
#include "inspection/plan.h"

/// \file
/// Features and characteristics as a plan has them, by hand. Metres.

namespace libmfx::inspection::test {

inline PlannedFeature FeatureAt(const std::string& name, const std::string& type,
                                const Vector3d& place, const Vector3d& direction = Vector3d::Zero(),
                                const Vector3d& tangent = Vector3d::Zero()) {
  PlannedFeature feature;
  feature.name = name;
  feature.type = type;
  feature.stations = {0};
  feature.place = place;
  feature.direction = direction;
  feature.tangent = tangent;
  feature.length = feature.width = feature.radius = FeatureNumbers::kNone;
  feature.request = {{"Feature", {{"$type", type}}}};
  return feature;
}

inline PlannedFeature Ball(const std::string& name, const Vector3d& place) {
  return FeatureAt(name, "MatteSphereFeature", place);
}
inline PlannedFeature Hole(const std::string& name, const Vector3d& place,
                           const Vector3d& normal = Vector3d::UnitZ()) {
  return FeatureAt(name, "HoleFeature", place, normal);
}
inline PlannedFeature Stud(const std::string& name, const Vector3d& place,
                           const Vector3d& axis = Vector3d::UnitZ()) {
  PlannedFeature stud = FeatureAt(name, "StudFeature", place, axis);
  stud.radius = 0.003;
  return stud;
}
inline PlannedFeature Point(const std::string& name, const Vector3d& place,
                            const Vector3d& normal = Vector3d::UnitZ()) {
  return FeatureAt(name, "SurfaceNormalFeature", place, normal);
}
/// \param out of the material, across the border
inline PlannedFeature Edge(const std::string& name, const Vector3d& place, const Vector3d& out) {
  return FeatureAt(name, "EdgeFeature", place, Vector3d::UnitZ(), out);
}
inline PlannedFeature Slot(const std::string& name, const Vector3d& place) {
  PlannedFeature slot = FeatureAt(name, "SlotFeature", place, Vector3d::UnitZ(), Vector3d::UnitX());
  slot.length = 0.02;
  slot.width = 0.008;
  return slot;
}
inline PlannedFeature Polygon(const std::string& name, const Vector3d& place) {
  PlannedFeature polygon =
      FeatureAt(name, "PolygonFeature", place, Vector3d::UnitZ(), Vector3d::UnitX());
  polygon.radius = 0.005;
  return polygon;
}

inline Characteristic Asked(Characteristic::Kind kind, std::vector<std::size_t> features,
                            const std::string& quantity = "") {
  Characteristic asked;
  asked.name = "asked";
  asked.kind = kind;
  asked.features = std::move(features);
  asked.quantity = quantity;
  asked.is_angle = kind == Characteristic::Kind::kAngle;
  return asked;
}

inline Plan PlanOf(std::vector<PlannedFeature> features) {
  Plan plan;
  plan.features = std::move(features);
  return plan;
}

/// A part without any deviation, as it would be measured.
inline std::vector<FeatureNumbers> AsPlanned(const Plan& plan) {
  std::vector<FeatureNumbers> measured(plan.features.size());
  for (std::size_t i = 0; i < measured.size(); ++i) {
    const PlannedFeature& feature = plan.features[i];
    measured[i].place = feature.place;
    if (!feature.direction.isZero()) measured[i].direction = feature.direction;
    if (!feature.tangent.isZero()) measured[i].tangent = feature.tangent;
    measured[i].length = feature.length;
    measured[i].width = feature.width;
    measured[i].radius = feature.radius;
  }
  return measured;
}

/// Some turn and shift that no axis of which is one of the frame's.
inline Eigen::Isometry3d SlantedFrame() {
  Eigen::Isometry3d motion = Eigen::Isometry3d::Identity();
  motion.translate(Vector3d(0.31, -0.42, 1.7));
  motion.rotate(Eigen::AngleAxisd(1.1, Vector3d(0.36, 0.48, 0.8)));
  return motion;
}

inline Plan MovedBy(Plan plan, const Eigen::Isometry3d& motion) {
  for (PlannedFeature& feature : plan.features) {
    feature.place = motion * feature.place;
    feature.direction = motion.linear() * feature.direction;
    feature.tangent = motion.linear() * feature.tangent;
  }
  return plan;
}

inline std::vector<FeatureNumbers> MovedBy(std::vector<FeatureNumbers> measured,
                                           const Eigen::Isometry3d& motion) {
  for (FeatureNumbers& numbers : measured) numbers = Moved(numbers, motion);
  return measured;
}

}  // namespace libmfx::inspection::test
