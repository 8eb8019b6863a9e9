#pragma once

#include <Eigen/Core>
#include <Eigen/Geometry>

/// \file
/// The vectors of the virtual instrument. Lengths are metres.

namespace libmfx::sim {

using Vec2 = Eigen::Vector2d;
using Vec3 = Eigen::Vector3d;
using Mat3 = Eigen::Matrix3d;

constexpr double kPi = 3.14159265358979323846;

/// Neighbouring faces overlap by this much (metres), so that a ray aimed at their common edge
/// cannot pass between them through a rounding error. It is far below the promised 1e-9 m.
constexpr double kSeam = 1e-12;

}  // namespace libmfx::sim
