#pragma once

#include "features/shared/search.h"

namespace libmfx::features::shared {

/// How the openings with an outline of crossing lines name their nominal while they search.
inline constexpr SearchWords kOpeningSearchWords{.original_center = "Original _input_center: ",
                                                 .original_normal = "Original _input_normal: ",
                                                 .updated_center = "Updated _input_center: ",
                                                 .updated_normal = "Updated _input_normal: "};

}  // namespace libmfx::features::shared
