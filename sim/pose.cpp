#include "sim/pose.h"

#include <cmath>

namespace libmfx::sim {

Pose Pose::Facing(const Vec3& position, const Vec3& normal, const Vec3& tangent) {
  const Vec3 wanted = normal.squaredNorm() > 0.0 ? normal : Vec3(-position);
  const Vec3 z = wanted.squaredNorm() > 0.0 ? Vec3(wanted.normalized()) : Vec3(0.0, 0.0, -1.0);
  Vec3 x = tangent - tangent.dot(z) * z;
  if (x.norm() <= 1e-9 * tangent.norm() || tangent.isZero(0.0)) {
    // Horizontal where that makes sense, else along the instrument's x.
    const Vec3 across = Vec3::UnitY().cross(z);
    x = across.norm() > 1e-6 ? across : Vec3(Vec3::UnitX() - z.x() * z);
  }
  x.normalize();
  Pose pose;
  pose.position = position;
  pose.rotation.col(0) = x;
  pose.rotation.col(1) = z.cross(x);
  pose.rotation.col(2) = z;
  return pose;
}

}  // namespace libmfx::sim
