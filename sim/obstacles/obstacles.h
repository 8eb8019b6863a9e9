#pragma once

#include <memory>
#include <vector>

#include "sim/obstacles/obstacle.h"

/// \file
/// What stands in the way of the beam: cables, clamps, dust. All are told in the part's frame.

namespace libmfx::sim {

using Obstacles = std::vector<std::shared_ptr<const Obstacle>>;

/// A round bar with flat ends, as a cable is.
/// \param from,to the middles of its ends, apart from each other
std::shared_ptr<const Obstacle> MakeCylinder(const Vec3& from, const Vec3& to, double radius);

/// A block, as a clamp is; a thin one lies on a surface like a label.
struct BoxSpec {
  Vec3 center = Vec3::Zero();
  Vec3 direction = Vec3::UnitX();  ///< unit, of its length
  Vec3 up = Vec3::UnitZ();         ///< unit, of its height, not along the length
  double length = 0.01;
  double width = 0.01;
  double height = 0.01;
};
std::shared_ptr<const Obstacle> MakeBox(const BoxSpec& spec);

}  // namespace libmfx::sim
