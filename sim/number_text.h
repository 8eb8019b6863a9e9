#pragma once

#include <charconv>
#include <cmath>
#include <string>

namespace libmfx::sim {

/// The shortest text that reads back as `value`, under every locale.
inline std::string NumberText(double value) {
  if (std::isnan(value)) return "nan";
  char buffer[32];
  const auto end = std::to_chars(buffer, buffer + sizeof buffer, value).ptr;
  return {buffer, end};
}

}  // namespace libmfx::sim
