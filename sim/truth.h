#pragma once

#include <map>
#include <string>

#include "sim/vec.h"

namespace libmfx::sim {

/// What a perfect measurement of a part finds, by name. Lengths are metres, angles radians.
struct Truth {
  std::map<std::string, Vec3> points;      ///< places: turned and moved with the part
  std::map<std::string, Vec3> directions;  ///< unit vectors: turned with the part
  std::map<std::string, double> values;    ///< lengths, angles and counts
  std::map<std::string, bool> flags;       ///< what is so; what is not so is left out
};

}  // namespace libmfx::sim
