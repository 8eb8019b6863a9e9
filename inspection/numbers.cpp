#include "inspection/numbers.h"

namespace libmfx::inspection {

FeatureNumbers Moved(const FeatureNumbers& numbers, const Eigen::Isometry3d& motion) {
  FeatureNumbers moved = numbers;
  moved.place = motion * numbers.place;
  moved.direction = motion.linear() * numbers.direction;
  moved.tangent = motion.linear() * numbers.tangent;
  return moved;
}

FeatureNumbers Scaled(FeatureNumbers numbers, double scale) {
  numbers.place *= scale;
  numbers.length *= scale;
  numbers.width *= scale;
  numbers.radius *= scale;
  return numbers;
}

}  // namespace libmfx::inspection
