#pragma once

#include <Eigen/Geometry>
#include <nlohmann/json.hpp>
#include <string_view>

#include "inspection/plan.h"
#include "libmfx/win32_support/feature_descriptor.h"

/// \file
/// Requests of planned features, as an instrument is given them.

namespace libmfx::inspection {

/// The type whose requests have this "$type"; null where there is none.
const win32_support::FeatureDescriptor* TypeNamed(std::string_view type);

/// The request of a feature in the frame of an instrument. Points of the part, "ScanOrigin" among
/// them, are scaled about the part's origin and moved, directions turned. Lengths in "Feature" are
/// scaled as the part is, but tolerances are not, and neither is anything else at the root: these
/// say how to measure. What no number of three stands in stays as it is, as does the request of an
/// unknown type.
/// \param pose takes points of the part's frame into the instrument's
/// \param growth of the part against its reference temperature, 1 and a little
json RequestAt(const PlannedFeature& feature, const Eigen::Isometry3d& pose, double growth);

}  // namespace libmfx::inspection
