#pragma once

#include "sim/vec.h"

namespace libmfx::sim {

/// Where a part stands: p_instrument = rotation * p_part + position.
struct Pose {
  Mat3 rotation = Mat3::Identity();  ///< columns: the part's x, y, z in the instrument's frame
  Vec3 position = Vec3(0.0, 0.0, 2.0);

  Vec3 Point(const Vec3& p) const { return rotation * p + position; }
  Vec3 Direction(const Vec3& v) const { return rotation * v; }
  Vec3 Inverse(const Vec3& p) const { return rotation.transpose() * (p - position); }

  /// The part's origin at `position`, its +z along `normal`, its +x along the component of
  /// `tangent` across the normal. A zero normal stands for "towards the instrument"; a tangent
  /// that is zero or along the normal for any fixed direction across it.
  static Pose Facing(const Vec3& position, const Vec3& normal = Vec3::Zero(),
                     const Vec3& tangent = Vec3::Zero());
};

}  // namespace libmfx::sim
