#pragma once

#include <charconv>
#include <cmath>
#include <string>

#include "sim/vec.h"

namespace libmfx::sim {

/// The shortest text that reads back as `value`, under every locale.
inline std::string NumberText(double value) {
  if (std::isnan(value)) return "nan";
  char buffer[32];
  const auto end = std::to_chars(buffer, buffer + sizeof buffer, value).ptr;
  return {buffer, end};
}

/// The same of a point, as JSON would write it.
inline std::string PointText(const Vec3& p) {
  return "[" + NumberText(p.x()) + ", " + NumberText(p.y()) + ", " + NumberText(p.z()) + "]";
}

}  // namespace libmfx::sim
