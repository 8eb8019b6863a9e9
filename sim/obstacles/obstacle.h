#pragma once

#include <algorithm>
#include <vector>

#include "sim/faces/face.h"

namespace libmfx::sim {

/// A ball.
struct Ball {
  Vec3 center;
  double radius;

  /// Whether a beam may meet it.
  /// \param middle of the beam
  /// \param spread metres that its rays leave the middle per metre
  bool NearTo(const Ray& middle, double spread) const {
    constexpr double kMargin = 1e-9;  // metres
    const Vec3 from_center = middle.origin - center;
    const double ahead = -from_center.dot(middle.direction);
    const Vec3 off = from_center + ahead * middle.direction;
    // The widest that the beam is before it has passed.
    const double within = radius + spread * std::max(ahead + radius, 0.0) + kMargin;
    return ahead > -radius - kMargin && off.squaredNorm() <= within * within;
  }
};

/// Something in the way, of one face or of many small ones. Most beams pass it by: what they may
/// meet of it is found once for all rays of a beam.
class Obstacle : public Face {
 public:
  /// Adds the faces that a beam may meet; they live as long as the obstacle.
  virtual void Gather(const Ray& middle, double spread, std::vector<const Face*>& faces) const = 0;
};

}  // namespace libmfx::sim
