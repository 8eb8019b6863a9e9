#pragma once

#include <nlohmann/json.hpp>

namespace libmfx::test {

/// A request for a hole of 8 mm radius, 2 m straight ahead, facing the instrument.
inline nlohmann::json HoleRequest(double radius = 0.008) {
  return {{"$id", "h-1"},
          {"$type", "TargetRequest"},
          {"Feature",
           {{"$type", "HoleFeature"},
            {"Location", {0.0, 0.0, 2.0}},
            {"Normal", {0.0, 0.0, -1.0}},
            {"Radius", radius}}}};
}

}  // namespace libmfx::test
