#pragma once

#include <string>

/// \file
/// What a request may ask of the search spiral.

namespace libmfx::features::shared {

/// The points of every turn of the spirals that features search along.
inline constexpr unsigned int kSearchPointsPerTurn = 20;

/// The words of a refusal, or an empty text when the spiral can be planned.
/// \param max_radius, radial_pitch metres
std::string RefuseSpiral(double max_radius, unsigned int points_per_turn, double radial_pitch);

}  // namespace libmfx::features::shared
