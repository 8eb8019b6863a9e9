#pragma once

#include <Eigen/Core>

#include "lanes.h"

/// \file
/// Two points, or two vectors, at once, for passes over columns whose coordinates stand together.
/// Every sum has the order that Eigen gives that of a single vector, so results are the same to the
/// last bit.

namespace libmfx::geometry {

struct Triple {
  Triple(const Pair& x_pair, const Pair& y_pair, const Pair& z_pair)
      : x(x_pair), y(y_pair), z(z_pair) {}
  /// The same one twice.
  explicit Triple(const Eigen::Vector3d& v) : x(Both(v.x())), y(Both(v.y())), z(Both(v.z())) {}
  /// \param first, second x, y, z of either
  Triple(const double* first, const double* second)
      : x{first[0], second[0]}, y{first[1], second[1]}, z{first[2], second[2]} {}

  Pair Dot(const Triple& o) const { return x * o.x + y * o.y + z * o.z; }
  Triple operator-(const Triple& o) const { return {x - o.x, y - o.y, z - o.z}; }
  Triple operator*(const Pair& by) const { return {x * by, y * by, z * by}; }

  Pair x, y, z;
};

}  // namespace libmfx::geometry
