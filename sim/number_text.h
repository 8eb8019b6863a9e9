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
  std::string text;
  for (int i = 0; i < 3; ++i) {
    text += i == 0 ? "[" : ", ";
    text += NumberText(p[i]);
  }
  text += "]";
  return text;
}

}  // namespace libmfx::sim
