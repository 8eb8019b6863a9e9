#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <vector>

#include "report/view.h"

namespace libmfx::host::report {

/// The shape of a nominal or of a measured feature, as far as its keys tell one.
struct Outline {
  Eigen::Vector3d place;
  std::optional<double> radius;          ///< of a circle around the place, metres
  std::vector<Eigen::Vector3d> corners;  ///< of a closed line, the first one repeated at the end
};

/// Reads the "Feature" of a request or a result message: a place; a circle, a polygon, a rectangle
/// or an obround around it. Nothing without a place.
std::optional<Outline> OutlineOf(const nlohmann::json& object);

}  // namespace libmfx::host::report
