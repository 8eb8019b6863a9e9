#include "sim/obstacles/obstacles.h"

#include <cmath>
#include <utility>

#include "sim/faces/outline_wall.h"
#include "sim/faces/planar_face.h"
#include "sim/obstacles/placed_faces.h"

namespace libmfx::sim {

namespace {

/// The outline, drawn from half of the height below the origin to half above it.
std::shared_ptr<const Obstacle> MakePrism(const Pose& pose, const Outline& outline, double height) {
  const double half = 0.5 * height;
  std::vector<std::unique_ptr<Face>> faces;
  faces.push_back(std::make_unique<OutlineWall>(outline, -half, half));
  faces.push_back(std::make_unique<PlanarFace>(-half, outline));
  faces.push_back(std::make_unique<PlanarFace>(half, outline));
  const double reach = std::sqrt(outline.Reach() * outline.Reach() + half * half) + kSeam;
  return std::make_shared<const PlacedFaces>(pose, std::move(faces), reach, outline.Reach());
}

}  // namespace

std::shared_ptr<const Obstacle> MakeCylinder(const Vec3& from, const Vec3& to, double radius) {
  const Pose pose = Pose::Facing(0.5 * (from + to), to - from);
  return MakePrism(pose, Outline::Circle(radius), (to - from).norm());
}

std::shared_ptr<const Obstacle> MakeBox(const BoxSpec& spec) {
  Pose pose;
  pose.position = spec.center;
  pose.rotation.col(0) = spec.direction;
  pose.rotation.col(2) = (spec.up - spec.up.dot(spec.direction) * spec.direction).normalized();
  pose.rotation.col(1) = pose.rotation.col(2).cross(pose.rotation.col(0));
  return MakePrism(pose, Outline::Rectangle(spec.length, spec.width), spec.height);
}

}  // namespace libmfx::sim
