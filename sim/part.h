#pragma once

#include "sim/ray.h"
#include "sim/truth.h"

namespace libmfx::sim {

/// Something to measure, in its own frame: the origin is where its feature is (the centre of an
/// opening on the front surface, the centre of a ball, the foot of a stud, the mouth of a bore),
/// +z is the normal of its front surface, towards the instrument, +x its tangent.
///
/// A part is not changed by being measured: one part may be shared by many scenes.
class Part {
 public:
  virtual ~Part() = default;

  /// The nearest hit of a ray of this part's frame, if there is one nearer than `hit` already
  /// tells.
  /// \returns whether `hit` was improved.
  virtual bool Intersect(const Ray& ray, Hit& hit) const = 0;

  /// Radius (metres) of a ball around the origin that holds the whole part.
  virtual double Reach() const = 0;

  /// The middle of what there is to see.
  virtual Vec3 Center() const { return Vec3::Zero(); }

  /// What a perfect measurement finds, in this part's frame.
  virtual const Truth& truth() const = 0;

  /// Whether the part may be looked at from behind its +z: a ball looks alike from all sides.
  virtual bool HasFront() const { return true; }
};

}  // namespace libmfx::sim
